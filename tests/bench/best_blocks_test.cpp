// Checks the measure for the driver's blocks, with examples by hand and by comparison with trying everything.
#include "bench/best_blocks.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using bench::RequestCost;
using bench::Span;

using Pairs = std::vector<std::pair<int, int>>;

Pairs pairs(const std::vector<Span> &spans) {
    Pairs result;
    for (const Span &span : spans)
        result.emplace_back(span.first, span.count);
    return result;
}

int draw(std::mt19937 &random, int from, int to) {
    return from + static_cast<int>(random() % static_cast<unsigned>(to - from + 1));
}

std::vector<Span> random_spans(std::mt19937 &random, int most, int addresses) {
    std::vector<Span> spans;
    for (int left = draw(random, 1, most); left > 0; --left)
        spans.push_back({draw(random, 0, addresses), draw(random, 1, 3)});
    return spans;
}

RequestCost random_cost(std::mt19937 &random) {
    const int widths[] = {1, 1, 16, 32};
    RequestCost cost{};
    cost.per_request = draw(random, 0, 40);
    cost.per_byte = draw(random, 1, 3);
    cost.bits_per_unit = widths[random() % 4U];
    cost.longest = draw(random, 1, 24);
    return cost;
}

// Puts each unit into each existing request, and into one of its own, in turn: tries every way to distribute units
// among requests, in any order.
void try_all(const std::vector<int> &units, std::size_t next, std::vector<Span> &requests, const RequestCost &cost,
             double &best) {
    if (next == units.size()) {
        const double time = cost_of(requests, cost);
        if (best < 0 || time < best)
            best = time;
        return;
    }
    for (std::size_t i = 0; i < requests.size(); ++i) {
        const Span before = requests[i];
        const int count = units[next] - before.first + 1;
        if (count > cost.longest)
            continue;
        requests[i].count = count;
        try_all(units, next + 1, requests, cost, best);
        requests[i] = before;
    }
    requests.push_back({units[next], 1});
    try_all(units, next + 1, requests, cost, best);
    requests.pop_back();
}

double least_time(const std::vector<int> &units, const RequestCost &cost) {
    double best = -1;
    std::vector<Span> requests;
    try_all(units, 0, requests, cost, best);
    return best;
}

void expect_covered(const std::vector<int> &units, const std::vector<Span> &requests, int longest) {
    for (const Span &request : requests)
        EXPECT_LE(request.count, longest);
    for (const int unit : units) {
        bool read = false;
        for (const Span &request : requests)
            read = read || (unit >= request.first && unit < request.first + request.count);
        EXPECT_TRUE(read) << unit;
    }
}

TEST(BestBlocks, UnitsAreSortedAndUnique) {
    EXPECT_EQ(bench::units_of({{7, 2}, {3, 1}, {8, 3}, {20, 0}}), (std::vector<int>{3, 7, 8, 9, 10}));
}

TEST(BestBlocks, ARequestCostsWholeBytes) {
    const RequestCost bits{100, 2, 1, 160};
    EXPECT_EQ(bits.of(1), 102);
    EXPECT_EQ(bits.of(8), 102);
    EXPECT_EQ(bits.of(9), 104);
    const RequestCost registers{100, 2, 16, 100};
    EXPECT_EQ(registers.of(3), 112);
    const RequestCost double_words{100, 2, 32, 50};
    EXPECT_EQ(double_words.of(3), 124);
}

TEST(BestBlocks, TouchingRunsBecomeFullRequestsAndARemainder) {
    EXPECT_EQ(pairs(bench::touching_requests({1, 2, 3, 4, 5, 7, 8}, 3)), (Pairs{{1, 3}, {4, 2}, {7, 2}}));
}

// A register that is not wanted costs 2 bytes, a request of its own 10.
TEST(BestBlocks, AGapIsReadWhenThatCostsLessThanARequest) {
    const RequestCost cost{10, 1, 16, 100};
    EXPECT_EQ(pairs(best_requests({0, 5}, cost)), (Pairs{{0, 6}}));
    EXPECT_EQ(pairs(best_requests({0, 7}, cost)), (Pairs{{0, 1}, {7, 1}}));
}

// Two requests either way; the first could reach 4, but then both would read gaps.
TEST(BestBlocks, ARequestEndsEarlyIfThatAvoidsAGap) {
    const RequestCost cost{100, 1, 16, 5};
    EXPECT_EQ(pairs(best_requests({0, 1, 4, 5, 8}, cost)), (Pairs{{0, 2}, {4, 5}}));
}

TEST(BestBlocks, NothingWantedNeedsNoRequest) {
    EXPECT_TRUE(best_requests({}, RequestCost{10, 1, 16, 100}).empty());
}

TEST(BestBlocks, TakesTheLeastTimeOfAllWaysToDistributeUnits) {
    std::mt19937 random(7);
    int cases = 0;
    while (cases < 400) {
        const std::vector<int> units = bench::units_of(random_spans(random, 6, 40));
        if (units.size() > 8)
            continue;
        const RequestCost cost = random_cost(random);
        const std::vector<Span> requests = best_requests(units, cost);
        expect_covered(units, requests, cost.longest);
        ASSERT_DOUBLE_EQ(cost_of(requests, cost), least_time(units, cost)) << "case " << cases;
        ++cases;
    }
}

// Up to twelve spans have too many units to try every way to distribute them: here each unit is either in the request
// of the one before it or begins a request.
TEST(BestBlocks, TakesTheLeastTimeOfAllCutsOfTwelveSpans) {
    std::mt19937 random(11);
    int cases = 0;
    while (cases < 60) {
        const std::vector<int> units = bench::units_of(random_spans(random, 12, 60));
        if (units.size() > 14)
            continue;
        const RequestCost cost = random_cost(random);
        double best = -1;
        for (unsigned cuts = 0; cuts < 1U << (units.size() - 1); ++cuts) {
            std::vector<Span> requests = {{units[0], 1}};
            bool fits = true;
            for (std::size_t i = 1; i < units.size(); ++i) {
                if ((cuts >> (i - 1) & 1U) != 0)
                    requests.push_back({units[i], 1});
                requests.back().count = units[i] - requests.back().first + 1;
                fits = fits && requests.back().count <= cost.longest;
            }
            const double time = cost_of(requests, cost);
            if (fits && (best < 0 || time < best))
                best = time;
        }
        const std::vector<Span> requests = best_requests(units, cost);
        expect_covered(units, requests, cost.longest);
        ASSERT_DOUBLE_EQ(cost_of(requests, cost), best) << "case " << cases;
        ++cases;
    }
}

}  // namespace
