#include "host/plan/plan_advice.h"

#include "host/driver/block_plan.h"
#include "host/driver/register_types.h"
#include "host/plan/plan_words.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace kelpo {
namespace {

using std::chrono::nanoseconds;

bool is_slow(const DryBlock &block) {
    return block.every > std::chrono::milliseconds(0);
}

Traffic traffic_of_cycle(const PollList &list, const std::vector<Variable> &variables, const PollRules &rules,
                         DryRun &driver) {
    Traffic traffic;
    for (const DryBlock &block : driver.cycle(variables, rules))
        if (list.station(block.station).enabled && !is_slow(block))
            traffic += traffic_of(list, block);
    return traffic;
}

bool saves_more(const Advice &one, const Advice &other) {
    return one.saves > other.saves;
}

// The first few of many.
std::string some(const std::vector<std::string> &words) {
    constexpr std::size_t most = 5;
    if (words.size() <= most)
        return listed(words);
    const std::vector<std::string> first(words.begin(), words.begin() + most);
    std::string text;
    for (const std::string &word : first)
        text += word + ", ";
    return text + "and " + std::to_string(words.size() - most) + " more";
}

std::string requests_text(int count) {
    return counted(count, "request");
}

using Group = std::pair<int, int>;  // a station and a register class: only its variables share blocks

// The variables that share a station and a class, and what each has alone.
struct Sharing {
    struct OfVariable {
        Group group;
        Traffic alone;        // of the blocks that contain no other variable
        bool shares = false;  // there are others
    };

    std::map<Group, std::set<std::size_t>> groups;
    std::map<std::size_t, OfVariable> variables;
};

Sharing sharing_of(const Plan &plan) {
    Sharing sharing;
    for (const PlannedBlock &block : plan.blocks) {
        if (!block.enabled || is_slow(block.block))
            continue;
        const Group group{block.block.station, block.block.register_class};
        sharing.groups[group].insert(block.variables.begin(), block.variables.end());
        for (const std::size_t variable : block.variables) {
            Sharing::OfVariable &of_variable = sharing.variables[variable];
            of_variable.group = group;
            if (block.variables.size() == 1)
                of_variable.alone += block.traffic;
            else
                of_variable.shares = true;
        }
    }
    return sharing;
}

/// Finds out by dry runs what a cycle is shorter by without one variable: as many as take a moment.
class Omission {
public:
    Omission(const Plan &plan, DryRun &driver) : plan_(plan), driver_(driver) {}

