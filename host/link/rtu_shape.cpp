#include "host/link/rtu_shape.h"

#include "host/line/modbus.h"
#include "host/line/rtu_crc.h"

namespace kelpo::rtu {
namespace {

constexpr unsigned wait_function = 0x6A;
constexpr unsigned wait_code = 0x8B;
constexpr std::size_t named_size = 6;  // station, function, address, value or quantity

std::uint16_t crc_of(std::string_view bytes) {
    return rtu_crc(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size());
}

}  // namespace

unsigned byte_at(std::string_view frame, std::size_t at) {
    return static_cast<unsigned char>(frame[at]);
}

int function_of(std::string_view frame) {
    return frame.size() < 2 ? 0 : static_cast<unsigned char>(frame[1]);
}

bool crc_is_right(std::string_view frame) {
    if (frame.size() < modbus::shortest_frame)
        return false;
    const std::size_t end = frame.size() - modbus::crc_size;
    return (byte_at(frame, end) | byte_at(frame, end + 1) << 8U) == crc_of(frame.substr(0, end));
}

std::string with_crc(std::string bytes) {
    const unsigned crc = crc_of(bytes);
    bytes += static_cast<char>(crc & 0xFFU);
    bytes += static_cast<char>(crc >> 8U);
    return bytes;
}

bool is_acknowledged_by_itself(std::string_view request) {
    return request.size() == modbus::acknowledgement_size && modbus::is_single_write(function_of(request));
}

std::optional<unsigned> exception_code(std::string_view reply, std::string_view request) {
    if (reply.size() != modbus::exception_size || request.size() < 2 || reply[0] != request[0] ||
        function_of(reply) != (function_of(request) | modbus::exception_bit) || !crc_is_right(reply))
        return std::nullopt;
    return byte_at(reply, 2);
}

bool is_lasting(unsigned exception_code) {
    return exception_code >= 1 && exception_code <= 3;
}

bool needs_time(unsigned exception_code) {
    return exception_code == 5 || exception_code == 6;
}

bool asks_to_wait(std::string_view reply) {
    return reply.size() == modbus::exception_size && byte_at(reply, 1) == wait_function &&
           byte_at(reply, 2) == wait_code;
}

std::optional<ShortRead> short_read(std::string_view request) {
    constexpr std::size_t address_end = 4;
    constexpr int bit_reply = 6, register_reply = 7;
    const int function = request.size() < named_size ? 0 : function_of(request);
    if (!modbus::is_read(function) && !modbus::is_write(function))
        return std::nullopt;
    const bool of_bits = modbus::works_on_bits(function);
    std::string read(request.substr(0, address_end));
    if (modbus::is_write(function))
        read[1] = static_cast<char>(of_bits ? modbus::read_coils : modbus::read_holding_registers);
    return ShortRead{with_crc(read + std::string("\0\1", 2)), of_bits ? bit_reply : register_reply};
}

bool can_answer(std::string_view reply, std::string_view request, int reply_size) {
    if (asks_to_wait(reply))
        return true;
    const bool due_size = reply_size < 0 || reply.size() == static_cast<std::size_t>(reply_size);
    const int asked = request.size() < named_size ? 0 : function_of(request);
    if (!modbus::is_read(asked) && !modbus::is_write(asked))
        return due_size;
    const int function = function_of(reply);
    if (function == (asked | modbus::exception_bit))
        return reply.size() == modbus::exception_size;
    if (function != asked || !due_size)
        return false;
    if (modbus::is_read(asked))
        return byte_at(reply, 2) + modbus::exception_size == reply.size();
    return reply.substr(0, named_size) == request.substr(0, named_size);
}

}  // namespace kelpo::rtu
