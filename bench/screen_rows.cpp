// A screen's calls while the link thread makes exchanges without a pause: the most that it can delay them.
#include "bench/driver_link.h"
#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <QtCore/QMutexLocker>
#include <QtCore/QString>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

// Exported by the driver.
int CalCRC(unsigned char *data, unsigned short len);

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int polled_count = 100;
constexpr int polled_blocks = 20;
constexpr unsigned char write_registers = 16;

// Writes in the queue at which a screen stops to add more; the queue holds 1024.
constexpr int most_waiting = 20;

QByteArray echo_of_write(const QByteArray &request) {
    QByteArray echo = request.left(6);
    const int crc = CalCRC(reinterpret_cast<unsigned char *>(echo.data()), 6);
    echo.append(static_cast<char>(crc & 0xFF));
    echo.append(static_cast<char>(crc >> 8));
    return echo;
}

// Polls, and answers the writes that come in between, from construction to destruction.
class LinkThread {
public:
    LinkThread() {
        configure_driver();
        QList<HOST_VAR> variables = separate_variables(registers, polled_count, polled_blocks);
        ReCreatReadVarList(&variables);
        thread_ = std::thread([this] { run(); });
        while (exchanges_ < polled_blocks)
            std::this_thread::yield();
    }

    ~LinkThread() {
        stop_ = true;
        thread_.join();
    }

    LinkThread(const LinkThread &) = delete;
    LinkThread &operator=(const LinkThread &) = delete;

    // Whether the driver did not accept a reply.
    bool failed() const {
        return failed_;
    }

private:
    void run() {
        QByteArray read_reply = right_reply(registers, polled_count);
        while (!stop_) {
            const Protocol *request = ComCommunication();
            const bool write = static_cast<unsigned char>(request->frame.at(1)) == write_registers;
            QByteArray write_reply = write ? echo_of_write(request->frame) : QByteArray();
            QByteArray &reply = write ? write_reply : read_reply;
            if (DataCom(&reply, static_cast<int>(reply.size()))->ret_value != 1)
                failed_ = true;
            ++exchanges_;
        }
    }

    std::atomic<bool> stop_{false};
    std::atomic<bool> failed_{false};
    std::atomic<int> exchanges_{0};
    std::thread thread_;
};

// Times each call by itself. The row's time is their mean; on a busy machine that includes times when the link thread
// was stopped while it held a lock.
template <typename Call, typename Between>
void time_calls(benchmark::State &state, const Call &call, const Between &between) {
    const LinkThread link;
    std::vector<double> seconds;
    seconds.reserve(1 << 20);
    for (auto _ : state) {
        between();
        const auto begin = Clock::now();
        call();
        const double taken = std::chrono::duration<double>(Clock::now() - begin).count();
        state.SetIterationTime(taken);
        seconds.push_back(taken);
    }
    if (link.failed()) {
        state.SkipWithError("a reply was not accepted");
        return;
    }
    std::sort(seconds.begin(), seconds.end());
    state.counters["us: median"] = seconds[seconds.size() / 2] * 1e6;
    state.counters["us: 99.9 %"] = seconds[seconds.size() - 1 - seconds.size() / 1000] * 1e6;
    state.counters["us: longest"] = seconds.back() * 1e6;
}

void read_values(benchmark::State &state, int count) {
    const QString address = QLatin1String("200");
    QByteArray out;
    const auto read = [&] {
        GetRegisterData(QString(), registers, address, station, out, count);
    };
    time_calls(state, read, [] {});
}

int writes_waiting() {
    const QMutexLocker locked(&PLC_driver.list_mutex);
    return static_cast<int>(PLC_driver.write_list.size());
}

// A full queue would drop the write: between calls the link gets time to empty it.
void write_values(benchmark::State &state, int count) {
    const QString address = QLatin1String("200");
    const QByteArray data(2 * count, '\x12');
    int waiting = 0;
    const auto write = [&] {
        waiting = SetRegisterData(QString(), registers, address, station, data, count, 1, 1);
    };
    const auto catch_up = [&waiting] {
        while (waiting > most_waiting) {
            std::this_thread::sleep_for(std::chrono::microseconds(20));
            waiting = writes_waiting();
        }
    };
    time_calls(state, write, catch_up);
}

void add(const std::string &name, void (*row)(benchmark::State &, int), int count) {
    benchmark::RegisterBenchmark(name.c_str(), row, count)->UseManualTime()->Iterations(20000);
}

}  // namespace

void add_screen_rows() {
    for (const int count : {1, 100}) {
        const std::string what = " of " + std::to_string(count) + (count == 1 ? " register" : " registers");
        add("GetRegisterData" + what + " while the link runs/driver", read_values, count);
        add("SetRegisterData" + what + " while the link runs/driver", write_values, count);
    }
}

}  // namespace bench
