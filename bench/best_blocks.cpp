#include "bench/best_blocks.h"

#include <algorithm>

namespace bench {

double RequestCost::of(int count) const {
    const int bytes = (count * bits_per_unit + 7) / 8;
    return per_request + per_byte * bytes;
}

std::vector<int> units_of(const std::vector<Span> &wanted) {
    std::vector<int> units;
    for (const Span &span : wanted)
        for (int i = 0; i < span.count; ++i)
            units.push_back(span.first + i);
    std::sort(units.begin(), units.end());
    units.erase(std::unique(units.begin(), units.end()), units.end());
    return units;
}

std::vector<Span> touching_requests(const std::vector<int> &units, int longest) {
    std::vector<Span> requests;
    for (const int unit : units) {
        if (requests.empty() || unit != requests.back().first + requests.back().count ||
            requests.back().count == longest)
            requests.push_back({unit, 0});
        ++requests.back().count;
    }
    return requests;
}

// There is a best set in which each request begins at the first unit that is not read yet, and ends at a wanted unit:
// reading beyond that only costs time.
std::vector<Span> best_requests(const std::vector<int> &units, const RequestCost &cost) {
    struct Choice {
        double rest = 0;       // least time for this unit and all after it
        std::size_t next = 0;  // first unit after the request that begins here
    };
    std::vector<Choice> choices(units.size() + 1);
    for (std::size_t first = units.size(); first-- > 0;) {
        Choice &choice = choices[first];
        for (std::size_t last = first; last < units.size() && units[last] - units[first] < cost.longest; ++last) {
            const double time = cost.of(units[last] - units[first] + 1) + choices[last + 1].rest;
            if (last == first || time < choice.rest)
                choice = {time, last + 1};
        }
    }
    std::vector<Span> requests;
    for (std::size_t first = 0; first < units.size(); first = choices[first].next)
        requests.push_back({units[first], units[choices[first].next - 1] - units[first] + 1});
    return requests;
}

double cost_of(const std::vector<Span> &requests, const RequestCost &cost) {
    double sum = 0;
    for (const Span &request : requests)
        sum += cost.of(request.count);
    return sum;
}

}  // namespace bench
