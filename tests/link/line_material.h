#ifndef LINE_MATERIAL_H
#define LINE_MATERIAL_H

#include "host/line/channel.h"
#include "host/line/line_error.h"
#include "host/line/line_settings.h"

#include <chrono>
#include <functional>
#include <string>

/// What tests open lines with, and what opening one reports.
namespace lines {

/// A wait that ends only by a time-out of an hour ends the test run first.
inline constexpr kelpo::ReplyTimeouts never{std::chrono::hours(1), std::chrono::hours(1), std::chrono::milliseconds(0)};

inline kelpo::LineSettings settings(const std::string &path) {
    kelpo::LineSettings result;
    result.path = path;
    return result;
}

/// The words of the LineError that `action` ends with.
inline std::string message_of(const std::function<void()> &action) {
    try {
        action();
    } catch (const kelpo::LineError &error) {
        return error.what();
    }
    return "no LineError";
}

}  // namespace lines

#endif
