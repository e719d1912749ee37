#include "host/poll/variable_watch.h"

#include "host/once/requests.h"

#include <algorithm>

namespace kelpo {
namespace {

struct Extent {
    int register_class;
    int address;
    int count;
};

// Where a place of places_to_poll lies in its register class (docs/address-map.md).
Extent extent_of(const DriverEntryPoints &driver, const Variable &place) {
    const int address = driver.PLCAddressChangeIntef(place.type, QString::fromLatin1(place.address.c_str()));
    const int values = (place.count + 1) / 2;
    switch (place.type) {
    case 12:
        return {7, address, 2 * values};
    case 13:
        return {13, address, values};
    case 14:
        return {8, address, 2 * values};
    default:
        return {place.type, address, place.count};
    }
}

bool holds_part_of(const RW_VAR &block, int station, const Extent &extent) {
    return block.station_no == station && block.reg_type == extent.register_class &&
           block.reg_addr < extent.address + extent.count && extent.address < block.reg_addr + block.reg_count;
}

}  // namespace

std::vector<Variable> places_to_poll(const std::vector<Variable> &variables) {
    std::vector<Variable> places;
    places.reserve(variables.size());
    for (const Variable &variable : variables)
        places.push_back(place_to_read(variable).value_or(variable));
    return places;
}

VariableWatch::VariableWatch(const DriverEntryPoints &driver, std::vector<Variable> variables,
                             const std::vector<RW_VAR> &blocks)
    : driver_(driver), variables_(std::move(variables)), states_(variables_.size()) {
    for (const RW_VAR &block : blocks)
        blocks_.push_back({block.station_no, block.reg_type, block.reg_addr});
    for (const Variable &place : places_to_poll(variables_)) {
        const Extent extent = extent_of(driver, place);
        Source source;
        for (std::size_t i = 0; i < blocks.size(); ++i)
            if (holds_part_of(blocks[i], place.station, extent))
                source.blocks.push_back(i);
        sources_.push_back(source);
    }
    for (std::size_t i = 0; i < variables_.size(); ++i)
        sources_[i].address = QString::fromLatin1(variables_[i].address.c_str());
}

std::vector<std::size_t> VariableWatch::refresh(const LinkReading &link) {
    std::vector<LinkReading::Block> blocks;
    blocks.reserve(blocks_.size());
    for (const BlockPlace &place : blocks_) {
        const auto found = link.blocks.find(place);
        blocks.push_back(found == link.blocks.end() ? LinkReading::Block() : found->second);
    }
    std::vector<std::size_t> changed;
    for (std::size_t i = 0; i < variables_.size(); ++i)
        if (take(i, blocks))
            changed.push_back(i);
    return changed;
}

// True when the value has changed or was read for the first time.
bool VariableWatch::take(std::size_t index, const std::vector<LinkReading::Block> &blocks) {
    Source &source = sources_[index];
    VariableState &state = states_[index];
    std::uint64_t readings = 0;
    bool all_read = !source.blocks.empty();
    auto oldest = VariableState::Time::max(), newest = VariableState::Time::min();
    state.failure.reset();
    for (const std::size_t place : source.blocks) {
        const LinkReading::Block &block = blocks[place];
        readings += block.readings;
        all_read = all_read && block.readings > 0;
        oldest = std::min(oldest, block.read_at);
        newest = std::max(newest, block.read_at);
        if (block.failure)
            state.failure = block.failure;
    }
    if (!all_read || readings == source.readings)
        return false;
    source.readings = readings;
    state.read_at = oldest;
    return fetch(index, newest);
}

bool VariableWatch::fetch(std::size_t index, VariableState::Time now) {
    const Variable &variable = variables_[index];
    Source &source = sources_[index];
    VariableState &state = states_[index];
    QByteArray bytes;
    driver_.GetRegisterData(QString(), variable.type, source.address, variable.station, bytes, variable.count);
    if (state.known() && bytes == source.bytes)
        return false;
    state.changes += state.known() ? 1 : 0;
    state.changed_at = now;
    state.values = values_in(variable.view, bytes);
    state.text = text_of(variable.view, state.values);
    source.bytes = bytes;
    return true;
}

}  // namespace kelpo
