#pragma once

#include "plc/memory/memory_records.h"
#include "plc/system/mapped_file.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plc {

struct MemoryLayout;

/// Another process's view of a controller's memory, while the controller runs and afterwards. Only reads. Several
/// threads may use one reader.
class MemoryReader {
public:
    /// Throws std::runtime_error when the file cannot be opened or is no memory file of this version.
    static MemoryReader open(const std::string &path);

    /// The current moment.
    Moment moment() const;

    /// Numbers of the stations.
    std::vector<unsigned> stations() const;

    LineCounters counters() const;

    /// Number of requests to this station; nothing when there is no such station.
    std::optional<std::uint64_t> requests_to(unsigned station) const;

    /// How often each fault happened, in the order in which the controller numbers them.
    std::vector<FaultCount> fault_counts() const;

    /// Number of writes logged so far.
    std::uint64_t writes_logged() const;

    /// The writes from number `first` on, counted from 0, oldest first. Nothing when some of them have left the log, or
    /// when the controller has ended in the middle of a change.
    std::optional<std::vector<LoggedWrite>> writes_from(std::uint64_t first) const;

    /// Number of requests, and of pieces of replies, logged so far.
    std::uint64_t requests_logged() const;
    std::uint64_t pieces_logged() const;

    /// Those from number `first` on, as writes_from gives writes. A request is in the log before the first piece of its
    /// reply is sent, and its writes before the request.
    std::optional<std::vector<LoggedRequest>> requests_from(std::uint64_t first) const;
    std::optional<std::vector<LoggedPiece>> pieces_from(std::uint64_t first) const;

    /// The value at the end of `moment`, or so far when `moment` is the current one: computed from what is published.
    /// Nothing when the moment has not come, when there is no such station or address, when the log no longer has all
    /// writes that the value depends on (those of this moment where values move, and of the moments after it where they
    /// do not), or when the controller has ended in the middle of a change.
    std::optional<std::uint16_t> value(unsigned station, Table table, unsigned address, Moment moment) const;
    std::optional<bool> coil(unsigned station, unsigned address, Moment moment) const;
    std::optional<std::uint16_t> holding_register(unsigned station, unsigned address, Moment moment) const;

private:
    MemoryReader(MappedFile file, std::size_t station_count);

    const MemoryLayout &published() const;
    std::optional<std::size_t> index_of(unsigned station) const;
    template <typename Read> auto read_unchanged(Read read) const -> decltype(read());

    MappedFile file_;
    std::vector<unsigned> stations_;  // as they were when the file was opened
};

}  // namespace plc
