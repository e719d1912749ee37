/// \file
/// The results as a table: what is measured, then the driver and its peers with the ratio of their times.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// Collects medians of benchmarks named "<title>/<contender>" and prints them once all have run, in the order in which
/// they were registered: the driver's is the first under its title, and each other one is followed by the ratio of the
/// driver's time to its own.
class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &context) override;
    void ReportRuns(const std::vector<Run> &runs) override;
    void Finalize() override;

    /// Whether a benchmark ended with an error.
    bool failed() const;

private:
    struct Row {
        std::string contender;
        std::int64_t order;
        double nanoseconds;
        std::map<std::string, double> counters;
    };
    struct Group {
        std::string title;
        std::vector<Row> rows;
    };

    Group &group(const std::string &title);
    static void print(const Group &group);

    std::vector<Group> groups_;
    bool failed_ = false;
};

}  // namespace bench