    // Nothing when there were too many.
    std::optional<Traffic> saving_without(std::size_t variable, const std::set<std::size_t> &group) {
        constexpr std::size_t most_asked = 20000;  // variables, again and again
        asked_ += group.size();
        if (asked_ > most_asked)
            return std::nullopt;
        std::vector<Variable> with, without;
        for (const std::size_t i : group) {
            with.push_back(plan_.list.variables[i]);
            if (i != variable)
                without.push_back(plan_.list.variables[i]);
        }
        const PollRules rules = plan_.list.link.of_driver().rules();
        const Traffic before = traffic_of_cycle(plan_.list, with, rules, driver_);
        const Traffic after = traffic_of_cycle(plan_.list, without, rules, driver_);
        return Traffic{before.requests - after.requests, before.bytes_out - after.bytes_out,
                       before.bytes_in - after.bytes_in, before.time - after.time};
    }

private:
    const Plan &plan_;
    DryRun &driver_;
    std::size_t asked_ = 0;
};

Advice advice_on_loner(const Variable &variable, const Traffic &saved) {
    return {in_quotes(variable.name) + " (" + place_of(variable) + ") opens a block of its own: " +
                (register_type(variable.type).is_bit_of_register ? "left out, with its word in a binary view instead,"
                                                                 : "nearer to the others, or left out,") +
                " it saves " + milliseconds_text(saved.time) + " ms (" + requests_text(saved.requests) + ")",
            saved.time};
}

// Those that could share a block with others of their station and class, and in one piece those that could not.
std::vector<Advice> advice_on_loners(const Plan &plan, DryRun &driver) {
    const Sharing sharing = sharing_of(plan);
    Omission omission(plan, driver);
    std::vector<Advice> advice;
    std::vector<std::string> without_others;
    nanoseconds alone{0};
    std::size_t not_tried = 0;
    for (const auto &[index, of_variable] : sharing.variables) {
        if (of_variable.alone.requests == 0)
            continue;
        const std::set<std::size_t> &group = sharing.groups.at(of_variable.group);
        // Where it shares no block, the other blocks are the same without it.
        const std::optional<Traffic> saved =
            of_variable.shares ? omission.saving_without(index, group) : of_variable.alone;
        not_tried += saved ? 0 : 1;
        if (!saved || saved->requests < 1)
            continue;
        const Variable &variable = plan.list.variables[index];
        if (group.size() > 1) {
            advice.push_back(advice_on_loner(variable, *saved));
            continue;
        }
        alone += saved->time;
        without_others.push_back(in_quotes(variable.name) + " (" + milliseconds_text(saved->time) + " ms)");
    }
    std::stable_sort(advice.begin(), advice.end(), saves_more);
    if (!without_others.empty())
        advice.push_back(
            {"without others of their station and class to share a request with: " + some(without_others), alone});
    if (not_tried > 0)
        advice.push_back({"what leaving out would save was not tried for " +
                              counted(static_cast<std::int64_t>(not_tried), "more variable") +
                              " with a block of their own: that would take too long",
                          nanoseconds::zero()});
    return advice;
}

// The unused units that take most of the line's time.
std::vector<Advice> advice_on_unused_units(const Plan &plan) {
    const PlannedBlock *worst = nullptr;
    UnusedUnits longest{0, 0};
    nanoseconds cost{0};
    for (const PlannedBlock &block : plan.blocks) {
        constexpr std::int64_t around_data = 5;  // bytes of a reply: station, function, byte count, check
        const std::int64_t data_bits = (block.traffic.bytes_in - around_data * block.traffic.requests) * 8;
        for (const UnusedUnits &run : block.unused) {
            const nanoseconds time =
                plan.list.link.line.character_time() * (data_bits * run.count / block.block.count) / 8;
            if (block.enabled && !is_slow(block.block) && time > cost) {
                worst = &block;
                longest = run;
                cost = time;
            }
        }
    }
    constexpr int least_part = 50;  // a fiftieth of the cycle
    if (worst == nullptr || cost * least_part < plan.cycle.time)
        return {};
    return {{"station " + std::to_string(worst->block.station) + ", class " +
                 std::to_string(worst->block.register_class) + ": " + unit_of(worst->block.requests.front()) + "s " +
                 range_text(longest.first, longest.count) +
                 " are read and not used; variables without gaps between them save up to " + milliseconds_text(cost) +
                 " ms",
             cost}};
}

std::vector<Advice> advice_on_max_count(const Plan &plan, DryRun &driver) {
    if (plan.list.link.max_count >= most_max_count)
        return {};
    LinkSettings link = plan.list.link;
    link.max_count = most_max_count;
    const Traffic with_most = traffic_of_cycle(plan.list, plan.list.variables, link.of_driver().rules(), driver);
    const int fewer = plan.cycle.requests - with_most.requests;
    const nanoseconds saved = plan.cycle.time - with_most.time;
    if (fewer < 1 || saved <= nanoseconds::zero())
        return {};
    return {{"max-count " + std::to_string(plan.list.link.max_count) + " is small: with " +
                 std::to_string(most_max_count) + " the cycle saves " + requests_text(fewer) + " and " +
                 milliseconds_text(saved) + " ms",
             saved}};
}

std::vector<Advice> advice_on_stations_off(const Plan &plan) {
    std::vector<Advice> advice;
    for (const StationPlan &station : plan.stations)
        if (!station.station.enabled)
            advice.push_back({"station " + std::to_string(station.station.number) +
                                  " is off: when it is switched on, the cycle has " +
                                  requests_text(station.traffic.requests) + " and " +
                                  milliseconds_text(station.traffic.time) + " ms more",
                              nanoseconds::zero()});
    return advice;
}

// The station that holds up the others most when it does not answer.
std::vector<Advice> advice_on_silence(const Plan &plan) {
    const LinkSettings &link = plan.list.link;
    const StationPlan *worst = nullptr;
    for (const StationPlan &station : plan.stations)
        if (station.station.enabled && (worst == nullptr || station.traffic.requests > worst->traffic.requests))
            worst = &station;
    if (worst == nullptr)
        return {};
    const int number = worst->station.number;
    const int tries = link.retries_of(number) + 1;
    const auto reply = link.reply_of(number);
    const nanoseconds on_line =
        link.line.frame_gap() * worst->traffic.requests + link.line.character_time() * worst->traffic.bytes_out;
    const nanoseconds time = (on_line + (reply + link.timeouts.settle) * worst->traffic.requests) * tries;
    return {{"when station " + std::to_string(number) + " is silent, each cycle takes some " + milliseconds_text(time) +
                 " ms more: " + counted(tries, "try", "tries") + " of each of " +
                 requests_text(worst->traffic.requests) + ", waiting " + std::to_string(reply.count()) +
                 " ms each time",
             nanoseconds::zero()}};
}

// A line without time left has none for writes and for what is sent again.
std::vector<Advice> advice_on_load(const Plan &plan) {
    constexpr double most = 0.8;
    const double load = plan.load().value_or(plan.slow_share);
    if (load <= most)
        return {};
    return {{"the line is loaded to " + std::to_string(std::llround(load * 100)) +
                 " %, which leaves little time for writes and for what is sent again: above 80 %, make cycle-ms or "
                 "every-ms longer",
             nanoseconds::zero()}};
}

void append(std::vector<Advice> &advice, std::vector<Advice> more) {
    advice.insert(advice.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

Plan advised(Plan plan, DryRun &driver) {
    std::vector<Advice> advice = advice_on_load(plan);
    append(advice, advice_on_max_count(plan, driver));
    append(advice, advice_on_unused_units(plan));
    append(advice, advice_on_loners(plan, driver));
    append(advice, advice_on_stations_off(plan));
    append(advice, advice_on_silence(plan));
    plan.advice = std::move(advice);
    return plan;
}

}  // namespace kelpo
