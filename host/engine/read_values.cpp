#include "host/engine/read_values.h"

#include "host/driver/request_parts.h"

#include <algorithm>

namespace kelpo {

void ReadValues::use(const DriverQueries &driver, const std::vector<Variable> &variables,
                     const std::vector<PolledBlock> &blocks) {
    driver_ = &driver;
    note_blocks({}, blocks);
    const std::lock_guard<std::mutex> locked(mutex_);
    sources_.reserve(variables.size());
    for (const Variable &variable : variables) {
        const RegisterType &type = register_type(variable.type);
        const int number = driver.number_of(variable.type, variable.address).value_or(0);
        const NumberRange range = range_in_class(type, number, variable.count);
        Source source{&variable, number, range.first};
        source.bytes.assign(static_cast<std::size_t>(value_size(type, variable.count)), '\0');
        Area &area = areas_[{variable.station, type.register_class}];
        area.sources.push_back(sources_.size());
        area.longest = std::max(area.longest, range.last - range.first + 1);
        sources_.push_back(std::move(source));
    }
    for (auto &[place, area] : areas_)
        std::sort(area.sources.begin(), area.sources.end(), [this](std::size_t one, std::size_t other) {
            return sources_[one].range().first < sources_[other].range().first;
        });
}

void ReadValues::note_blocks(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) {
    for (const PolledBlock &block : gone)
        blocks_.erase({{block.station, block.register_class}, block.first});
    for (const PolledBlock &block : come)
        blocks_[{{block.station, block.register_class}, block.first}] = block.count;
}

void ReadValues::blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) {
    note_blocks(gone, come);
    const std::lock_guard<std::mutex> locked(mutex_);
    for (const PolledBlock &block : gone)
        for_each_in({block.station, block.register_class}, block.first, block.count, [&](std::size_t index) {
            Source &source = sources_[index];
            for (Part &part : source.parts)
                if (part.first >= block.first && part.first < block.first + block.count) {
                    part.outdated = source.has_outdated = true;
                    part.failure.reset();
                }
            source.not_sent.reset();
            touch(index);
        });
}

// All variables that have something in these numbers.
template <typename Action>
void ReadValues::for_each_in(const Place &place, int first, int count, const Action &action) {
    const auto found = areas_.find(place);
    if (found == areas_.end())
        return;
    const std::vector<std::size_t> &sources = found->second.sources;
    const auto begins_before = [this](std::size_t index, std::int64_t number) {
        return sources_[index].range().first < number;
    };
    auto next = std::lower_bound(sources.begin(), sources.end(), first - found->second.longest + 1, begins_before);
    for (; next != sources.end() && sources_[*next].range().first < std::int64_t{first} + count; ++next)
        if (sources_[*next].range().last >= first)
            action(*next);
}

void ReadValues::exchanged(const Exchange &exchange) {
    if (!exchange.name.is_of_list() || exchange.outcome == Outcome::sent_again)
        return;
    const Place place{exchange.station, exchange.type};
    const std::lock_guard<std::mutex> locked(mutex_);
    if (exchange.outcome == Outcome::good) {
        for_each_in(place, exchange.address, exchange.count, [this, &exchange](std::size_t index) {
            take_bytes(sources_[index], exchange);
            note_read(sources_[index], exchange);
            touch(index);
        });
        return;
    }
    // Some blocks take two requests. When the first is given up, the second is not sent.
    const auto block = blocks_.find({place, exchange.address});
    const int count = block == blocks_.end() ? exchange.count : std::max(block->second, exchange.count);
    const auto failure = std::make_shared<const Failure>(failure_of(exchange));
    for_each_in(place, exchange.address, count, [&](std::size_t index) {
        Source &source = sources_[index];
        if (source.range().first < exchange.address + exchange.count)
            part_of(source, exchange.address, exchange.count).failure = failure;
        else
            source.not_sent = failure;
        touch(index);
    });
}

