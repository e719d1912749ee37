#pragma once

#include <utility>

#include <unistd.h>

namespace kelpo {

/// Owns one file descriptor, or none (-1).
class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            close(number_);
    }
    Descriptor(Descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    Descriptor &operator=(Descriptor &&) = delete;

    int number() const {
        return number_;
    }

private:
    int number_;
};

/// An event that a thread waits for, or reads, as a number: 0 at first. Throws std::system_error when the system has no
/// descriptor left.
Descriptor new_event();

}  // namespace kelpo
