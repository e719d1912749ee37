#pragma once

#include "host/frames/verdict.h"
#include "host/link/link_statistics.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kelpo {

/// A block read of the driver's cyclic list: no two of a list start at the same place.
struct BlockPlace {
    int station;
    int type;     ///< the register class
    int address;  ///< first number in that class, as the driver counts

    bool operator<(const BlockPlace &other) const {
        return std::tie(station, type, address) < std::tie(other.station, other.type, other.address);
    }
};

/// What is known about a link at one moment.
struct LinkReading {
    using Time = std::chrono::steady_clock::time_point;

    struct Block {
        std::optional<Failure> failure;  ///< of the last request, when it was given up
    };

    struct Station {
        std::uint64_t answered = 0;  ///< good replies
        std::uint64_t failed = 0;    ///< replies refused or missing
        bool was_heard = false;      ///< it has answered once, or refused
        int silent = 0;              ///< requests given up without a reply since it answered, or refused, one
        /// It does not answer: two requests in a row were given up, or the first one ever, or it rests.
        std::optional<Time> down_since;
        std::optional<Failure> failure;  ///< the last one, even if requests were answered since
        std::optional<Time> next_try;    ///< while it rests
    };

    /// A cycle begins with a block and ends when a block that it has served comes again: all blocks that are polled at
    /// present have had their turn, and writes in between are included.
    struct Cycles {
        std::uint64_t count = 0;
        std::chrono::nanoseconds last{0};
        std::chrono::nanoseconds mean{0};
        std::chrono::nanoseconds worst{0};
        std::chrono::nanoseconds so_far{0};  ///< of the cycle that runs
    };

    LinkCounts counts;  ///< the session's; left empty by LinkGauge, which counts nothing that the session counts
    double exchanges_per_second = 0;  ///< over the last two seconds
    Cycles cycles;
    std::map<BlockPlace, Block> blocks;
    std::map<int, int> polled;  ///< how many blocks are, by station
    std::map<int, Station> stations;
    bool line_open = false;
    std::string line_error;  ///< why the line was lost; empty while it is open
    Time next_try{};         ///< when the line is to be opened again
};

/// Something that happened on a link, to be reported once.
struct LinkEvent {
    enum class Kind {
        given_up,       ///< a polled block was not read
        station_down,   ///< a station does not answer any more
        station_rests,  ///< and is asked only occasionally
        station_back,   ///< it does again
        line_lost,
        line_back
    };

    Kind kind;
    std::chrono::system_clock::time_point time;
    BlockPlace place{};                             ///< of given_up and what begins with station
    int count = 0;                                  ///< units of the block; of given_up
    std::chrono::milliseconds pause{0};             ///< until the next try; of line_lost, station_rests
    std::string text;                               ///< why
    Failure::Kind cause = Failure::Kind::no_reply;  ///< of given_up, station_down
};

/// Measures a link. Any thread may read it while the link runs.
class LinkGauge : public LinkWatcher {
public:
    using Clock = std::function<LinkReading::Time()>;

    explicit LinkGauge(Clock clock = std::chrono::steady_clock::now);

    LinkReading reading() const;

    /// What has happened since the last call, oldest first: the last 10000 events.
    std::vector<LinkEvent> take_events();

    /// To be called when a station was switched off or on: what was known about it is not true any more, and the
    /// present cycle does not count.
    void forget_station(int station);

    void exchanged(const Exchange &exchange) override;
    void blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) override;
    void station_rests(int number, std::chrono::milliseconds pause) override;
    void rest_ended(int number, bool has_answered) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    using Frame = std::pair<BlockPlace, std::string>;

    void note_rate(LinkReading::Time now);
    void time_cycle(const Exchange &exchange, LinkReading::Time sent_at);
    void judge_station(const Exchange &exchange, const std::optional<Failure> &failure, LinkReading::Time now);
    void note_silence(const BlockPlace &place, const Failure &failure, LinkReading::Time now);
    void note_answer(int number);
    void judge_block(const Exchange &exchange, const std::optional<Failure> &failure);
    void forget_cycle();
    void add_event(LinkEvent event);

    const Clock clock_;
    mutable std::mutex mutex_;  // guards all below
    LinkReading reading_;
    std::deque<LinkEvent> events_;
    LinkReading::Time started_;
    std::deque<LinkReading::Time> lately_;  // when exchanges ended, as far as the rate looks back
    bool lost_ = false;                     // the line was, and is not back

    std::set<Frame> cycle_;  // polled frames that had their turn in the cycle that runs
    LinkReading::Time cycle_began_;
    std::chrono::nanoseconds cycles_took_{0};
    bool resend_ = false;  // the polled frame sent last is sent again
};

}  // namespace kelpo
