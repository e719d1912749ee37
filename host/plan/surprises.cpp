#include "host/plan/surprises.h"

#include "host/driver/register_types.h"
#include "host/plan/plan_words.h"
#include "host/plan/unit_runs.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

namespace kelpo {
namespace {

using Group = std::pair<int, int>;  // a station and a register class

std::map<Group, UnitRuns> runs_of(std::map<Group, std::vector<UnitRun>> runs) {
    std::map<Group, UnitRuns> sorted;
    for (auto &[group, of_group] : runs)
        sorted.emplace(group, std::move(of_group));
    return sorted;
}

bool hold(const std::map<Group, UnitRuns> &runs, const Group &group, const UnitRun &wanted) {
    const auto found = runs.find(group);
    return found != runs.end() && found->second.hold(wanted);
}

// What each request reads at once.
std::map<Group, UnitRuns> read_at_once(const std::vector<DryBlock> &blocks) {
    std::map<Group, std::vector<UnitRun>> runs;
    for (const DryBlock &block : blocks)
        for (const PlannedRequest &request : block.requests)
            runs[{block.station, block.register_class}].push_back(
                {request.first, std::int64_t{request.first} + request.count});
    return runs_of(std::move(runs));
}

// Whether a value of it can be read by halves.
bool takes_two_registers(const Variable &variable) {
    return units_per_value(variable.view) == 2 && register_type(variable.type).modbus_per_number != 2;
}

// The register that holds the first half of the variable's first value whose halves no request reads together; nothing
// when there is none. `span` is what the driver polls for the variable, whose values take two registers.
std::optional<int> torn_value(const Variable &variable, const Span &span, const std::map<Group, UnitRuns> &at_once) {
    for (int high = span.first; high < span.first + variable.count; high += 2)
        if (!hold(at_once, {variable.station, span.register_class}, {high, std::int64_t{high} + 2}))
            return high;
    return std::nullopt;
}

/// Looks at one list.
class Inspector {
public:
    Inspector(const PollList &list, DryRun &driver) : list_(list), driver_(driver) {
        std::map<Group, std::vector<UnitRun>> polled;
        for (const Variable &variable : list.variables) {
            spans_.push_back(driver.span_of(variable));
            const Span &span = spans_.back();
            polled[{variable.station, span.register_class}].push_back(
                {span.first, std::int64_t{span.first} + span.count});
        }
        polled_ = runs_of(std::move(polled));
    }

    Remarks inspect() {
        for (std::size_t i = 0; i < list_.variables.size(); ++i) {
            look_for_missing_words(i);
            look_for_far_addresses(i);
        }
        look_for_overlaps();
        look_for_types_not_writable();
        if (std::none_of(list_.stations.begin(), list_.stations.end(),
                         [](const Station &station) { return station.enabled; }))
            warn(list_.place_of(0), "every station is off: nothing will be asked until one is switched on");
        return std::move(remarks_);
    }

private:
    void warn(const FilePlace &place, const std::string &text) {
        remarks_.push_back({Remark::Kind::warning, place, text});
    }

    bool is_polled(int station, int register_class, int address) const {
        return hold(polled_, {station, register_class}, {address, std::int64_t{address} + 1});
    }

    // The driver asks for the register whose number is word x 16 + bit, but shows the bit of the word.
    void look_for_missing_words(std::size_t index) {
        const Variable &variable = list_.variables[index];
        if (!register_type(variable.type).is_bit_of_register)
            return;
        const Span &span = spans_[index];
        const int first_word = span.first / bits_in_register;
        const int last_word = static_cast<int>((std::int64_t{span.first} + span.count - 1) / bits_in_register);
        for (int word = first_word; word <= last_word; ++word) {
            if (is_polled(variable.station, span.register_class, word))
                continue;
            warn(list_.place_of(index), in_quotes(variable.name) + " asks for register " +
                                            range_text(span.first, span.count) + ", but shows bits of register " +
                                            range_text(first_word, last_word - first_word + 1) +
                                            "; to see them move, list type " + std::to_string(span.register_class) +
                                            ", address \"" + std::to_string(word) + "\" as well");
            return;
        }
    }

    const ClassMap &map_of(int register_class) {
        const auto known = maps_.find(register_class);
        return known != maps_.end() ? known->second
                                    : maps_.emplace(register_class, driver_.map_of(register_class)).first->second;
    }

