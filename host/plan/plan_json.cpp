#include "host/plan/plan_text.h"

#include "host/plan/plan_words.h"

#include <nlohmann/json.hpp>

namespace kelpo {
namespace {

using nlohmann::ordered_json;

double in_milliseconds(std::chrono::nanoseconds time) {
    return static_cast<double>(time.count()) / 1e6;
}

void put_traffic(ordered_json &object, const Traffic &traffic) {
    object["requests"] = traffic.requests;
    object["bytes_out"] = traffic.bytes_out;
    object["bytes_in"] = traffic.bytes_in;
    object["ms"] = in_milliseconds(traffic.time);
}

ordered_json request_object(const Plan &plan, const PlannedRequest &request) {
    ordered_json object;
    object["frame"] = hex_text(request);
    object["function"] = request.function();
    object["modbus_address"] = request.modbus_address();
    object["quantity"] = request.quantity();
    object["reply_bytes"] = request.reply_length;
    object["ms"] = in_milliseconds(exchange_time(plan.list, request.bytes.size(), request.reply_length));
    return object;
}

ordered_json block_object(const Plan &plan, const PlannedBlock &block) {
    ordered_json object;
    object["station"] = block.block.station;
    object["class"] = block.block.register_class;
    object["first"] = block.block.first;
    object["count"] = block.block.count;
    object["in_vain"] = block.in_vain();
    object["enabled"] = block.enabled;
    object["ms"] = in_milliseconds(block.traffic.time);
    object["variables"] = ordered_json::array();
    for (const std::size_t index : block.variables)
        object["variables"].push_back(plan.list.variables[index].name);
    object["frames"] = ordered_json::array();
    for (const PlannedRequest &request : block.block.requests)
        object["frames"].push_back(request_object(plan, request));
    return object;
}

ordered_json station_object(const StationPlan &station) {
    ordered_json object;
    object["station"] = station.station.number;
    object["name"] = station.station.name;
    object["enabled"] = station.station.enabled;
    object["blocks"] = station.blocks;
    object["in_vain"] = station.in_vain;
    put_traffic(object, station.traffic);
    return object;
}

}  // namespace

void print_plan_json(const Plan &plan, const std::string &title, std::ostream &out) {
    const LinkSettings &link = plan.list.link;
    ordered_json object;
    object["list"] = title;
    object["speed"] = link.line.speed;
    object["character_ms"] = in_milliseconds(link.line.character_time());
    object["gap_ms"] = in_milliseconds(link.line.frame_gap());
    object["turnaround_ms"] = in_milliseconds(plan.list.turnaround);
    object["max_count"] = link.max_count;
    object["blocks"] = ordered_json::array();
    for (const PlannedBlock &block : plan.blocks)
        object["blocks"].push_back(block_object(plan, block));
    object["stations"] = ordered_json::array();
    for (const StationPlan &station : plan.stations)
        object["stations"].push_back(station_object(station));
    put_traffic(object["cycle"], plan.cycle);
    object["advice"] = ordered_json::array();
    for (const Advice &advice : plan.advice)
        object["advice"].push_back({{"saves_ms", in_milliseconds(advice.saves)}, {"text", advice.text}});
    // The title is the name of a file, which may hold anything.
    out << object.dump(2, ' ', false, ordered_json::error_handler_t::replace) << "\n";
}

}  // namespace kelpo
