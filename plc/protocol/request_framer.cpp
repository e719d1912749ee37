#include "plc/protocol/request_framer.h"

#include <utility>

namespace plc {
namespace {

bool is_whole_request(const std::uint8_t *start, std::size_t length) {
    return request_length(start, length) == length && crc_is_right(start, length);
}

bool is_whole_unknown_request(const Bytes &frame) {
    return crc_is_right(frame.data(), frame.size()) && !is_served(frame[1]) && (frame[1] & exception_bit) == 0;
}

}  // namespace

std::optional<Bytes> RequestFramer::take(const std::uint8_t *bytes, std::size_t count) {
    if (too_long_ || frame_.size() + count > max_frame_length) {
        frame_.clear();
        too_long_ = true;
        return std::nullopt;
    }
    frame_.insert(frame_.end(), bytes, bytes + count);
    if (!is_whole_request(frame_.data(), frame_.size()))
        return std::nullopt;
    return std::exchange(frame_, Bytes());
}

std::optional<Bytes> RequestFramer::end_by_silence() {
    const Bytes frame = std::exchange(frame_, Bytes());
    too_long_ = false;

    // The longest first: a request's own data may look like a shorter one.
    for (std::size_t start = 0; start + min_frame_length <= frame.size(); ++start)
        if (is_whole_request(frame.data() + start, frame.size() - start))
            return Bytes(frame.begin() + static_cast<std::ptrdiff_t>(start), frame.end());

    // The length of a request whose function is not served is unknown, so only the whole frame can be its request.
    if (is_whole_unknown_request(frame))
        return frame;
    return std::nullopt;
}

bool RequestFramer::at_rest() const {
    return frame_.empty() && !too_long_;
}

}  // namespace plc
