#include "memory_controller.h"

#include "support/crc.h"

using support::with_crc;

QByteArray MemoryController::answer(const QByteArray &request) {
    const auto byte = [&request](int index) {
        return static_cast<unsigned char>(request.at(index));
    };
    const auto word = [&byte](int index) {
        return static_cast<std::uint16_t>(byte(index) << 8 | byte(index + 1));
    };
    if (request.size() < 8)
        return QByteArray();
    Station &station = stations_[byte(0)];
    const std::uint16_t address = word(2);
    const int quantity = word(4);
    const QByteArray echo = with_crc(request.left(6));
    QByteArray reply = request.left(2);
    switch (byte(1)) {
    case 1: {
        QByteArray data((quantity + 7) / 8, '\0');
        for (int i = 0; i < quantity; ++i)
            if (station.coils[static_cast<std::uint16_t>(address + i)])
                data[i / 8] = static_cast<char>(data.at(i / 8) | 1 << i % 8);
        return with_crc(reply + static_cast<char>(data.size()) + data);
    }
    case 3:
        reply.append(static_cast<char>(2 * quantity));
        for (int i = 0; i < quantity; ++i) {
            const std::uint16_t value = station.registers[static_cast<std::uint16_t>(address + i)];
            reply.append(static_cast<char>(value >> 8));
            reply.append(static_cast<char>(value & 0xFF));
        }
        return with_crc(reply);
    case 5:
        station.coils[address] = byte(4) != 0;
        return echo;
    case 6:
        station.registers[address] = word(4);
        return echo;
    case 15:
        for (int i = 0; i < quantity; ++i)
            station.coils[static_cast<std::uint16_t>(address + i)] = (byte(7 + i / 8) >> i % 8 & 1) != 0;
        return echo;
    case 16:
        for (int i = 0; i < quantity; ++i)
            station.registers[static_cast<std::uint16_t>(address + i)] = word(7 + 2 * i);
        return echo;
    default:
        return QByteArray();
    }
}

std::uint16_t MemoryController::holding_register(int station, int address) const {
    const auto found = stations_.find(station);
    return found == stations_.end() ? 0 : found->second.registers[static_cast<std::size_t>(address)];
}
