#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "plc/memory_file.h"

namespace kelpo {

/// Number of a step of the controller's values, counted from 0 at its start.
using Moment = plc::Moment;

/// What the controller says that it holds and held.
class ControllerMemory {
public:
    virtual ~ControllerMemory() = default;

    /// The current moment.
    virtual Moment moment() const = 0;

    /// The value at `moment`; nothing when that moment is not on record or there is no such station or address.
    virtual std::optional<bool> coil(int station, int address, Moment moment) const = 0;
    virtual std::optional<std::uint16_t> holding_register(int station, int address, Moment moment) const = 0;
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

private:
    plc::MemoryReader reader_;
};

}  // namespace kelpo
