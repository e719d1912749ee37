#pragma once

#include "host/driver/variable.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kelpo {

/// One variable as the screen shows it.
struct PollRow {
    enum class State {
        asked,
        stale,    ///< it has not been read for longer than it should take
        down,     ///< its station does not answer
        failing,  ///< its station answers, but the last request for it failed
        lost,     ///< the line is lost
        off       ///< its station is switched off
    };

    std::string name;
    int station;
    std::string place;                               ///< register type and address: "7:100"
    std::string value;                               ///< empty: not read yet
    std::size_t widest_value;                        ///< characters of the longest text that the value can have
    std::optional<std::chrono::nanoseconds> age;     ///< since it was read
    std::optional<std::chrono::nanoseconds> steady;  ///< since it changed
    std::uint64_t changes = 0;
    State state = State::asked;
    bool write_waits = false;
};

/// The row of a variable that was not read yet.
PollRow row_of(const Variable &variable);

}  // namespace kelpo
