#pragma once

#include "variables.h"

#include <chrono>
#include <random>
#include <string>
#include <vector>

namespace soak {

/// The faults of one controller: lines of its --faults file. All of them end.
struct FaultChoice {
    std::vector<std::string> lines;
    std::vector<unsigned> times;       ///< how often each is to happen
    std::chrono::milliseconds latest;  ///< longest that any of them delays a reply
};

/// One to six kinds at random, from 1 in 1000 to every request, within about `requests` requests. All happen after the
/// first `requests_before_faults` ones. Half of the time there are one to three holes besides, at some of the `places`:
/// numbers that a station refuses to read and to write, but for the first two requests that touch them. `wanted`
/// narrows the choice to these words; with none all are in it.
FaultChoice choose_faults(std::mt19937 &random, unsigned requests_before_faults, unsigned requests,
                          const std::vector<std::string> &wanted, const std::vector<Cell> &places);

/// All words that choose_faults knows.
std::vector<std::string> fault_words();

}  // namespace soak
