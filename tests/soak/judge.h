#pragma once

#include "cells.h"
#include "unread_places.h"

#include "host/link/link_watcher.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace soak {

/// What the campaign counts. All but the worst ones are sums.
struct Scores {
    std::uint64_t exchanges = 0;
    std::uint64_t sent_again = 0;
    std::uint64_t given_up = 0;
    std::uint64_t slow = 0;  ///< replies that came too late without a fault: the machine was busy
    std::uint64_t writes_done = 0;
    std::uint64_t writes_failed = 0;
    std::uint64_t writes_refused = 0;    ///< by a full queue
    std::uint64_t writes_cut = 0;        ///< in several requests, some of which a full queue refused
    std::uint64_t writes_withdrawn = 0;  ///< their station was at rest
    std::uint64_t writes_repeated = 0;   ///< carried out once more
    std::uint64_t early_reports = 0;     ///< of a write in several requests, while the call was still queueing them
    std::uint64_t once_done = 0;
    std::uint64_t once_failed = 0;
    std::uint64_t once_withdrawn = 0;
    std::uint64_t values = 0;  ///< judged
    std::uint64_t false_values = 0;
    std::uint64_t lost_writes = 0;
    /// Second replies to a request, taken for another request's; also when the first was not its own.
    std::uint64_t copies_mistaken = 0;
    std::uint64_t late_mistaken = 0;    ///< the same with replies later than the host promises to tell apart
    std::uint64_t values_mistaken = 0;  ///< shown in between
    std::uint64_t writes_mistaken = 0;  ///< reported done because of one, and not carried out
    std::uint64_t hang_ups = 0;
    std::uint64_t recoveries = 0;
    std::uint64_t worst_recovery = 0;   ///< exchanges with answering stations after the last fault, until one was good
    std::uint64_t worst_reopening = 0;  ///< the same after a hang-up
    std::uint64_t rests = 0;            ///< stations that the host has let rest because they did not answer
    std::uint64_t returns = 0;          ///< rests that ended with a reply
    std::uint64_t worst_tries = 0;      ///< polls of one station in a row without a byte from anywhere
    /// The same for all stations between two requests to an answering one that does not rest.
    std::uint64_t worst_wait = 0;
    std::uint64_t values_in_holes = 0;  ///< judged, of variables that the controller did not have, or not all of
    std::uint64_t read_times = 0;       ///< judged: when the host says that a value was read
    std::uint64_t taken_apart = 0;      ///< blocks, because they were refused
    std::uint64_t put_together = 0;     ///< blocks made of those that were there
    std::uint64_t worst_unread = 0;     ///< exchanges with a station until a place that it has was read again
    std::map<std::string, std::uint64_t> faults;
};

/// What the host waits for and allows, which decides what replies it can tell apart.
struct HostLimits {
    std::chrono::milliseconds settle;
    std::chrono::milliseconds latest;  ///< longest that a fault delays a reply
    /// How late a reply may be, from its request or the station's reply before, and not be taken for another request's.
    std::chrono::microseconds promise;
    std::uint64_t most_tries;  ///< polls of one station without a reply before it rests
    /// Exchanges with a station until a place that it has is read again; none: the list is rebuilt all the time.
    std::optional<std::uint64_t> most_unread;
};

/// A request of the campaign to write a variable or to read it once.
struct Request {
    int id;
    int variable;
    bool is_write;
    std::uint32_t serial;
    std::vector<bool> reached;    ///< places that the controller wrote
    bool mistaken = false;        ///< a reply that was meant for another request was taken for its
    bool doubtful = false;        ///< the queue may have been full
    bool may_be_dropped = false;  ///< its station was at rest while it waited
    bool under_way = true;        ///< the call that queues it has not returned
    bool reported_early = false;  ///< done, while the call was still queueing
    bool cut_short = false;       ///< failed, while the call was still queueing
};

/// Follows host and controller, and knows which request each reply answers: both ends count their bytes, and no clock
/// is needed. Any thread may call it; the watcher's calls come from the link thread.
class Judge : public kelpo::LinkWatcher {
public:
    explicit Judge(const std::vector<Variable> &variables);

    /// A controller is about to start, with these faults. Called before the host can open its line.
    void expect_controller(const std::vector<std::string> &faults, const HostLimits &host_limits);

    /// What it begins with: what the one before held, or for the first one the values before any write.
    std::string presets(const plc::MemoryReader *before) const;

    /// It has started. Its memory must stay until it has ended.
    void controller_started(const plc::MemoryReader &memory);

    /// It is about to be ended; it has ended. `at_rest` if nothing was under way.
    void expect_end();
    void controller_ended(bool at_rest);

    /// Called before a call that queues a request, and after it, with what it returned.
    std::shared_ptr<Request> announce(int variable, bool is_write, bool station_is_off);
    void queued(const std::shared_ptr<Request> &request, bool doubtful);

    /// Nothing waits in the driver: what was not reported is lost.
    void expect_all_reported();

    /// What a screen may show, called before the value is fetched; then the value.
    struct Look {
        std::vector<std::uint32_t> floors;
        std::vector<Age> ages;
        std::uint64_t exchange = 0;
    };
    Look look(int variable) const;
    void shown(int variable, const QByteArray &value, const Look &look);
    /// Nothing has been written since `exchange`: what was read since then is what the controller holds.
    void shown_at_rest(int variable, const QByteArray &value, std::uint64_t exchange);

    /// The first variable of an answering station that was not read after `exchange`; empty when there is none.
    std::string unread_since(std::uint64_t exchange) const;
    /// The host says that no part of the variable was read before `exchange`.
    void dated(int variable, std::uint64_t exchange);

