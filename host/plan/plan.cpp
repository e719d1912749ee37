#include "host/plan/plan.h"

#include "host/line/terminal.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <tuple>
#include <utility>

namespace kelpo {
namespace {

// A variable's part of what a block could hold.
struct Wanted {
    std::int64_t first;
    std::int64_t end;
    std::size_t variable;
};

using WantedByGroup = std::map<std::pair<int, int>, std::vector<Wanted>>;  // by station and class

WantedByGroup wanted_by_group(const PollList &list, DryRun &driver) {
    WantedByGroup groups;
    for (std::size_t i = 0; i < list.variables.size(); ++i) {
        const Span span = driver.span_of(list.variables[i]);
        const std::int64_t first = span.first;
        groups[{list.variables[i].station, span.register_class}].push_back({first, first + span.count, i});
    }
    for (auto &[group, wanted] : groups)
        std::stable_sort(wanted.begin(), wanted.end(),
                         [](const Wanted &one, const Wanted &other) { return one.first < other.first; });
    return groups;
}

// Finds which variables are in the blocks of a group, and what is between them. The blocks come by their first unit.
class Filler {
public:
    Filler() = default;
    explicit Filler(const std::vector<Wanted> &group) : group_(&group) {}

    void fill(PlannedBlock &planned) {
        const std::int64_t begin = planned.block.first, end = begin + planned.block.count;
        for (; next_ < group_->size() && (*group_)[next_].first < end; ++next_)
            near_.push_back((*group_)[next_]);
        near_.erase(
            std::remove_if(near_.begin(), near_.end(), [begin](const Wanted &wanted) { return wanted.end <= begin; }),
            near_.end());
        std::int64_t covered = begin;
        const auto note_gap = [&planned, &covered](std::int64_t until) {
            if (until > covered)
                planned.unused.push_back({static_cast<int>(covered), static_cast<int>(until - covered)});
        };
        for (const Wanted &wanted : near_) {
            if (wanted.first >= end)
                continue;
            note_gap(wanted.first);
            covered = std::max(covered, wanted.end);
            planned.variables.push_back(wanted.variable);
        }
        note_gap(end);
    }

private:
    const std::vector<Wanted> *group_ = nullptr;
    std::vector<Wanted> near_;  // begin before the end of the last block, and end after its beginning
    std::size_t next_ = 0;      // the first that is not looked at yet
};

double share_of(std::chrono::nanoseconds time, std::chrono::nanoseconds whole) {
    return static_cast<double>(time.count()) / static_cast<double>(whole.count());
}

// A pseudo-terminal has no wire that needs silence: unless the list asks for a gap, none is kept there.
void keep_no_gap_without_wire(LineSettings &line) {
    if (!line.gap && is_pseudo_terminal(line.path))
        line.gap = std::chrono::nanoseconds::zero();
}

}  // namespace

std::optional<double> Plan::load() const {
    if (cycle.requests == 0)
        return slow_share;
    if (list.link.cycle == std::chrono::milliseconds(0))
        return std::nullopt;
    return slow_share + share_of(cycle.time, list.link.cycle);
}

Traffic &Traffic::operator+=(const Traffic &more) {
    requests += more.requests;
    bytes_out += more.bytes_out;
    bytes_in += more.bytes_in;
    time += more.time;
    return *this;
}

int PlannedBlock::unused_units() const {
    int units = 0;
    for (const UnusedUnits &run : unused)
        units += run.count;
    return units;
}

std::chrono::nanoseconds exchange_time(const PollList &list, int station, const PlannedRequest &request) {
    const LineSettings &line = list.link.line;
    const auto characters = static_cast<std::int64_t>(request.bytes.size()) + request.reply_length;
    return line.frame_gap() + line.character_time() * characters + list.turnaround_of(station);
}

Traffic traffic_of(const PollList &list, const DryBlock &block) {
    Traffic traffic;
    for (const PlannedRequest &request : block.requests)
        traffic += {1, static_cast<std::int64_t>(request.bytes.size()), request.reply_length,
                    exchange_time(list, block.station, request)};
    return traffic;
}

Plan make_plan(PollList list_as_given, DryRun &driver) {
    Plan plan;
    plan.list = std::move(list_as_given);
    keep_no_gap_without_wire(plan.list.link.line);
    const PollList &list = plan.list;
    const WantedByGroup groups = wanted_by_group(list, driver);
    std::map<std::tuple<int, int, std::chrono::milliseconds>, Filler> fillers;  // blocks of one rate come in order
    std::map<int, StationPlan> stations;
    for (DryBlock &block : driver.cycle(list.variables, list.link.of_driver().rules())) {
        const Station &station = list.station(block.station);
        PlannedBlock planned{std::move(block), station.enabled, {}, {}, {}};
        const int register_class = planned.block.register_class;
        const auto every = planned.block.every;
        const bool is_slow = every > std::chrono::milliseconds(0);
        fillers.try_emplace({station.number, register_class, every}, groups.at({station.number, register_class}))
            .first->second.fill(planned);
        planned.traffic = traffic_of(list, planned.block);
        if (planned.enabled && is_slow)
            plan.slow_share += share_of(planned.traffic.time, every);
        else if (planned.enabled)
            plan.cycle += planned.traffic;
        StationPlan &of_station = stations[station.number];
        of_station.station = station;
        ++of_station.blocks;
        of_station.unused_units += planned.unused_units();
        if (!is_slow)
            of_station.traffic += planned.traffic;
        plan.blocks.push_back(std::move(planned));
    }
    for (auto &[number, station] : stations)
        plan.stations.push_back(std::move(station));
    return plan;
}

}  // namespace kelpo
