#include "host/link/wire_speed.h"

#include <chrono>

namespace kelpo {

bool WireSpeed::is_too_soon(const Channel &line, std::size_t size) const {
    constexpr auto tolerance = std::chrono::milliseconds(1);  // and a tenth
    const auto shortest = line.shortest_time(size);
    const bool has_speed = is_kept_ && shortest > std::chrono::nanoseconds::zero();
    return has_speed && line.now() + tolerance < line.request_end() + shortest - shortest / 10;
}

void WireSpeed::note(bool came_too_soon, bool came) {
    constexpr int most_alone = 2;
    if (!came_too_soon || came)
        alone_ = came ? 0 : alone_;
    else if (++alone_ >= most_alone)
        is_kept_ = false;
}

}  // namespace kelpo
