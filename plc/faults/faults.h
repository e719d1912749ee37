#pragma once

#include "plc/faults/fault.h"
#include "plc/faults/random.h"
#include "plc/memory/memory_records.h"
#include "plc/protocol/frame.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace plc {

/// A fault that happens to a request.
struct Happening {
    Fault fault;
    Random random;           // for what the fault leaves open; the same in every run
    std::size_t number = 0;  ///< of the fault, counted from 0

    /// False when the station does not do what the request asks.
    bool carries_out() const {
        return fault.kind != FaultKind::dead && fault.kind != FaultKind::exception;
    }
};

/// Decides what goes wrong with which request. Counts, and uses no clock: the same seed and the same requests give the
/// same faults. What one fault does never depends on the others, except for the first rule:
///
/// When it is the turn of several faults, only the first happens; the others count the request as one that
/// fitted.
class Faults {
public:
    /// At most max_faults.
    Faults(const std::vector<Fault> &faults, std::uint32_t seed);

    /// To be called once for each request to one station.
    std::optional<Happening> next(const Bytes &request);

    /// To be asked once for each station that a broadcast reaches, with the request under that station's number. Since
    /// a broadcast has no reply, only a station that is dead matters; other faults do not count it. True if the station
    /// is dead.
    bool misses_broadcast(const Bytes &request);

    /// In the order of the faults.
    const std::vector<FaultCount> &counts() const {
        return counts_;
    }

private:
    bool takes_its_turn(std::size_t number, Random &random);
    std::optional<Happening> meet(std::size_t number, const Bytes &request, bool may_happen);

    std::vector<Fault> faults_;
    std::vector<FaultCount> counts_;
    std::vector<unsigned> still_lasts_;  // requests that follow in a row, for each fault
    std::uint32_t seed_;
};

}  // namespace plc
