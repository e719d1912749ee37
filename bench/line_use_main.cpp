// How much of the line's time the host leaves unused: its link loop and the driver poll the simulated controller, which
// delays replies for as long as a wire of that speed would take. A cycle without the request, the controller's
// turnaround, the reply and the silence of the protocol is time in which the line waits for a program; the part from
// the controller's reply to the next request is the host's.
//   kelpo-bench-line-use DRIVER BAUD REGISTERS SECONDS
#include "host/link/session.h"
#include "plc/line/pty_line.h"
#include "plc/program/controller.h"
#include "plc/program/serve.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using std::chrono::nanoseconds;
using Time = kelpo::Exchange::Time;
using WallClock = Time::clock;

constexpr int station = 1;
constexpr int registers = 7;
constexpr int requests_in_turn = 10;
constexpr int request_distance = 200;
constexpr nanoseconds turnaround = std::chrono::milliseconds(1);

// Not counted, because the driver's cache grows and the threads start.
constexpr std::size_t exchanges_beforehand = 10;

// Notes when a reply is sent.
class NotedLine : public plc::Line {
public:
    int descriptor() const override {
        return line_.descriptor();
    }
    const std::string &name() const override {
        return line_.name();
    }
    plc::Bytes receive() override {
        return line_.receive();
    }
    bool send(const plc::Bytes &bytes) override {
        replied_at_.push_back(WallClock::now());
        return line_.send(bytes);
    }

    // Only when the line is no longer served.
    const std::vector<Time> &replied_at() const {
        return replied_at_;
    }

private:
    plc::PtyLine line_;
    std::vector<Time> replied_at_;
};

class NotedExchanges : public kelpo::LinkWatcher {
public:
    struct Note {
        Time sent_at;
        std::size_t bytes;
    };

    void exchanged(const kelpo::Exchange &exchange) override {
        all_good_ = all_good_ && exchange.outcome == kelpo::Outcome::good;
        notes_.push_back({exchange.sent_at, exchange.request.size() + exchange.reply.size()});
    }

    // Only after the link has ended.
    const std::vector<Note> &notes() const {
        if (!all_good_)
            throw std::runtime_error("a reply was not accepted");
        return notes_;
    }

private:
    std::vector<Note> notes_;
    bool all_good_ = true;
};

std::vector<kelpo::Variable> variables(int count) {
    std::vector<kelpo::Variable> result(requests_in_turn);
    for (int i = 0; i < requests_in_turn; ++i) {
        kelpo::Variable &variable = result[static_cast<std::size_t>(i)];
        variable.station = station;
        variable.type = registers;
        variable.address = std::to_string(i * request_distance);
        variable.count = count;
    }
    return result;
}

double median(std::vector<double> values) {
    if (values.empty())
        throw std::runtime_error("too few exchanges");
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double sum(const std::vector<double> &values) {
    double total = 0;
    for (const double value : values)
        total += value;
    return total;
}

double seconds(nanoseconds time) {
    return std::chrono::duration<double>(time).count();
}

void print(const kelpo::LineSettings &line, int count, const std::vector<NotedExchanges::Note> &exchanges,
           const std::vector<Time> &replied_at) {
    std::vector<double> cycles, wire, controller, host, host_share;
    for (std::size_t i = exchanges_beforehand; i + 1 < exchanges.size(); ++i) {
        const NotedExchanges::Note &exchange = exchanges[i];
        const auto bytes = static_cast<std::int64_t>(exchange.bytes);
        const nanoseconds needed = line.character_time() * bytes + turnaround;
        cycles.push_back(seconds(exchanges[i + 1].sent_at - exchange.sent_at));
        wire.push_back(seconds(needed + line.frame_gap()));
        controller.push_back(seconds(replied_at[i] - exchange.sent_at - needed));
        host.push_back(seconds(exchanges[i + 1].sent_at - replied_at[i] - line.frame_gap()));
        host_share.push_back(host.back() / cycles.back());
    }
    std::printf("%6u %9d %9zu %9.2f %9.2f %13.0f %8.0f %8.2f %% %8.2f %%\n", line.speed, count, cycles.size(),
                median(cycles) * 1e3, median(wire) * 1e3, median(controller) * 1e6, median(host) * 1e6,
                median(host_share) * 100, sum(host) / sum(cycles) * 100);
}

void run(const std::string &driver, unsigned baud, int count, int duration) {
    plc::Settings settings;
    settings.baud = baud;
    settings.turnaround = std::chrono::duration_cast<std::chrono::milliseconds>(turnaround);
    settings.moment = std::chrono::milliseconds(0);
    plc::Controller controller(settings, std::nullopt, std::chrono::steady_clock::now());
    NotedLine controller_line;
    kelpo::StopSignal controller_stop;
    NotedExchanges exchanges;
    kelpo::LinkSettings link;
    link.driver = driver;
    link.line.path = controller_line.name();
    link.line.speed = baud;
    link.line.gap = link.line.frame_gap();  // without it a pseudo-terminal gets none

    std::thread serving(plc::serve, std::ref<plc::Line>(controller_line), std::ref(controller),
                        controller_stop.descriptor());
    try {
        kelpo::StopSignal stop;
        kelpo::Driver loaded(link.driver);
        kelpo::Session session(loaded, link, stop, {&exchanges}, kelpo::OnLoss::end);
        loaded.poll(variables(count));
        session.start();
        std::this_thread::sleep_for(std::chrono::seconds(duration));
        session.finish();
    } catch (...) {
        controller_stop.raise();
        serving.join();
        throw;
    }
    controller_stop.raise();
    serving.join();
    print(link.line, count, exchanges.notes(), controller_line.replied_at());
}

}  // namespace

int main(int argc, char **argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() != 4) {
        std::fprintf(stderr, "usage: kelpo-bench-line-use DRIVER BAUD REGISTERS SECONDS\n");
        return EXIT_FAILURE;
    }
    try {
        run(words[0], static_cast<unsigned>(std::stoul(words[1])), std::stoi(words[2]), std::stoi(words[3]));
    } catch (const std::exception &problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
