#pragma once

#include "host/link/link_remarks.h"
#include "host/link/session.h"
#include "host/once/reference.h"
#include "host/once/request_watch.h"
#include "host/once/status.h"
#include "host/write/writer.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// A driver that serves single reads and writes, over a line that is not opened again when it fails. The failed replies
/// of one request do not count for the next.
class OnceRun {
public:
    /// `stop` ends the run early; it, the driver, and `watcher`, which is informed of what happens on the link, must
    /// outlive the run.
    OnceRun(Driver &driver, const LinkSettings &settings, StopSignal &stop, LinkWatcher &watcher,
            IfAway if_away = IfAway::wait_for_line);

    /// Opens the line. Throws LineError.
    void start();

    /// Queues a read and returns its name. When the driver's queue is full, waits for room in it. Does nothing once the
    /// run is stopped: then there is no name. Only for places that PlaceCheck accepts.
    std::optional<RequestName> queue_read(const Variable &place);

    /// Queues a write, which was `asked` for and is to be begun `within` that time. The id that is returned names it.
    /// Only for places that PlaceCheck accepts.
    int queue_write(const Reference &reference, WriteQueue::Time asked, std::chrono::milliseconds within);

    /// Waits until all that was queued has ended, or the run is stopped. Calls `meanwhile` repeatedly.
    void wait_until_served(const std::function<void()> &meanwhile);

    /// Closes the line. What was not served before will not be.
    void finish();

    /// How a read has ended; one without a name was not served. After finish(), once for each name.
    Status read_status(const std::optional<RequestName> &name);

    /// Likewise for a write, also before finish() once it was served.
    Status write_status(int id) const;

    /// What the driver holds for the place: what was read, once the read has ended well.
    Values values(const Variable &place) const;

    /// What else the user should know about the line. After finish().
    std::vector<std::string> remarks() const {
        return remarks_.sentences();
    }

    /// Why the line failed; empty if it did not.
    std::string line_error() const {
        return session_.line_error();
    }

private:
    bool wait_for_room(int requests) const;
    void take_write_results();
    Status unserved() const;

    Driver &driver_;
    const PollRules rules_;
    StopSignal &stop_;
    RequestWatch watch_;
    Writer writer_;
    LinkRemarks remarks_;
    Session session_;
    std::map<RequestName, int> stations_;  // of the reads
    std::map<int, Status> writes_;         // that have ended, by id
};

}  // namespace kelpo
