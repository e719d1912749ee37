/// \file
/// One read exchange without input and output, through the driver and through libmodbus: the request is built and
/// handed to the line in memory, the reply fetched from there, checked for station, function and CRC, and its data
/// taken out.
#pragma once

#include "bench/driver_link.h"

#include <cstdint>
#include <vector>

namespace bench {

/// What an exchange reads.
struct ReadSubject {
    const char *name;
    int reg_type;
    int count;
};

extern const std::vector<ReadSubject> read_subjects;

/// Requests that are sent in turn. With more than one, the place of a reply's values is less likely to be in the
/// processor's cache still.
constexpr int requests_in_turn = 20;

/// The driver polls: its values go into its cache.
class DriverExchange {
public:
    explicit DriverExchange(const ReadSubject &subject);

    /// False when the driver does not accept the reply.
    bool once();

private:
    QByteArray reply_;
};

/// libmodbus reads into an array of the caller's.
class PeerExchange {
public:
    explicit PeerExchange(const ReadSubject &subject);
    ~PeerExchange();
    PeerExchange(const PeerExchange &) = delete;
    PeerExchange &operator=(const PeerExchange &) = delete;

    /// False when libmodbus does not accept the reply.
    bool once();

private:
    void *context_;
    ReadSubject subject_;
    int turn_ = 0;
    std::vector<std::uint8_t> bit_values_;
    std::vector<std::uint16_t> register_values_;
};

}  // namespace bench
