// Runs all rows and prints the table. Arguments are those of Google Benchmark, e.g. --benchmark_filter=exchange.
#include "bench/rows.h"
#include "bench/table.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <vector>

int main(int argc, char **argv) {
    // What is compared runs in turn, so that a busy machine slows everything alike; the medians count.
    std::vector<std::string> words = {argv[0], "--benchmark_repetitions=15", "--benchmark_min_time=0.02",
                                      "--benchmark_enable_random_interleaving=true"};
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return EXIT_FAILURE;

    bench::add_crc_rows();
    bench::add_exchange_rows();
    bench::add_rebuild_rows();
    bench::add_screen_rows();
    bench::add_memory_rows();
    bench::Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return table.failed() ? EXIT_FAILURE : EXIT_SUCCESS;
}
