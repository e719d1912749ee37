#include "cells.h"

#include "plc/memory/moving_values.h"

#include <algorithm>
#include <sstream>

namespace soak {
namespace {

constexpr std::size_t table_size = 65536;
constexpr int most_stations = 8;

std::size_t index_of(int station, bool coil, int address) {
    return (static_cast<std::size_t>(station) * 2 + (coil ? 1 : 0)) * table_size + static_cast<std::size_t>(address);
}

plc::Table table_of(const Cell &cell) {
    return cell.coil ? plc::Table::coils : plc::Table::registers;
}

std::string name_of(const Cell &cell) {
    return std::string(cell.coil ? "coil " : "register ") + std::to_string(cell.address) + " of station " +
           std::to_string(cell.station);
}

std::uint16_t held(const plc::MemoryReader &memory, const Cell &cell) {
    return memory
        .value(static_cast<unsigned>(cell.station), table_of(cell), static_cast<unsigned>(cell.address),
               memory.moment())
        .value_or(0xDEAD);
}

// The values that `shown` gives to the variable's places, in their order.
std::vector<std::uint16_t> values_of(const Variable &variable, const QByteArray &shown) {
    const auto byte = [&shown](std::size_t at) {
        return static_cast<unsigned>(static_cast<unsigned char>(shown.at(static_cast<int>(at))));
    };
    const std::size_t count = variable.places.size();
    const int type = variable.shown.type;
    const bool bits = type <= 6 || type >= 15;
    std::vector<std::uint16_t> values;
    if (static_cast<std::size_t>(shown.size()) != (bits ? count : 2 * count))
        return values;
    for (std::size_t i = 0; i < count; ++i) {
        if (bits) {
            values.push_back(static_cast<std::uint16_t>(byte(i)));
            continue;
        }
        const std::size_t word = type >= 12 ? i ^ 1U : i;  // the low half of 32 bits comes first
        values.push_back(static_cast<std::uint16_t>(byte(2 * word) | byte(2 * word + 1) << 8));
    }
    return values;
}

}  // namespace

Cells::Cells(const std::vector<Variable> &variables)
    : variables_(variables), asked_(variables.size()), index_(index_of(most_stations, false, 0), -1) {
    for (std::size_t number = 0; number < variables.size(); ++number) {
        const Variable &variable = variables[number];
        for (std::size_t i = 0; i < variable.places.size(); ++i) {
            const Cell &cell = variable.places[i].cell;
            std::int32_t &index = index_[index_of(cell.station, cell.coil, cell.address)];
            if (index < 0) {
                index = static_cast<std::int32_t>(states_.size());
                State state;
                state.cell = cell;
                state.moves = plc::moves(table_of(cell), static_cast<unsigned>(cell.address));
                state.holds = pattern_of(cell);
                states_.push_back(state);
            }
            if (!variable.written)
                continue;
            State &state = states_[static_cast<std::size_t>(index)];
            const int bit = variable.places[i].bit;
            state.written.push_back({static_cast<int>(number), static_cast<int>(i), bit});
            const std::uint16_t value = written_value(variable, static_cast<int>(number), static_cast<int>(i), 0);
            state.holds =
                bit < 0 ? value : static_cast<std::uint16_t>((state.holds & ~(1U << bit)) | unsigned{value} << bit);
        }
    }
}

std::string Cells::presets(const plc::MemoryReader *before) const {
    std::ostringstream lines;
    for (const State &state : states_)
        if (!state.moves && state.cell.station != absent_station)
            lines << state.cell.station << (state.cell.coil ? ",coil," : ",register,") << state.cell.address << ","
                  << (before != nullptr ? held(*before, state.cell) : state.holds) << "\n";
    return lines.str();
}

void Cells::asked(int variable, std::uint32_t serial) {
    asked_[static_cast<std::size_t>(variable)] = serial;
}

std::string Cells::carried_out(int variable, std::uint32_t serial, const plc::LoggedWrite &write, int bit,
                               bool merged_badly, std::vector<int> &places) {
    const bool coil = write.table == plc::Table::coils;
    State *state = find(static_cast<int>(write.station), coil, static_cast<int>(write.address));
    const Variable &asked_for = variables_[static_cast<std::size_t>(variable)];
    const std::string where = name_of({static_cast<int>(write.station), coil, static_cast<int>(write.address)}) +
                              " went from " + std::to_string(write.before) + " to " + std::to_string(write.after) +
                              " by write " + std::to_string(serial) + " of " + asked_for.shown.name;
    if (state == nullptr)
        return where + ", which is not there";
    if (!state->moves && write.before != state->holds)
        return where + ", although it held " + std::to_string(state->holds);
    for (Written &written : state->written) {
        if (written.variable != variable || (written.bit >= 0 && written.bit != bit % 16))
            continue;
        const std::uint16_t value = written_value(asked_for, variable, written.place, serial);
        const std::uint16_t wanted =
            written.bit < 0
                ? value
                : static_cast<std::uint16_t>((write.before & ~(1U << written.bit)) | unsigned{value} << written.bit);
        state->holds = write.after;
        if (serial < written.applied)
            return where + ", after write " + std::to_string(written.applied);
        written.applied = serial;
        places.push_back(written.place);
        if (write.after == wanted)
            return std::string();
        if (merged_badly && written.bit >= 0 && ((write.after ^ wanted) & (1U << written.bit)) == 0) {
            state->scrambled = true;
            return std::string();
        }
        return where + ", which is " + std::to_string(wanted);
    }
    return where + ", which is not there";
}

void Cells::read(int station, bool coils, int address, int count, bool right, Age age, std::uint64_t exchange) {
    for (int i = address; i < address + count; ++i) {
        State *state = find(station, coils, i);
        if (state == nullptr)
            continue;
        if (!right) {
            state->tainted = true;
            continue;
        }
        if (state->tainted)
            state->untainted_at = exchange;
        state->tainted = false;
        state->read_at = exchange;
        state->age = age;
        for (Written &written : state->written)
            written.floor = written.applied;
    }
}

std::vector<std::uint32_t> Cells::floors(int variable) const {
    const Variable &of = variables_[static_cast<std::size_t>(variable)];
    std::vector<std::uint32_t> floors;
    for (const Place &place : of.places)
        for (int bit = 0; bit < 16; ++bit) {
            const State &state = at(place);
            const auto found = std::find_if(state.written.begin(), state.written.end(),
                                            [bit](const Written &written) { return std::max(written.bit, 0) == bit; });
            floors.push_back(found == state.written.end() ? 0 : found->floor);
        }
    return floors;
}

std::vector<Age> Cells::ages(int variable) const {
    std::vector<Age> ages;
    for (const Place &place : variables_[static_cast<std::size_t>(variable)].places)
        ages.push_back(at(place).age);
    return ages;
}

std::string Cells::judge(int variable, const QByteArray &shown, const std::vector<std::uint32_t> &floors,
                         const std::vector<Age> &ages, Age now, const std::vector<plc::Moment> &last_moments) const {
    const Variable &of = variables_[static_cast<std::size_t>(variable)];
    const std::vector<std::uint16_t> values = values_of(of, shown);
    if (values.size() != of.places.size())
        return of.shown.name + " shows " + std::to_string(shown.size()) + " bytes";
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Place &place = of.places[i];
        const State &state = at(place);
        bool right = true;
        if (state.cell.coil || place.bit >= 0) {
            const int bit = std::max(place.bit, 0);
            right = values[i] <= 1 && may_show(state, values[i], bit, floors[16 * i + static_cast<std::size_t>(bit)],
                                               ages[i], now, last_moments);
        } else if (state.moves || state.written.empty() || state.written.front().bit < 0) {
            right = may_show(state, values[i], -1, floors[16 * i], ages[i], now, last_moments);
        } else {
            for (int bit = 0; bit < 16; ++bit)
                right = right && may_show(state, static_cast<std::uint16_t>(values[i] >> bit & 1), bit,
                                          floors[16 * i + static_cast<std::size_t>(bit)], ages[i], now, last_moments);
        }
        if (!right)
            return of.shown.name + " shows " + std::to_string(values[i]) + " for " + name_of(place.cell) +
                   (place.bit < 0 ? "" : " bit " + std::to_string(place.bit)) + ", which holds " +
                   std::to_string(state.holds);
    }
    return std::string();
}

