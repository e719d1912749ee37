#include "demo/judge.h"

#include <algorithm>
#include <optional>

namespace kelpo {
namespace {

std::optional<std::uint32_t> held_unsigned(const ControllerMemory &memory, const DemoRow &row, const Place &place,
                                           int index, Moment moment) {
    const int station = row.variable.station;
    const auto word = [&](int address) {
        return memory.holding_register(station, address, moment);
    };
    switch (row.kind) {
    case Kind::coil:
        return memory.coil(station, place.modbus_address + index, moment);
    case Kind::word:
        return word(place.modbus_address + index);
    case Kind::long_word: {
        const auto high = word(place.modbus_address + 2 * index);
        const auto low = word(place.modbus_address + 2 * index + 1);
        if (!high || !low)
            return std::nullopt;
        return static_cast<std::uint32_t>(*high) << 16 | *low;
    }
    case Kind::word_bit:
        break;
    }
    const int bit = place.first_bit + index;
    const auto holder = word(place.modbus_address + bit / 16);
    if (!holder)
        return std::nullopt;
    return *holder >> bit % 16 & 1;
}

std::int64_t as_viewed(const View &view, std::uint32_t value) {
    if (view == View::signed_words)
        return value < 0x8000 ? std::int64_t(value) : std::int64_t(value) - 0x10000;
    if (view == View::signed_longs)
        return value < 0x80000000 ? std::int64_t(value) : std::int64_t(value) - 0x100000000;
    return value;
}

std::optional<Values> held(const ControllerMemory &memory, const DemoRow &row, const Place &place, Moment moment) {
    Values values;
    for (int index = 0; index < place.values; ++index) {
        const auto value = held_unsigned(memory, row, place, index, moment);
        if (!value)
            return std::nullopt;
        values.push_back(as_viewed(row.variable.view, *value));
    }
    return values;
}

int value_count(const DemoRow &row) {
    int count = 0;
    for (const Place &place : row.places)
        count += place.values;
    return count;
}

}  // namespace

std::string name_of(const Variable &variable) {
    return variable.name + " (station " + std::to_string(variable.station) + ", type " + std::to_string(variable.type) +
           ", address " + variable.address + ")";
}

Verdict Judge::judge(const DemoRow &row, const Values &shown, MomentRange range) {
    Verdict verdict = static_cast<int>(shown.size()) == value_count(row) ? Verdict::right : Verdict::wrong;
    auto next = shown.begin();
    for (std::size_t i = 0; i < row.places.size() && verdict == Verdict::right; ++i) {
        const Values part(next, next + row.places[i].values);
        verdict = judge_place(row, row.places[i], part, range);
        next += row.places[i].values;
    }
    if (verdict == Verdict::right)
        ++right_;
    else if (verdict == Verdict::unproven)
        ++unproven_;
    else
        complain(row, shown, range);
    return verdict;
}

Verdict Judge::judge_place(const DemoRow &row, const Place &place, const Values &shown, MomentRange range) const {
    bool complete = true;
    for (Moment moment = range.first; moment <= range.last; ++moment) {
        const auto expected = held(memory_, row, place, moment);
        if (expected == shown)
            return Verdict::right;
        complete = complete && expected;
    }
    return complete ? Verdict::wrong : Verdict::unproven;
}

void Judge::complain(const DemoRow &row, const Values &shown, MomentRange range) {
    ++wrong_;
    if (complaints_.size() == most_complaints)
        return;
    const Variable &variable = row.variable;
    std::string text = name_of(variable) + " showed " + text_of(variable.view, shown) + ", the controller held";
    for (Moment moment = range.first; moment <= range.last; ++moment) {
        Values all;
        for (const Place &place : row.places) {
            const Values part = held(memory_, row, place, moment).value_or(Values());
            all.insert(all.end(), part.begin(), part.end());
        }
        text += (moment == range.first ? " " : ", then ") + text_of(variable.view, all);
    }
    complaints_.push_back(text);
}

}  // namespace kelpo
