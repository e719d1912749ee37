#include "bench/table.h"

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

std::string in_words(double nanoseconds) {
    char text[32];
    if (nanoseconds < 1e4)
        std::snprintf(text, sizeof text, "%.1f ns", nanoseconds);
    else if (nanoseconds < 1e7)
        std::snprintf(text, sizeof text, "%.1f us", nanoseconds / 1e3);
    else
        std::snprintf(text, sizeof text, "%.1f ms", nanoseconds / 1e6);
    return text;
}

// Processor time, which other programs on the machine do not lengthen; real time where a row measures that itself.
double median(const benchmark::BenchmarkReporter::Run &run) {
    return run.run_name.time_type.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
}

}  // namespace

bool Table::ReportContext(const Context & /*context*/) {
    return true;
}

void Table::ReportRuns(const std::vector<Run> &runs) {
    for (const Run &run : runs) {
        if (run.error_occurred) {
            std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
            failed_ = true;
        }
        if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median")
            continue;
        const std::string name = run.run_name.function_name;
        const std::size_t slash = name.rfind('/');
        Row row{name.substr(slash + 1), run.family_index, median(run), {}};
        for (const auto &[counter, value] : run.counters)
            row.counters[counter] = value;
        group(name.substr(0, slash)).rows.push_back(row);
    }
}

void Table::Finalize() {
    const auto earlier = [](const auto &left, const auto &right) {
        return left.order < right.order;
    };
    for (Group &measured : groups_)
        std::sort(measured.rows.begin(), measured.rows.end(), earlier);
    std::sort(groups_.begin(), groups_.end(), [&earlier](const Group &left, const Group &right) {
        return earlier(left.rows.front(), right.rows.front());
    });
    for (const Group &measured : groups_)
        print(measured);
}

bool Table::failed() const {
    return failed_;
}

Table::Group &Table::group(const std::string &title) {
    const auto found = std::find_if(groups_.begin(), groups_.end(), [&](const Group &g) { return g.title == title; });
    if (found != groups_.end())
        return *found;
    groups_.push_back(Group{title, {}});
    return groups_.back();
}

// The ratio is the first row's time to that of another: below 1 the driver is faster.
void Table::print(const Group &group) {
    std::printf("%s\n", group.title.c_str());
    for (const Row &row : group.rows) {
        std::printf("    %-22s %12s", row.contender.c_str(), in_words(row.nanoseconds).c_str());
        if (&row == &group.rows.front())
            std::printf(" %9s", "");
        else
            std::printf(" %9.2f", group.rows.front().nanoseconds / row.nanoseconds);
        for (const auto &[counter, value] : row.counters)
            std::printf("   %s %.4g", counter.c_str(), value);
        std::printf("\n");
    }
}

}  // namespace bench
