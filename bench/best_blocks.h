/// \file
/// Requests that read a set of units of one register class, planned in ways to compare the driver's blocks with.
#pragma once

#include <cstddef>
#include <vector>

namespace bench {

/// A run of consecutive units, read by one request or wanted by one variable.
struct Span {
    int first;
    int count;
};

/// What a request of one register class may hold, and the time that it takes on the line, in any unit.
struct RequestCost {
    double per_request;  ///< all that does not depend on how much is read
    double per_byte;     ///< for each byte of data in the reply
    int bits_per_unit;   ///< 1, 16 or 32; the data fill whole bytes
    int longest;         ///< most units in one request, at least 1

    double of(int count) const;
};

/// The distinct units of the spans, in ascending order. A span of 0 units adds none.
std::vector<int> units_of(const std::vector<Span> &wanted);

/// Merges only what touches or overlaps; what is longer than a request is cut into full requests and a remainder.
std::vector<Span> touching_requests(const std::vector<int> &units, int longest);

/// Requests that read all `units`, in the order of units_of, in the least time that any requests can: by dynamic
/// programming over the units, in (units x longest) steps. Units between may be read as well, a variable may be cut.
std::vector<Span> best_requests(const std::vector<int> &units, const RequestCost &cost);

/// Time that the requests take.
double cost_of(const std::vector<Span> &requests, const RequestCost &cost);

}  // namespace bench
