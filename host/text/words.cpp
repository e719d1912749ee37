#include "host/text/words.h"

#include "common/nearest.h"

#include <algorithm>
#include <charconv>

#include <wchar.h>

namespace kelpo {
namespace {

constexpr std::string_view blanks = " \t\r\n";

// Bytes of the control character at `at`, 0 when there is none. Those beyond ASCII, C2 80 to C2 9F in UTF-8, a
// terminal obeys as well.
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

// Bytes of the character that begins with `first`, 0 when none does.
std::size_t character_length(unsigned char first) {
    if (first < 0x80)
        return 1;
    if (first >= 0xC2 && first <= 0xDF)
        return 2;
    if (first >= 0xE0 && first <= 0xEF)
        return 3;
    return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

// Over-long forms, surrogates and what lies beyond the last code point show in the second byte.
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

// The character that begins at `at`; of what is no UTF-8, a byte.
std::string_view character_at(std::string_view text, std::size_t at) {
    std::size_t end = at + 1;
    if (character_length(static_cast<unsigned char>(text[at])) > 1)
        while (end < text.size() && continues_character(text[end]))
            ++end;
    return text.substr(at, end - at);
}

std::size_t columns_of(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    const std::size_t length = character_length(first);
    if (length <= 1 || length != character.size())
        return 1;
    wchar_t code = static_cast<wchar_t>(first & (0x7FU >> length));
    for (const char byte : character.substr(1))
        code = static_cast<wchar_t>(code << 6 | (static_cast<unsigned char>(byte) & 0x3F));
    const int columns = wcwidth(code);
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

}  // namespace

std::string in_quotes(std::string_view text) {
    constexpr std::size_t longest = 60;
    const bool escape_all = !is_utf8(text);
    std::string result = "\"";
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
    return result + "\"";
}

std::string without_controls(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t control = control_length(text, i), length = std::max<std::size_t>(control, 1);
        if (control > 0)
            append_escaped(result, text.substr(i, length));
        else
            result += text[i];
        i += length;
    }
    return result;
}

std::string printable(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t control = control_length(text, i);
        result += control > 0 ? '.' : text[i];
        i += std::max<std::size_t>(control, 1);
    }
    return result;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lowered(std::string_view text) {
    std::string result(text);
    for (char &character : result)
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return result;
}

std::optional<long long> whole_number(std::string_view text) {
    long long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<std::string> nearest(std::string_view name, const std::vector<std::string> &known) {
    return common::nearest(name, known);
}

std::string listed(const std::vector<std::string> &words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i > 0)
            text += i + 1 == words.size() ? " and " : ", ";
        text += words[i];
    }
    return text;
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

bool has_control_characters(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (control_length(text, i) > 0)
            return true;
    return false;
}

std::size_t width_of(std::string_view text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size(); at += character_at(text, at).size())
        columns += columns_of(character_at(text, at));
    return columns;
}

std::string cut_to(std::string_view text, std::size_t width) {
    if (width_of(text) <= width)
        return std::string(text);
    if (width == 0)
        return {};
    std::size_t end = 0;
    for (std::size_t columns = columns_of(character_at(text, 0)); columns < width;
         columns += columns_of(character_at(text, end)))
        end += character_at(text, end).size();
    return std::string(text.substr(0, end)) + "~";
}

}  // namespace kelpo
