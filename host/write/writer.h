#pragma once

#include "host/driver/driver.h"
#include "host/link/link_watcher.h"
#include "host/write/write_queue.h"

#include <functional>
#include <mutex>

namespace kelpo {

/// Writes to controllers over a link: passes one request at a time to the driver, from the link's own thread and right
/// before the driver is asked for its next one, so that it is sent at once or not at all. Any thread may ask for writes
/// and read the results. Nothing else may queue writes in the driver; they would come in between.
class Writer : public LinkWatcher {
public:
    using Clock = std::function<WriteQueue::Time()>;

    /// `driver` must outlive the link.
    explicit Writer(Driver &driver, IfAway if_away = IfAway::wait_for_line,
                    Clock clock = std::chrono::steady_clock::now)
        : driver_(driver), clock_(std::move(clock)), queue_(if_away) {}

    /// As WriteQueue::add.
    int write(std::vector<WritePart> parts, WriteQueue::Time asked, std::chrono::milliseconds within);

    /// The results since the last call, oldest first. Those of writes that are late by now are among them.
    std::vector<WriteResult> take_results();

    /// As the functions of WriteQueue.
    bool has(int id) const;
    std::size_t size() const;
    std::size_t requests() const;
    void station_off(int station, const std::string &why);
    void station_on(int station);
    void end(const std::string &why, ExitCode code);

    void about_to_ask() override;
    bool may_leave(const Exchange &exchange) override;
    void exchanged(const Exchange &exchange) override;
    void station_rests(int station, std::chrono::milliseconds pause) override;
    void rest_ended(int station, bool has_answered) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    // The request that was passed to the driver and has not ended there.
    struct HandedOver {
        RequestName name;
        int number;  // in the queue
    };

    Driver &driver_;
    const Clock clock_;
    std::optional<HandedOver> handed_over_;  // of the link's thread alone
    mutable std::mutex mutex_;  // guards the queue; the driver's list lock may be held when it is taken, never after
    WriteQueue queue_;
};

}  // namespace kelpo
