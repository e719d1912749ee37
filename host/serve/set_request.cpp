#include "host/serve/set_request.h"

#include "host/text/json.h"
#include "host/text/words.h"

#include <cstddef>
#include <cstdint>
#include <sstream>

namespace kelpo {
namespace {

constexpr std::size_t longest_id = 128;
constexpr std::int64_t longest_within = 86400000;  // ms, a day

// The value, or several of an array, with blanks between.
std::optional<std::string> words_of(const ReadJson &value) {
    if (!value.is_array())
        return value.word();
    std::string words;
    for (const ReadJson &element : value.elements()) {
        const std::optional<std::string> word = element.word();
        if (!word)
            return std::nullopt;
        words += (words.empty() ? "" : " ") + *word;
    }
    return words;
}

void read_id(const ReadJson &id, SetRequest &request) {
    const std::optional<std::string> word = id.word();
    if (word && !word->empty() && word->size() <= longest_id)
        request.id = *word;
    else
        request.mistake = "id is not a text of 1 to " + std::to_string(longest_id) + " bytes";
}

void read_within(const ReadJson &within, SetRequest &request) {
    const auto number = within.is_text() ? std::nullopt : within.whole_number();
    if (number && *number >= 1 && *number <= longest_within)
        request.within = std::chrono::milliseconds(*number);
    else
        request.mistake = "within-ms is not a whole number, 1 to " + std::to_string(longest_within);
}

void read_value(const ReadJson &value, SetRequest &request) {
    if (const auto words = words_of(value))
        request.typed = *words;
    else
        request.mistake = "the value is not a number, a text, true, false, or an array of these";
}

SetRequest request_of(const ReadJson &object) {
    SetRequest request;
    for (const std::string &key : object.keys())
        if (key != "v" && key != "id" && key != "within-ms")
            request.mistake = "unknown member " + in_quotes(key) + "; known are v, id and within-ms";
    if (const auto value = object.member("v"))
        read_value(*value, request);
    else if (request.mistake.empty())
        request.mistake = "no v; the value to be written";
    if (const auto within = object.member("within-ms"))
        read_within(*within, request);
    if (const auto id = object.member("id"))
        read_id(*id, request);
    return request;
}

SetRequest refused(const std::string &mistake) {
    return {{}, {}, {}, mistake};
}

}  // namespace

SetRequest set_request_from(const std::string &payload) {
    const std::string_view text = trimmed(payload);
    if (text.empty())
        return refused("the message is empty; a value is needed");
    if (!is_utf8(text))
        return refused("the message is not UTF-8");
    if (std::string_view("{[\"").find(text[0]) == std::string_view::npos)
        return {std::string(text), {}, {}, {}};
    const std::optional<ReadJson> json = ReadJson::parsed(text);
    if (!json)
        return refused("the message is not JSON");
    if (json->is_object())
        return request_of(*json);
    SetRequest request;
    read_value(*json, request);
    return request;
}

std::string beyond_limits(const Variable &variable, const std::string &typed) {
    const std::optional<ValueLimits> limits = limits_of(variable.view);
    std::istringstream words(typed);
    for (std::string word; words >> word;) {
        if (!limits && lowered(word).find('n') != std::string::npos)
            return in_quotes(word) + " is not a number";
        const std::optional<long long> number = whole_number(word);
        if (limits && variable.view.unit != View::Unit::bit && number &&
            (*number < limits->least || *number > limits->greatest))
            return word + " is out of limits, " + std::to_string(limits->least) + " to " +
                   std::to_string(limits->greatest);
    }
    return {};
}

}  // namespace kelpo
