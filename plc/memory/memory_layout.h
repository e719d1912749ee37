#pragma once

#include "plc/memory/memory_records.h"
#include "plc/memory/table.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace plc {

/// First bytes of a memory file, and the version of its layout.
constexpr char memory_magic[8] = {'K', 'E', 'L', 'P', 'O', 'P', 'L', 'C'};
constexpr std::uint32_t memory_version = 6;

template <typename Number> Number load(const std::atomic<Number> &from) {
    return from.load(std::memory_order_acquire);
}

template <typename Number> void store(std::atomic<Number> &to, Number value) {
    to.store(value, std::memory_order_release);
}

/// Adds one. A load and a store are enough, since only one thread writes.
inline void count_one(std::atomic<std::uint64_t> &counter) {
    store(counter, counter.load(std::memory_order_relaxed) + 1);
}

struct WriteEntry {
    using Record = LoggedWrite;

    std::atomic<std::uint32_t> moment;
    std::atomic<std::uint16_t> address;
    std::atomic<std::uint16_t> before;
    std::atomic<std::uint16_t> after;
    std::atomic<std::uint8_t> station;
    std::atomic<std::uint8_t> table;

    void put(const LoggedWrite &write);
    LoggedWrite get() const;
};

struct RequestEntry {
    using Record = LoggedRequest;

    std::atomic<std::uint64_t> ends_at;
    std::atomic<std::uint64_t> first_write;
    std::atomic<std::uint32_t> writes;
    std::atomic<std::uint32_t> fault;

    void put(const LoggedRequest &request);
    LoggedRequest get() const;
};

struct PieceEntry {
    using Record = LoggedPiece;

    std::atomic<std::uint64_t> request;
    std::atomic<std::uint64_t> ends_at;
    std::atomic<std::uint64_t> microseconds;

    void put(const LoggedPiece &piece);
    LoggedPiece get() const;
};

/// The last records of a kind: number n, counted from 0, is in entry n % length.
template <typename Entry, std::size_t length> struct Log {
    std::atomic<std::uint64_t> count;  ///< of records so far
    Entry entries[length];

    const Entry &entry(std::uint64_t number) const {
        return entries[number % length];
    }

    void append(const typename Entry::Record &record) {
        entries[count.load(std::memory_order_relaxed) % length].put(record);
        count_one(count);
    }

    /// Those from number `first` on, oldest first; nothing when some of them are not there any more, or there are none
    /// yet.
    std::optional<std::vector<typename Entry::Record>> from(std::uint64_t first) const {
        const std::uint64_t end = load(count);
        if (first > end || end - first > length)
            return std::nullopt;
        std::vector<typename Entry::Record> records;
        for (std::uint64_t number = first; number != end; ++number)
            records.push_back(entry(number).get());
        return records;
    }
};

struct FaultEntry {
    std::atomic<std::uint64_t> fitted;
    std::atomic<std::uint64_t> happened;
};

/// What is published about the values of one station; see MemoryLayout.
struct PublishedValues {
    std::atomic<std::uint16_t> tables[table_count][address_count];
};

/// Layout of the memory file, all numbers in host byte order:
///
///     0    8 bytes   "KELPOPLC"
///     8    uint32    version of this layout, 6
///     12   uint32    number of stations
///     16   uint32    sequence counter, odd while values are being changed
///     20   uint32    current moment
///     24   uint32    number of faults
///     28   uint32    unused, 0
///     32   uint64    requests seen
///     40   uint64    replies sent
///     48   uint64    frames dropped
///     56   256 bytes station numbers, in the order of their values
///     312  256 x uint64  requests to each station alone, in the same order
///     2360 uint64    number of writes logged
///     2368 the log of writes: 4096 entries of 12 bytes
///              uint32 moment, uint16 address, uint16 value before, uint16 value after,
///              uint8 station number, uint8 table: 0 coils, 1 registers
///     51520 256 x 2 uint64  for each fault: requests that fitted it, and those of them to which it happened
///     55616 uint64   number of requests logged
///     55624 the log of requests: 1024 entries of 24 bytes
///              uint64 bytes that came from the line until the request's end, uint64 number of its first write,
///              uint32 number of its writes, uint32 what went wrong: the fault's number from 1 on, or 0
///     80200 uint64   number of pieces logged
///     80208 the log of what was sent: 1024 entries of 24 bytes
///              uint64 number of the request, uint64 bytes sent until the piece's end, uint64 time
///     104784 the values: for each station 65536 coils and 65536 registers, each a uint16
///
/// A value of an address that does not move is the current one; of one that moves, what it was at the end of moment 0,
/// or is so far. All others follow from the rules of moving_values.h and the log of writes.
///
/// The log has an entry for each address that a request from the line wrote, changed or not; the entry of write n,
/// counted from 0, is number n % 4096. It is the same with requests and pieces, modulo 1024. Requests to stations that
/// do not exist are not logged.
///
/// Everything that changes while readers look is atomic, so that the two processes never race. So are the version and
/// the number of stations: a reader loads them once, and other programs may write there meanwhile. A reader that finds
/// the sequence counter even, and the same after its reads as before, has seen no half change: the values are stored
/// with release and loaded with acquire, so they are read between its two reads of the counter.
struct MemoryLayout {
    char magic[8];
    std::atomic<std::uint32_t> version;
    std::atomic<std::uint32_t> station_count;
    std::atomic<std::uint32_t> sequence;
    std::atomic<std::uint32_t> moment;
    std::atomic<std::uint32_t> fault_count;
    std::uint32_t unused;
    std::atomic<std::uint64_t> requests_seen;
    std::atomic<std::uint64_t> replies_sent;
    std::atomic<std::uint64_t> frames_dropped;
    std::uint8_t stations[256];
    std::atomic<std::uint64_t> station_requests[256];
    Log<WriteEntry, write_log_length> writes;
    FaultEntry faults[max_faults];
    Log<RequestEntry, traffic_log_length> requests;
    Log<PieceEntry, traffic_log_length> pieces;

    std::atomic<std::uint16_t> &value(std::size_t station, Table table, unsigned address) {
        return reinterpret_cast<PublishedValues *>(this + 1)[station].tables[static_cast<int>(table)][address];
    }
    const std::atomic<std::uint16_t> &value(std::size_t station, Table table, unsigned address) const {
        return reinterpret_cast<const PublishedValues *>(this + 1)[station].tables[static_cast<int>(table)][address];
    }
};

static_assert(sizeof(MemoryLayout) == 104784 && alignof(MemoryLayout) == 8);
static_assert(sizeof(WriteEntry) == 12 && sizeof(PublishedValues) == 262144);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint32_t>::is_always_lock_free &&
              std::atomic<std::uint16_t>::is_always_lock_free && std::atomic<std::uint8_t>::is_always_lock_free);

/// Bytes of the whole file.
constexpr std::size_t memory_file_size(std::size_t station_count) {
    return sizeof(MemoryLayout) + station_count * sizeof(PublishedValues);
}

/// Whether the open file begins like a memory file.
bool is_memory_file(int descriptor);

}  // namespace plc
