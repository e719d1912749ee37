// What the cache takes from the heap.
#include "bench/driver_link.h"
#include "bench/heap_count.h"
#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <string>

namespace bench {

namespace {

constexpr int units = 50000;

void fill_cache(benchmark::State &state, int reg_type, int bytes_per_unit) {
    ComInfo &com_info = configure_driver();
    com_info.write_mode = 0;
    com_info.multi_station = 1;
    const int count = reg_type == double_words ? 2 * units : units;
    const QString first = QLatin1String(reg_type == double_words ? "200" : "0");
    const QByteArray data(bytes_per_unit * units, '\x01');
    PLC_driver.bit_cache.clear();
    PLC_driver.word_cache.clear();
    PLC_driver.dword_cache.clear();
    const std::uint64_t before = heap_bytes();
    for (auto _ : state)
        SetRegisterData(QString(), reg_type, first, station, data, count, 1, 1);
    state.counters["bytes per unit"] = static_cast<double>(heap_bytes() - before) / units;
}

void add(const char *name, int reg_type, int bytes_per_unit) {
    benchmark::RegisterBenchmark(name, fill_cache, reg_type, bytes_per_unit)->Iterations(1);
}

}  // namespace

void add_memory_rows() {
    add("50000 bits into the cache/driver", bits, 1);
    add("50000 registers into the cache/driver", registers, 2);
    add("50000 double words into the cache/driver", double_words, 4);
}

}  // namespace bench
