#include "host/poll/quantity_text.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace kelpo {
namespace {

template <typename... Numbers> std::string formatted(const char *format, Numbers... numbers) {
    char text[64];
    std::snprintf(text, sizeof text, format, numbers...);
    return text;
}

}  // namespace

std::string duration_text(std::chrono::nanoseconds time) {
    const double milliseconds = static_cast<double>(time.count()) / 1e6;
    if (milliseconds < 9.95)
        return formatted("%.1f ms", milliseconds);
    if (milliseconds < 999.5)
        return formatted("%.0f ms", milliseconds);
    return formatted(milliseconds < 99950 ? "%.2f s" : "%.0f s", milliseconds / 1000);
}

std::string age_text(std::chrono::nanoseconds age) {
    const double exact = std::max(0.0, static_cast<double>(age.count()) / 1e9);
    if (exact < 9.95)
        return formatted("%.1fs", exact);
    const std::int64_t seconds = std::llround(exact);
    if (seconds < 60)
        return formatted("%" PRId64 "s", seconds);
    if (seconds < 3600)
        return formatted("%" PRId64 "m%02" PRId64, seconds / 60, seconds % 60);
    if (seconds < 86400)
        return formatted("%" PRId64 "h%02" PRId64, seconds / 3600, seconds / 60 % 60);
    return formatted("%" PRId64 "d", seconds / 86400);
}

std::string bytes_text(std::uint64_t bytes) {
    const auto amount = static_cast<double>(bytes);
    if (bytes < 1000)
        return formatted("%" PRIu64 " B", bytes);
    if (amount < 999.95e3)
        return formatted("%.1f kB", amount / 1e3);
    return amount < 999.95e6 ? formatted("%.1f MB", amount / 1e6) : formatted("%.1f GB", amount / 1e9);
}

std::string rate_text(double rate) {
    return formatted("%.1f", rate);
}

}  // namespace kelpo
