// A Modbus RTU server made with libmodbus, for the tests of kelpo: one station with all coils and holding registers.
// Takes commands on standard input, "set coil|register ADDRESS VALUE" and "get coil|register ADDRESS", and answers each
// with one line: "ok", or the value. Ends when the input does.
//   libmodbus_server TTY STATION
#include <modbus.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

constexpr int addresses = 65536;

struct Free {
    void operator()(modbus_t *line) const {
        modbus_close(line);
        modbus_free(line);
    }
    void operator()(modbus_mapping_t *memory) const {
        modbus_mapping_free(memory);
    }
};

[[noreturn]] void fail(const std::string &what) {
    throw std::runtime_error(what + ": " + modbus_strerror(errno));
}

class Server {
public:
    Server(const char *tty, int station)
        : line_(modbus_new_rtu(tty, 115200, 'N', 8, 1)), memory_(modbus_mapping_new(addresses, 0, addresses, 0)) {
        if (!line_ || !memory_ || modbus_set_slave(line_.get(), station) != 0 || modbus_connect(line_.get()) != 0)
            fail(tty);
        modbus_set_indication_timeout(line_.get(), 0, 100000);
    }

    void serve(const std::atomic<bool> &stop) {
        std::uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];
        while (!stop) {
            const int length = modbus_receive(line_.get(), request);
            if (length <= 0)
                continue;
            const std::lock_guard<std::mutex> locked(mutex_);
            modbus_reply(line_.get(), request, length, memory_.get());
        }
    }

    std::string carry_out(const std::string &command) {
        std::istringstream words(command);
        std::string verb, table;
        unsigned address = addresses, value = 0;
        words >> verb >> table >> address;
        if (address >= addresses)
            return "no such address";
        const std::lock_guard<std::mutex> locked(mutex_);
        std::uint8_t &coil = memory_->tab_bits[address];
        std::uint16_t &place = memory_->tab_registers[address];
        if (verb == "get")
            return std::to_string(table == "coil" ? coil : place);
        words >> value;
        if (table == "coil")
            coil = static_cast<std::uint8_t>(value);
        else
            place = static_cast<std::uint16_t>(value);
        return "ok";
    }

private:
    std::unique_ptr<modbus_t, Free> line_;
    std::unique_ptr<modbus_mapping_t, Free> memory_;
    std::mutex mutex_;
};

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: libmodbus_server TTY STATION\n";
        return 2;
    }
    try {
        Server server(argv[1], std::atoi(argv[2]));
        std::atomic<bool> stop{false};
        std::thread serving([&] { server.serve(stop); });
        std::string command;
        std::cout << "ready" << std::endl;
        while (std::getline(std::cin, command))
            std::cout << server.carry_out(command) << std::endl;
        stop = true;
        serving.join();
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "libmodbus_server: " << error.what() << "\n";
        return 1;
    }
}
