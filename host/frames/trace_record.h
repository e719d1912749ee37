#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

using FrameBytes = std::vector<std::uint8_t>;

/// The bytes of `text`, each as it is.
inline FrameBytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

/// What the driver's request was for: from its record, so that the type is known if several register types share an
/// address.
struct TraceContext {
    int type;     ///< register type code 0 to 17, or the class of a polled block
    int address;  ///< within the type; register x 16 + bit for types 15 to 17
    int count;    ///< units of the type
    int group;    ///< the host's identity of the variable, first half
    int id;       ///< second half; -1 for a polled block

    bool operator==(const TraceContext &other) const {
        return type == other.type && address == other.address && count == other.count && group == other.group &&
               id == other.id;
    }
};

using TraceTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

/// One thing that happened on a line.
struct TraceRecord {
    enum class Direction {
        sent,
        received,   ///< the reply to the request sent last; without bytes: none came
        discarded,  ///< came in when no reply was expected
        note        ///< see `text`: line lost, line back, request given up
    };

    TraceTime time;
    Direction direction;
    FrameBytes bytes;                     ///< empty in notes
    std::optional<TraceContext> context;  ///< of the request, if it is known
    std::string text;                     ///< of notes: one line, UTF-8
    /// Of what was heard of others: how long the line was silent before it.
    std::optional<std::chrono::microseconds> silence{};
};

}  // namespace kelpo
