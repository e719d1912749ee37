#include "plc/faults/fault.h"

#include "plc/text/list_file.h"
#include "plc/text/number.h"

#include <algorithm>
#include <iomanip>
#include <set>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace plc {
namespace {

struct Word {
    const char *name;
    FaultKind kind;
    std::vector<std::string> own_fields;
    const char *meaning;
};

const std::vector<Word> words = {
    {"no-reply", FaultKind::no_reply, {}, "carried out, but the reply is lost"},
    {"dead", FaultKind::dead, {}, "neither carried out nor answered"},
    {"exception", FaultKind::exception, {"code"}, "refused with this exception (4) instead of carried out"},
    {"late", FaultKind::late, {"ms"}, "the reply comes MS milliseconds later (100)"},
    {"truncated", FaultKind::truncated, {"bytes"}, "only BYTES bytes of the reply come (half of them)"},
    {"garbled", FaultKind::garbled, {}, "a byte of the reply is wrong, and so is its CRC"},
    {"wrong-station", FaultKind::wrong_station, {}, "the reply names another station; its CRC is right"},
    {"wrong-function", FaultKind::wrong_function, {}, "the reply names another function; its CRC is right"},
    {"wrong-length", FaultKind::wrong_length, {"data"}, "the reply has DATA bytes of data (one too few), CRC right"},
    {"pieces", FaultKind::pieces, {"size", "gap"}, "pieces of SIZE bytes (1), GAP ms (1) apart"},
    {"noise", FaultKind::noise, {"bytes", "gap"}, "BYTES bytes (5), then GAP ms (0), then the reply"},
    {"noise-behind", FaultKind::noise_behind, {"bytes", "gap"}, "the reply, then GAP ms (0), then BYTES bytes (5)"},
    {"echo", FaultKind::echo, {"gap"}, "the request comes back, then GAP ms (0), then the reply"},
    {"twice", FaultKind::twice, {"gap"}, "the reply, then GAP ms (0), then the reply once more"},
};

struct Field {
    const char *name;
    unsigned lowest;
    unsigned highest;
    std::optional<unsigned> Fault::*place;
};

constexpr unsigned an_hour = 3600 * 1000;
constexpr unsigned a_million = 1000000;

const std::vector<Field> fields = {
    {"station", 1, 247, &Fault::station},     {"function", 1, 127, &Fault::function},
    {"address", 0, 65535, &Fault::address},   {"touches", 0, 65535, &Fault::touches},
    {"after", 0, a_million, &Fault::after},   {"every", 1, a_million, &Fault::every},
    {"for", 1, a_million, &Fault::lasts},     {"times", 1, a_million, &Fault::times},
    {"ms", 1, an_hour, &Fault::milliseconds}, {"bytes", 1, 250, &Fault::bytes},
    {"data", 0, 250, &Fault::data},           {"code", 1, 255, &Fault::code},
    {"size", 1, 255, &Fault::size},           {"gap", 0, an_hour, &Fault::gap},
};

const char *const rate_name = "rate";
const std::vector<std::string> fields_of_all = {"station", "function", "address", "touches", "after",
                                                "every",   rate_name,  "for",     "times"};

std::string with_commas(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

const Word &word_named(const std::string &name) {
    const auto found =
        std::find_if(words.begin(), words.end(), [&name](const Word &word) { return word.name == name; });
    if (found != words.end())
        return *found;
    std::vector<std::string> names(words.size());
    std::transform(words.begin(), words.end(), names.begin(), [](const Word &word) { return word.name; });
    throw std::invalid_argument("a fault begins with " + with_commas(names) + ", not with " + shown(name));
}

void refuse_field_of_others(const Word &word, const std::string &name) {
    std::vector<std::string> names = word.own_fields;
    names.insert(names.end(), fields_of_all.begin(), fields_of_all.end());
    if (std::find(names.begin(), names.end(), name) == names.end())
        throw std::invalid_argument(std::string("the fault ") + word.name + " has no field " + shown(name) + ", but " +
                                    with_commas(names));
}

Rate rate_in(const std::string &text) {
    const std::size_t stroke = text.find('/');
    const auto part = number_in(text.substr(0, stroke));
    const auto whole = number_in(stroke == std::string::npos ? std::string() : text.substr(stroke + 1));
    if (!part || !whole || *part < 1 || *part > *whole || *whole > a_million)
        throw std::invalid_argument("a fault's rate is a part such as 1/1000, from 1/1000000 to 1/1, not " +
                                    shown(text));
    return {static_cast<unsigned>(*part), static_cast<unsigned>(*whole)};
}

void take_field(Fault &fault, const std::string &name, const std::string &value) {
    if (name == rate_name) {
        fault.rate = rate_in(value);
        return;
    }
    const Field &field =
        *std::find_if(fields.begin(), fields.end(), [&name](const Field &known) { return known.name == name; });
    const auto number = number_in(value);
    if (!number || *number < field.lowest || *number > field.highest)
        throw std::invalid_argument("a fault's " + name + " is " + std::to_string(field.lowest) + " to " +
                                    std::to_string(field.highest) + ", not " + shown(value));
    fault.*field.place = static_cast<unsigned>(*number);
}

}  // namespace

Fault parse_fault(const std::string &text) {
    std::istringstream rest(text);
    std::string part;
    rest >> part;
    const Word &word = word_named(part);
    Fault fault;
    fault.kind = word.kind;
    fault.text = word.name;
    std::set<std::string> seen;
    while (rest >> part) {
        const std::size_t sign = part.find('=');
        const std::string name = part.substr(0, sign);
        if (sign == std::string::npos)
            throw std::invalid_argument("a fault's fields are name=number, not " + shown(part));
        refuse_field_of_others(word, name);
        if (!seen.insert(name).second)
            throw std::invalid_argument("a fault has " + name + " twice");
        take_field(fault, name, part.substr(sign + 1));
        fault.text += " " + part;
    }
    if (fault.every && fault.rate)
        throw std::invalid_argument("a fault has every or rate, not both");
    return fault;
}

std::string help_on_faults() {
    std::ostringstream help;
    for (const Word &word : words) {
        std::string usage = word.name;
        for (const std::string &field : word.own_fields)
            usage += " " + field + "=N";
        help << "  " << std::left << std::setw(30) << usage << word.meaning << "\n";
    }
    return help.str();
}

}  // namespace plc
