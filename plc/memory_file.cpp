#include "plc/memory_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace plc {

namespace {

constexpr std::size_t address_count = 65536;
constexpr char magic[8] = {'K', 'E', 'L', 'P', 'O', 'P', 'L', 'C'};
constexpr std::uint32_t layout_version = 5;

struct Slot {
    std::atomic<std::uint8_t> coils[address_count];
    std::atomic<std::uint16_t> registers[address_count];
};

struct LogEntry {
    std::atomic<std::uint32_t> moment;
    std::atomic<std::uint16_t> address;
    std::atomic<std::uint16_t> before;
    std::atomic<std::uint16_t> after;
    std::atomic<std::uint8_t> station;
    std::atomic<std::uint8_t> table;
};

struct FaultEntry {
    std::atomic<std::uint64_t> fitted;
    std::atomic<std::uint64_t> happened;
};

struct RequestEntry {
    std::atomic<std::uint64_t> ends_at;
    std::atomic<std::uint64_t> first_write;
    std::atomic<std::uint32_t> writes;
    std::atomic<std::uint32_t> fault;
};

struct PieceEntry {
    std::atomic<std::uint64_t> request;
    std::atomic<std::uint64_t> ends_at;
    std::atomic<std::uint64_t> microseconds;
};

struct StationHistory {
    Slot slots[history_slots];
};

}  // namespace

// Everything that changes while readers look on is atomic, so that the two processes never race. A reader that finds
// the sequence counter even, and the same after its reads as before, has seen no half change: the values are stored
// with release and loaded with acquire, which keeps them between the two looks at the counter.
struct MemoryLayout {
    char magic[8];
    std::uint32_t version;
    std::uint32_t station_count;
    std::uint32_t slot_count;
    std::atomic<std::uint32_t> sequence;
    std::atomic<std::uint32_t> moment;
    std::atomic<std::uint32_t> fault_count;
    std::atomic<std::uint64_t> requests_seen;
    std::atomic<std::uint64_t> replies_sent;
    std::atomic<std::uint64_t> frames_dropped;
    std::uint8_t stations[256];
    std::atomic<std::uint64_t> station_requests[256];
    std::atomic<std::uint64_t> writes_logged;
    std::atomic<std::uint64_t> requests_logged;
    std::atomic<std::uint64_t> pieces_logged;
    LogEntry log[log_length];
    FaultEntry faults[max_faults];
    RequestEntry requests[traffic_length];
    PieceEntry pieces[traffic_length];

    Slot &slot(std::size_t station, Moment of_moment) {
        return reinterpret_cast<StationHistory *>(this + 1)[station].slots[of_moment % history_slots];
    }

    const Slot &slot(std::size_t station, Moment of_moment) const {
        return reinterpret_cast<const StationHistory *>(this + 1)[station].slots[of_moment % history_slots];
    }
};

namespace {

static_assert(sizeof(MemoryLayout) == 104784 && alignof(MemoryLayout) == 8);
static_assert(sizeof(LogEntry) == 12);
static_assert(sizeof(Slot) == address_count * 3);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint32_t>::is_always_lock_free &&
              std::atomic<std::uint16_t>::is_always_lock_free && std::atomic<std::uint8_t>::is_always_lock_free);

std::size_t file_size(std::size_t station_count) {
    return sizeof(MemoryLayout) + station_count * sizeof(StationHistory);
}

template <typename Value>
void copy_values(std::atomic<Value> *to, const Value *from, std::size_t address, std::size_t count) {
    for (std::size_t i = address; i < address + count; ++i)
        to[i].store(from[i], std::memory_order_release);
}

// One thread writes, so a load and a store do.
void count_one(std::atomic<std::uint64_t> &counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

[[noreturn]] void fail(const std::string &what, int error) {
    throw std::runtime_error(what + ": " + std::generic_category().message(error));
}

class OpenFile {
public:
    // Does not wait for another end where it is a pipe.
    OpenFile(const std::string &path, int flags) : descriptor_(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK)) {
        if (descriptor_ < 0)
            fail("cannot open " + path, errno);
    }
    explicit OpenFile(int descriptor) : descriptor_(descriptor) {}
    ~OpenFile() {
        ::close(descriptor_);
    }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    int descriptor() const {
        return descriptor_;
    }

private:
    int descriptor_;
};

bool is_memory_file(const OpenFile &file) {
    char start[sizeof magic];
    return ::pread(file.descriptor(), start, sizeof start, 0) == static_cast<ssize_t>(sizeof start) &&
           std::memcmp(start, magic, sizeof magic) == 0;
}

void refuse_to_replace_other_files(const std::string &path) {
    struct stat found;
    if (::lstat(path.c_str(), &found) != 0)
        return;
    const bool replaceable =
        S_ISREG(found.st_mode) && (found.st_size == 0 || is_memory_file(OpenFile(path, O_RDONLY | O_NOFOLLOW)));
    if (!replaceable)
        throw std::runtime_error(path + " exists and is no memory file of a controller");
}

