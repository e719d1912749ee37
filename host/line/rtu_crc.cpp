#include "host/line/rtu_crc.h"

namespace kelpo {

std::uint16_t rtu_crc(const unsigned char *bytes, std::size_t size) {
    unsigned crc = 0xFFFF;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xA001U : crc >> 1U;
    }
    return static_cast<std::uint16_t>(crc);
}

}  // namespace kelpo
