#pragma once

#include "plc/memory/memory_records.h"
#include "plc/memory/station_memory.h"
#include "plc/system/mapped_file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace plc {

struct MemoryLayout;

/// The controller's side of the memory file. For one thread of one process.
class MemoryWriter {
public:
    /// Makes the file with what `stations` hold at moment 0. The file appears under its name when it is complete, in
    /// place of an earlier memory file or an empty one; it stays when the writer is gone. When another program
    /// truncates it, the controller continues, and nothing more is published. Throws std::runtime_error when there is a
    /// file of another kind or none can be made.
    MemoryWriter(const std::string &path, const std::vector<StationMemory> &stations);

    /// The values that move follow from it.
    void publish_next_moment();

    /// Publishes and logs what a request from the line has changed in `memory`. `station` is its index in the
    /// constructor's list.
    void publish_change(std::size_t station, const StationMemory &memory, const Change &change);

    /// To be called for each request once it was carried out. What was published since the request before is logged as
    /// its writes.
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

    MappedFile file_;
    std::uint64_t writes_of_requests_ = 0;  // number of writes that belong to requests logged
};

}  // namespace plc
