#include "host/line/line_settings.h"

#include <algorithm>

namespace kelpo {

using std::chrono::nanoseconds;

nanoseconds LineSettings::character_time() const {
    const int bits = 1 + 8 + (parity == Parity::none ? 0 : 1) + stop_bits;
    return nanoseconds(std::chrono::seconds(1)) * bits / std::max(1U, speed);
}

nanoseconds LineSettings::frame_gap() const {
    constexpr nanoseconds shortest = std::chrono::microseconds(1750);
    return gap.value_or(std::max(shortest, character_time() * 7 / 2));
}

}  // namespace kelpo
