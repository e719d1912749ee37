// One read exchange without input and output, compared with libmodbus.
#include "bench/exchanges.h"
#include "bench/heap_count.h"
#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

namespace {

template <typename Exchange> void exchange(benchmark::State &state, const ReadSubject &subject) {
    Exchange contender(subject);
    for (int i = 0; i < 2 * requests_in_turn; ++i)
        if (!contender.once()) {
            state.SkipWithError("the reply was not accepted");
            return;
        }
    const std::uint64_t before = heap_allocations();
    for (auto _ : state)
        if (!contender.once()) {
            state.SkipWithError("the reply was not accepted");
            return;
        }
    state.counters["allocations"] =
        static_cast<double>(heap_allocations() - before) / static_cast<double>(state.iterations());
}

}  // namespace

void add_exchange_rows() {
    for (const ReadSubject &subject : read_subjects) {
        const std::string title = std::string("exchange without I/O, ") + subject.name + "/";
        benchmark::RegisterBenchmark((title + "driver").c_str(), exchange<DriverExchange>, subject);
        benchmark::RegisterBenchmark((title + "libmodbus").c_str(), exchange<PeerExchange>, subject);
    }
}

}  // namespace bench
