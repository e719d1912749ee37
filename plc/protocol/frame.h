#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace plc {

using Bytes = std::vector<std::uint8_t>;

/// A whole RTU frame is never longer, station and CRC included.
constexpr std::size_t max_frame_length = 256;

/// Station, function and CRC: nothing shorter is a frame.
constexpr std::size_t min_frame_length = 4;

/// Requests to this station number go to all stations and get no reply.
constexpr unsigned broadcast_station = 0;

/// Set in a reply's function code when the reply is an exception. A request never has it.
constexpr std::uint8_t exception_bit = 0x80;

enum Function : std::uint8_t {
    read_coils = 1,
    read_holding_registers = 3,
    write_single_coil = 5,
    write_single_register = 6,
    write_multiple_coils = 15,
    write_multiple_registers = 16,
};

enum class Exception : std::uint8_t {
    illegal_function = 1,
    illegal_data_address = 2,
    illegal_data_value = 3,
};

/// The 16-bit word at `position`, high byte first. Both bytes must be there.
unsigned word_at(const std::uint8_t *frame, std::size_t position);

/// CRC-16 of `length` bytes (reflected polynomial 0xA001, initial value 0xFFFF).
std::uint16_t crc_of(const std::uint8_t *bytes, std::size_t length);

/// Appends the CRC of all bytes in `frame`, low byte first.
void append_crc(Bytes &frame);

/// True when the last two of `length` bytes are the CRC of those before. False for anything too short to be a frame.
bool crc_is_right(const std::uint8_t *frame, std::size_t length);

/// True for the six function codes that the controller knows.
bool is_served(std::uint8_t function);

/// Length in bytes, CRC included, of the request that begins with these `length` bytes.
/// Empty when the function is not served or there are too few bytes to know it.
std::optional<std::size_t> request_length(const std::uint8_t *start, std::size_t length);

/// The whole exception reply to `request`; only its first two bytes are used.
Bytes exception_reply(const Bytes &request, Exception code);

}  // namespace plc
