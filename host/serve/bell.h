#pragma once

#include "host/line/descriptor.h"
#include "host/link/link_watcher.h"

namespace kelpo {

/// Wakes the thread that waits for its descriptor. Any thread may ring it.
class Bell {
public:
    /// Throws std::system_error when the system has no descriptor left.
    Bell();

    void ring() const;

    /// Until it is rung again.
    void quiet() const;

    /// To be polled: readable when it was rung.
    int descriptor() const {
        return event_.number();
    }

private:
    Descriptor event_;
};

/// Rings when there may be something new about a link.
class LinkBell : public LinkWatcher {
public:
    explicit LinkBell(const Bell &bell) : bell_(bell) {}

    void exchanged(const Exchange &exchange) override;
    void station_rests(int station, std::chrono::milliseconds pause) override;
    void rest_ended(int station, bool has_answered) override;
    void line_opened() override;
    void line_lost(const std::string &why, std::chrono::milliseconds pause) override;

private:
    const Bell &bell_;
};

}  // namespace kelpo
