#pragma once

#include "host/driver/request_parts.h"
#include "host/exit_code.h"
#include "host/frames/verdict.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kelpo {

/// How long a write waits for its turn, unless the user says otherwise.
constexpr std::chrono::milliseconds default_write_deadline{5000};

/// What a write does that cannot be sent at present: its station rests or is switched off, or the line is lost.
enum class IfAway {
    fail,           ///< it fails at once
    wait_for_line,  ///< it waits for a line up to its deadline, and fails at once for a station
    wait            ///< it waits for either up to its deadline
};

/// How long writes wait, and for what.
struct WriteWaits {
    std::chrono::milliseconds within = default_write_deadline;  ///< a write that is not begun by then is not sent
    IfAway if_away = IfAway::wait_for_line;
};

/// What has become of a write that was asked for.
struct WriteResult {
    enum class Kind {
        done,
        failed,  ///< or it is not known: the text says whether it may have been carried out
        expired  ///< was not sent before its deadline, and is not sent any more
    };

    int id;
    Kind kind;
    ExitCode code;                ///< all_well when it is done
    std::string text;             ///< why it is not done, for the user
    bool may_be_written = false;  ///< of one that failed: nobody knows whether the last that was sent was carried out
};

/// The writes that a user has asked for and that are not complete. Each waits until the link is free for it, or until
/// its deadline: from then on it is not begun any more. One request at a time is passed to the link, so none waits
/// where it cannot be withdrawn. Each write gets one result. Those that wait for a station let others pass, but not
/// those for the same station.
///
/// Gets the time with each call, and has no lock.
class WriteQueue {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// A request, with the number by which the link reports it.
    struct Request {
        int number;
        WritePart part;
    };

    explicit WriteQueue(IfAway if_away = IfAway::wait_for_line) : if_away_(if_away) {}

    /// Adds a write of at least one part, which was `asked` for and is to be begun `within` that time, after all
    /// others. Returns its id. It has its result at once if it does not wait for what is away.
    int add(std::vector<WritePart> parts, Time asked, std::chrono::milliseconds within);

    /// The request that is to be sent at once: the next part of a write that was begun, or the first of the next write
    /// that is in time. Nothing while one is under way. Only to be called while the line is open.
    std::optional<Request> next(Time now);

    /// The number of the request that is under way.
    std::optional<int> under_way() const;

    /// The frame of a request is about to be sent; `writes` says whether the controller changes anything when it gets
    /// it. False when its write is late and nothing of it has been sent that does: it has ended then as expired.
    bool may_leave(int number, bool writes, Time now);

    /// The driver has said that the request has ended. exchanged() says how.
    void ended(int number, bool well);

    /// A request was given up, or has ended if ended() has said so: `failure` says why it failed.
    void exchanged(int number, bool comes_again, const std::optional<Failure> &failure);

    /// The driver does not have the request any more, and has sent nothing.
    void dropped(const std::string &why);

    /// The write that was begun fails: it is not known whether the request under way was carried out. The others wait
    /// for line_opened(), or fail too.
    void line_lost(const std::string &why);
    void line_opened();

    /// Ends writes that are too late. If a part of a write was sent, the write is completed.
    void expire(Time now);

    /// Until station_on() writes for the station wait, or fail at once: `why` is the text for the user. A write that
    /// was begun goes on.
    void station_off(int station, const std::string &why);
    void station_on(int station);

    /// The same until rest_ended(), but a write that was begun fails at its next request.
    void station_rests(int station, const std::string &why);
    void rest_ended(int station);

    /// Fails all writes.
    void end(const std::string &why, ExitCode code);

    /// True until the write has its result.
    bool has(int id) const;

    /// Writes that have no result yet.
    std::size_t size() const;

    /// Requests of these.
    std::size_t requests() const;

    /// Results since the last call, oldest first.
    std::vector<WriteResult> take_results() {
        return std::exchange(results_, {});
    }

private:
    struct Write {
        int id;
        std::vector<WritePart> parts;
        Time asked;
        std::chrono::milliseconds within;
        std::size_t begun = 0;           // parts that were passed on, including the one under way
        bool was_sent = false;           // something that the controller may have carried out
        std::optional<int> under_way;    // number of the last of them, until it has ended
        std::optional<bool> ended_well;  // of the same, as the driver said
        std::optional<Failure> failure;  // of the same, of the last exchange
    };

    static bool is_late(const Write &write, Time now);
    bool is_away(int station) const;
    void fail_waiting(const std::function<bool(const Write &)> &is_meant, ExitCode code, const std::string &why);
    void note_expired(const Write &write);
    void part_is_through();
    void fail(ExitCode code, const std::string &why, bool may_be_written = false);

    IfAway if_away_;
    std::map<int, std::string> resting_, off_;  // stations, and why
    std::optional<std::string> line_lost_;      // why
    std::deque<Write> waiting_;
    std::optional<Write> current_;
    std::vector<WriteResult> results_;
    int next_id_ = 0;
    int next_number_ = 0;
};

}  // namespace kelpo
