#include "host/text/words.h"

#include "common/nearest.h"
#include "common/utf8_text.h"

#include <algorithm>
#include <charconv>

#include <wchar.h>

namespace kelpo {
namespace {

constexpr std::string_view blanks = " \t\r\n";

// The character that begins at `at`; a byte if it is not UTF-8.
std::string_view character_at(std::string_view text, std::size_t at) {
    std::size_t end = at + 1;
    if (common::character_length(static_cast<unsigned char>(text[at])) > 1)
        while (end < text.size() && common::continues_character(text[end]))
            ++end;
    return text.substr(at, end - at);
}

std::size_t columns_of(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    const std::size_t length = common::character_length(first);
    if (length <= 1 || length != character.size())
        return 1;
    wchar_t code = static_cast<wchar_t>(first & (0x7FU >> length));
    for (const char byte : character.substr(1))
        code = static_cast<wchar_t>(code << 6 | (static_cast<unsigned char>(byte) & 0x3F));
    const int columns = wcwidth(code);
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

}  // namespace

std::string printable(std::string_view text) {
    return common::printable(text);
}

std::string in_quotes(std::string_view text) {
    return '"' + common::shown(text) + '"';
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
    return common::is_utf8(text);
}

bool is_printable(std::string_view text) {
    return common::is_printable(text);
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
