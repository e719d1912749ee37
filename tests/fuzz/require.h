#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

namespace fuzz {

/// Ends the program, as every finding does: what was expected is not so.
[[noreturn]] inline void fail(const std::string &what) {
    std::cerr << "NOT TRUE: " << what << std::endl;
    std::abort();
}

inline void require(bool holds, const char *what) {
    if (!holds)
        fail(what);
}

}  // namespace fuzz
