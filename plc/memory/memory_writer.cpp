#include "plc/memory/memory_writer.h"

#include "common/file_beside.h"
#include "plc/memory/memory_layout.h"
#include "plc/system/descriptor.h"
#include "plc/system/system_call.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>

namespace plc {
namespace {

// Does not wait for another end if it is a pipe.
bool begins_as_memory_file(const std::string &path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.number() < 0)
        fail("cannot open " + path);
    return is_memory_file(file.number());
}

void refuse_to_replace_other_files(const std::string &path) {
    struct stat found;
    if (::lstat(path.c_str(), &found) != 0)
        return;
    const bool replaceable = S_ISREG(found.st_mode) && (found.st_size == 0 || begins_as_memory_file(path));
    if (!replaceable)
        throw std::runtime_error(path + " exists and is not a memory file of a controller");
}

MappedFile map_new_file(int file, const std::string &path, std::size_t size) {
    // Reserved now: a full disk must not end the controller later.
    const int error = ::posix_fallocate(file, 0, static_cast<off_t>(size));
    if (error != 0)
        fail("cannot make " + path, error);
    return MappedFile(file, size, true);
}

// The new file is all zeros.
void put_values(MemoryLayout &layout, std::size_t station, const StationMemory &memory) {
    for (const Table table : {Table::coils, Table::registers})
        for (unsigned address = 0; address < address_count; ++address)
            if (const std::uint16_t value = memory.value(table, address))
                store(layout.value(station, table, address), value);
}

}  // namespace

// Keeps the sequence counter odd as long as it exists.
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

MemoryWriter::MemoryWriter(const std::string &path, const std::vector<StationMemory> &stations) {
    refuse_to_replace_other_files(path);
    common::FileBeside made(path, 0644);
    file_ = map_new_file(made.descriptor(), path, memory_file_size(stations.size()));

    MemoryLayout &layout = published();
    std::copy(std::begin(memory_magic), std::end(memory_magic), layout.magic);
    store(layout.version, memory_version);
    store(layout.station_count, static_cast<std::uint32_t>(stations.size()));
    for (std::size_t i = 0; i < stations.size(); ++i) {
        layout.stations[i] = static_cast<std::uint8_t>(stations[i].station());
        put_values(layout, i, stations[i]);
    }

    made.put_in_place();
}

void MemoryWriter::publish_next_moment() {
    MemoryLayout &layout = published();
    store(layout.moment, layout.moment.load(std::memory_order_relaxed) + 1);
}

void MemoryWriter::publish_change(std::size_t station, const StationMemory &memory, const Change &change) {
    MemoryLayout &layout = published();
    const Update update(layout);
    const Moment moment = layout.moment.load(std::memory_order_relaxed);
    unsigned address = change.address;
    for (const std::uint16_t before : change.before) {
        const std::uint16_t after = memory.value(change.table, address);
        if (moment == 0 || !moves(change.table, address))
            store(layout.value(station, change.table, address), after);
        layout.writes.append({memory.station(), change.table, address, before, after, moment});
        ++address;
    }
}

void MemoryWriter::log_request(std::uint64_t ends_at, std::uint32_t fault) {
    MemoryLayout &layout = published();
    const Update update(layout);
    const std::uint64_t writes = layout.writes.count.load(std::memory_order_relaxed);
    layout.requests.append(
        {ends_at, writes_of_requests_, static_cast<std::uint32_t>(writes - writes_of_requests_), fault});
    writes_of_requests_ = writes;
}

void MemoryWriter::log_piece(const LoggedPiece &piece) {
    MemoryLayout &layout = published();
    const Update update(layout);
    layout.pieces.append(piece);
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
        store(layout.faults[i].fitted, counts[i].fitted);
        store(layout.faults[i].happened, counts[i].happened);
    }
    store(layout.fault_count, static_cast<std::uint32_t>(counts.size()));
}

}  // namespace plc
