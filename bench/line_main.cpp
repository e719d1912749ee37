// Reads registers over a line as fast as possible, through the host's link loop and the driver or through libmodbus,
// and prints exchanges per second and the processor time of this process per exchange in microseconds. script/bench
// runs the two in turn with the same controller.
//   kelpo-bench-line host LINE DRIVER REGISTERS EXCHANGES
//   kelpo-bench-line libmodbus LINE - REGISTERS EXCHANGES
#include "bench/driver_link.h"
#include "bench/process_figures.h"
#include "host/driver/driver_library.h"
#include "host/line/line.h"
#include "host/link/link_loop.h"

#include <modbus.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Both read these in turn.
constexpr int requests_in_turn = 10;
constexpr int request_distance = 200;

// Not counted, because the driver's cache grows and the controller starts.
constexpr int exchanges_beforehand = 50;

class Stopwatch {
public:
    void start() {
        began_ = Clock::now();
        processor_began_ = bench::processor_seconds();
    }

    void print(int exchanges) const {
        const double seconds = std::chrono::duration<double>(Clock::now() - began_).count();
        std::printf("%.0f %.3f\n", exchanges / seconds,
                    (bench::processor_seconds() - processor_began_) / exchanges * 1e6);
    }

private:
    Clock::time_point began_;
    double processor_began_ = 0;
};

// Ends the link loop after a number of exchanges.
class Counter : public kelpo::LinkWatcher {
public:
    Counter(kelpo::StopSignal &stop, int exchanges) : stop_(stop), left_(exchanges + exchanges_beforehand) {}

    void exchanged(const kelpo::Exchange &exchange) override {
        all_good_ = all_good_ && exchange.outcome == kelpo::Outcome::good;
        --left_;
        if (left_ == 0)
            stop_.raise();
        ++done_;
        if (done_ == exchanges_beforehand)
            stopwatch_.start();
    }

    void print() const {
        if (!all_good_)
            throw std::runtime_error("a reply was not accepted");
        stopwatch_.print(done_ - exchanges_beforehand);
    }

private:
    kelpo::StopSignal &stop_;
    int left_;
    int done_ = 0;
    bool all_good_ = true;
    Stopwatch stopwatch_;
};

void run_host(const std::string &path, const std::string &driver_file, int registers, int exchanges) {
    const kelpo::DriverLibrary driver(driver_file);
    kelpo::StopSignal stop;
    Counter counter(stop, exchanges);
    ComInfo info{};
    info.max_count = 100;
    info.default_station = bench::station;
    info.retry_times = 2;
    kelpo::attach(driver.entry(), info, counter);
    QList<HOST_VAR> variables;
    for (int i = 0; i < requests_in_turn; ++i) {
        HOST_VAR variable{};
        variable.reg_type = bench::registers;
        variable.addr_text = QString::number(i * request_distance);
        variable.reg_count = registers;
        variables.append(variable);
    }
    driver.entry().ReCreatReadVarList(&variables);
    kelpo::LineSettings settings;
    settings.path = path;
    kelpo::Line line(settings, stop);
    kelpo::LinkLoop(driver.entry(), info, {}, counter).run(line);
    counter.print();
}

void run_libmodbus(const std::string &path, int registers, int exchanges) {
    modbus_t *context = modbus_new_rtu(path.c_str(), 115200, 'N', 8, 1);
    if (context == nullptr || modbus_set_slave(context, bench::station) != 0 || modbus_connect(context) != 0)
        throw std::runtime_error(path + ": libmodbus cannot open the line");
    std::vector<std::uint16_t> values(static_cast<std::size_t>(registers));
    Stopwatch stopwatch;
    for (int i = 0; i < exchanges_beforehand + exchanges; ++i) {
        if (i == exchanges_beforehand)
            stopwatch.start();
        const int address = i % requests_in_turn * request_distance;
        if (modbus_read_registers(context, address, registers, values.data()) != registers)
            throw std::runtime_error("a reply was not accepted");
    }
    stopwatch.print(exchanges);
    modbus_close(context);
    modbus_free(context);
}

}  // namespace

int main(int argc, char **argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 5 || (words[0] != "host" && words[0] != "libmodbus")) {
        std::fprintf(stderr, "usage: kelpo-bench-line host|libmodbus LINE DRIVER REGISTERS EXCHANGES\n");
        return EXIT_FAILURE;
    }
    try {
        if (words[0] == "host")
            run_host(words[1], words[2], std::stoi(words[3]), std::stoi(words[4]));
        else
            run_libmodbus(words[1], std::stoi(words[3]), std::stoi(words[4]));
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
