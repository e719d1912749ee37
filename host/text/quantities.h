#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kelpo {

/// "5.2 ms", "52 ms", "1.52 s", "152 s".
std::string duration_text(std::chrono::nanoseconds time);

/// Nothing rounded: "500 ms", "5 s".
std::string exact_duration_text(std::chrono::milliseconds time);

/// Milliseconds with one decimal, without a unit: "12.3".
std::string milliseconds_text(std::chrono::nanoseconds time);

/// "0.2s", "12s", "3m05", "2h07", "5d": at most five characters up to 9999 days. Negative ages count as 0.
std::string age_text(std::chrono::nanoseconds age);

/// "812 B", "12.3 kB", "4.5 MB".
std::string bytes_text(std::uint64_t bytes);

/// With one decimal, for any size.
std::string rate_text(double rate);

/// "1 request", "2 requests".
std::string counted(std::int64_t count, const std::string &one);
std::string counted(std::int64_t count, const std::string &one, const std::string &several);

/// "7", or "7 to 19".
std::string range_text(std::int64_t first, std::int64_t count);

}  // namespace kelpo