    void look_for_far_addresses(std::size_t index) {
        constexpr std::int64_t most = 65535;
        const Span &span = spans_[index];
        const std::int64_t last = std::int64_t{span.first} + span.count - 1;
        const ClassMap &map = map_of(span.register_class);
        const std::int64_t place = map.modbus_address(last) + map.width - 1;
        const std::string name = in_quotes(list_.variables[index].name);
        if (last > most)
            warn(list_.place_of(index), name + " reaches number " + std::to_string(last) +
                                            ": above 65535 values are mixed up with those of the next register class");
        else if (place > most)
            warn(list_.place_of(index), name + " reaches Modbus address " + std::to_string(place) +
                                            ": above 65535 a frame asks for another place, here " +
                                            std::to_string(place & most));
    }

    // Only for variables with the same type: one register may be seen through several types.
    void look_for_overlaps() {
        using Key = std::tuple<int, int, std::int64_t, std::size_t>;
        std::vector<Key> order;
        for (std::size_t i = 0; i < spans_.size(); ++i)
            order.emplace_back(list_.variables[i].station, list_.variables[i].type, spans_[i].first, i);
        std::sort(order.begin(), order.end());
        const std::size_t *reaching = nullptr;
        for (const Key &key : order) {
            const std::size_t index = std::get<3>(key);
            if (reaching != nullptr && overlap(*reaching, index))
                warn_of_overlap(std::min(*reaching, index), std::max(*reaching, index));
            if (reaching == nullptr || !same_group(*reaching, index) || end_of(index) > end_of(*reaching))
                reaching = &std::get<3>(key);
        }
    }

    std::int64_t end_of(std::size_t index) const {
        return std::int64_t{spans_[index].first} + spans_[index].count;
    }

    bool same_group(std::size_t one, std::size_t other) const {
        return list_.variables[one].station == list_.variables[other].station &&
               list_.variables[one].type == list_.variables[other].type;
    }

    bool overlap(std::size_t one, std::size_t other) const {
        return same_group(one, other) && spans_[other].first < end_of(one) && spans_[one].first < end_of(other);
    }

    void warn_of_overlap(std::size_t earlier, std::size_t later) {
        const Variable &variable = list_.variables[later];
        const bool same = spans_[earlier].first == spans_[later].first && spans_[earlier].count == spans_[later].count;
        if (same && list_.variables[earlier].view != variable.view)
            return;
        warn(list_.place_of(later), in_quotes(variable.name) + (same ? " is the same place as " : " overlaps ") +
                                        in_quotes(list_.variables[earlier].name) + " in line " +
                                        std::to_string(list_.defined[earlier].line));
    }

    // Each type is reported once, where it appears first.
    void look_for_types_not_writable() {
        std::map<int, std::pair<std::size_t, int>> first_and_number;
        for (std::size_t i = 0; i < list_.variables.size(); ++i)
            ++first_and_number.insert({list_.variables[i].type, {i, 0}}).first->second.second;
        for (const auto &[type, met] : first_and_number) {
            if (driver_.use_of(type, list_.variables[met.first].address).write)
                continue;
            warn(list_.place_of(met.first), "type " + std::to_string(type) + " can be read but not written (" +
                                                counted(met.second, "variable") + ")");
        }
    }

    const PollList &list_;
    DryRun &driver_;
    std::vector<Span> spans_;
    std::map<Group, UnitRuns> polled_;
    std::map<int, ClassMap> maps_;
    Remarks remarks_;
};

}  // namespace

Remarks surprises(const PollList &list, DryRun &driver) {
    Remarks remarks = Inspector(list, driver).inspect();
    for (const Remark &torn : torn_values(list, driver))
        remarks.push_back(torn);
    return remarks;
}

Remarks torn_values(const PollList &list, DryRun &driver) {
    if (std::none_of(list.variables.begin(), list.variables.end(), takes_two_registers))
        return {};
    const std::map<Group, UnitRuns> at_once = read_at_once(driver.cycle(list.variables, list.link.of_driver().rules()));
    Remarks remarks;
    for (std::size_t i = 0; i < list.variables.size(); ++i) {
        const Variable &variable = list.variables[i];
        if (!takes_two_registers(variable))
            continue;
        if (const auto high = torn_value(variable, driver.span_of(variable), at_once))
            remarks.push_back({Remark::Kind::warning, list.place_of(i),
                               in_quotes(variable.name) + " has a 32-bit value in registers " + std::to_string(*high) +
                                   " and " + std::to_string(*high + 1) +
                                   ", which two requests read: while it changes, it can be half old and half new; "
                                   "give it an address one higher or lower in the controller"});
    }
    return remarks;
}

}  // namespace kelpo
