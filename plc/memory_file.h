#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plc/fault_count.h"
#include "plc/mapped_file.h"
#include "plc/moment.h"

namespace plc {

/// The memory file keeps the values of so many moments, the current one included.
constexpr Moment history_slots = 4;

/// The memory file keeps the last writes, so many addresses.
constexpr std::size_t log_length = 4096;

/// The memory file keeps the last requests, and the last pieces sent, so many of each.
constexpr std::size_t traffic_length = 1024;

/// Layout of the memory file, all numbers in host byte order:
///
///     0    8 bytes   "KELPOPLC"
///     8    uint32    version of this layout, 5
///     12   uint32    number of stations
///     16   uint32    number of history slots, 4
///     20   uint32    sequence counter, odd while values are being changed
///     24   uint32    current moment
///     28   uint32    number of faults
///     32   uint64    requests seen
///     40   uint64    replies sent
///     48   uint64    frames dropped
///     56   256 bytes station numbers, in the order of their values
///     312  256 x uint64  requests to each station alone, in the same order
///     2360 uint64    number of writes logged
///     2368 uint64    number of requests logged
///     2376 uint64    number of pieces logged
///     2384 the log of writes: 4096 entries of 12 bytes
///              uint32 moment, uint16 address, uint16 value before, uint16 value after,
///              uint8 station number, uint8 table: 0 coils, 1 registers
///     51536 256 x 2 uint64  for each fault: requests that fitted it, and those of them to which it happened
///     55632 the log of requests: 1024 entries of 24 bytes
///              uint64 bytes that came from the line until the request's end, uint64 number of its first write,
///              uint32 number of its writes, uint32 what went wrong: the fault's number from 1 on, or 0
///     80208 the log of what was sent: 1024 entries of 24 bytes
///              uint64 number of the request, uint64 bytes sent until the piece's end, uint64 time
///     104784 the values: for each station, for each slot 65536 coils of one byte and 65536 registers of uint16
///
/// The values of a moment stand in slot moment % 4. The log has an entry for each address that a request from the line
/// wrote, changed or not; the entry of write n, counted from 0, stands in place n % 4096. So it is with
/// requests and pieces, modulo 1024. Requests to stations that are not there are not logged.
struct MemoryLayout;

/// Where one station's values are: 65536 coils, a byte each, and 65536 registers. Not owned.
struct StationValues {
    const std::uint8_t *coils;
    const std::uint16_t *registers;
};

/// One address that a request from the line wrote.
struct LoggedWrite {
    enum class Table : std::uint8_t { coils = 0, registers = 1 };

    unsigned station;
    Table table;
    unsigned address;
    std::uint16_t before;  // what was held until then: 0 or 1 for a coil
    std::uint16_t after;
    Moment moment;  // in which it was written
};

/// One request to stations of this controller.
struct LoggedRequest {
    std::uint64_t ends_at;      // bytes that had come from the line until then, its own included
    std::uint64_t first_write;  // number of the first of its writes in the log
    std::uint32_t writes;       // addresses that it wrote
    std::uint32_t fault;        // number of the fault that happened to it, counted from 1; 0: none
};

/// A reply, or a piece of one, that was handed to the line.
struct LoggedPiece {
    std::uint64_t request;       // number of the request, counted from 0
    std::uint64_t ends_at;       // bytes sent until then, its own included
    std::uint64_t microseconds;  // of the system's monotonic clock, when the line had taken it
};

struct LineCounters {
    std::uint64_t requests_seen;
    std::uint64_t replies_sent;
    std::uint64_t frames_dropped;
};

/// The controller's side of the memory file. For one thread of one process.
class MemoryWriter {
public:
    /// Makes the file with the values of moment 0. `stations` are numbers from 1 to 247, `values` theirs in the same
    /// order. The file appears under its name when it is complete, in place of an earlier memory file or an empty one;
    /// it stays after the writer has gone. When another program makes it shorter, the controller goes on, and
    /// nothing more is published. Throws std::runtime_error when there is a file of another kind or none can
    /// be made.
    MemoryWriter(const std::string &path, const std::vector<unsigned> &stations,
                 const std::vector<StationValues> &values);

