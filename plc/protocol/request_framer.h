#pragma once

#include "plc/protocol/frame.h"

namespace plc {

/// Finds requests in what comes from the line. Has no clock: the caller says when the line has been silent.
///
/// A request without other bytes is found as soon as its last byte is there. Everything else is examined when silence
/// ends the frame; in any case, the next bytes begin a new frame.
class RequestFramer {
public:
    /// Takes bytes as they come, any number at a time.
    /// Returns the request, CRC included, when the bytes since the last frame are exactly one request of a served
    /// function with the right CRC.
    std::optional<Bytes> take(const std::uint8_t *bytes, std::size_t count);

    /// Ends the frame. Returns a request of a served function that the frame ends with, whatever comes before it, or
    /// the whole frame if its CRC is right and its function is not one of the served ones. Empty when there is neither,
    /// or when more than max_frame_length bytes came without a silence.
    std::optional<Bytes> end_by_silence();

    /// True when no byte has come since the last frame: a silence would then end nothing.
    bool at_rest() const;

private:
    Bytes frame_;
    bool too_long_ = false;
};

}  // namespace plc
