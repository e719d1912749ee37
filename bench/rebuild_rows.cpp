// The rebuild of the cyclic list, and how it grows.
#include "bench/driver_link.h"
#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

namespace {

void rebuild(benchmark::State &state, int count) {
    configure_driver();
    QList<HOST_VAR> variables = mixed_variables(count);
    int blocks = 0;
    for (auto _ : state)
        blocks = ReCreatReadVarList(&variables);
    state.counters["blocks"] = blocks;
    state.counters["ns per variable"] =
        benchmark::Counter(count / 1e9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}  // namespace

void add_rebuild_rows() {
    for (const int count : {100, 1000, 10000, 100000})
        benchmark::RegisterBenchmark(("rebuild of " + std::to_string(count) + " variables/driver").c_str(), rebuild,
                                     count);
}

}  // namespace bench
