#pragma once

#include "plc/memory/moving_values.h"
#include "plc/memory/table.h"

#include <cstddef>
#include <cstdint>

namespace plc {

/// The memory file keeps this many of the last addresses written.
constexpr std::size_t write_log_length = 4096;

/// The memory file keeps this many of the last requests, and as many of the last pieces sent.
constexpr std::size_t traffic_log_length = 1024;

/// A controller has no more faults than this.
constexpr std::size_t max_faults = 256;

/// One address that a request from the line wrote.
struct LoggedWrite {
    unsigned station;
    Table table;
    unsigned address;
    std::uint16_t before;  ///< what was held until then: 0 or 1 for a coil
    std::uint16_t after;
    Moment moment;  ///< in which it was written
};

/// One request to stations of this controller.
struct LoggedRequest {
    std::uint64_t ends_at;      ///< bytes that had come from the line until then, its own included
    std::uint64_t first_write;  ///< number of the first of its writes in the log
    std::uint32_t writes;       ///< addresses that it wrote
    std::uint32_t fault;        ///< number of the fault that happened to it, counted from 1; 0: none
};

/// The request number of an echo: bytes that are returned as they came, as by an adapter that receives what it sends.
constexpr std::uint64_t no_request = UINT64_MAX;

/// A reply, or a piece of one, that was passed to the line.
struct LoggedPiece {
    std::uint64_t request;       ///< number of the request, counted from 0, or no_request
    std::uint64_t ends_at;       ///< bytes sent until then, its own included
    std::uint64_t microseconds;  ///< of the system's monotonic clock, when the line had taken it
};

struct LineCounters {
    std::uint64_t requests_seen;
    std::uint64_t replies_sent;
    std::uint64_t frames_dropped;
};

/// How often a fault happened.
struct FaultCount {
    std::uint64_t fitted = 0;    ///< requests that fitted it
    std::uint64_t happened = 0;  ///< those of them to which it happened
};

}  // namespace plc
