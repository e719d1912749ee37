#include "host/engine/value_input.h"

#include "host/text/words.h"

#include <algorithm>
#include <vector>

namespace kelpo {
namespace {

std::size_t number_of_values(const Variable &variable) {
    return static_cast<std::size_t>(variable.count / units_per_value(variable.view));
}

std::vector<std::string> words_in(const std::string &text) {
    std::vector<std::string> words(1);
    for (const char letter : text) {
        if (letter != ' ' && letter != ',')
            words.back() += letter;
        else if (!words.back().empty())
            words.emplace_back();
    }
    if (words.back().empty())
        words.pop_back();
    return words;
}

bool is_row_of_bits(const Variable &variable, const std::vector<std::string> &words) {
    return variable.view.unit == View::Unit::bit && words.size() == 1 &&
           words[0].size() == number_of_values(variable) && words[0].find_first_not_of("01") == std::string::npos;
}

std::vector<std::string> single_letters(const std::string &word) {
    std::vector<std::string> letters;
    for (const char letter : word)
        letters.emplace_back(1, letter);
    return letters;
}

std::string range_of(const View &view) {
    if (view.unit == View::Unit::bit)
        return "0 or 1";
    if (view.reading == View::Reading::real)
        return "a number, or 0x and the bits of a float";
    return view.unit == View::Unit::word ? "-32768 to 65535" : "-2147483648 to 4294967295";
}

}  // namespace

std::string values_wanted(const Variable &variable) {
    const std::size_t wanted = number_of_values(variable);
    return (wanted == 1 ? "" : std::to_string(wanted) + " values, each ") + range_of(variable.view);
}

ValueInput value_input(const Variable &variable, const std::string &typed) {
    std::vector<std::string> words = words_in(typed);
    if (is_row_of_bits(variable, words))
        words = single_letters(words[0]);
    if (words.size() != number_of_values(variable))
        return {{},
                std::to_string(words.size()) + (words.size() == 1 ? " value typed; " : " values typed; ") +
                    values_wanted(variable)};
    ValueInput input;
    for (const std::string &word : words) {
        const auto value = value_from(variable.view, word);
        if (!value)
            return {{}, in_quotes(word) + " does not fit; " + range_of(variable.view)};
        input.values.push_back(*value);
    }
    return input;
}

}  // namespace kelpo