// A file that was not there, beside `path`: whatever another user put under its name is neither followed nor touched.
struct NewFile {
    std::string path;
    int descriptor;
};

NewFile make_file_beside(const std::string &path) {
    constexpr int most_tries = 100;
    std::string name = path + "." + std::to_string(::getpid());
    for (int tried = 1;; ++tried) {
        const int descriptor = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (descriptor >= 0)
            return {name, descriptor};
        if (errno != EEXIST || tried == most_tries)
            fail("cannot make " + name, errno);
        name = path + "." + std::to_string(::getpid()) + "." + std::to_string(tried);
    }
}

MappedFile map_new_file(const NewFile &made, std::size_t size) {
    const OpenFile file(made.descriptor);
    // Reserved now: a full disk must not end the controller later.
    const int error = ::posix_fallocate(file.descriptor(), 0, static_cast<off_t>(size));
    if (error != 0) {
        ::unlink(made.path.c_str());
        fail("cannot make " + made.path, error);
    }
    return MappedFile(file.descriptor(), size, true);
}

}  // namespace

// Keeps the sequence counter odd as long as it lives.
class MemoryWriter::Update {
public:
    explicit Update(MemoryLayout &layout) : layout_(layout), even_(layout.sequence.load(std::memory_order_relaxed)) {
        layout_.sequence.store(even_ + 1, std::memory_order_relaxed);
    }
    ~Update() {
        layout_.sequence.store(even_ + 2, std::memory_order_release);
    }
    Update(const Update &) = delete;
    Update &operator=(const Update &) = delete;

private:
    MemoryLayout &layout_;
    std::uint32_t even_;
};

MemoryLayout &MemoryWriter::published() {
    return *static_cast<MemoryLayout *>(file_.start());
}

MemoryWriter::MemoryWriter(const std::string &path, const std::vector<unsigned> &stations,
                           const std::vector<StationValues> &values) {
    refuse_to_replace_other_files(path);
    const NewFile unfinished = make_file_beside(path);
    file_ = map_new_file(unfinished, file_size(stations.size()));

    MemoryLayout &layout = published();
    std::copy(std::begin(magic), std::end(magic), layout.magic);
    layout.version = layout_version;
    layout.station_count = static_cast<std::uint32_t>(stations.size());
    layout.slot_count = history_slots;
    for (std::size_t i = 0; i < stations.size(); ++i)
        layout.stations[i] = static_cast<std::uint8_t>(stations[i]);
    copy_all(0, values);

    if (::rename(unfinished.path.c_str(), path.c_str()) != 0) {
        const int error = errno;
        ::unlink(unfinished.path.c_str());
        fail("cannot make " + path, error);
    }
}

void MemoryWriter::publish_next_moment(const std::vector<StationValues> &values) {
    MemoryLayout &layout = published();
    const Moment next = layout.moment.load(std::memory_order_relaxed) + 1;
    const Update update(layout);
    copy_all(next, values);
    layout.moment.store(next, std::memory_order_release);
}

void MemoryWriter::publish_coils(std::size_t station, const StationValues &values, unsigned address,
                                 const std::vector<std::uint16_t> &before) {
    MemoryLayout &layout = published();
    const Update update(layout);
    copy_values(layout.slot(station, layout.moment).coils, values.coils, address, before.size());
    for (const std::uint16_t value : before) {
        log(station, LoggedWrite::Table::coils, address, value, values.coils[address]);
        ++address;
    }
}

void MemoryWriter::publish_registers(std::size_t station, const StationValues &values, unsigned address,
                                     const std::vector<std::uint16_t> &before) {
    MemoryLayout &layout = published();
    const Update update(layout);
    copy_values(layout.slot(station, layout.moment).registers, values.registers, address, before.size());
    for (const std::uint16_t value : before) {
        log(station, LoggedWrite::Table::registers, address, value, values.registers[address]);
        ++address;
    }
}

// Within an Update, like the values themselves.
void MemoryWriter::log(std::size_t station, LoggedWrite::Table table, unsigned address, std::uint16_t before,
                       std::uint16_t after) {
    MemoryLayout &layout = published();
    LogEntry &entry = layout.log[layout.writes_logged.load(std::memory_order_relaxed) % log_length];
    entry.moment.store(layout.moment.load(std::memory_order_relaxed), std::memory_order_release);
    entry.address.store(static_cast<std::uint16_t>(address), std::memory_order_release);
    entry.before.store(before, std::memory_order_release);
    entry.after.store(after, std::memory_order_release);
    entry.station.store(layout.stations[station], std::memory_order_release);
    entry.table.store(static_cast<std::uint8_t>(table), std::memory_order_release);
    count_one(layout.writes_logged);
}

