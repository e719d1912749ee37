#pragma once

#include <utility>

#include <unistd.h>

namespace plc {

/// An open file descriptor, closed at its end, or none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        close();
    }

    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, none)) {}
    Descriptor &operator=(Descriptor &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    /// Negative when there is none.
    int number() const {
        return number_;
    }

    void close() {
        if (number_ != none)
            ::close(number_);
        number_ = none;
    }

private:
    static constexpr int none = -1;

    int number_ = none;
};

}  // namespace plc