void ReadValues::take_bytes(Source &source, const Exchange &exchange) const {
    const Variable &variable = *source.variable;
    const RegisterType &type = register_type(variable.type);
    const std::int64_t end = std::int64_t{exchange.address} + exchange.count;
    const NumberRange range = source.range();
    std::string held;
    std::size_t first_byte = 0;
    if (exchange.address <= range.first && range.last < end) {
        held = driver_->held_bytes(variable);
    } else {
        const VariablePart part =
            part_around(variable, source.number, std::max<std::int64_t>(exchange.address, range.first),
                        std::min(end - 1, range.last));
        held = driver_->held_bytes(part.variable);
        first_byte = static_cast<std::size_t>(part.first_byte);
    }
    for (std::size_t i = 0; i < held.size() && first_byte + i < source.bytes.size(); ++i) {
        const std::int64_t number = number_of_byte(type, source.number, static_cast<int>(first_byte + i));
        if (number >= exchange.address && number < end)
            source.bytes[first_byte + i] = held[i];
    }
}

void ReadValues::note_read(Source &source, const Exchange &exchange) const {
    Part &part = part_of(source, exchange.address, exchange.count);
    part.read_at = clock_();
    part.wall_time = exchange.ended_at;
    part.read = true;
    part.failure.reset();
    source.not_sent.reset();
    source.reach(part);
    if (source.has_outdated)
        drop_outdated(source);
}

NumberRange ReadValues::Source::range() const {
    return range_in_class(register_type(variable->type), number, variable->count);
}

bool ReadValues::Source::is_complete() const {
    return read_until > range().last;
}

// To be called when `part` was read.
void ReadValues::Source::reach(const Part &part) {
    longest_part = std::max(longest_part, part.count);
    const Part *next = &part;
    while (next != nullptr && next->first <= read_until && next->end() > read_until) {
        read_until = next->end();
        next = nullptr;
        auto other = begins_at(parts, read_until - longest_part + 1);
        for (; next == nullptr && other != parts.end() && other->first <= read_until; ++other)
            if (other->read && other->end() > read_until)
                next = &*other;
    }
}

// Once all of the value was read in parts as they are now.
void ReadValues::drop_outdated(Source &source) {
    const NumberRange range = source.range();
    std::int64_t until = range.first;
    for (const Part &part : source.parts)
        if (part.read && !part.outdated && part.first <= until)
            until = std::max(until, part.end());
    if (until <= range.last)
        return;
    source.parts.erase(
        std::remove_if(source.parts.begin(), source.parts.end(), [](const Part &old) { return old.outdated; }),
        source.parts.end());
    source.has_outdated = false;
}

std::vector<ReadValues::Part>::iterator ReadValues::begins_at(std::vector<Part> &parts, std::int64_t first) {
    return std::lower_bound(parts.begin(), parts.end(), first,
                            [](const Part &part, std::int64_t number) { return part.first < number; });
}

ReadValues::Part &ReadValues::part_of(Source &source, int first, int count) {
    auto part = begins_at(source.parts, first);
    for (; part != source.parts.end() && part->first == first; ++part)
        if (!part->outdated)
            return *part;
    return *source.parts.insert(part, Part{first, count});
}

void ReadValues::touch(std::size_t index) {
    if (!std::exchange(sources_[index].touched, true))
        touched_.push_back(index);
}

std::vector<std::pair<std::size_t, ReadValue>> ReadValues::take() {
    const std::lock_guard<std::mutex> locked(mutex_);
    std::vector<std::pair<std::size_t, ReadValue>> values;
    values.reserve(touched_.size());
    for (const std::size_t index : std::exchange(touched_, {})) {
        sources_[index].touched = false;
        values.emplace_back(index, value_of(sources_[index]));
    }
    return values;
}

ReadValue ReadValues::value_of(const Source &source) {
    ReadValue value;
    if (source.is_complete())
        value.bytes = source.bytes;
    value.failure = source.not_sent;
    bool first = true;
    for (const Part &part : source.parts) {
        if (part.failure)
            value.failure = part.failure;
        if (!part.read)
            continue;
        if (first || part.read_at < value.read_at) {
            value.read_at = part.read_at;
            value.wall_time = part.wall_time;
        }
        value.newest_at = first ? part.read_at : std::max(value.newest_at, part.read_at);
        first = false;
    }
    return value;
}

void ReadValues::forget_failures(int station) {
    const std::lock_guard<std::mutex> locked(mutex_);
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        if (sources_[i].variable->station != station)
            continue;
        for (Part &part : sources_[i].parts)
            part.failure.reset();
        sources_[i].not_sent.reset();
        touch(i);
    }
}

}  // namespace kelpo
