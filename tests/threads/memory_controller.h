/// \file
/// A Modbus RTU station in memory, for tests that need replies and no line.
#pragma once

#include <QtCore/QByteArray>

#include <array>
#include <cstdint>
#include <map>

/// Several stations, each with its own coils and holding registers; made on first use, all zero. For one thread.
class MemoryController {
public:
    /// The reply to a Modbus RTU request; empty for a request that it does not know.
    QByteArray answer(const QByteArray &request);

    std::uint16_t holding_register(int station, int address) const;

private:
    struct Station {
        std::array<bool, 65536> coils{};
        std::array<std::uint16_t, 65536> registers{};
    };

    std::map<int, Station> stations_;
};
