#include "host/driver/address_text.h"

#include "host/driver/register_types.h"
#include "host/text/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace kelpo {
namespace {

using Syntax = RegisterType::Syntax;

bool is_digit(char character) {
    return character >= '0' && character <= '9';
}

bool all_digits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), is_digit);
}

// Digits, perhaps after a sign, perhaps between blanks: a number of any size.
bool is_number(std::string_view text) {
    text = trimmed(text);
    const bool has_sign = !text.empty() && (text.front() == '-' || text.front() == '+');
    return all_digits(has_sign ? text.substr(1) : text);
}

std::string why_no_word_dot_bit(std::string_view text) {
    if (std::count(text.begin(), text.end(), '.') > 1)
        return "has more than one point";
    const std::size_t point = text.find('.');
    if (point == std::string_view::npos)
        return "names no bit";
    if (!is_number(text.substr(0, point)))
        return "has no number before the point";
    if (!is_number(text.substr(point + 1)))
        return "has no number after the point";
    return text.find('-') != std::string_view::npos ? "is below 0" : "is too large";
}

std::string what_is_wrong(Syntax syntax, std::string_view text) {
    if (text.empty())
        return "is empty";
    if (syntax == Syntax::word_dot_bit)
        return why_no_word_dot_bit(text);
    if (text.find('.') != std::string_view::npos)
        return "names a bit, which only types 15 to 17 have";
    if (!is_number(text))
        return "is not a number";
    if (text.front() == '-')
        return "is below 0";
    const std::string_view digits = text.front() == '+' ? text.substr(1) : text;
    if (syntax == Syntax::octal && digits.find_first_of("89") != std::string_view::npos)
        return "has a digit above 7";
    if (syntax == Syntax::decimal_from_200 && whole_number(digits).value_or(200) < 200)
        return "is below 200";
    return "is too large";
}

}  // namespace

std::string address_text(int type, int number) {
    switch (register_type(type).syntax) {
    case Syntax::octal:
        return fmt::format("{:o}", static_cast<unsigned>(number));
    case Syntax::decimal_from_200:
        return std::to_string(std::int64_t{number} + 200);
    case Syntax::word_dot_bit:
        return fmt::format("{}.{}", number / bits_in_register, number % bits_in_register);
    case Syntax::decimal:
        break;
    }
    return std::to_string(number);
}

std::string address_syntax(int type) {
    switch (register_type(type).syntax) {
    case Syntax::octal:
        return "an octal number (digits 0 to 7), such as 17";
    case Syntax::decimal_from_200:
        return "a decimal number, at least 200, such as 204";
    case Syntax::word_dot_bit:
        return "word.bit, such as 6.4";
    case Syntax::decimal:
        break;
    }
    return "a decimal number, such as 100";
}

std::string why_no_address(int type, const std::string &text) {
    return what_is_wrong(register_type(type).syntax, trimmed(text)) + "; type " + std::to_string(type) + " takes " +
           address_syntax(type);
}

}  // namespace kelpo
