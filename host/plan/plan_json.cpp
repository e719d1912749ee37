#include "host/plan/plan_text.h"

#include "host/text/hex.h"
#include "host/text/json.h"

namespace kelpo {
namespace {

double in_milliseconds(std::chrono::nanoseconds time) {
    return static_cast<double>(time.count()) / 1e6;
}

void put_traffic(Json &object, const Traffic &traffic) {
    object.set("requests", traffic.requests);
    object.set("bytes_out", traffic.bytes_out);
    object.set("bytes_in", traffic.bytes_in);
    object.set("ms", in_milliseconds(traffic.time));
}

Json request_object(const Plan &plan, int station, const PlannedRequest &request) {
    Json object = Json::object();
    object.set("frame", hex_text(request.bytes));
    object.set("function", request.function());
    object.set("modbus_address", request.modbus_address());
    object.set("quantity", request.quantity());
    object.set("reply_bytes", request.reply_length);
    object.set("ms", in_milliseconds(exchange_time(plan.list, station, request)));
    return object;
}

Json block_object(const Plan &plan, const PlannedBlock &block) {
    Json object = Json::object();
    object.set("station", block.block.station);
    object.set("class", block.block.register_class);
    object.set("first", block.block.first);
    object.set("count", block.block.count);
    object.set("in_vain", block.unused_units());
    object.set("enabled", block.enabled);
    object.set("every_ms", std::int64_t{block.block.every.count()});
    object.set("ms", in_milliseconds(block.traffic.time));
    Json variables = Json::array(), frames = Json::array();
    for (const std::size_t index : block.variables)
        variables.add(plan.list.variables[index].name);
    for (const PlannedRequest &request : block.block.requests)
        frames.add(request_object(plan, block.block.station, request));
    object.set("variables", variables);
    object.set("frames", frames);
    return object;
}

Json station_object(const PollList &list, const StationPlan &station) {
    const int number = station.station.number;
    const BlockLimits limits = list.link.of_driver().rules().of(number);
    Json object = Json::object();
    object.set("station", station.station.number);
    object.set("name", station.station.name);
    object.set("enabled", station.station.enabled);
    object.set("blocks", station.blocks);
    object.set("in_vain", station.unused_units);
    put_traffic(object, station.traffic);
    object.set("max_count", limits.max_count);
    if (limits.max_gap)
        object.set("max_gap", *limits.max_gap);
    object.set("reply_ms", list.link.reply_of(number).count());
    object.set("retries", list.link.retries_of(number));
    object.set("turnaround_ms", in_milliseconds(list.turnaround_of(number)));
    return object;
}

Json advice_object(const Advice &advice) {
    Json object = Json::object();
    object.set("saves_ms", in_milliseconds(advice.saves));
    object.set("text", advice.text);
    return object;
}

}  // namespace

void print_plan_json(const Plan &plan, const std::string &title, std::ostream &out) {
    const LinkSettings &link = plan.list.link;
    Json object = Json::object();
    object.set("list", title);
    object.set("speed", link.line.speed);
    object.set("character_ms", in_milliseconds(link.line.character_time()));
    object.set("gap_ms", in_milliseconds(link.line.frame_gap()));
    object.set("turnaround_ms", in_milliseconds(plan.list.turnaround));
    object.set("max_count", link.max_count);
    object.set("cycle_ms", std::int64_t{link.cycle.count()});
    object.set("slow_percent", plan.slow_share * 100);
    if (const auto load = plan.load())
        object.set("load_percent", *load * 100);
    Json blocks = Json::array(), stations = Json::array(), cycle = Json::object(), advice = Json::array();
    for (const PlannedBlock &block : plan.blocks)
        blocks.add(block_object(plan, block));
    for (const StationPlan &station : plan.stations)
        stations.add(station_object(plan.list, station));
    put_traffic(cycle, plan.cycle);
    for (const Advice &piece : plan.advice)
        advice.add(advice_object(piece));
    object.set("blocks", blocks);
    object.set("stations", stations);
    object.set("cycle", cycle);
    object.set("advice", advice);
    out << object.in_lines() << "\n";
}

}  // namespace kelpo
