#pragma once

#include "host/driver/driver.h"
#include "host/link/cycle_pace.h"
#include "host/link/hole_finder.h"
#include "host/link/link_settings.h"
#include "host/link/link_statistics.h"
#include "host/link/link_watcher.h"
#include "host/link/paused_blocks.h"
#include "host/link/slow_reads.h"
#include "host/link/station_rests.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kelpo {

class LinkLoop;

/// What a session does when its line fails while it runs.
enum class OnLoss {
    open_again,  ///< tries until it succeeds, with growing pauses (LinkSettings::pauses)
    end          ///< raises the stop signal
};

/// A line for a driver, and the thread that runs it. There is one driver per process, so one session at a time.
///
/// While the line is lost, nothing that waits in the driver is given up: it is sent when the line is back. What was in
/// flight when the line broke is then sent again, so a controller may carry out the same write twice. Only the write of
/// a bit in a register fails when its register had been read before the line broke.
///
/// A station that rests (LinkSettings::rest, StationRests) is switched off in the driver, which drops what is queued in
/// it for that station. A Writer still reports the result of each of its writes.
class Session {
public:
    /// Configures the driver: every variable has its own station, writes go to the controllers. `stop` ends the link
    /// when it is raised. Driver, stop signal and watchers must outlive the session.
    Session(Driver &driver, const LinkSettings &settings, StopSignal &stop, const std::vector<LinkWatcher *> &watchers,
            OnLoss on_loss);

    /// Raises the stop signal and waits for the link thread.
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// Opens the line and starts the link thread, which first listens: for the settle time, and for as long as replies
    /// to what others asked on this line can still come. Throws LineError when the line cannot be opened. May be called
    /// only once.
    void start();

    /// Raises the stop signal and waits for the link thread, which waits for the reply that is on its way.
    void finish();

    const LinkStatistics &statistics() const {
        return statistics_;
    }

    /// What finds out which parts of blocks are refused; null where nothing does (RestSettings::enabled).
    const HoleFinder *holes() const {
        return holes_ ? &*holes_ : nullptr;
    }

    /// Why the line is not usable at present; empty while it is. From any thread.
    std::string line_error() const;

private:
    // Passes what the driver's callback says about a request to the Driver object.
    class EndNoter : public LinkWatcher {
    public:
        explicit EndNoter(Driver &driver) : driver_(driver) {}

        void request_ended(const RequestName &name, RequestOutcome outcome) override {
            driver_.note_end(name, outcome);
        }

    private:
        Driver &driver_;
    };

    // Lets each station have its own number of retries: the driver has one for all.
    class StationRetries : public LinkWatcher {
    public:
        StationRetries(Driver &driver, const LinkSettings &settings) : driver_(driver), settings_(settings) {}

        bool may_leave(const Exchange &exchange) override;

    private:
        Driver &driver_;
        const LinkSettings &settings_;
    };

    void run();
    bool open_again();
    void lose_line(const std::string &why, bool carried_something);
    void set_line_error(const std::string &text);

    LinkSettings settings_;
    StopSignal &stop_;
    OnLoss on_loss_;
    EndNoter ends_;
    LinkStatistics statistics_;
    WatcherList watchers_;
    std::optional<StationRetries> retries_;
    std::optional<StationRests> rests_;
    std::optional<PausedBlocks> paused_;
    SlowReads slow_;
    std::optional<HoleFinder> holes_;
    std::optional<CyclePace> pace_;
    std::unique_ptr<LinkLoop> loop_;
    std::unique_ptr<Line> line_;
    std::chrono::milliseconds next_pause_{0};
    mutable std::mutex mutex_;  // guards the text
    std::string line_error_;
    std::thread thread_;
};

}  // namespace kelpo
