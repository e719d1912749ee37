#pragma once

#include "host/frames/rtu_frame.h"
#include "host/frames/trace_record.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace kelpo {

/// Takes what is heard on a line where others talk apart into frames. Nothing on the line says which bytes are a
/// request and which a reply: that follows from their lengths and checks, and from what came before. What fits nothing
/// is kept until the line is silent, and then noise.
///
/// A write of one coil or register that is repeated looks like its own acknowledgement, and is taken for it.
class HeardFrames {
public:
    using Duration = std::chrono::microseconds;

    /// `character_time` is how long a byte takes on the line; 0: it is not known.
    explicit HeardFrames(Duration character_time) : character_time_(character_time) {}

    /// Bytes of which the last has come at `time`.
    void take(std::string_view bytes, TraceTime time);

    /// The line is silent: no frame that has begun goes on.
    void end();

    /// The frames since the last call, oldest first: requests as sent, replies as received, one without bytes where a
    /// request follows a request, and noise and replies to nothing as discarded. The time of each is that of its first
    /// byte.
    std::vector<TraceRecord> taken() {
        return std::exchange(records_, {});
    }

private:
    enum class Kind { none, unfinished, request, reply, stray_reply };

    struct Found {
        Kind kind;
        std::size_t size;
    };

    void split(bool is_over);
    Found frame_at(std::size_t at, bool is_over) const;
    Found due_reply_at(const FrameBytes &bytes) const;
    Found other_function_in(const FrameBytes &bytes) const;
    void put_frame(const Found &found);
    void discard(std::size_t size);
    void put(TraceRecord::Direction direction, std::size_t size);

    const Duration character_time_;
    FrameBytes bytes_;
    std::vector<TraceTime> times_;  // of each of them
    std::optional<TraceTime> last_end_;
    FrameBytes request_;  // that has had no reply
    std::vector<TraceRecord> records_;
};

}  // namespace kelpo
