#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

/// The bytes of one case, taken from the front. After the last one, zeros follow.
class Input {
public:
    /// The bytes must outlive this.
    Input(const std::uint8_t *data, std::size_t size) : data_(data), left_(size) {}

    bool ended() const {
        return left_ == 0;
    }

    std::uint8_t byte() {
        if (left_ == 0)
            return 0;
        --left_;
        return *data_++;
    }

    /// Two bytes, the low one first.
    std::uint16_t word() {
        const unsigned low = byte();
        return static_cast<std::uint16_t>(low | static_cast<unsigned>(byte()) << 8U);
    }

    /// The next `count` bytes, or all that are left.
    std::vector<std::uint8_t> bytes(std::size_t count) {
        const std::size_t taken = std::min(count, left_);
        std::vector<std::uint8_t> result(data_, data_ + taken);
        data_ += taken;
        left_ -= taken;
        return result;
    }

    /// The same as text.
    std::string text(std::size_t count) {
        const std::vector<std::uint8_t> taken = bytes(count);
        return std::string(taken.begin(), taken.end());
    }

    /// All that is left.
    std::string rest() {
        return text(left_);
    }

private:
    const std::uint8_t *data_;
    std::size_t left_;
};

}  // namespace fuzz
