// CalCRC compared with the two tables of 256 bytes that most Modbus programs use, and with boost::crc.
#include "bench/peer_crc.h"
#include "bench/rows.h"

#include <benchmark/benchmark.h>
#include <boost/crc.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

namespace {

using Checksum = int (*)(unsigned char *, unsigned short);

__attribute__((noinline)) int with_boost(unsigned char *data, unsigned short len) {
    boost::crc_optimal<16, 0x8005, 0xFFFF, 0, true, true> crc;
    crc.process_bytes(data, len);
    return crc.checksum();
}

void sum_up(benchmark::State &state, Checksum checksum, std::size_t size) {
    std::vector<unsigned char> data = bytes_to_sum_up(size);
    if (checksum(data.data(), static_cast<unsigned short>(size)) !=
        CalCRC(data.data(), static_cast<unsigned short>(size))) {
        state.SkipWithError("the result differs from the driver's");
        return;
    }
    for (auto _ : state) {
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(checksum(data.data(), static_cast<unsigned short>(size)));
    }
}

}  // namespace

void add_crc_rows() {
    for (const std::size_t size : {std::size_t(6), std::size_t(25), std::size_t(253)}) {
        const std::string title = "CRC of " + std::to_string(size) + " bytes/";
        benchmark::RegisterBenchmark((title + "CalCRC").c_str(), sum_up, CalCRC, size);
        benchmark::RegisterBenchmark((title + "two tables").c_str(), sum_up, crc_with_two_tables, size);
        benchmark::RegisterBenchmark((title + "boost::crc").c_str(), sum_up, with_boost, size);
    }
}

}  // namespace bench
