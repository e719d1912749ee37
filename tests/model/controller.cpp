#include "controller.h"

#include "support/crc.h"

namespace model {

using support::with_crc;

namespace {

const std::size_t remote_read_length = 22;

bool has_good_crc(const Bytes &frame) {
    return frame.size() >= 8 && support::crc16(frame) == 0;
}

bool has_good_sum(const Bytes &frame) {
    if (frame.size() < remote_read_length || frame[0] != frame.size() % 256)
        return false;
    const Bytes body(frame.begin(), frame.end() - 1);
    return cal_sum(body) % 256 == frame.back();
}

int word_at(const Bytes &bytes, std::size_t index) {
    return bytes[index] * 256 + bytes[index + 1];
}

std::uint8_t low_byte(int value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

}  // namespace

Bytes Controller::answer(const Bytes &request) {
    ++answered;
    if (has_good_crc(request))
        return answer_rtu(request);
    if (has_good_sum(request))
        return answer_remote(request);
    return Bytes();
}

int Controller::value_at(const std::map<Place, int> &memory, Place place) const {
    const auto found = memory.find(place);
    return found != memory.end() ? found->second : place.first + 31 * place.second + 7 * answered;
}

Bytes Controller::answer_rtu(const Bytes &request) {
    const int station = request[0];
    const int address = word_at(request, 2);
    const int quantity = word_at(request, 4);
    Bytes reply(request.begin(), request.begin() + 2);
    switch (request[1]) {
    case 1: {
        Bytes data(static_cast<std::size_t>(quantity + 7) / 8, 0);
        for (int i = 0; i < quantity; ++i)
            if (value_at(coils, {station, address + i}) % 2 != 0)
                data[static_cast<std::size_t>(i) / 8] |= low_byte(1 << (i % 8));
        reply.push_back(low_byte(static_cast<int>(data.size())));
        reply.insert(reply.end(), data.begin(), data.end());
        return with_crc(reply);
    }
    case 3:
        reply.push_back(low_byte(2 * quantity));
        for (int i = 0; i < quantity; ++i) {
            const int value = value_at(registers, {station, address + i});
            reply.push_back(low_byte(value >> 8));
            reply.push_back(low_byte(value));
        }
        return with_crc(reply);
    case 5:
        coils[{station, address}] = request[4] != 0 ? 1 : 0;
        break;
    case 6:
        registers[{station, address}] = quantity;
        break;
    case 15:
        for (int i = 0; i < quantity && 7 + static_cast<std::size_t>(i) / 8 < request.size() - 2; ++i)
            coils[{station, address + i}] = (request[7 + static_cast<std::size_t>(i) / 8] >> (i % 8)) & 1;
        break;
    case 16:
        for (int i = 0; i < quantity && 8 + 2 * static_cast<std::size_t>(i) < request.size() - 2; ++i)
            registers[{station, address + i}] = word_at(request, 7 + 2 * static_cast<std::size_t>(i));
        break;
    default:
        return Bytes();
    }
    reply.assign(request.begin(), request.begin() + 6);
    return with_crc(reply);
}

Bytes Controller::answer_remote(const Bytes &request) const {
    const std::uint8_t station = request[4];
    const bool is_write = request[2] != 0;
    if (is_write)
        return with_crc(Bytes{station, 16, request[9], request[10], request[11], request[12]});

    const int type = word_at(request, 5);
    const int count = word_at(request, 11);
    int size = 2 * count;
    if (type <= 6)
        size = (count + 7) / 8;
    if (type == 13)
        size = 4 * count;
    Bytes reply = {station, 3, low_byte(size)};
    for (int i = 0; i < size; ++i)
        reply.push_back(low_byte(i * 5 + 3 * answered));
    return with_crc(reply);
}

}  // namespace model
