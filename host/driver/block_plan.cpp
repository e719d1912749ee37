#include "host/driver/block_plan.h"

#include "host/driver/driver_library.h"
#include "host/driver/raw_calls.h"
#include "host/driver/register_types.h"

#include <QtCore/QMutexLocker>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <utility>

namespace kelpo {
namespace {

using Group = std::pair<int, int>;  // a station and a register class: only its variables share blocks

// What the driver polls for a variable.
struct Wanted {
    const Variable *variable;
    std::int64_t first;
    std::int64_t end;
    bool takes_pairs;  // each of its values takes two numbers
};

// What is wanted of one group, in the order of the first numbers.
class Wants {
public:
    void add(const Wanted &wanted) {
        all_.push_back(wanted);
        longest_ = std::max(longest_, wanted.end - wanted.first);
        any_pairs_ = any_pairs_ || wanted.takes_pairs;
    }

    void sort() {
        std::stable_sort(all_.begin(), all_.end(),
                         [](const Wanted &one, const Wanted &other) { return one.first < other.first; });
    }

    // Group by group those with at most `max_gap` unused units between them.
    std::vector<VariablePointers> near_each_other(std::optional<int> max_gap) const {
        std::vector<VariablePointers> groups;
        std::int64_t end = 0;
        for (const Wanted &wanted : all_) {
            if (groups.empty() || (max_gap && wanted.first - end > *max_gap))
                groups.emplace_back();
            groups.back().push_back(wanted.variable);
            end = std::max(end, wanted.end);
        }
        return groups;
    }

    const std::vector<Wanted> &all() const {
        return all_;
    }

    bool any_pairs() const {
        return any_pairs_;
    }

    // A block that ends before `number`, and one that begins there, have one half each of a value.
    bool parts_a_value(std::int64_t number) const {
        return any_around(number, [number](const Wanted &wanted) {
            return wanted.takes_pairs && wanted.first < number && (number - wanted.first) % 2 != 0;
        });
    }

    bool hold(std::int64_t number) const {
        return any_around(number, [](const Wanted &) { return true; });
    }

private:
    template <typename Condition> bool any_around(std::int64_t number, const Condition &condition) const {
        const auto begins_before = [](const Wanted &wanted, std::int64_t first) {
            return wanted.first < first;
        };
        auto next = std::lower_bound(all_.begin(), all_.end(), number - longest_ + 1, begins_before);
        for (; next != all_.end() && next->first <= number; ++next)
            if (next->end > number && condition(*next))
                return true;
        return false;
    }

