#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kelpo {

/// "5.2 ms", "52 ms", "1.52 s", "152 s".
std::string duration_text(std::chrono::nanoseconds time);

/// "0.2s", "12s", "3m05", "2h07", "5d": at most five characters up to 9999 days. Negative ages count as none.
std::string age_text(std::chrono::nanoseconds age);

/// "812 B", "12.3 kB", "4.5 MB".
std::string bytes_text(std::uint64_t bytes);

/// With one digit behind the point, however large.
std::string rate_text(double rate);

}  // namespace kelpo
