#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

namespace soak {

/// How long calls took: the longest, and what all but one in a thousand stay below (within a tenth).
class Waits {
public:
    template <typename Call> auto measure(Call call) -> decltype(call()) {
        const Stopwatch watch(*this);
        return call();
    }

    std::uint64_t count() const {
        return total_;
    }
    double longest_microseconds() const {
        return longest_;
    }
    double microseconds_of_all_but_one_in_a_thousand() const {
        std::uint64_t above = 0;
        for (std::size_t step = steps; step-- > 0;) {
            above += counts_[step];
            if (above * 1000 > total_)
                return limit_of(step);
        }
        return 0;
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::size_t steps = 200;

    class Stopwatch {
    public:
        explicit Stopwatch(Waits &waits) : waits_(waits), started_(Clock::now()) {}
        ~Stopwatch() {
            waits_.add(std::chrono::duration<double, std::micro>(Clock::now() - started_).count());
        }
        Stopwatch(const Stopwatch &) = delete;
        Stopwatch &operator=(const Stopwatch &) = delete;

    private:
        Waits &waits_;
        Clock::time_point started_;
    };

    static double limit_of(std::size_t step) {
        double limit = 0.1;
        for (; step > 0; --step)
            limit *= 1.1;
        return limit;
    }

    void add(double microseconds) {
        ++total_;
        longest_ = std::max(longest_, microseconds);
        double limit = 0.1;
        std::size_t step = 0;
        for (; step + 1 < steps && microseconds > limit; ++step)
            limit *= 1.1;
        ++counts_[step];
    }

    std::array<std::uint64_t, steps> counts_{};
    std::uint64_t total_ = 0;
    double longest_ = 0;
};

}  // namespace soak
