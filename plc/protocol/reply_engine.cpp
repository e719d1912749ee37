#include "plc/protocol/reply_engine.h"

#include "plc/system/system_call.h"

#include <modbus.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace plc {
namespace {

// libmodbus accepts any byte count that is large enough.
bool byte_count_of_coils_is_wrong(const Bytes &request) {
    const unsigned quantity = word_at(request.data(), 4);
    return request[1] == write_multiple_coils && request[6] != (quantity + 7) / 8;
}

template <typename Value>
std::vector<std::uint16_t> part_of(const std::vector<Value> &values, std::size_t address, std::size_t count) {
    const std::size_t end = std::min(values.size(), address + count);
    const auto at = [&values](std::size_t place) {
        return values.begin() + static_cast<std::ptrdiff_t>(place);
    };
    return std::vector<std::uint16_t>(at(address), at(end));
}

// What the request changes if it is carried out; to be called before that.
std::optional<Change> change_asked_for(const Bytes &request, const StationMemory &memory) {
    const unsigned address = word_at(request.data(), 2);
    switch (request[1]) {
    case write_single_coil:
        return Change{Table::coils, address, part_of(memory.coils, address, 1)};
    case write_single_register:
        return Change{Table::registers, address, part_of(memory.registers, address, 1)};
    case write_multiple_coils:
        return Change{Table::coils, address, part_of(memory.coils, address, word_at(request.data(), 4))};
    case write_multiple_registers:
        return Change{Table::registers, address, part_of(memory.registers, address, word_at(request.data(), 4))};
    default:
        return std::nullopt;
    }
}

modbus_mapping_t mapping_of(StationMemory &memory) {
    modbus_mapping_t mapping = {};
    mapping.nb_bits = static_cast<int>(memory.coils.size());
    mapping.tab_bits = memory.coils.data();
    mapping.nb_registers = static_cast<int>(memory.registers.size());
    mapping.tab_registers = memory.registers.data();
    return mapping;
}

}  // namespace

struct ReplyEngine::Engine {
    modbus_t *modbus = nullptr;
    int ends[2] = {-1, -1};  // libmodbus writes its reply into the first, and it is read from the second

    Engine() {
        // The device is never opened: the socket takes its place.
        modbus = modbus_new_rtu("/dev/null", 9600, 'N', 8, 1);
        if (modbus == nullptr)
            fail("cannot start libmodbus");
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
            modbus_free(modbus);
            fail("cannot make a pair of sockets");
        }
        modbus_set_socket(modbus, ends[0]);
        // libmodbus sleeps this long before it sends some of its exceptions.
        modbus_set_response_timeout(modbus, 0, 1);
    }

    ~Engine() {
        modbus_free(modbus);
        close(ends[0]);
        close(ends[1]);
    }

    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
};

ReplyEngine::ReplyEngine() : engine_(std::make_unique<Engine>()) {}

ReplyEngine::~ReplyEngine() = default;

Answer ReplyEngine::answer(const Bytes &request, StationMemory &memory) {
    if (!is_served(request[1]))
        return {exception_reply(request, Exception::illegal_function), std::nullopt};
    if (byte_count_of_coils_is_wrong(request))
        return {exception_reply(request, Exception::illegal_data_value), std::nullopt};

    std::optional<Change> change = change_asked_for(request, memory);
    modbus_mapping_t mapping = mapping_of(memory);
    if (modbus_reply(engine_->modbus, request.data(), static_cast<int>(request.size()), &mapping) == -1)
        fail("libmodbus gives no reply");

    Bytes reply(max_frame_length);
    const ssize_t length = read(engine_->ends[1], reply.data(), reply.size());
    if (length < static_cast<ssize_t>(min_frame_length))
        fail("libmodbus has written no reply");
    reply.resize(static_cast<std::size_t>(length));

    const bool done = (reply[1] & exception_bit) == 0;
    return {reply, done ? std::move(change) : std::nullopt};
}

}  // namespace plc
