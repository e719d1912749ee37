#include "plc/text/number.h"

#include <charconv>
#include <cstdint>

namespace plc {

std::optional<long long> number_in(const std::string &text) {
    const std::size_t sign = text.rfind('-', 0) == 0 ? 1 : 0;
    const bool hexadecimal = text.compare(sign, 2, "0x") == 0 || text.compare(sign, 2, "0X") == 0;

    const char *const start = text.data() + sign + (hexadecimal ? 2 : 0);
    const char *const end = text.data() + text.size();
    std::uint32_t number = 0;
    const auto [stopped_at, error] = std::from_chars(start, end, number, hexadecimal ? 16 : 10);
    if (error != std::errc() || stopped_at != end)
        return std::nullopt;
    return sign == 0 ? static_cast<long long>(number) : -static_cast<long long>(number);
}

}  // namespace plc
