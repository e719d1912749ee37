#include "plc/faults.h"

#include <charconv>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>

namespace plc {

namespace {

const char *const only_kind = "no-reply";
constexpr std::size_t address_at = 2;

struct Field {
    unsigned lowest;
    unsigned highest;
    void (*set)(Fault &fault, unsigned value);
};

const std::map<std::string, Field> fields = {
    {"station",
     {1, 247,
      [](Fault &fault, unsigned value) {
          fault.station = value;
      }}},
    {"function",
     {1, 127,
      [](Fault &fault, unsigned value) {
          fault.function = value;
      }}},
    {"address",
     {0, 65535,
      [](Fault &fault, unsigned value) {
          fault.address = value;
      }}},
    {"times",
     {1, 1000000,
      [](Fault &fault, unsigned value) {
          fault.times = value;
      }}},
    {"every",
     {1, 1000000,
      [](Fault &fault, unsigned value) {
          fault.every = value;
      }}},
};

std::optional<unsigned> number_in(const std::string &text) {
    unsigned number = 0;
    const char *const end = text.data() + text.size();
    const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stopped_at == end ? std::optional(number) : std::nullopt;
}

void take_field(Fault &fault, const std::string &name, const std::string &value) {
    const auto field = fields.find(name);
    if (field == fields.end())
        throw std::invalid_argument("a fault has no field " + name);
    const std::optional<unsigned> number = number_in(value);
    if (!number || *number < field->second.lowest || *number > field->second.highest)
        throw std::invalid_argument("a fault's " + name + " is " + std::to_string(field->second.lowest) + " to " +
                                    std::to_string(field->second.highest) + ", not " + value);
    field->second.set(fault, *number);
}

bool fits(const std::optional<unsigned> &wanted, unsigned found) {
    return !wanted || *wanted == found;
}

// What is too short to name an address fits no fault that does.
bool fits_address(const std::optional<unsigned> &wanted, const Bytes &request) {
    return !wanted || (is_served(request[1]) && *wanted == word_at(request.data(), address_at));
}

}  // namespace

Fault parse_fault(const std::string &text) {
    std::istringstream words(text);
    std::string word;
    if (!(words >> word) || word != only_kind)
        throw std::invalid_argument(std::string("a fault begins with ") + only_kind + ", not with " + word);
    Fault fault;
    std::set<std::string> seen;
    while (words >> word) {
        const std::size_t sign = word.find('=');
        const std::string name = word.substr(0, sign);
        if (sign == std::string::npos)
            throw std::invalid_argument("a fault's fields are name=number, not " + word);
        if (!seen.insert(name).second)
            throw std::invalid_argument("a fault has " + name + " twice");
        take_field(fault, name, word.substr(sign + 1));
    }
    return fault;
}

Faults::Faults(const std::vector<Fault> &faults) {
    for (const Fault &fault : faults)
        faults_.push_back({fault});
}

bool Faults::keeps_back_reply_to(const Bytes &request) {
    bool kept_back = false;
    for (Counted &counted : faults_) {
        const Fault &fault = counted.fault;
        if (!fits(fault.station, request[0]) || !fits(fault.function, request[1]) ||
            !fits_address(fault.address, request))
            continue;
        const bool its_turn = counted.fitted++ % fault.every == 0;
        if (!its_turn || (fault.times && counted.happened >= *fault.times))
            continue;
        ++counted.happened;
        kept_back = true;
    }
    return kept_back;
}

}  // namespace plc
