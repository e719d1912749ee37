// How good the driver's block reads are: requests and line time of one pass over seeded lists of variables, compared
// with one request for each variable, with merging only what touches, and with the best possible requests. The driver's
// policy is given; this shows what it costs, and what a host can gain with another max_count.
#include "bench/best_blocks.h"
#include "bench/block_maps.h"
#include "bench/driver_link.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using bench::RequestCost;
using bench::Span;

// The limits of one register class, with a max_count of 100.
struct ClassLimits {
    int bits_per_unit;
    int longest;
    int high_start;  // no request goes beyond it from below
};

constexpr int no_boundary = 0x7FFFFFFF;

const std::map<int, ClassLimits> class_limits = {
    {4, {1, 160, no_boundary}}, {5, {1, 160, no_boundary}},  {7, {16, 100, 8000}},
    {8, {16, 100, 256}},        {9, {16, 100, no_boundary}}, {13, {32, 50, no_boundary}},
};

// What may share a request: the same station, class, and side of the class's boundary.
struct Group {
    int station;
    int register_class;
    bool high;

    bool operator<(const Group &other) const {
        if (station != other.station)
            return station < other.station;
        return register_class != other.register_class ? register_class < other.register_class : high < other.high;
    }
};

using Requests = std::map<Group, std::vector<Span>>;

constexpr int request_bytes = 8;
constexpr int reply_bytes_without_data = 5;
constexpr double turnaround = 0.005;
constexpr double shortest_silence = 0.00175;

// With 8 data bits, no parity and one stop bit; in seconds.
RequestCost cost_at(int baud, const ClassLimits &limits) {
    const double character = 10.0 / baud;
    const double silence = std::max(shortest_silence, 3.5 * character);
    return {silence + turnaround + character * (request_bytes + reply_bytes_without_data), character,
            limits.bits_per_unit, limits.longest};
}

void add_on_both_sides(Requests &requests, int station, int register_class, const Span &all) {
    const int high_start = class_limits.at(register_class).high_start;
    const int low = std::max(0, std::min(all.count, high_start - all.first));
    if (low > 0)
        requests[{station, register_class, false}].push_back({all.first, low});
    if (low < all.count)
        requests[{station, register_class, true}].push_back({all.first + low, all.count - low});
}

// What each variable asks for. None is longer than a request may be.
Requests wanted_by(const QList<HOST_VAR> &variables) {
    Requests wanted;
    for (const HOST_VAR &variable : variables) {
        RW_VAR folded;
        folded.reg_type = variable.reg_type;
        folded.reg_count = variable.reg_count;
        PLC_driver.update_info(&folded);
        const int address = StringAddressToInt(variable.reg_type, variable.addr_text);
        add_on_both_sides(wanted, variable.station_no, folded.reg_type, {address, folded.reg_count});
    }
    return wanted;
}

// The requests of one pass, taken from the driver and answered.
Requests requests_of_driver(QList<HOST_VAR> variables, int max_count) {
    ComInfo &com_info = bench::configure_driver();
    com_info.multi_station = 1;
    com_info.max_count = max_count;
    Requests requests;
    for (int left = ReCreatReadVarList(&variables); left > 0;) {
        const Protocol *request = ComCommunication();
        const RW_VAR &var = request->var;
        const ClassLimits &limits = class_limits.at(var.reg_type);
        const bool high = var.reg_addr >= limits.high_start;
        requests[{var.station_no, var.reg_type, high}].push_back({var.reg_addr, var.reg_count});
        const RequestCost bytes{0, 1, limits.bits_per_unit, limits.longest};
        if (request->send_len != request_bytes ||
            request->reply_len != reply_bytes_without_data + static_cast<int>(bytes.of(var.reg_count)))
            throw std::logic_error("a frame of the driver is longer or shorter than this table counts");
        QByteArray reply = bench::reply_to(request->frame);
        if (DataCom(&reply, static_cast<int>(reply.size()))->ret_value != 1)
            throw std::runtime_error("the driver does not accept a reply");
        if (com_info.success_count >= com_info.success_limit)
            --left;
    }
    return requests;
}

template <typename Plan> Requests planned(const Requests &wanted, int baud, const Plan &plan) {
    Requests requests;
    for (const auto &[group, spans] : wanted)
        requests[group] = plan(bench::units_of(spans), cost_at(baud, class_limits.at(group.register_class)));
    return requests;
}

void require_all_read(const Requests &wanted, const Requests &requests) {
    for (const auto &[group, spans] : wanted) {
        const std::vector<int> read = bench::units_of(requests.at(group));
        const std::vector<int> units = bench::units_of(spans);
        if (!std::includes(read.begin(), read.end(), units.begin(), units.end()))
            throw std::logic_error("a variable is not read");
    }
}

struct Pass {
    std::size_t requests = 0;
    double seconds = 0;
};

Pass pass_of(const Requests &requests, int baud) {
    Pass pass;
    for (const auto &[group, spans] : requests) {
        pass.requests += spans.size();
        pass.seconds += cost_of(spans, cost_at(baud, class_limits.at(group.register_class)));
    }
    return pass;
}

// The max_count with which the driver's pass is shortest.
std::pair<int, Pass> best_max_count(const QList<HOST_VAR> &variables, int baud) {
    std::pair<int, Pass> best;
    for (int max_count = 5; max_count <= 100; max_count += 5) {
        const Pass pass = pass_of(requests_of_driver(variables, max_count), baud);
        if (best.first == 0 || pass.seconds <= best.second.seconds)
            best = {max_count, pass};
    }
    return best;
}

void print_row(const char *name, int count, int baud, const QList<HOST_VAR> &variables) {
    const Requests wanted = wanted_by(variables);
    const Requests driver = requests_of_driver(variables, 100);
    const Requests touching = planned(wanted, baud, [](const std::vector<int> &units, const RequestCost &cost) {
        return bench::touching_requests(units, cost.longest);
    });
    const Requests best = planned(wanted, baud, bench::best_requests);
    require_all_read(wanted, driver);
    require_all_read(wanted, touching);
    require_all_read(wanted, best);

    const Pass passes[] = {pass_of(driver, baud), pass_of(wanted, baud), pass_of(touching, baud), pass_of(best, baud)};
    const auto [max_count, tuned] = best_max_count(variables, baud);
    std::printf("%-18s %5d %6d", name, count, baud);
    for (const Pass &pass : passes)
        std::printf(" | %5zu %8.2f", pass.requests, pass.seconds);
    for (int other = 1; other < 4; ++other)
        std::printf("%s %5.2f", other == 1 ? " |" : "", passes[0].seconds / passes[other].seconds);
    std::printf(" | %3d %5.2f\n", max_count, tuned.seconds / passes[3].seconds);
}

}  // namespace

int main() {
    std::printf("%-18s %5s %6s | %14s | %14s | %14s | %14s | %17s | %s\n", "", "", "", "driver", "each variable",
                "touching", "best", "driver's time to", "best max_count");
    std::printf("%-18s %5s %6s", "variables", "", "baud");
    for (int plan = 0; plan < 4; ++plan)
        std::printf(" | %5s %8s", "reqs", "seconds");
    std::printf(" | %5s %5s %5s | %3s %s\n", "each", "touch", "best", "", "time to best");
    try {
        for (const bench::BlockMap &map : bench::block_maps)
            for (const int count : {100, 1000, 5000})
                for (const int baud : {19200, 115200})
                    print_row(map.name, count, baud, map.make(count));
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
