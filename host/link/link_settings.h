#pragma once

#include "host/driver/driver.h"
#include "host/line/line.h"

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace kelpo {

/// How long to wait before a line that was lost is opened again. Each try that fails doubles the pause; a good reply
/// resets it to the first.
struct ReopenPauses {
    std::chrono::milliseconds first{250};
    std::chrono::milliseconds longest{30000};
};

/// Which stations are not asked for a while, and for how long: see StationRests.
struct RestSettings {
    bool enabled = true;
    int after = 2;                             ///< reads in a row without a reply; 1 or more
    std::chrono::milliseconds first{1000};     ///< until the first try
    std::chrono::milliseconds longest{30000};  ///< each try without a reply doubles the pause, up to this
};

/// What a station has of its own; for the rest the settings of the link hold.
struct StationSettings {
    std::optional<int> max_count{};                    ///< most units in one request, 1 to 100
    std::optional<int> max_gap{};                      ///< most unused units in a row inside a block
    std::optional<std::chrono::milliseconds> reply{};  ///< ReplyTimeouts::reply
    std::optional<int> retries{};  ///< failed replies of one request that are tolerated before it is given up
};

/// Everything that one link needs to know before it starts.
struct LinkSettings {
    std::string driver = "libozna_kelpo_port_2.so.1";  ///< file name of the driver
    LineSettings line;
    ReplyTimeouts timeouts;
    int retries = 2;  ///< failed replies that are tolerated before a request is given up; 0 or more
    /// The driver adds up the failed replies of different requests. With this, each request begins at 0.
    bool retries_per_request = false;
    int max_count = 100;                 ///< most units in one request, 1 to 100
    std::chrono::milliseconds cycle{0};  ///< from the beginning of a cycle to that of the next, at least
    ReopenPauses pauses;
    RestSettings rest;
    /// A line that returns what is sent: the echo is taken off, and what comes after it is the reply.
    bool takes_off_echo = false;
    std::map<int, StationSettings> stations{};  ///< those with settings of their own

    /// What the driver is configured with.
    DriverSettings of_driver() const;

    /// The reply time-out of the station.
    std::chrono::milliseconds reply_of(int station) const;

    /// The reply time-outs of the stations that have their own.
    std::map<int, std::chrono::milliseconds> own_replies() const;

    /// The retries of the station.
    int retries_of(int station) const;
};

}  // namespace kelpo
