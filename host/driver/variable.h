#pragma once

#include "host/driver/view.h"

#include <chrono>
#include <string>
#include <vector>

namespace kelpo {

constexpr int last_station = 247;

/// A variable: a place in a controller, and how its value is shown.
struct Variable {
    std::string name;
    int station;          ///< 1 to 247
    int type;             ///< register type, 0 to 17
    std::string address;  ///< in the syntax of the register type
    int count;            ///< bits, or 16-bit registers, even if a value takes two of them
    View view;
    std::chrono::milliseconds every{0};  ///< how often it is read when it is polled; 0: in each cycle
};

/// Variables that are somewhere else.
using VariablePointers = std::vector<const Variable *>;

inline VariablePointers pointers_to(const std::vector<Variable> &variables) {
    VariablePointers pointers;
    pointers.reserve(variables.size());
    for (const Variable &variable : variables)
        pointers.push_back(&variable);
    return pointers;
}

}  // namespace kelpo
