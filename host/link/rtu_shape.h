#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// What the bytes of Modbus RTU frames show without further knowledge.
namespace rtu {

constexpr std::size_t most_bytes = 512;  ///< twice the longest frame: an over-long reply is seen as one

/// The byte at `at`, which must be there.
unsigned byte_at(std::string_view frame, std::size_t at);

/// Its function code; 0 when it ends before.
int function_of(std::string_view frame);

/// Four bytes or more; the last two are the CRC of the others.
bool crc_is_right(std::string_view frame);

/// The bytes followed by their CRC.
std::string with_crc(std::string bytes);

/// A write of one coil or register (functions 5 and 6): its acknowledgement is the same, byte for byte.
bool is_acknowledged_by_itself(std::string_view request);

/// Why `reply` refuses `request`; nothing when it is no refusal of it, or its check is wrong.
std::optional<unsigned> exception_code(std::string_view reply, std::string_view request);

/// A refusal that asking again does not change: of the function, the address or the value.
bool is_lasting(unsigned exception_code);

/// A refusal by a station that needs time: it works on the request, or is busy.
bool needs_time(unsigned exception_code);

/// The controller's own reply that asks the host to wait: five bytes, the second and third are 6A 8B.
bool asks_to_wait(std::string_view reply);

/// A read of one coil or register.
struct ShortRead {
    std::string request;
    int reply_size;  ///< bytes of a good reply
};

/// The short read of the first place that `request` names, a read or write; nothing for another request.
std::optional<ShortRead> short_read(std::string_view request);

/// True when `reply`, which is complete and whose check is right, can answer `request`, a read or write, whose good
/// reply has `reply_size` bytes: a good one that names what the request names, an exception, or one that asks to wait.
/// For any other kind of request only the size is compared.
bool can_answer(std::string_view reply, std::string_view request, int reply_size);

}  // namespace rtu
}  // namespace kelpo
