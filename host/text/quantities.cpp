#include "host/text/quantities.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kelpo {

std::string duration_text(std::chrono::nanoseconds time) {
    const double milliseconds = static_cast<double>(time.count()) / 1e6;
    if (milliseconds < 9.95)
        return fmt::format("{:.1f} ms", milliseconds);
    if (milliseconds < 999.5)
        return fmt::format("{:.0f} ms", milliseconds);
    return fmt::format("{:.{}f} s", milliseconds / 1000, milliseconds < 99950 ? 2 : 0);
}

std::string exact_duration_text(std::chrono::milliseconds time) {
    const std::int64_t milliseconds = time.count();
    return milliseconds % 1000 == 0 ? fmt::format("{} s", milliseconds / 1000) : fmt::format("{} ms", milliseconds);
}

std::string milliseconds_text(std::chrono::nanoseconds time) {
    const std::int64_t tenths = (time.count() + 50'000) / 100'000;
    return fmt::format("{}.{}", tenths / 10, tenths % 10);
}

std::string age_text(std::chrono::nanoseconds age) {
    const double exact = std::max(0.0, static_cast<double>(age.count()) / 1e9);
    if (exact < 9.95)
        return fmt::format("{:.1f}s", exact);
    const std::int64_t seconds = std::llround(exact);
    if (seconds < 60)
        return fmt::format("{}s", seconds);
    if (seconds < 3600)
        return fmt::format("{}m{:02}", seconds / 60, seconds % 60);
    if (seconds < 86400)
        return fmt::format("{}h{:02}", seconds / 3600, seconds / 60 % 60);
    return fmt::format("{}d", seconds / 86400);
}

std::string bytes_text(std::uint64_t bytes) {
    const auto amount = static_cast<double>(bytes);
    if (bytes < 1000)
        return fmt::format("{} B", bytes);
    if (amount < 999.95e3)
        return fmt::format("{:.1f} kB", amount / 1e3);
    return amount < 999.95e6 ? fmt::format("{:.1f} MB", amount / 1e6) : fmt::format("{:.1f} GB", amount / 1e9);
}

std::string rate_text(double rate) {
    return fmt::format("{:.1f}", rate);
}

std::string counted(std::int64_t count, const std::string &one) {
    return counted(count, one, one + "s");
}

std::string counted(std::int64_t count, const std::string &one, const std::string &several) {
    return fmt::format("{} {}", count, count == 1 ? one : several);
}

std::string range_text(std::int64_t first, std::int64_t count) {
    return count == 1 ? std::to_string(first) : fmt::format("{} to {}", first, first + count - 1);
}

}  // namespace kelpo
