#include "host/frames/rtu_frame.h"

#include "host/line/modbus.h"
#include "host/line/rtu_crc.h"

namespace kelpo {

std::uint16_t crc_of(const FrameBytes &frame) {
    return rtu_crc(frame.data(), frame.size() - modbus::crc_size);
}

bool crc_right(const FrameBytes &frame) {
    if (frame.size() < modbus::shortest_frame)
        return false;
    const std::uint16_t crc = crc_of(frame);
    return frame[frame.size() - 2] == (crc & 0xFF) && frame[frame.size() - 1] == crc >> 8;
}

int u16_at(const FrameBytes &bytes, std::size_t at) {
    return bytes[at] << 8 | bytes[at + 1];
}

FrameBytes part_of(const FrameBytes &bytes, std::size_t from, std::size_t size) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return {first, first + static_cast<std::ptrdiff_t>(size)};
}

RtuRequest parse_request(const FrameBytes &frame) {
    RtuRequest request;
    if (frame.size() < modbus::shortest_frame)
        return request;
    request.station = frame[0];
    request.function = frame[1];
    const bool single = modbus::is_single_write(request.function);
    const bool multiple = modbus::is_write(request.function) && !single;
    constexpr std::size_t header_of_multiple = 7;
    if ((modbus::is_read(request.function) || single) && frame.size() == modbus::read_request_size) {
        request.known = true;
        request.address = u16_at(frame, 2);
        request.count = single ? 1 : u16_at(frame, 4);
        request.value = u16_at(frame, 4);
        const auto count = static_cast<std::size_t>(request.count);
        const std::size_t data_size = modbus::works_on_bits(request.function) ? (count + 7) / 8 : count * 2;
        request.reply_size = single ? modbus::acknowledgement_size : modbus::exception_size + data_size;
    } else if (multiple && frame.size() >= header_of_multiple + modbus::crc_size) {
        request.known = true;
        request.address = u16_at(frame, 2);
        request.count = u16_at(frame, 4);
        request.data = part_of(frame, header_of_multiple, frame.size() - header_of_multiple - modbus::crc_size);
        const auto count = static_cast<std::size_t>(request.count);
        const std::size_t due = request.function == modbus::write_coils ? (count + 7) / 8 : count * 2;
        request.counts_agree = frame[6] == due && request.data.size() == due;
        request.reply_size = modbus::acknowledgement_size;
    }
    return request;
}

bool is_remote_request(const FrameBytes &frame) {
    if (frame.size() <= remote_header || frame[0] != frame.size() % 256)
        return false;
    unsigned sum = 0;
    for (std::size_t i = 0; i + 1 < frame.size(); ++i)
        sum += frame[i];
    return sum % 256 == frame.back();
}

DueReply due_after(const FrameBytes &request) {
    DueReply due;
    if (request.empty())
        return due;
    due.known = true;
    if (!crc_right(request) && is_remote_request(request)) {
        due.station = request[4];
        return due;
    }
    const RtuRequest parsed = parse_request(request);
    due.station = parsed.station;
    due.function = parsed.function;
    due.size = parsed.reply_size;
    return due;
}

std::size_t reply_size_at(const FrameBytes &bytes, std::size_t at) {
    if (bytes.size() - at < 3)
        return 0;
    const int function = bytes[at + 1];
    if ((function & modbus::exception_bit) != 0)
        return modbus::exception_size;
    if (modbus::is_read(function))
        return modbus::exception_size + bytes[at + 2];
    return modbus::is_write(function) ? modbus::acknowledgement_size : 0;
}

FoundReply find_reply(const FrameBytes &bytes, const DueReply &due) {
    for (std::size_t at = 0; at + modbus::shortest_frame <= bytes.size(); ++at) {
        const std::size_t size = reply_size_at(bytes, at);
        if (size == 0 || size > bytes.size() - at || (due.station >= 0 && bytes[at] != due.station) ||
            (due.function >= 0 && (bytes[at + 1] & ~modbus::exception_bit) != due.function))
            continue;
        if (crc_right(part_of(bytes, at, size)))
            return {at, size};
    }
    return {0, 0};
}

}  // namespace kelpo
