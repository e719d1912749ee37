#include "host/plan/plan_tune.h"

#include "host/driver/block_plan.h"
#include "host/text/quantities.h"

#include <algorithm>
#include <map>
#include <ostream>

namespace kelpo {
namespace {

// Unused registers that take as long as one request more.
int gap_worth_a_request(const PollList &list, int station) {
    constexpr int bytes_around_data = 8 + 5, bytes_of_register = 2;
    const LineSettings &line = list.link.line;
    const auto request = line.frame_gap() + line.character_time() * bytes_around_data + list.turnaround_of(station);
    return static_cast<int>(request / (line.character_time() * bytes_of_register));
}

bool is_changed(const TunedStation &station) {
    constexpr int least_part = 100;  // a hundredth of its time
    return (station.before.time - station.after.time) * least_part > station.before.time;
}

// Finds the best limits of one station.
class Tuner {
public:
    Tuner(const PollList &list, int station, DryRun &driver) : list_(list), driver_(driver) {
        std::copy_if(list.variables.begin(), list.variables.end(), std::back_inserter(variables_),
                     [station](const Variable &variable) { return variable.station == station; });
        best_.station = station;
        best_.limits = list.link.of_driver().rules().of(station);
        best_.before = best_.after = traffic_with(best_.limits);
    }

    TunedStation best() {
        const std::optional<int> max_gap = best_.limits.max_gap;
        for (int max_count = most_max_count; max_count > 0; --max_count)
            try_limits({max_count, max_gap});
        const int gap = gap_worth_a_request(list_, best_.station);
        if (!max_gap && gap < most_max_count)
            try_limits({most_max_count, gap});
        return best_;
    }

private:
    Traffic traffic_with(const BlockLimits &limits) {
        Traffic traffic;
        for (const DryBlock &block : driver_.cycle(variables_, {limits, {}}))
            if (block.every == std::chrono::milliseconds(0))
                traffic += traffic_of(list_, block);
        return traffic;
    }

    void try_limits(const BlockLimits &limits) {
        const Traffic traffic = traffic_with(limits);
        if (traffic.time >= best_.after.time)
            return;
        best_.after = traffic;
        best_.limits = limits;
    }

    const PollList &list_;
    DryRun &driver_;
    std::vector<Variable> variables_;
    TunedStation best_;
};

}  // namespace

std::vector<TunedStation> tuned(const PollList &list, DryRun &driver) {
    std::vector<TunedStation> stations;
    for (const Station &station : list.stations) {
        const bool has_variables = std::any_of(list.variables.begin(), list.variables.end(),
                                               [&](const Variable &one) { return one.station == station.number; });
        if (station.enabled && has_variables)
            stations.push_back(Tuner(list, station.number, driver).best());
    }
    return stations;
}

void print_tuned(const std::vector<TunedStation> &stations, const std::string &title, std::ostream &out) {
    Traffic before, after;
    for (const TunedStation &station : stations) {
        before += station.before;
        after += station.after;
    }
    out << title << ": a cycle takes " << milliseconds_text(before.time) << " ms in "
        << counted(before.requests, "request");
    if (std::none_of(stations.begin(), stations.end(), is_changed)) {
        out << "; no other max-count takes less\n";
        return;
    }
    out << ", and " << milliseconds_text(after.time) << " ms in " << counted(after.requests, "request")
        << " with these lines in it:\n";
    for (const TunedStation &station : stations) {
        if (!is_changed(station))
            continue;
        out << "\n[[station]]    # " << milliseconds_text(station.before.time) << " ms before, "
            << milliseconds_text(station.after.time) << " ms with this\nnumber = " << station.station
            << "\nmax-count = " << station.limits.max_count << "\n";
        if (station.limits.max_gap)
            out << "max-gap = " << *station.limits.max_gap << "\n";
    }
}

}  // namespace kelpo
