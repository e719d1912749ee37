#pragma once

#include "plc/faults/faults.h"
#include "plc/faults/reply_parts.h"
#include "plc/memory/memory_writer.h"
#include "plc/memory/station_memory.h"
#include "plc/protocol/frame.h"
#include "plc/protocol/reply_engine.h"
#include "plc/protocol/request_framer.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace plc {

struct Settings {
    std::vector<unsigned> stations = {1};     // 1 to 247, none twice
    std::chrono::milliseconds moment{500};    // from one step of the moving values to the next; 0: they do not move
    std::chrono::milliseconds turnaround{1};  ///< from the end of a request to its reply
    std::chrono::milliseconds silence{5};     // ends a frame; above 0
    bool echoes = false;                      // all that comes is returned at once, as by a two-wire adapter
    unsigned baud = 0;                        // bits per second that the line would carry; 0: no delay
    unsigned bits_per_byte = 10;              // start, data, parity and stop bits
    std::vector<Preset> presets;              // of these stations; if two have the same address, the later one counts
    std::vector<Fault> faults;                // what goes wrong; at most max_faults
    std::uint32_t seed = 1;                   // decides what is left to chance
};

/// The most pieces of replies that may wait until they are due. A request that comes when there are more is lost, as in
/// a device whose buffer is full: neither carried out nor answered, and counted as a frame that was dropped.
constexpr std::size_t max_waiting = 256;

/// What is to be sent at once.
struct Sending {
    Bytes bytes;
    bool ends_reply;            // nothing more is sent for the same request
    std::uint64_t request = 0;  ///< its number among those of this controller's stations, counted from 0
};

/// The stations of one line, without the line: bytes go in, replies come out when they are due.
/// Has no clock: every call is given the time, which must not run backwards. For one thread.
class Controller {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Begins at moment 0. Publishes to the file `memory` if one is given. Throws what MemoryWriter and ReplyEngine do.
    Controller(const Settings &settings, const std::optional<std::string> &memory, TimePoint now);

    /// Takes bytes that came from the line. A request among them is carried out at once; its reply waits until it is
    /// due.
    void receive(const Bytes &bytes, TimePoint now);

    /// Does what happens by time alone: the end of a frame by silence and the step to the next moment. To be called
    /// after all bytes that have come were given to receive(). A controller that was delayed takes one step, not all
    /// that it missed.
    void advance(TimePoint now);

    /// The next reply, or part of one, if it is due at `now`. A station's replies come in the order of their requests.
    std::optional<Sending> take_due(TimePoint now);

    /// To be called when the line has taken what take_due() gave; `now` is when it had.
    void note_sent(const Sending &sending, TimePoint now);

    /// To be called when the line has accepted the echo of `size` bytes, for Settings::echoes.
    void note_echo(std::size_t size, TimePoint now);

    /// How often each fault happened, in the order of the settings.
    const std::vector<FaultCount> &fault_counts() const;

    /// When advance() or take_due() have something to do next, if no byte comes before.
    std::optional<TimePoint> next_deadline() const;

private:
    struct Waiting {
        TimePoint due;
        unsigned station;
        Sending sending;
    };

    void note_piece(std::uint64_t request, std::size_t size, TimePoint now);
    void step();
    void end_frame();
    void serve(const Bytes &request);
    void drop_frame();
    void serve_broadcast(const Bytes &request);
    Bytes carry_out(const Bytes &request, std::size_t station);
    std::vector<ReplyPart> reply_to(const Bytes &request, std::size_t station);
    void log_request(std::uint32_t fault);
    void schedule(const Bytes &request, std::vector<ReplyPart> parts);
    std::chrono::nanoseconds time_on_wire(std::size_t bytes) const;

    Settings settings_;
    std::vector<StationMemory> stations_;
    std::optional<MemoryWriter> memory_;
    Faults faults_;
    RequestFramer framer_;
    ReplyEngine engine_;
    Moment moment_ = 0;
    TimePoint next_moment_;
    TimePoint last_byte_;
    std::uint64_t bytes_received_ = 0;
    std::uint64_t bytes_sent_ = 0;
    std::uint64_t requests_ = 0;
    std::deque<Waiting> waiting_;  // what is due first is first
};

}  // namespace plc