void MemoryWriter::log_request(std::uint64_t ends_at, std::uint32_t fault) {
    MemoryLayout &layout = published();
    const Update update(layout);
    RequestEntry &entry = layout.requests[layout.requests_logged.load(std::memory_order_relaxed) % traffic_length];
    const std::uint64_t writes = layout.writes_logged.load(std::memory_order_relaxed);
    entry.ends_at.store(ends_at, std::memory_order_release);
    entry.first_write.store(writes_of_requests_, std::memory_order_release);
    entry.writes.store(static_cast<std::uint32_t>(writes - writes_of_requests_), std::memory_order_release);
    entry.fault.store(fault, std::memory_order_release);
    writes_of_requests_ = writes;
    count_one(layout.requests_logged);
}

void MemoryWriter::log_piece(const LoggedPiece &piece) {
    MemoryLayout &layout = published();
    const Update update(layout);
    PieceEntry &entry = layout.pieces[layout.pieces_logged.load(std::memory_order_relaxed) % traffic_length];
    entry.request.store(piece.request, std::memory_order_release);
    entry.ends_at.store(piece.ends_at, std::memory_order_release);
    entry.microseconds.store(piece.microseconds, std::memory_order_release);
    count_one(layout.pieces_logged);
}

void MemoryWriter::count_request(std::size_t station) {
    count_one(published().requests_seen);
    count_one(published().station_requests[station]);
}

void MemoryWriter::count_broadcast() {
    count_one(published().requests_seen);
}

void MemoryWriter::count_reply() {
    count_one(published().replies_sent);
}

void MemoryWriter::count_dropped_frame() {
    count_one(published().frames_dropped);
}

void MemoryWriter::publish_fault_counts(const std::vector<FaultCount> &counts) {
    MemoryLayout &layout = published();
    for (std::size_t i = 0; i < counts.size(); ++i) {
        layout.faults[i].fitted.store(counts[i].fitted, std::memory_order_release);
        layout.faults[i].happened.store(counts[i].happened, std::memory_order_release);
    }
    layout.fault_count.store(static_cast<std::uint32_t>(counts.size()), std::memory_order_release);
}

void MemoryWriter::copy_all(Moment moment, const std::vector<StationValues> &values) {
    for (std::size_t station = 0; station < values.size(); ++station) {
        Slot &slot = published().slot(station, moment);
        copy_values(slot.coils, values[station].coils, 0, address_count);
        copy_values(slot.registers, values[station].registers, 0, address_count);
    }
}

MemoryReader::MemoryReader(MappedFile file, std::size_t station_count) : file_(std::move(file)) {
    const std::uint8_t *stations = published().stations;
    stations_.assign(stations, stations + station_count);
}

const MemoryLayout &MemoryReader::published() const {
    return *static_cast<const MemoryLayout *>(file_.start());
}

MemoryReader MemoryReader::open(const std::string &path) {
    const OpenFile file(path, O_RDONLY);
    struct stat found;
    if (::fstat(file.descriptor(), &found) != 0)
        fail("cannot look at " + path, errno);
    const auto size = static_cast<std::size_t>(found.st_size);
    if (!S_ISREG(found.st_mode) || size < sizeof(MemoryLayout) || !is_memory_file(file))
        throw std::runtime_error(path + " is no memory file of a controller");

    MappedFile mapped(file.descriptor(), size, false);
    const MemoryLayout &layout = *static_cast<const MemoryLayout *>(mapped.start());
    const std::size_t station_count = layout.station_count;
    if (layout.version != layout_version || layout.slot_count != history_slots ||
        station_count > sizeof layout.stations || size != file_size(station_count))
        throw std::runtime_error(path + " has a layout that this reader does not know");
    return MemoryReader(std::move(mapped), station_count);
}

Moment MemoryReader::moment() const {
    return published().moment.load(std::memory_order_acquire);
}

std::vector<unsigned> MemoryReader::stations() const {
    return stations_;
}

LineCounters MemoryReader::counters() const {
    const MemoryLayout &layout = published();
    return {layout.requests_seen.load(std::memory_order_acquire), layout.replies_sent.load(std::memory_order_acquire),
            layout.frames_dropped.load(std::memory_order_acquire)};
}

std::vector<FaultCount> MemoryReader::fault_counts() const {
    const MemoryLayout &layout = published();
    std::vector<FaultCount> counts(
        std::min<std::size_t>(layout.fault_count.load(std::memory_order_acquire), max_faults));
    for (std::size_t i = 0; i < counts.size(); ++i)
        counts[i] = {layout.faults[i].fitted.load(std::memory_order_acquire),
                     layout.faults[i].happened.load(std::memory_order_acquire)};
    return counts;
}