// `value` is a bit when `bit` is not -1 or the cell is a coil.
bool Cells::may_show(const State &state, std::uint16_t value, int bit, std::uint32_t floor, Age age, Age now,
                     const std::vector<plc::Moment> &last_moments) const {
    if (age.controller < 0 && value == 0)
        return true;
    if (state.scrambled || (state.moves && !state.written.empty()))
        return true;
    if (state.moves) {
        for (int controller = std::max(age.controller, 0); controller <= now.controller; ++controller) {
            const plc::Moment first = controller == age.controller ? age.moment : 0;
            const plc::Moment last =
                controller == now.controller ? now.moment : last_moments[static_cast<std::size_t>(controller)];
            for (plc::Moment moment = first; moment <= last; ++moment) {
                const auto moving = *plc::moving_value(static_cast<unsigned>(state.cell.station), table_of(state.cell),
                                                       static_cast<unsigned>(state.cell.address), moment);
                if ((state.cell.coil || bit < 0 ? moving : static_cast<std::uint16_t>(moving >> bit & 1)) == value)
                    return true;
            }
        }
        return false;
    }
    for (const Written &written : state.written) {
        if (!state.cell.coil && written.bit != bit)
            continue;
        const std::uint32_t asked = asked_[static_cast<std::size_t>(written.variable)];
        const std::uint16_t writes = writes_since(written.variable, written.place, floor, value);
        if (state.cell.coil || bit >= 0)
            return asked > floor || (writes & 1) == 0;
        return writes <= asked - floor;
    }
    return (state.cell.coil || bit < 0 ? state.holds : static_cast<std::uint16_t>(state.holds >> bit & 1)) == value;
}

