#include "host/frames/heard_frames.h"

#include "host/line/modbus.h"

#include <algorithm>

namespace kelpo {
namespace {

constexpr std::size_t longest_frame = 256;

// By its own header; 0: that is not known. Less than its header is not enough to know.
std::size_t request_size(const FrameBytes &bytes) {
    constexpr std::size_t fixed_size = 8, byte_count_at = 6, around_data = 9;
    const int function = bytes[1];
    if (modbus::is_read(function) || modbus::is_single_write(function))
        return fixed_size;
    if (function != modbus::write_coils && function != modbus::write_registers)
        return 0;
    return bytes.size() <= byte_count_at ? around_data : around_data + bytes[byte_count_at];
}

bool is_known(int function) {
    function &= ~modbus::exception_bit;
    return modbus::is_read(function) || modbus::is_write(function);
}

bool is_whole(const FrameBytes &bytes, std::size_t size) {
    return size > 0 && size <= bytes.size() && crc_right(part_of(bytes, 0, size));
}

}  // namespace

void HeardFrames::take(std::string_view bytes, TraceTime time) {
    // An adapter may hand over in a moment what took longer on the line.
    TraceTime earliest = !times_.empty() ? times_.back() : last_end_.value_or(TraceTime::min());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        earliest = std::max(earliest, time - character_time_ * static_cast<int>(bytes.size() - 1 - i));
        bytes_.push_back(static_cast<std::uint8_t>(bytes[i]));
        times_.push_back(earliest);
    }
    split(false);
}

void HeardFrames::end() {
    split(true);
}

void HeardFrames::split(bool is_over) {
    constexpr std::size_t most_kept = 2 * longest_frame;
    while (!bytes_.empty()) {
        const Found first = frame_at(0, is_over);
        const bool has_known_end = bytes_.size() < modbus::shortest_frame || is_known(bytes_[1]);
        if (first.kind == Kind::unfinished && has_known_end)
            return;
        if (first.size > 0) {
            put_frame(first);
            continue;
        }
        std::size_t at = 1;
        while (at < bytes_.size() && frame_at(at, is_over).size == 0)
            ++at;
        if (at < bytes_.size() && !has_known_end && crc_right(part_of(bytes_, 0, at)))
            put_frame(other_function_in(part_of(bytes_, 0, at)));
        else if (at < bytes_.size())
            discard(at);
        else if (is_over)
            discard(bytes_.size());
        else if (bytes_.size() > most_kept)
            discard(longest_frame);
        else
            return;
    }
}

// What begins there; the size is that of a whole frame.
HeardFrames::Found HeardFrames::frame_at(std::size_t at, bool is_over) const {
    constexpr std::size_t most_needed = 9 + 255;  // by a byte count
    const FrameBytes bytes = part_of(bytes_, at, std::min(bytes_.size() - at, most_needed));
    const Kind unfinished = is_over ? Kind::none : Kind::unfinished;
    if (bytes.size() < modbus::shortest_frame)
        return {unfinished, 0};
    if (!is_known(bytes[1]))
        return is_over ? other_function_in(bytes) : Found{Kind::unfinished, 0};
    const Found due = due_reply_at(bytes);
    if (due.size > 0)
        return due;
    const std::size_t asks = request_size(bytes), answers = reply_size_at(bytes, 0);
    if (is_whole(bytes, asks))
        return {Kind::request, asks};
    if (is_whole(bytes, answers))
        return {Kind::stray_reply, answers};
    const bool may_go_on = due.kind == Kind::unfinished || asks > bytes.size() || answers > bytes.size();
    return {may_go_on ? unfinished : Kind::none, 0};
}

HeardFrames::Found HeardFrames::due_reply_at(const FrameBytes &bytes) const {
    if (request_.empty() || bytes[0] != request_[0] || (bytes[1] & ~modbus::exception_bit) != request_[1])
        return {Kind::none, 0};
    const std::size_t size = reply_size_at(bytes, 0);
    // A read that is repeated may have the length of a reply.
    const bool is_repeated = modbus::is_read(request_[1]) && size == request_.size() && is_whole(bytes, size) &&
                             part_of(bytes, 0, size) == request_;
    if (is_whole(bytes, size) && !is_repeated)
        return {Kind::reply, size};
    return {size > bytes.size() ? Kind::unfinished : Kind::none, 0};
}

// Only silence shows where it ends, or else its check.
HeardFrames::Found HeardFrames::other_function_in(const FrameBytes &bytes) const {
    const bool is_due =
        !request_.empty() && bytes[0] == request_[0] && (bytes[1] & ~modbus::exception_bit) == request_[1];
    const Kind kind = is_due                                    ? Kind::reply
                      : (bytes[1] & modbus::exception_bit) != 0 ? Kind::stray_reply
                                                                : Kind::request;
    if (bytes.size() <= longest_frame && crc_right(bytes))
        return {kind, bytes.size()};
    for (std::size_t size = modbus::shortest_frame; size < std::min(bytes.size(), longest_frame); ++size)
        if (is_whole(bytes, size))
            return {kind, size};
    return {Kind::none, 0};
}

void HeardFrames::put_frame(const Found &found) {
    constexpr int broadcast = 0;
    switch (found.kind) {
    case Kind::request:
        if (!request_.empty())
            records_.push_back({times_.front(), TraceRecord::Direction::received, {}, {}, {}});
        request_ = bytes_[0] == broadcast ? FrameBytes() : part_of(bytes_, 0, found.size);
        put(TraceRecord::Direction::sent, found.size);
        break;
    case Kind::reply:
        request_.clear();
        put(TraceRecord::Direction::received, found.size);
        break;
    default:
        put(TraceRecord::Direction::discarded, found.size);
        break;
    }
}

void HeardFrames::discard(std::size_t size) {
    put(TraceRecord::Direction::discarded, size);
}

void HeardFrames::put(TraceRecord::Direction direction, std::size_t size) {
    TraceRecord record{times_.front(), direction, part_of(bytes_, 0, size), {}, {}};
    if (last_end_)
        record.silence = times_.front() - *last_end_;
    records_.push_back(std::move(record));
    last_end_ = times_[size - 1];
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(size));
    times_.erase(times_.begin(), times_.begin() + static_cast<std::ptrdiff_t>(size));
}

}  // namespace kelpo
