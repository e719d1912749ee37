#include "plc/protocol/frame.h"

#include <algorithm>
#include <array>

namespace plc {
namespace {

constexpr std::size_t byte_count_position = 6;

struct RequestShape {
    Function function;
    std::size_t fixed_length;  // station, function, fields and CRC, without counted data
    bool counts_data;          // a byte count is at byte_count_position, and that number of bytes follows it
};

constexpr std::array<RequestShape, 6> request_shapes = {{
    {read_coils, 8, false},
    {read_holding_registers, 8, false},
    {write_single_coil, 8, false},
    {write_single_register, 8, false},
    {write_multiple_coils, 9, true},
    {write_multiple_registers, 9, true},
}};

const RequestShape *shape_of(std::uint8_t function) {
    const auto found = std::find_if(request_shapes.begin(), request_shapes.end(),
                                    [function](const RequestShape &shape) { return shape.function == function; });
    return found == request_shapes.end() ? nullptr : &*found;
}

}  // namespace

unsigned word_at(const std::uint8_t *frame, std::size_t position) {
    return static_cast<unsigned>(frame[position] << 8 | frame[position + 1]);
}

std::uint16_t crc_of(const std::uint8_t *bytes, std::size_t length) {
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < length; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1u) != 0 ? crc >> 1 ^ 0xA001u : crc >> 1;
    }
    return static_cast<std::uint16_t>(crc);
}

void append_crc(Bytes &frame) {
    const unsigned crc = crc_of(frame.data(), frame.size());
    frame.push_back(static_cast<std::uint8_t>(crc & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(crc >> 8));
}

bool crc_is_right(const std::uint8_t *frame, std::size_t length) {
    if (length < min_frame_length)
        return false;
    const unsigned crc = crc_of(frame, length - 2);
    return frame[length - 2] == (crc & 0xFF) && frame[length - 1] == crc >> 8;
}

bool is_served(std::uint8_t function) {
    return shape_of(function) != nullptr;
}

std::optional<std::size_t> request_length(const std::uint8_t *start, std::size_t length) {
    if (length < 2)
        return std::nullopt;
    const RequestShape *shape = shape_of(start[1]);
    if (shape == nullptr)
        return std::nullopt;
    if (!shape->counts_data)
        return shape->fixed_length;
    if (length <= byte_count_position)
        return std::nullopt;
    return shape->fixed_length + start[byte_count_position];
}

Bytes exception_reply(const Bytes &request, Exception code) {
    Bytes reply = {request[0], static_cast<std::uint8_t>(request[1] | exception_bit), static_cast<std::uint8_t>(code)};
    append_crc(reply);
    return reply;
}

}  // namespace plc
