#pragma once

#include "host/driver/driver_library.h"
#include "host/driver/variables.h"
#include "host/link/link_loop.h"
#include "host/link/link_settings.h"
#include "host/link/link_statistics.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace kelpo {

/// What becomes of a session whose line fails while it runs.
enum class OnLoss {
    open_again,  ///< tries again and again, with growing pauses (LinkSettings::pauses)
    end          ///< raises the stop signal
};

/// A driver with a line and the thread that runs it. There is one driver per process, so one session at a time.
///
/// While the line is lost, nothing that waits in the driver is given up: it goes out when the line is back. What was on
/// its way when the line broke is sent again then, so a controller may carry out the same write twice. Only the write
/// of a bit in a register fails when its register had been read before the line broke.
class Session {
public:
    /// Loads the driver and configures it: every variable has its own station, writes go to the controllers. `stop`
    /// ends the link when it is raised; it and the watchers must outlive the session. Throws DriverLibraryError.
    Session(const LinkSettings &settings, StopSignal &stop, const std::vector<LinkWatcher *> &watchers, OnLoss on_loss);

    /// Raises the stop signal and waits for the link thread.
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// Opens the line and starts the link thread, which first listens: for the settle time, and for as long as replies
    /// to what others asked on this line can still come. Throws LineError when the line cannot be opened. Once only.
    void start();

    /// Raises the stop signal and waits for the link thread, which waits for the reply that is on its way. The driver
    /// stays loaded.
    void finish();

    const DriverLibrary &driver() const {
        return driver_;
    }
    const LinkStatistics &statistics() const {
        return statistics_;
    }

    /// Makes the driver poll these variables, and no others. Returns the number of blocks. From any thread.
    int poll(const std::vector<Variable> &variables) const;

    /// Why the line is not usable at present; empty while it is. From any thread.
    std::string line_error() const;

private:
    void run();
    bool open_again();
    void lose_line(const std::string &why, bool carried_something);
    void set_line_error(const std::string &text);

    LinkSettings settings_;
    StopSignal &stop_;
    OnLoss on_loss_;
    DriverLibrary driver_;
    ComInfo info_;
    LinkStatistics statistics_;
    WatcherList watchers_;
    LinkLoop loop_;
    std::unique_ptr<Line> line_;
    std::chrono::milliseconds next_pause_{0};
    mutable std::mutex mutex_;  // guards the text
    std::string line_error_;
    std::thread thread_;
};

}  // namespace kelpo