bool Cells::tainted_since(int variable, std::uint64_t exchange) const {
    const std::vector<Place> &places = variables_[static_cast<std::size_t>(variable)].places;
    return std::any_of(places.begin(), places.end(), [&](const Place &place) {
        const State &state = at(place);
        return state.tainted || state.untainted_at >= exchange;
    });
}

bool Cells::read_since(int variable, std::uint64_t exchange) const {
    const std::vector<Place> &places = variables_[static_cast<std::size_t>(variable)].places;
    return std::all_of(places.begin(), places.end(), [&](const Place &place) { return at(place).read_at > exchange; });
}

std::string Cells::compare(const plc::MemoryReader &memory) const {
    for (const State &state : states_)
        if (!state.moves && state.cell.station != absent_station && held(memory, state.cell) != state.holds)
            return name_of(state.cell) + " holds " + std::to_string(held(memory, state.cell)) +
                   ", according to its log " + std::to_string(state.holds);
    return std::string();
}

std::string Cells::compare_shown(int variable, const QByteArray &shown, const plc::MemoryReader &memory) const {
    const Variable &of = variables_[static_cast<std::size_t>(variable)];
    const std::vector<std::uint16_t> values = values_of(of, shown);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const State &state = at(of.places[i]);
        if (state.moves)
            continue;
        const int bit = of.places[i].bit;
        const std::uint16_t held_now = held(memory, state.cell);
        if (values[i] != (bit < 0 ? held_now : held_now >> bit & 1))
            return of.shown.name + " shows " + std::to_string(values[i]) + " for " + name_of(state.cell) +
                   " at rest, which holds " + std::to_string(held_now);
    }
    return std::string();
}

Cells::State *Cells::find(int station, bool coil, int address) {
    if (station < 0 || station >= most_stations || address < 0 || address >= static_cast<int>(table_size))
        return nullptr;
    const std::int32_t index = index_[index_of(station, coil, address)];
    return index < 0 ? nullptr : &states_[static_cast<std::size_t>(index)];
}

const Cells::State &Cells::at(const Place &place) const {
    return states_[static_cast<std::size_t>(index_[index_of(place.cell.station, place.cell.coil, place.cell.address)])];
}

}  // namespace soak
