#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace kelpo {

/// What systemd wants to know of a service. Does nothing for a program that it has not started as one.
class ServiceManager {
public:
    /// Reads the environment.
    ServiceManager();

    /// Sends one or several lines NAME=VALUE.
    void notify(const std::string &lines) const;

    /// How often it wants to hear that the service is alive; nothing if it does not.
    std::optional<std::chrono::microseconds> watchdog() const {
        return watchdog_;
    }

private:
    std::string socket_;
    std::optional<std::chrono::microseconds> watchdog_;
};

}  // namespace kelpo
