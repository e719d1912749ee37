#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "plc/memory/memory_reader.h"

namespace kelpo {

/// Number of a step of the controller's values, counted from 0 at its start.
using Moment = plc::Moment;

/// One address that a request from the line wrote, with what it held before.
using LoggedWrite = plc::LoggedWrite;

/// What the controller holds and held, by its own account.
class ControllerMemory {
public:
    virtual ~ControllerMemory() = default;

    /// The current moment.
    virtual Moment moment() const = 0;

    /// The value at `moment`; nothing when that moment is not on record or there is no such station or address.
    virtual std::optional<bool> coil(int station, int address, Moment moment) const = 0;
    virtual std::optional<std::uint16_t> holding_register(int station, int address, Moment moment) const = 0;

    /// Number of requests that the station has received; nothing when there is no such station.
    virtual std::optional<std::uint64_t> requests_to(int station) const = 0;

    /// Number of addresses that were written from the line so far.
    virtual std::uint64_t writes_logged() const = 0;

    /// Those writes from number `first` on, oldest first; nothing when some of them are no longer on record.
    virtual std::optional<std::vector<LoggedWrite>> writes_from(std::uint64_t first) const = 0;
};

/// The memory file that a simulated controller publishes.
class PublishedMemory : public ControllerMemory {
public:
    /// Throws std::runtime_error when the file cannot be read.
    explicit PublishedMemory(const std::string &path) : reader_(plc::MemoryReader::open(path)) {}

    Moment moment() const override {
        return reader_.moment();
    }
    std::optional<bool> coil(int station, int address, Moment moment) const override {
        return reader_.coil(static_cast<unsigned>(station), static_cast<unsigned>(address), moment);
    }
    std::optional<std::uint16_t> holding_register(int station, int address, Moment moment) const override {
        return reader_.holding_register(static_cast<unsigned>(station), static_cast<unsigned>(address), moment);
    }
    std::optional<std::uint64_t> requests_to(int station) const override {
        return reader_.requests_to(static_cast<unsigned>(station));
    }
    std::uint64_t writes_logged() const override {
        return reader_.writes_logged();
    }
    std::optional<std::vector<LoggedWrite>> writes_from(std::uint64_t first) const override {
        return reader_.writes_from(first);
    }

private:
    plc::MemoryReader reader_;
};

}  // namespace kelpo
