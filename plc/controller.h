#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "plc/faults.h"
#include "plc/frame.h"
#include "plc/memory_file.h"
#include "plc/moment.h"
#include "plc/reply_engine.h"
#include "plc/request_framer.h"
#include "plc/station_memory.h"

namespace plc {

struct Settings {
    std::vector<unsigned> stations = {1};     // 1 to 247, none twice
    std::chrono::milliseconds moment{500};    // from one step of the moving values to the next; 0: they stand still
    std::chrono::milliseconds turnaround{1};  // from the end of a request to its reply
    std::chrono::milliseconds silence{5};     // ends a frame; above 0
    unsigned baud = 0;                        // bits a second that the line would carry; 0: as fast as it goes
    std::vector<Fault> faults;                // what goes wrong
};

/// The stations of one line, without the line: bytes go in, replies come out when they are due.
/// Never looks at a clock: every call is told the time, which must not run backwards. For one thread.
class Controller {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Begins at moment 0. Publishes to the file `memory` if one is given. Throws what MemoryWriter and ReplyEngine do.
    Controller(const Settings &settings, const std::optional<std::string> &memory, TimePoint now);

    /// Takes bytes that came from the line. A request among them is carried out at once; its reply waits until it is
    /// due.
    void receive(const Bytes &bytes, TimePoint now);

    /// Does what time alone brings about: the end of a frame by silence and the step to the next moment. To be called
    /// after all bytes that have come were given to receive(). A controller that was held up takes one step, not all
    /// that it missed.
    void advance(TimePoint now);

    /// The next reply if it is due at `now`. Replies come in the order of their requests.
    std::optional<Bytes> take_due_reply(TimePoint now);

    /// To be told when a reply went out whole.
    void count_sent_reply();

    /// When advance() or take_due_reply() have something to do next, if no byte comes before.
    std::optional<TimePoint> next_deadline() const;

private:
    struct WaitingReply {
        TimePoint due;
        Bytes bytes;
    };

    std::vector<StationValues> all_values() const;
    void step();
    void end_frame();
    void serve(const Bytes &request);
    void serve_broadcast(const Bytes &request);
    Bytes carry_out(const Bytes &request, std::size_t station);
    void schedule(const Bytes &request, Bytes reply);

    Settings settings_;
    std::vector<StationMemory> stations_;
    std::optional<MemoryWriter> memory_;
    Faults faults_;
    RequestFramer framer_;
    ReplyEngine engine_;
    Moment moment_ = 0;
    TimePoint next_moment_;
    TimePoint last_byte_;
    std::deque<WaitingReply> replies_;
};

}  // namespace plc
