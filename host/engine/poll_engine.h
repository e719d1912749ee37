#pragma once

#include "host/engine/link_gauge.h"
#include "host/engine/read_values.h"
#include "host/engine/variable_watch.h"
#include "host/exit_code.h"
#include "host/frames/trace_output.h"
#include "host/frames/tracer.h"
#include "host/link/link_remarks.h"
#include "host/link/session.h"
#include "host/list/poll_list.h"
#include "host/write/writer.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelpo {

/// Something that happened while a list was polled, to be reported once.
struct PollEvent {
    enum class Kind {
        given_up,
        station_down,
        station_rests,
        station_back,
        line_lost,
        line_back,
        write_done,
        write_failed,
        write_expired,
        remark  ///< what the user should know about the line
    };

    Kind kind;
    std::chrono::system_clock::time_point time;
    BlockPlace place{};                             ///< of given_up; of the stations' events the station
    int count = 0;                                  ///< units of the block; of given_up
    std::optional<std::size_t> variable;            ///< of a write
    std::chrono::milliseconds pause{0};             ///< until the next try; of line_lost and station_rests
    std::string text;                               ///< why; of write_done what was written
    Failure::Kind cause = Failure::Kind::no_reply;  ///< of given_up and station_down
    std::optional<int> write{};                     ///< WriteAnswer::id of a write
    bool may_be_written = false;                    ///< of write_failed: nobody knows whether it was carried out

    bool is_write() const {
        return kind == Kind::write_done || kind == Kind::write_failed || kind == Kind::write_expired;
    }
};

/// The event in words, in one line.
std::string words_of(const PollEvent &event, const std::vector<Variable> &variables);

/// Why a station is down, in words that follow its number: "does not answer: no reply". `reason` is the text of a
/// failure.
std::string down_words(Failure::Kind cause, const std::string &reason);

/// That a station rests, in words that go on from why it is down: "resting, next try in 12 s".
std::string rest_words(std::chrono::nanoseconds until_next_try);

/// The blocks of a station that answers, but refuses some of what is polled, or gives no reply to it.
struct FailingBlocks {
    int refused = 0;
    int silent = 0;      ///< had no reply
    int blocks = 0;      ///< of the station, in all
    std::string reason;  ///< of one of those refused

    /// In words that follow its number: "refusing, 1 of 3 blocks refused: illegal data address (exception 2)", or
    /// "no reply to 1 of 3 blocks".
    std::string words() const;
};

/// Whether a write was queued, or why not.
struct WriteAnswer {
    bool taken;
    std::string text;  ///< for the user
    int id = -1;       ///< of a write that was taken: its event names it
};

/// Polls the variables of a list, and writes to them: what the live screen and the records have in common. For one
/// thread, in addition to its own link thread.
class PollEngine {
public:
    /// Gives the driver the list. All that goes over the line goes to `trace_file` too, unless that is
    /// empty: as a capture when the name ends in .pcap. Writes wait as `waits` says. `watcher`, if there is one,
    /// gets all reports after the engine itself. Driver, stop signal and watcher must outlive the engine. Throws
    /// TraceOutputError.
    PollEngine(Driver &driver, PollList list, StopSignal &stop, const std::string &trace_file, const WriteWaits &waits,
               LinkWatcher *watcher = nullptr);

    /// Opens the line and begins to poll; only then the trace file takes the place of an earlier one. Throws LineError
    /// and TraceOutputError.
    void start();

    struct News {
        std::vector<std::size_t> changed;  ///< variables that changed, in value or quality, or were read the first time
        std::vector<PollEvent> events;     ///< oldest first
    };

    /// Takes in what has happened since the last call. Throws TraceOutputError.
    News refresh();

    /// Stops polling. Writes that are not complete fail: refresh() reports them.
    void finish();

    const PollList &list() const {
        return list_;
    }
    /// As of the last refresh().
    const LinkReading &link() const {
        return link_;
    }
    /// As of the last refresh().
    const VariableWatch &watch() const {
        return watch_;
    }
    int blocks() const {
        return blocks_;
    }

    /// Queues what the user typed for the variable at `index` of the list, or refuses it. Each write that is accepted
    /// ends with one event.
    WriteAnswer write(std::size_t index, const std::string &typed);

    /// The same for what was `asked` for then, and is not begun later than `within` after that.
    WriteAnswer write(std::size_t index, const std::string &typed, WriteQueue::Time asked,
                      std::chrono::milliseconds within);

    /// True while a write to the variable waits or is under way.
    bool write_waits(std::size_t variable) const;

    bool is_off(int station) const {
        return off_.count(station) > 0;
    }

    /// The stations that refuse something, by their numbers. As of the last refresh().
    std::map<int, FailingBlocks> failing_blocks() const;

    /// Switches the station off or on again. Returns what was done, for the user.
    std::string switch_station(int station);

    /// The last frames and notes on the line.
    std::vector<TraceRecord> trace() const {
        return ring_.last();
    }

    /// What was done in all, in lines for the user.
    std::string summary() const;

    /// What is wrong with the line or with blocks at the time of the last refresh(), or not_right when a write was not
    /// done or a variable was never read; otherwise all_well. Stations that are switched off do not count.
    ExitCode exit_code() const;

private:
    struct Write {
        std::size_t variable;
        std::string text;
    };

    PollEvent event_of(const WriteResult &result);
    std::string down_words(const LinkReading::Station &station) const;
    std::string why_away(int station) const;
    std::vector<std::size_t> never_read() const;
    void write_trace();

    Driver &driver_;
    const PollList list_;
    TraceRing ring_;
    TraceQueue queue_;
    std::optional<TraceOutput> output_;
    LinkGauge gauge_;
    ReadValues values_;
    Writer writer_;
    Tracer tracer_;
    LinkRemarks remarks_;
    Session session_;
    const WriteWaits waits_;
    int blocks_;
    VariableWatch watch_;
    LinkReading link_;
    std::set<int> off_;
    std::map<int, Write> writes_;  // that have no result yet, by id
    int writes_done_ = 0, writes_failed_ = 0, writes_expired_ = 0;
    std::chrono::steady_clock::time_point started_;
};

}  // namespace kelpo
