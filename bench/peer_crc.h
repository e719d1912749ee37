/// \file
/// The CRC of Modbus RTU as most programs compute it, and the bytes that it is measured with.
#pragma once

#include <cstddef>
#include <vector>

/// The driver's, by its exported name.
int CalCRC(unsigned char *data, unsigned short len);

namespace bench {

/// With two tables of 256 bytes, one byte after the other.
int crc_with_two_tables(unsigned char *data, unsigned short len);

/// `size` bytes that differ.
std::vector<unsigned char> bytes_to_sum_up(std::size_t size);

}  // namespace bench
