/// \file
/// Fuzz target: the words that say why a text is not an address.
///
/// Input: the type, then the text. What is said about a text that the driver refuses must be true.
#include "host/driver/address_text.h"
#include "host/text/words.h"
#include "input.h"
#include "ozna_kelpo_port.h"
#include "require.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using fuzz::require;

bool holds_digit_above_7(const std::string &text) {
    return text.find_first_of("89") != std::string::npos;
}

// Digits, perhaps with a sign.
bool is_number(std::string_view text) {
    text = kelpo::trimmed(text);
    if (!text.empty() && (text.front() == '-' || text.front() == '+'))
        text.remove_prefix(1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool is_numbers_and_point(const std::string &text) {
    const std::size_t point = text.find('.');
    return point != std::string::npos && is_number(text.substr(0, point)) && is_number(text.substr(point + 1));
}

bool is_true(const std::string &said, const std::string &text) {
    const auto points = std::count(text.begin(), text.end(), '.');
    const std::size_t point = text.find('.');
    if (said == "is empty")
        return kelpo::trimmed(text).empty();
    if (said == "is below 0")
        return text.find('-') != std::string::npos && (is_number(text) || is_numbers_and_point(text));
    if (said == "has more than one point")
        return points > 1;
    if (said == "names no bit")
        return points == 0;
    if (said == "has no number before the point")
        return points == 1 && !is_number(text.substr(0, point));
    if (said == "has no number after the point")
        return points == 1 && !is_number(text.substr(point + 1));
    if (said == "names a bit, which only types 15 to 17 have")
        return points > 0;
    if (said == "is not a number")
        return points == 0 && !is_number(text);
    if (said == "has a digit above 7")
        return is_number(text) && holds_digit_above_7(text);
    if (said == "is below 200")
        return kelpo::whole_number(kelpo::trimmed(text.substr(text.find_first_of("0123456789")))).value_or(200) < 200;
    return said == "is too large" && (is_number(text) || is_numbers_and_point(text)) && text.size() >= 9;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int type = input.byte() % 18;
    const std::string text = input.rest();
    const QString driver_text = QString::fromLatin1(text.data(), static_cast<int>(text.size()));
    if (PLCAddressChangeIntef(type, driver_text) >= 0)
        return 0;
    const std::string words = kelpo::why_no_address(type, text);
    const std::string taken = "; type " + std::to_string(type) + " takes " + kelpo::address_syntax(type);
    require(words.size() > taken.size() && words.substr(words.size() - taken.size()) == taken,
            "the sentence ends with what is accepted");
    const std::string said = words.substr(0, words.size() - taken.size());
    if (!is_true(said, text))
        fuzz::fail("type " + std::to_string(type) + ", " + kelpo::in_quotes(text) + " " + said);
    return 0;
}
