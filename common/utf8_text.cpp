#include "common/utf8_text.h"

#include <algorithm>

namespace common {
namespace {

// Over-long forms, surrogates and values beyond the last code point can be seen in the second byte.
bool second_byte_fits(unsigned char first, unsigned char second) {
    switch (first) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second <= 0x9F;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second <= 0x8F;
    default:
        return true;
    }
}

}  // namespace

// Those beyond ASCII are C2 80 to C2 9F in UTF-8.
std::size_t control_length(std::string_view text, std::size_t at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20 || byte == 0x7F)
        return 1;
    const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
    return byte == 0xC2 && next >= 0x80 && next < 0xA0 ? 2 : 0;
}

void append_escaped(std::string &to, std::string_view bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        to.append({'\\', 'x', digits[byte >> 4U], digits[byte & 15U]});
    }
}

bool continues_character(char character) {
    return (static_cast<unsigned char>(character) & 0xC0U) == 0x80U;
}

std::size_t character_length(unsigned char first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        return 2;
    if (first >= 0xE0 && first <= 0xEF)
        return 3;
    return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

bool is_utf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto first = static_cast<unsigned char>(text[i]);
        const std::size_t length = character_length(first);
        if (length == 0 || text.size() - i < length)
            return false;
        for (std::size_t j = 1; j < length; ++j)
            if (!continues_character(text[i + j]))
                return false;
        if (length > 1 && !second_byte_fits(first, static_cast<unsigned char>(text[i + 1])))
            return false;
        i += length;
    }
    return true;
}

std::string shown(std::string_view text) {
    constexpr std::size_t longest = 59;
    const bool escape_all = !is_utf8(text);
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        if (result.size() >= longest && !continues_character(text[i])) {
            result += "...";
            break;
        }
        const std::size_t control = control_length(text, i), length = std::max<std::size_t>(control, 1);
        const bool beyond_ascii = static_cast<unsigned char>(text[i]) >= 0x80;
        if (control > 0 || (escape_all && beyond_ascii))
            append_escaped(result, text.substr(i, length));
        else
            result += text[i];
        i += length;
    }
    return result;
}

}  // namespace common