    /// Publishes all values of the moment after the current one, which takes the slot of the oldest.
    void publish_next_moment(const std::vector<StationValues> &values);

    /// Publishes in the current moment what the line wrote from `address` on, and logs it. `before` are the values that
    /// were there until then, one for each address. `station` is the place of the station in the constructor's list;
    /// the range must lie within 0..65535.
    void publish_coils(std::size_t station, const StationValues &values, unsigned address,
                       const std::vector<std::uint16_t> &before);
    void publish_registers(std::size_t station, const StationValues &values, unsigned address,
                           const std::vector<std::uint16_t> &before);

    /// To be told of a request when it was carried out. Its `first_write` and `writes` are seen to here: they are what
    /// was published since the request before.
    void log_request(std::uint64_t ends_at, std::uint32_t fault);
    void log_piece(const LoggedPiece &piece);

    /// `station` as above.
    void count_request(std::size_t station);
    void count_broadcast();
    void count_reply();
    void count_dropped_frame();

    /// At most max_faults, the same number every time.
    void publish_fault_counts(const std::vector<FaultCount> &counts);

private:
    class Update;

    MemoryLayout &published();
    void copy_all(Moment moment, const std::vector<StationValues> &values);
    void log(std::size_t station, LoggedWrite::Table table, unsigned address, std::uint16_t before,
             std::uint16_t after);

    MappedFile file_;
    std::uint64_t writes_of_requests_ = 0;  // that belong to requests logged
};

/// Another process's view of a controller's memory, while the controller runs and after. Only reads. Several threads
/// may use one reader.
class MemoryReader {
public:
    /// Throws std::runtime_error when the file cannot be opened or is no memory file of this version.
    static MemoryReader open(const std::string &path);

    /// The current moment.
    Moment moment() const;

    /// Numbers of the stations.
    std::vector<unsigned> stations() const;

    LineCounters counters() const;

    /// Number of requests to this station alone; empty when there is no such station.
    std::optional<std::uint64_t> requests_to(unsigned station) const;

    /// How often each fault came up, in the order in which the controller numbers them.
    std::vector<FaultCount> fault_counts() const;

    /// Number of writes logged so far.
    std::uint64_t writes_logged() const;

    /// The writes from number `first` on, counted from 0, oldest first. Empty when some of them have left the log, or
    /// when the controller has died in the midst of a change.
    std::optional<std::vector<LoggedWrite>> writes_from(std::uint64_t first) const;

    /// Number of requests, and of pieces of replies, logged so far.
    std::uint64_t requests_logged() const;
    std::uint64_t pieces_logged() const;

    /// Those from number `first` on, as writes_from gives writes. A request is there before the first piece of its
    /// reply goes out, and what it wrote before the request.
    std::optional<std::vector<LoggedRequest>> requests_from(std::uint64_t first) const;
    std::optional<std::vector<LoggedPiece>> pieces_from(std::uint64_t first) const;

    /// The value at the end of `moment`, or so far when `moment` is the current one. Empty when the moment has not come
    /// or has left the history, when there is no such station or address, or when the controller has died in the midst
    /// of a change.
    std::optional<bool> coil(unsigned station, unsigned address, Moment moment) const;
    std::optional<std::uint16_t> holding_register(unsigned station, unsigned address, Moment moment) const;

private:
    MemoryReader(MappedFile file, std::size_t station_count);

    const MemoryLayout &published() const;
    std::optional<std::size_t> place_of(unsigned station) const;
    std::vector<LoggedWrite> logged(std::uint64_t first, std::uint64_t end) const;
    template <typename Read> auto read_unchanged(Read read) const -> decltype(read());
    template <typename Read>
    auto value_at(unsigned station, unsigned address, Moment moment, Read read) const
        -> std::optional<decltype(read(std::size_t()))>;

    MappedFile file_;
    std::vector<unsigned> stations_;  // as they were when the file was opened and looked at
};

}  // namespace plc
