#include "common/utf8_text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace common {

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

// Of the valid character that begins at `at`; 0 when none does.
std::size_t valid_length(std::string_view text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    const std::size_t length = character_length(first);
    if (length == 0 || text.size() - at < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!continues_character(text[at + i]))
            return 0;
    return length == 1 || second_byte_fits(first, static_cast<unsigned char>(text[at + 1])) ? length : 0;
}

std::uint32_t code_of(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1)
        return first;
    std::uint32_t code = first & (0x7FU >> character.size());
    for (const char byte : character.substr(1))
        code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
    return code;
}

struct Codes {
    std::uint32_t first, last;
};

constexpr Codes obeyed[] = {
    {0x00, 0x1F},      // controls
    {0x7F, 0x9F},      // delete, and the controls that stand for an escape and a letter
    {0x61C, 0x61C},    // from here on what changes the direction of writing
    {0x200E, 0x200F},  //
    {0x2028, 0x2029},  // the ends of a line and of a paragraph
    {0x202A, 0x202E},  // the direction again
    {0x2066, 0x206F},  // and more that is obeyed, not shown
};

bool is_obeyed(std::uint32_t code) {
    return std::any_of(std::begin(obeyed), std::end(obeyed),
                       [code](const Codes &codes) { return code >= codes.first && code <= codes.last; });
}

void append_escaped(std::string &to, std::string_view bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        to.append({'\\', 'x', digits[byte >> 4U], digits[byte & 15U]});
    }
}

}  // namespace

bool is_utf8(std::string_view text) {
    for (std::size_t i = 0, length = 0; i < text.size(); i += length) {
        length = valid_length(text, i);
        if (length == 0)
            return false;
    }
    return true;
}

bool is_printable(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); i += valid_length(text, i))
        if (unprintable_length(text, i) > 0)
            return false;
    return true;
}

std::size_t unprintable_length(std::string_view text, std::size_t at) {
    const std::size_t length = valid_length(text, at);
    if (length == 0)
        return 1;
    return is_obeyed(code_of(text.substr(at, length))) ? length : 0;
}

std::string printable(std::string_view text, std::size_t longest) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        if (result.size() >= longest)
            return result + "...";
        const std::size_t obeyed_bytes = unprintable_length(text, i);
        const std::size_t length = obeyed_bytes > 0 ? obeyed_bytes : valid_length(text, i);
        if (obeyed_bytes > 0)
            append_escaped(result, text.substr(i, length));
        else
            result += text.substr(i, length);
        i += length;
    }
    return result;
}

std::string shown(std::string_view text) {
    constexpr std::size_t longest = 59;
    return printable(text, longest);
}

}  // namespace common
