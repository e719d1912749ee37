#include "host/poll/read_values.h"

#include <algorithm>

namespace kelpo {
namespace {

constexpr int id_of_polls = -1;

// The class whose registers hold the values of a type, bits within registers included (docs/address-map.md).
int register_class_of(int type) {
    switch (type) {
    case 12:
    case 15:
        return 7;
    case 14:
    case 16:
        return 8;
    case 17:
        return 11;
    default:
        return type;
    }
}

bool is_bit_in_register(int type) {
    return type >= 15 && type <= 17;
}

// Of the bytes that the driver hands out for a variable, the number of the register or bit that holds byte `index`.
int number_of_byte(int type, int number, int index) {
    switch (type) {
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
        return number + index / 2;
    case 12:
    case 14:  // four bytes, the low word's first; the high word lies at the lower number
        return number + index / 4 * 2 + (index % 4 < 2 ? 1 : 0);
    case 13:
        return number + index / 4;
    case 15:
    case 16:
    case 17:
        return (number + index) >> 4;
    default:
        return number + index;
    }
}

int bytes_of_type(int type, int count) {
    if (type >= 7 && type <= 11)
        return 2 * count;
    return type >= 12 && type <= 14 ? 4 * ((count + 1) / 2) : count;
}

// The last register or bit of the class that `count` units of a type lie in.
int last_number_of(int type, int number, int count) {
    switch (type) {
    case 12:
    case 14:
        return number + (count + 1) / 2 * 2 - 1;
    case 13:
        return number + (count + 1) / 2 - 1;
    case 15:
    case 16:
    case 17:
        return (number + count - 1) >> 4;
    default:
        return number + count - 1;
    }
}

}  // namespace

void ReadValues::use(const DriverEntryPoints &driver, const std::vector<Variable> &variables,
                     const std::vector<RW_VAR> &blocks) {
    driver_ = &driver;
    for (const RW_VAR &block : blocks)
        blocks_[{{block.station_no, block.reg_type}, block.reg_addr}] = block.reg_count;
    const std::lock_guard<std::mutex> locked(mutex_);
    for (const Variable &variable : variables) {
        Source source{variable, QString::fromLatin1(variable.address.c_str()), 0, 0, 0};
        source.number = driver.PLCAddressChangeIntef(variable.type, source.address);
        source.bytes = QByteArray(bytes_of_type(variable.type, variable.count), '\0');
        source.first = is_bit_in_register(variable.type) ? source.number >> 4 : source.number;
        source.last = last_number_of(variable.type, source.number, variable.count);
        Area &area = areas_[{variable.station, register_class_of(variable.type)}];
        area.sources.push_back(sources_.size());
        area.longest = std::max(area.longest, source.last - source.first + 1);
        sources_.push_back(std::move(source));
    }
    for (auto &[place, area] : areas_)
        std::sort(area.sources.begin(), area.sources.end(),
                  [this](std::size_t one, std::size_t other) { return sources_[one].first < sources_[other].first; });
}

// All variables that have something in these numbers.
template <typename Action>
void ReadValues::for_each_in(const Place &place, int first, int count, const Action &action) {
    const auto found = areas_.find(place);
    if (found == areas_.end())
        return;
    const std::vector<std::size_t> &sources = found->second.sources;
    const auto begins_before = [this](std::size_t index, int number) {
        return sources_[index].first < number;
    };
    auto next = std::lower_bound(sources.begin(), sources.end(), first - found->second.longest + 1, begins_before);
    for (; next != sources.end() && sources_[*next].first < first + count; ++next)
        if (sources_[*next].last >= first)
            action(*next);
}

void ReadValues::exchanged(const Exchange &exchange) {
    if (exchange.id != id_of_polls || exchange.outcome == Outcome::sent_again)
        return;
    const Place place{exchange.station, exchange.type};
    const std::lock_guard<std::mutex> locked(mutex_);
    if (exchange.outcome == Outcome::good) {
        for_each_in(place, exchange.address, exchange.count, [this, &exchange](std::size_t index) {
            take_bytes(sources_[index], exchange);
            touch(index);
        });
        return;
    }
    // Some blocks take two requests. When the first is given up, the second is not sent.
    const auto block = blocks_.find({place, exchange.address});
    const int count = block == blocks_.end() ? exchange.count : std::max(block->second, exchange.count);
    const Failure failure = failure_of(exchange);
    for_each_in(place, exchange.address, count, [&](std::size_t index) {
        Source &source = sources_[index];
        if (source.first < exchange.address + exchange.count)
            part_of(source, exchange.address, exchange.count).failure = failure;
        else
            source.not_sent = failure;
        touch(index);
    });
}

void ReadValues::take_bytes(Source &source, const Exchange &exchange) {
    const Variable &variable = source.variable;
    QByteArray shown;
    driver_->GetRegisterData(QString(), variable.type, source.address, variable.station, shown, variable.count);
    for (int i = 0; i < std::min<int>(static_cast<int>(shown.size()), static_cast<int>(source.bytes.size())); ++i) {
        const int number = number_of_byte(variable.type, source.number, i);
        if (number >= exchange.address && number < exchange.address + exchange.count)
            source.bytes[i] = shown.at(i);
    }
    Part &part = part_of(source, exchange.address, exchange.count);
    part.read_at = clock_();
    part.wall_time = exchange.ended_at;
    part.read = true;
    part.failure.reset();
    source.not_sent.reset();
    source.complete = source.complete || is_complete(source);
}

ReadValues::Part &ReadValues::part_of(Source &source, int first, int count) {
    for (Part &part : source.parts)
        if (part.first == first)
            return part;
    source.parts.push_back(Part{first, count});
    return source.parts.back();
}

bool ReadValues::is_complete(const Source &source) {
    for (int number = source.first; number <= source.last; ++number)
        if (std::none_of(source.parts.begin(), source.parts.end(), [number](const Part &part) {
                return part.read && number >= part.first && number < part.first + part.count;
            }))
            return false;
    return true;
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
    if (source.complete)
        // Bytes of its own: the next reply is written into the source's while another thread looks at these.
        value.bytes = QByteArray(source.bytes.constData(), source.bytes.size());
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
        if (sources_[i].variable.station != station)
            continue;
        for (Part &part : sources_[i].parts)
            part.failure.reset();
        sources_[i].not_sent.reset();
        touch(i);
    }
}

}  // namespace kelpo
