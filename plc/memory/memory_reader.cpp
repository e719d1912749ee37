#include "plc/memory/memory_reader.h"

#include "plc/memory/memory_layout.h"
#include "plc/system/descriptor.h"
#include "plc/system/system_call.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace plc {
namespace {

struct Cell {
    unsigned station;
    Table table;
    unsigned address;
};

bool is_to(const LoggedWrite &write, const Cell &cell) {
    return write.station == cell.station && write.table == cell.table && write.address == cell.address;
}

/// Gives `visit` the writes of `first` and of all moments after it, newest first, until it returns false. Returns false
/// when some of them have left the log before it did.
template <typename Visit> bool visit_writes_since(const MemoryLayout &layout, Moment first, Visit visit) {
    const std::uint64_t end = load(layout.writes.count);
    const std::uint64_t oldest = end > write_log_length ? end - write_log_length : 0;
    for (std::uint64_t number = end; number != oldest; --number) {
        const LoggedWrite write = layout.writes.entry(number - 1).get();
        if (write.moment < first || !visit(write))
            return true;
    }
    return oldest == 0;
}

// What was written there in that moment, or else what the rules give.
std::optional<std::uint16_t> value_that_moves(const MemoryLayout &layout, const Cell &cell, Moment moment) {
    std::optional<std::uint16_t> value = moving_value(cell.station, cell.table, cell.address, moment);
    const bool complete = visit_writes_since(layout, moment, [&](const LoggedWrite &write) {
        const bool found = write.moment == moment && is_to(write, cell);
        if (found)
            value = write.after;
        return !found;
    });
    return complete ? value : std::nullopt;
}

// What is there now, minus what was written after that moment.
std::optional<std::uint16_t> value_at_rest(const MemoryLayout &layout, const Cell &cell, std::uint16_t now,
                                           Moment moment) {
    std::uint16_t value = now;
    const bool complete = visit_writes_since(layout, moment + 1, [&](const LoggedWrite &write) {
        if (is_to(write, cell))
            value = write.before;
        return true;
    });
    return complete ? std::optional(value) : std::nullopt;
}

}  // namespace

MemoryReader::MemoryReader(MappedFile file, std::size_t station_count) : file_(std::move(file)) {
    const std::uint8_t *stations = published().stations;
    stations_.assign(stations, stations + station_count);
}

const MemoryLayout &MemoryReader::published() const {
    return *static_cast<const MemoryLayout *>(file_.start());
}

MemoryReader MemoryReader::open(const std::string &path) {
    // Does not wait for another end if it is a pipe.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (file.number() < 0)
        fail("cannot open " + path);
    struct stat found;
    if (::fstat(file.number(), &found) != 0)
        fail("cannot look at " + path);
    const auto size = static_cast<std::size_t>(found.st_size);
    if (!S_ISREG(found.st_mode) || size < sizeof(MemoryLayout) || !is_memory_file(file.number()))
        throw std::runtime_error(path + " is not a memory file of a controller");

    MappedFile mapped(file.number(), size, false);
    const MemoryLayout &layout = *static_cast<const MemoryLayout *>(mapped.start());
    const std::size_t station_count = load(layout.station_count);
    if (load(layout.version) != memory_version || station_count > sizeof layout.stations ||
        size != memory_file_size(station_count))
        throw std::runtime_error(path + " has a layout that this reader does not know");
    return MemoryReader(std::move(mapped), station_count);
}

Moment MemoryReader::moment() const {
    return load(published().moment);
}

std::vector<unsigned> MemoryReader::stations() const {
    return stations_;
}

LineCounters MemoryReader::counters() const {
    const MemoryLayout &layout = published();
    return {load(layout.requests_seen), load(layout.replies_sent), load(layout.frames_dropped)};
}

std::vector<FaultCount> MemoryReader::fault_counts() const {
    const MemoryLayout &layout = published();
    std::vector<FaultCount> counts(std::min<std::size_t>(load(layout.fault_count), max_faults));
    for (std::size_t i = 0; i < counts.size(); ++i)
        counts[i] = {load(layout.faults[i].fitted), load(layout.faults[i].happened)};
    return counts;
}

std::optional<std::size_t> MemoryReader::index_of(unsigned station) const {
    const auto found = std::find(stations_.begin(), stations_.end(), station);
    if (found == stations_.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - stations_.begin());
}

std::optional<std::uint64_t> MemoryReader::requests_to(unsigned station) const {
    const std::optional<std::size_t> index = index_of(station);
    if (!index)
        return std::nullopt;
    return load(published().station_requests[*index]);
}

std::uint64_t MemoryReader::writes_logged() const {
    return load(published().writes.count);
}

std::uint64_t MemoryReader::requests_logged() const {
    return load(published().requests.count);
}

std::uint64_t MemoryReader::pieces_logged() const {
    return load(published().pieces.count);
}

// `read` returns an optional; the result is also empty when the counter never is even and unchanged.
template <typename Read> auto MemoryReader::read_unchanged(Read read) const -> decltype(read()) {
    // A change takes well under a millisecond: a counter that is odd for this long belongs to a controller that has
    // ended.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    const MemoryLayout &layout = published();
    do {
        const std::uint32_t before = layout.sequence.load(std::memory_order_acquire);
        auto found = read();
        const std::uint32_t after = layout.sequence.load(std::memory_order_relaxed);
        if (before % 2 == 0 && before == after)
            return found;
        std::this_thread::yield();
    } while (std::chrono::steady_clock::now() < deadline);
    return std::nullopt;
}

std::optional<std::vector<LoggedWrite>> MemoryReader::writes_from(std::uint64_t first) const {
    return read_unchanged([&] { return published().writes.from(first); });
}

std::optional<std::vector<LoggedRequest>> MemoryReader::requests_from(std::uint64_t first) const {
    return read_unchanged([&] { return published().requests.from(first); });
}

std::optional<std::vector<LoggedPiece>> MemoryReader::pieces_from(std::uint64_t first) const {
    return read_unchanged([&] { return published().pieces.from(first); });
}

std::optional<std::uint16_t> MemoryReader::value(unsigned station, Table table, unsigned address, Moment moment) const {
    const std::optional<std::size_t> index = index_of(station);
    if (!index || address >= address_count)
        return std::nullopt;
    return read_unchanged([&]() -> std::optional<std::uint16_t> {
        const MemoryLayout &layout = published();
        const Cell cell{station, table, address};
        const std::uint16_t kept = load(layout.value(*index, table, address));
        if (moment > load(layout.moment))
            return std::nullopt;
        if (!moves(table, address))
            return value_at_rest(layout, cell, kept, moment);
        return moment == 0 ? kept : value_that_moves(layout, cell, moment);
    });
}

std::optional<bool> MemoryReader::coil(unsigned station, unsigned address, Moment moment) const {
    const std::optional<std::uint16_t> held = value(station, Table::coils, address, moment);
    return held ? std::optional(*held != 0) : std::nullopt;
}

std::optional<std::uint16_t> MemoryReader::holding_register(unsigned station, unsigned address, Moment moment) const {
    return value(station, Table::registers, address, moment);
}

}  // namespace plc
