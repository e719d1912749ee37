#pragma once

#include <cstddef>
#include <cstdint>

namespace kelpo {

/// CRC-16 of Modbus RTU over `size` bytes. A frame carries its low byte first. The host has its own CRC function, so
/// that it can check what the driver sends.
std::uint16_t rtu_crc(const unsigned char *bytes, std::size_t size);

}  // namespace kelpo