    std::vector<Wanted> all_;
    std::int64_t longest_ = 0;
    bool any_pairs_ = false;
};

std::map<Group, Wants> wants_by_group(const DriverLibrary &driver, const VariablePointers &variables) {
    std::map<Group, Wants> groups;
    for (const Variable *const pointer : variables) {
        const Variable &variable = *pointer;
        const RegisterType &type = register_type(variable.type);
        const int number = driver.entry().PLCAddressChangeIntef(variable.type, driver_text(variable.address));
        if (number < 0)
            continue;
        // The driver polls a bit of a register under the number of the bit.
        const NumberRange range = type.is_bit_of_register
                                      ? NumberRange{number, std::int64_t{number} + variable.count - 1}
                                      : range_in_class(type, number, variable.count);
        const bool takes_pairs = units_per_value(variable.view) == 2 && type.modbus_per_number == 1;
        groups[{variable.station, type.register_class}].add({&variable, range.first, range.last + 1, takes_pairs});
    }
    for (auto &[group, wants] : groups)
        wants.sort();
    return groups;
}

// The driver's own blocks, when nothing else is to be polled.
std::vector<PolledBlock> blocks_of(const DriverLibrary &driver, const VariablePointers &variables) {
    QList<HOST_VAR> list = polled(variables);
    driver.entry().ReCreatReadVarList(&list);
    return driver.polled_blocks();
}

bool is_bit_class(int register_class) {
    return register_type(register_class).unit == RegisterType::Unit::bit;
}

std::int64_t end_of(const PolledBlock &block) {
    return std::int64_t{block.first} + block.count;
}

// Cuts again what the blocks from `begin` to `end`, each of which begins where the one before ends, read together.
void cut_between_values(const PolledBlock *begin, const PolledBlock *end, int max_count, const Wants &wants,
                        std::vector<PolledBlock> &blocks) {
    const std::int64_t last = end_of(*(end - 1));
    for (std::int64_t first = begin->first; first < last;) {
        std::int64_t next = std::min(first + max_count, last);
        std::int64_t whole = next;
        while (whole > first + 1 && wants.parts_a_value(whole))
            --whole;
        if (!wants.parts_a_value(whole))
            next = whole;
        const std::int64_t used_first = first;
        first = next;
        while (!wants.hold(next - 1))
            --next;
        blocks.push_back(
            {begin->station, begin->register_class, static_cast<int>(used_first), static_cast<int>(next - used_first)});
        while (first < last && !wants.hold(first))
            ++first;
    }
}

// The smallest blocks that part no value. The driver takes each variable as it is where `max_count` is 1.
std::vector<PolledBlock> single_values(const std::vector<PolledBlock> &blocks, const Wants &wants) {
    std::vector<PolledBlock> single;
    std::int64_t next = 0;
    for (const PolledBlock &block : blocks)
        for (std::int64_t first = std::max<std::int64_t>(block.first, next); first < end_of(block); first = next) {
            next = first + 1;
            while (next < end_of(block) && wants.parts_a_value(next))
                ++next;
            single.push_back(
                {block.station, block.register_class, static_cast<int>(first), static_cast<int>(next - first)});
        }
    return single;
}

// The same blocks, but none of two that follow each other ends within a value.
std::vector<PolledBlock> with_whole_values(const std::vector<PolledBlock> &blocks, int max_count, const Wants &wants) {
    const bool are_bits = !blocks.empty() && is_bit_class(blocks.front().register_class);
    if (max_count == 1 && !are_bits)
        return single_values(blocks, wants);
    if (!wants.any_pairs())
        return blocks;
    std::vector<PolledBlock> whole;
    const PolledBlock *const all_end = blocks.data() + blocks.size();
    for (const PolledBlock *begin = blocks.data(); begin != all_end;) {
        const PolledBlock *end = begin + 1;
        bool any_parted = false;
        for (; end != all_end && end->first == end_of(*(end - 1)); ++end)
            any_parted = any_parted || wants.parts_a_value(end->first);
        if (any_parted)
            cut_between_values(begin, end, max_count, wants, whole);
        else
            whole.insert(whole.end(), begin, end);
        begin = end;
    }
    return whole;
}

// The ends of blocks, by their first numbers.
using Covered = std::map<Group, std::map<std::int64_t, std::int64_t>>;

// Those of the variables that are in no block yet.
VariablePointers plan_needs(const DriverLibrary &driver, const VariablePointers &variables, const Covered &covered) {
    if (covered.empty())
        return variables;
    VariablePointers needed;
    for (const auto &[group, wants] : wants_by_group(driver, variables)) {
        const auto blocks = covered.find(group);
        for (const Wanted &wanted : wants.all()) {
            if (blocks != covered.end()) {
                const auto after = blocks->second.upper_bound(wanted.first);
                if (after != blocks->second.begin() && std::prev(after)->second >= wanted.end)
                    continue;
            }
            needed.push_back(wanted.variable);
        }
    }
    return needed;
}

// Like planned, of variables with one rate.
std::vector<PolledBlock> planned_blocks(const DriverLibrary &driver, const VariablePointers &variables,
                                        const PollRules &rules) {
    int &max_count = driver.entry().PLC_driver->com_info->max_count;
    const int before = max_count;
    std::vector<PolledBlock> blocks;
    for (const auto &[group, wants] : wants_by_group(driver, variables)) {
        const BlockLimits &limits = rules.of(group.first);
        max_count = limits.max_count;
        for (const VariablePointers &near : wants.near_each_other(limits.max_gap)) {
            const std::vector<PolledBlock> whole = with_whole_values(blocks_of(driver, near), limits.max_count, wants);
            blocks.insert(blocks.end(), whole.begin(), whole.end());
        }
    }
    max_count = before;
    return blocks;
}

}  // namespace

const BlockLimits &PollRules::of(int station) const {
    const auto own = stations.find(station);
    return own == stations.end() ? usual : own->second;
}

int PollRules::greatest_max_count() const {
    int greatest = usual.max_count;
    for (const auto &[station, limits] : stations)
        greatest = std::max(greatest, limits.max_count);
    return greatest;
}

BlockPlan planned(const DriverLibrary &driver, const std::vector<Variable> &variables, const PollRules &rules) {
    std::map<std::chrono::milliseconds, VariablePointers> rates;
    for (const Variable &variable : variables)
        rates[variable.every].push_back(&variable);
    BlockPlan plan;
    Covered covered;
    for (const auto &[every, of_rate] : rates) {
        const bool is_cycle = every == std::chrono::milliseconds(0);
        const std::vector<PolledBlock> blocks = planned_blocks(driver, plan_needs(driver, of_rate, covered), rules);
        for (const PolledBlock &block : blocks) {
            std::int64_t &end = covered[{block.station, block.register_class}][block.first];
            end = std::max(end, end_of(block));
            if (is_cycle)
                plan.cycle.push_back(block);
            else
                plan.slow.push_back({block, every});
        }
    }
    return plan;
}

PlacesByGroup places_of(const DriverLibrary &driver, const std::vector<Variable> &variables) {
    PlacesByGroup places;
    for (const auto &[group, wants] : wants_by_group(driver, pointers_to(variables)))
        for (const Wanted &wanted : wants.all())
            places[group].push_back({group.first, group.second, static_cast<int>(wanted.first),
                                     static_cast<int>(wanted.end - wanted.first)});
    return places;
}

void put_in_place(const DriverLibrary &driver, const std::vector<PolledBlock> &blocks) {
    const DriverEntryPoints &entry = driver.entry();
    QList<HOST_VAR> none;
    entry.ReCreatReadVarList(&none);
    // AddListReadVar takes no lock itself.
    const QMutexLocker locked(&entry.PLC_driver->list_mutex);
    for (const PolledBlock &block : blocks) {
        RW_VAR record = polled_record(driver, block);
        entry.AddListReadVar(&record);
    }
}

RW_VAR polled_record(const DriverLibrary &driver, const PolledBlock &block) {
    const ComInfo &info = *driver.entry().PLC_driver->com_info;
    RW_VAR record;
    record.var_group = ozna_kelpo::polled_group;
    record.var_id = ozna_kelpo::polled_id;
    record.host_ref3 = info.remote_mode;
    record.area_no = info.local_area_no;
    record.station_no = block.station;
    record.reg_type = block.register_class;
    record.reg_addr = block.first;
    record.reg_count = block.count;
    return record;
}

}  // namespace kelpo
