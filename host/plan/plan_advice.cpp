#include "host/plan/plan_advice.h"

#include "host/driver/register_types.h"
#include "host/plan/plan_words.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace kelpo {
namespace {

using std::chrono::nanoseconds;

constexpr int greatest_max_count = 100;

Traffic traffic_of_cycle(const PollList &list, const std::vector<Variable> &variables, int max_count, DryRun &driver) {
    Traffic traffic;
    for (const DryBlock &block : driver.cycle(variables, max_count))
        if (list.station(block.station).enabled)
            traffic += traffic_of(list, block.requests);
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

// Variables that are alone in a block.
std::set<std::size_t> loners(const Plan &plan) {
    std::set<std::size_t> alone;
    for (const PlannedBlock &block : plan.blocks)
        if (block.enabled && block.variables.size() == 1)
            alone.insert(block.variables.front());
    return alone;
}

// The variables that share a station and a class with one of them: only they share blocks with it.
std::vector<std::size_t> group_of(const Plan &plan, std::size_t variable) {
    std::set<std::size_t> group;
    const auto has = [variable](const PlannedBlock &block) {
        return std::find(block.variables.begin(), block.variables.end(), variable) != block.variables.end();
    };
    const auto own = std::find_if(plan.blocks.begin(), plan.blocks.end(), has);
    for (const PlannedBlock &block : plan.blocks)
        if (block.block.station == own->block.station && block.block.register_class == own->block.register_class)
            group.insert(block.variables.begin(), block.variables.end());
    return std::vector<std::size_t>(group.begin(), group.end());
}

// What the cycle is shorter by without the variable, and by how many requests.
Traffic saving_without(const Plan &plan, std::size_t variable, const std::vector<std::size_t> &group, DryRun &driver) {
    std::vector<Variable> with, without;
    for (const std::size_t i : group) {
        with.push_back(plan.list.variables[i]);
        if (i != variable)
            without.push_back(plan.list.variables[i]);
    }
    const int max_count = plan.list.link.max_count;
    const Traffic before = traffic_of_cycle(plan.list, with, max_count, driver);
    const Traffic after = traffic_of_cycle(plan.list, without, max_count, driver);
    return {before.requests - after.requests, before.bytes_out - after.bytes_out, before.bytes_in - after.bytes_in,
            before.time - after.time};
}

// Those that could share a block with others of their station and class, and in one piece those that could not.
std::vector<Advice> advice_on_loners(const Plan &plan, DryRun &driver) {
    std::vector<Advice> advice;
    std::vector<std::string> without_others;
    nanoseconds alone{0};
    for (const std::size_t index : loners(plan)) {
        const Variable &variable = plan.list.variables[index];
        const std::vector<std::size_t> group = group_of(plan, index);
        const Traffic saved = saving_without(plan, index, group, driver);
        const std::string time = milliseconds_text(saved.time) + " ms";
        if (saved.requests < 1)
            continue;
        if (group.size() > 1) {
            advice.push_back({in_quotes(variable.name) + " (" + place_of(variable) + ") opens a block of its own: " +
                                  (register_type(variable.type).is_bit_of_register
                                       ? "left out, with its word in a binary view instead,"
                                       : "nearer to the others, or left out,") +
                                  " it saves " + time + " (" + requests_text(saved.requests) + ")",
                              saved.time});
            continue;
        }
        alone += saved.time;
        without_others.push_back(in_quotes(variable.name) + " (" + time + ")");
    }
    std::stable_sort(advice.begin(), advice.end(), saves_more);
    if (!without_others.empty())
        advice.push_back(
            {"without others of their station and class to share a request with: " + some(without_others), alone});
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
            if (block.enabled && time > cost) {
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
    const Traffic with_most = traffic_of_cycle(plan.list, plan.list.variables, greatest_max_count, driver);
    const int fewer = plan.cycle.requests - with_most.requests;
    const nanoseconds saved = plan.cycle.time - with_most.time;
    if (fewer < 1 || saved <= nanoseconds::zero())
        return {};
    return {{"max-count " + std::to_string(plan.list.link.max_count) + " is small: with " +
                 std::to_string(greatest_max_count) + " the cycle saves " + requests_text(fewer) + " and " +
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
    const int tries = link.retries + 1;
    const nanoseconds on_line =
        link.line.frame_gap() * worst->traffic.requests + link.line.character_time() * worst->traffic.bytes_out;
    const nanoseconds time = (on_line + (link.timeouts.reply + link.timeouts.settle) * worst->traffic.requests) * tries;
    return {{"when station " + std::to_string(worst->station.number) + " is silent, each cycle takes some " +
                 milliseconds_text(time) + " ms more: " + counted(tries, "try", "tries") + " of each of " +
                 requests_text(worst->traffic.requests) + ", waiting " + std::to_string(link.timeouts.reply.count()) +
                 " ms each time",
             nanoseconds::zero()}};
}

void append(std::vector<Advice> &advice, std::vector<Advice> more) {
    advice.insert(advice.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

Plan advised(Plan plan, DryRun &driver) {
    std::vector<Advice> advice = advice_on_max_count(plan, driver);
    append(advice, advice_on_unused_units(plan));
    append(advice, advice_on_loners(plan, driver));
    append(advice, advice_on_stations_off(plan));
    append(advice, advice_on_silence(plan));
    plan.advice = std::move(advice);
    return plan;
}

}  // namespace kelpo
