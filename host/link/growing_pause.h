#pragma once

#include <algorithm>
#include <chrono>
#include <random>

namespace kelpo {

/// Pauses between tries, each twice as long as the one before, and varied a little at random, so that tries that began
/// together do not stay together.
class GrowingPause {
public:
    using Milliseconds = std::chrono::milliseconds;

    GrowingPause(Milliseconds first, Milliseconds longest) : first_(first), longest_(longest) {}

    Milliseconds first() const {
        return first_;
    }

    /// The pause that follows one of `before`; the first pause if `before` is 0.
    Milliseconds after(Milliseconds before) const {
        return before == Milliseconds(0) ? first_ : std::max(first_, std::min(2 * before, longest_));
    }

    /// The actual pause: longer or shorter by up to a tenth.
    Milliseconds by_chance(Milliseconds pause) {
        std::uniform_int_distribution<Milliseconds::rep> tenth(-pause.count() / 10, pause.count() / 10);
        return pause + Milliseconds(tenth(random_));
    }

private:
    Milliseconds first_, longest_;
    std::minstd_rand random_{std::random_device{}()};
};

}  // namespace kelpo
