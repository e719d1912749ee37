/// \file
/// Where the random operations take their decisions from.
#ifndef MODEL_CHOICES_H
#define MODEL_CHOICES_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <vector>

namespace model {

/// A source of decisions: a random engine in the tests, a byte stream in a fuzz target.
class Choices {
public:
    virtual ~Choices() = default;

    /// A number from 0 to n - 1; `n` is at least 1.
    virtual unsigned next(unsigned n) = 0;

    bool chance(unsigned percent) {
        return next(100) < percent;
    }

    /// A number from `low` to `high`, both included.
    int between(int low, int high) {
        return low + static_cast<int>(next(static_cast<unsigned>(high - low) + 1));
    }

    template <class T> T one_of(std::initializer_list<T> values) {
        return *(values.begin() + next(static_cast<unsigned>(values.size())));
    }

    template <class T> const T &one_of(const std::vector<T> &values) {
        return values[next(static_cast<unsigned>(values.size()))];
    }
};

/// Decisions of a seeded engine, the same on every platform.
class SeededChoices : public Choices {
public:
    explicit SeededChoices(unsigned seed) : engine(seed) {}

    unsigned next(unsigned n) override {
        return static_cast<unsigned>(engine() % n);
    }

private:
    std::mt19937 engine;
};

/// Decisions of a byte stream: each uses as many bytes as its range needs, and all are 0 once the stream has ended. The
/// caller owns the bytes, which must outlive the object.
class StreamChoices : public Choices {
public:
    StreamChoices(const std::uint8_t *bytes, std::size_t size) : position(bytes), end(bytes + size) {}

    /// No byte is left.
    bool ended() const {
        return position == end;
    }

    unsigned next(unsigned n) override {
        unsigned value = 0;
        for (unsigned range = n - 1; range > 0; range >>= 8)
            value = value << 8 | (ended() ? 0u : *position++);
        return value % n;
    }

private:
    const std::uint8_t *position;
    const std::uint8_t *end;
};

}  // namespace model

#endif
