#include "bench/peer_crc.h"

#include <array>

namespace bench {

namespace {

struct ByteTables {
    std::array<unsigned char, 256> low{};
    std::array<unsigned char, 256> high{};

    ByteTables() {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            unsigned crc = static_cast<unsigned>(byte);
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0xA001U : crc >> 1;
            low[byte] = static_cast<unsigned char>(crc & 0xFFU);
            high[byte] = static_cast<unsigned char>(crc >> 8);
        }
    }
};

const ByteTables tables;

}  // namespace

int crc_with_two_tables(unsigned char *data, unsigned short len) {
    unsigned low = 0xFF;
    unsigned high = 0xFF;
    for (; len != 0; --len) {
        const std::size_t index = low ^ *data++;
        low = high ^ tables.low[index];
        high = tables.high[index];
    }
    return static_cast<int>(high << 8 | low);
}

std::vector<unsigned char> bytes_to_sum_up(std::size_t size) {
    std::vector<unsigned char> data(size);
    for (std::size_t i = 0; i < size; ++i)
        data[i] = static_cast<unsigned char>(i * 151 + 43);
    return data;
}

}  // namespace bench