    void complain(const std::string &what);

    Scores scores() const;
    std::uint64_t exchanges() const;
    int lines_opened() const;
    bool has_recovered() const;
    std::vector<std::string> complaints() const;

    /// Judges what is still in doubt. After the link has ended.
    void finish();

    void exchanged(const kelpo::Exchange &exchange) override;
    void blocks_replaced(const std::vector<kelpo::PolledBlock> &gone,
                         const std::vector<kelpo::PolledBlock> &come) override;
    void line_probed(const kelpo::Exchange &exchange, kelpo::ProbePurpose purpose) override;
    void request_ended(const kelpo::RequestName &name, kelpo::RequestOutcome outcome) override;
    void station_rests(int station, std::chrono::milliseconds pause) override;
    void rest_ended(int station, bool has_answered) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

    static constexpr int write_group = 20;
    static constexpr int once_group = 21;

private:
    using Clock = std::chrono::steady_clock;

    // One request frame that the host sent.
    struct Sent {
        std::uint64_t ends_at = 0;  // bytes that the host had sent on this line until then
        std::uint64_t flight = 0;   // the same for all tries of a frame
        Clock::time_point at{};     // when it had left
        int station = 0;
        int type = 0;
        int address = 0;
        std::shared_ptr<Request> request;
    };
    // One that the controller handled.
    struct Served {
        std::uint64_t number = 0;
        plc::LoggedRequest log{};
        std::vector<plc::LoggedWrite> writes;
        std::uint64_t flight = 0;  // of the frame that it was; 0: not known yet
        Clock::time_point sent_at{};
        int station = 0;
    };
    // A fault that makes a hole.
    struct HoleFault {
        Hole hole;
        std::size_t number;  // of the fault, counted from 0
        unsigned times;
        bool has_begun = false, is_over = false;
    };
    // Both ends of the line while one controller runs.
    struct Traffic {
        const plc::MemoryReader *memory = nullptr;
        std::vector<std::string> faults;
        std::vector<HoleFault> holes;
        HostLimits host_limits{};
        bool ending = false;
        std::uint64_t next_request = 0;
        std::uint64_t next_piece = 0;
        std::uint64_t bytes_sent = 0;
        std::deque<Served> served;
        std::deque<plc::LoggedPiece> pieces;
        std::deque<std::uint64_t> pieces_begin;
        std::deque<Sent> sent;
        std::vector<Served> unmatched;
        std::set<std::uint64_t> misled;  // flights that a reply to another request was taken for
    };
    struct Suspect {
        int variable;
        std::string what;
        std::uint64_t since;
        std::uint64_t due;
    };
    struct RecentExchange {
        std::uint64_t number;
        std::string request, reply, stale, note;
        int code;
    };
    struct Ended {
        int id;
        int status;
        bool under_way;  // the call that queues the request has not returned
    };
    struct Taken {
        bool good;      // and the right one
        bool mistaken;  // taken, and meant for another request
    };

    void pull(Traffic &traffic);
    void pull_until(Traffic &traffic, std::uint64_t received);
    void match(Traffic &traffic, Served served);
    void carry_out(Served &served, const Sent &sent);
    void match_on_line_before(const Sent &sent, std::size_t frame_size);
    Taken take_reply(Traffic &traffic, const kelpo::Exchange &exchange, const Sent &sent);
    static const Served *served_by(const Traffic &traffic, std::uint64_t request);
    void note_mistaken(const Traffic &traffic, std::size_t piece, std::size_t reply_size);
    static bool is_copy(const Traffic &traffic, std::size_t piece, std::size_t reply_size);
    static bool may_be_too_late(const Traffic &traffic, std::size_t piece);
    static std::uint32_t fault_of(const Traffic &traffic, const Sent &sent);
    static bool is_of_hole(const Traffic &traffic, std::uint32_t fault);
    bool touches_hole(const Variable &variable) const;
    void follow_holes(Traffic &traffic);
    void follow_unread(const Traffic &traffic, const kelpo::Exchange &exchange, const Sent &sent, Taken taken);
    void follow_waits(const Traffic &traffic, const kelpo::Exchange &exchange);
    std::string follow_recovery(const Traffic &traffic, const kelpo::Exchange &exchange, const Sent &sent, Taken taken);
    void end_request(Ended ended);
    bool is_early(const std::shared_ptr<Request> &request, const Ended &ended);
    void settle_suspects(bool all);
    void complain_locked(const std::string &what);
    Age now() const;

    mutable std::mutex mutex_;
    const std::vector<Variable> &variables_;
    Cells cells_;
    UnreadPlaces unread_places_;
    Scores scores_;
    std::vector<std::string> complaints_;
    std::deque<RecentExchange> recent_;
    std::deque<Suspect> suspects_;

    std::unordered_map<int, std::shared_ptr<Request>> open_;
    std::vector<std::uint32_t> serials_;
    int next_id_ = 1;

    std::vector<Ended> ended_;

    std::condition_variable memory_is_there_;
    std::vector<std::unique_ptr<Traffic>> controllers_;
    std::vector<plc::Moment> last_moments_;  // of the controllers that have ended
    int opened_ = 0;                         // how often the host has opened the line

    std::uint64_t flight_ = 1;
    Age flight_age_{0, 0};  // when it began, or before

    bool disturbed_ = false;
    std::uint64_t spoiled_ = 0;  // exchanges with answering stations that failed since the last fault, without one
    bool reopened_ = false;
    std::uint64_t since_reopening_ = 0;

    std::set<int> resting_;
    std::map<int, std::uint64_t> tries_;  // by station, without a byte since
    std::map<int, std::uint64_t> waits_;  // by answering station
};

}  // namespace soak