std::optional<bool> MemoryReader::coil(unsigned station, unsigned address, Moment moment) const {
    return value_at(station, address, moment, [&](std::size_t place) {
        return published().slot(place, moment).coils[address].load(std::memory_order_acquire) != 0;
    });
}

std::optional<std::uint16_t> MemoryReader::holding_register(unsigned station, unsigned address, Moment moment) const {
    return value_at(station, address, moment, [&](std::size_t place) {
        return published().slot(place, moment).registers[address].load(std::memory_order_acquire);
    });
}

std::optional<std::size_t> MemoryReader::place_of(unsigned station) const {
    const auto found = std::find(stations_.begin(), stations_.end(), station);
    if (found == stations_.end())
        return std::nullopt;
    return static_cast<std::size_t>(found - stations_.begin());
}

std::optional<std::uint64_t> MemoryReader::requests_to(unsigned station) const {
    const std::optional<std::size_t> place = place_of(station);
    if (!place)
        return std::nullopt;
    return published().station_requests[*place].load(std::memory_order_acquire);
}

std::uint64_t MemoryReader::writes_logged() const {
    return published().writes_logged.load(std::memory_order_acquire);
}

std::optional<std::vector<LoggedWrite>> MemoryReader::writes_from(std::uint64_t first) const {
    return read_unchanged([&]() -> std::optional<std::vector<LoggedWrite>> {
        const std::uint64_t end = writes_logged();
        const bool in_log = first <= end && end - first <= log_length;
        return in_log ? std::optional(logged(first, end)) : std::nullopt;
    });
}

std::uint64_t MemoryReader::requests_logged() const {
    return published().requests_logged.load(std::memory_order_acquire);
}

std::uint64_t MemoryReader::pieces_logged() const {
    return published().pieces_logged.load(std::memory_order_acquire);
}

std::optional<std::vector<LoggedRequest>> MemoryReader::requests_from(std::uint64_t first) const {
    return read_unchanged([&]() -> std::optional<std::vector<LoggedRequest>> {
        const std::uint64_t end = requests_logged();
        if (first > end || end - first > traffic_length)
            return std::nullopt;
        std::vector<LoggedRequest> requests;
        for (std::uint64_t number = first; number != end; ++number) {
            const RequestEntry &entry = published().requests[number % traffic_length];
            requests.push_back(
                {entry.ends_at.load(std::memory_order_acquire), entry.first_write.load(std::memory_order_acquire),
                 entry.writes.load(std::memory_order_acquire), entry.fault.load(std::memory_order_acquire)});
        }
        return requests;
    });
}

std::optional<std::vector<LoggedPiece>> MemoryReader::pieces_from(std::uint64_t first) const {
    return read_unchanged([&]() -> std::optional<std::vector<LoggedPiece>> {
        const std::uint64_t end = pieces_logged();
        if (first > end || end - first > traffic_length)
            return std::nullopt;
        std::vector<LoggedPiece> pieces;
        for (std::uint64_t number = first; number != end; ++number) {
            const PieceEntry &entry = published().pieces[number % traffic_length];
            pieces.push_back({entry.request.load(std::memory_order_acquire),
                              entry.ends_at.load(std::memory_order_acquire),
                              entry.microseconds.load(std::memory_order_acquire)});
        }
        return pieces;
    });
}

std::vector<LoggedWrite> MemoryReader::logged(std::uint64_t first, std::uint64_t end) const {
    std::vector<LoggedWrite> writes;
    for (std::uint64_t number = first; number != end; ++number) {
        const LogEntry &entry = published().log[number % log_length];
        const bool of_registers = entry.table.load(std::memory_order_acquire) != 0;
        writes.push_back({entry.station.load(std::memory_order_acquire),
                          of_registers ? LoggedWrite::Table::registers : LoggedWrite::Table::coils,
                          entry.address.load(std::memory_order_acquire), entry.before.load(std::memory_order_acquire),
                          entry.after.load(std::memory_order_acquire), entry.moment.load(std::memory_order_acquire)});
    }
    return writes;
}

// `read` gives an optional; empty as well when no reading comes about.
template <typename Read> auto MemoryReader::read_unchanged(Read read) const -> decltype(read()) {
    // A change takes well under a millisecond: a counter that stays odd for so long belongs to a controller that died.
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

template <typename Read>
auto MemoryReader::value_at(unsigned station, unsigned address, Moment moment, Read read) const
    -> std::optional<decltype(read(std::size_t()))> {
    const std::optional<std::size_t> place = place_of(station);
    if (!place || address >= address_count)
        return std::nullopt;
    return read_unchanged([&] {
        const Moment current = published().moment.load(std::memory_order_acquire);
        const auto value = read(*place);
        const bool in_history = moment <= current && current - moment < history_slots;
        return in_history ? std::optional(value) : std::nullopt;
    });
}

}  // namespace plc
