#include "host/line/line_text.h"

#include <fmt/format.h>

namespace kelpo {
namespace {

struct NamedParity {
    Parity parity;
    const char *name;
    char letter;
};

constexpr NamedParity parities[] = {
    {Parity::none, "none", 'N'}, {Parity::even, "even", 'E'}, {Parity::odd, "odd", 'O'}};

const NamedParity &row_of(Parity parity) {
    for (const NamedParity &row : parities)
        if (row.parity == parity)
            return row;
    return parities[0];
}

}  // namespace

const char *name_of(Parity parity) {
    return row_of(parity).name;
}

std::optional<Parity> parity_named(const std::string &name) {
    for (const NamedParity &row : parities)
        if (name == row.name)
            return row.parity;
    return std::nullopt;
}

std::string character_text(const LineSettings &line) {
    return fmt::format("{} 8{}{}", line.speed, row_of(line.parity).letter, line.stop_bits);
}

}  // namespace kelpo
