#pragma once

#include "host/link/cycle_pace.h"
#include "host/link/hole_finder.h"
#include "host/link/link_loop.h"
#include "host/link/paused_blocks.h"
#include "host/link/slow_reads.h"
#include "host/link/station_rests.h"
#include "simulated_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace polled {

using kelpo::Exchange;
using kelpo::Outcome;
using kelpo::Variable;
using kelpo::View;
using kelpo::rtu::byte_at;
using kelpo::rtu::with_crc;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using Time = SimulatedLine::Time;

constexpr unsigned read_registers = 3;
constexpr int dying = 3;  // the station that something happens to

inline unsigned value_of(unsigned station, unsigned address) {
    return 1000 * station + 7 * address + 3;
}

inline std::string reply_to(const std::string &request) {
    const unsigned address = byte_at(request, 2) << 8U | byte_at(request, 3);
    const unsigned count = byte_at(request, 5);
    std::string reply = request.substr(0, 2);
    if (byte_at(request, 1) != read_registers)
        return with_crc(request.substr(0, 6));
    reply += static_cast<char>(2 * count);
    for (unsigned i = 0; i < count; ++i) {
        const unsigned value = value_of(byte_at(request, 0), address + i);
        reply += {static_cast<char>(value >> 8U), static_cast<char>(value & 0xFFU)};
    }
    return with_crc(reply);
}

struct Asked {
    Time time;
    int station;
    std::string bytes;

    bool is_short() const {
        return bytes.substr(4, 2) == std::string("\0\1", 2);
    }
};

/// From `first` on, the pauses between them begin with `pause` and double, up to `longest`, with a little chance in
/// each.
inline void expect_growing_pauses(const std::vector<Asked> &all, std::size_t first, milliseconds pause,
                                  milliseconds longest) {
    for (std::size_t i = first + 1; i < all.size(); ++i) {
        const auto really = all[i].time - all[i - 1].time;
        EXPECT_GT(really, pause * 9 / 10) << i;
        EXPECT_LT(really, pause * 11 / 10 + milliseconds(300)) << i;
        pause = std::min(2 * pause, longest);
    }
}

/// Polls three blocks of each of several stations over a line with its own time.
class PolledStations : public testing::Test, public kelpo::LinkWatcher {
protected:
    PolledStations() : info(driver.configure({})) {
        kelpo::attach(driver.library().entry(), info, *this);
        line.time_of_a_request = milliseconds(5);
        line.on_request = [this](const std::string &request) {
            const int station = static_cast<int>(byte_at(request, 0));
            asked.push_back({line.now(), station, request});
            const std::string reply = answer(station, request);
            if (!reply.empty())
                line.comes(line.time_of_a_request + delay(), reply);
        };
    }

    /// Polls three blocks of each station, until so much time has passed.
    void run(seconds time, int registers = 10, const std::vector<int> &stations = {1, 2, 3}) {
        if (!loop) {
            rests.emplace(driver, settings, timeouts.reply, *this);
            paused.emplace(driver, settings, [this] { return line.now(); });
            slow.emplace(driver, [this] { return line.now(); });
            slow->leave_alone_what_is_in(*paused);
            holes.emplace(driver, *slow, *this);
            pace.emplace(driver, shortest_cycle);
            loop.emplace(driver.library().entry(), info, kelpo::LoopSettings{timeouts}, *this,
                         kelpo::LoopBooks{&*rests, &*paused, shortest_cycle > milliseconds(0) ? &*pace : nullptr});
            for (const int station : stations)
                for (const char *const address : {"0", "200", "400"})
                    variables.push_back({address, station, 7, address, registers, View::unsigned_words});
            driver.poll(variables);
        }
        end = line.now() + time;
        line.go_on();
        loop->run(line);
    }

    /// Something that happens after so much time.
    void after(seconds time, std::function<void()> what) {
        happening.emplace(line.now() + time, std::move(what));
    }

    void die() {
        answer = [](int station, const std::string &request) {
            return station == dying ? std::string() : reply_to(request);
        };
    }
    void live() {
        answer = [](int, const std::string &request) {
            return reply_to(request);
        };
    }

    std::vector<Asked> asked_of(int station) const {
        std::vector<Asked> found;
        for (const Asked &one : asked)
            if (one.station == station)
                found.push_back(one);
        return found;
    }

    void about_to_ask() override {
        holes->about_to_ask();
        slow->about_to_ask();
        while (!happening.empty() && happening.begin()->first <= line.now()) {
            happening.begin()->second();
            happening.erase(happening.begin());
        }
        if (line.now() >= end)
            line.stop();
    }
    void exchanged(const Exchange &exchange) override {
        paused->exchanged(exchange);
        holes->exchanged(exchange);
        pace->exchanged(exchange);
        reported.push_back({exchange.station, exchange.outcome, std::string(exchange.reply), exchange.is_silent_block});
        discarded += exchange.discarded;
        if (exchange.outcome != Outcome::good || byte_at(exchange.request, 1) != read_registers)
            return;
        ++good;
        const auto address = static_cast<unsigned>(exchange.address);
        const Variable variable{"", exchange.station, 7, std::to_string(address), 1, View::unsigned_words};
        if (static_cast<unsigned>(driver.held_values(variable).at(0)) !=
            value_of(static_cast<unsigned>(exchange.station), address))
            ++wrong;
    }
    void station_rests(int station, milliseconds) override {
        resting.push_back(station);
    }
    void rest_ended(int station, bool has_answered) override {
        paused->rest_ended(station, has_answered);
        ends.push_back({line.now(), station, has_answered});
    }
    void line_probed(const Exchange &, kelpo::ProbePurpose purpose) override {
        EXPECT_EQ(purpose, kelpo::ProbePurpose::rest);
        waits.push_back(line.now() - asked.back().time);
    }

    struct Reported {
        int station;
        Outcome outcome;
        std::string reply;
        bool is_silent_block;
    };
    struct End {
        Time time;
        int station;
        bool has_answered;
    };

    kelpo::Driver driver{DRIVER_FILE};
    ComInfo &info;
    kelpo::RestSettings settings;
    kelpo::ReplyTimeouts timeouts;
    SimulatedLine line;
    std::function<std::string(int, const std::string &)> answer = [](int, const std::string &request) {
        return reply_to(request);
    };
    std::function<nanoseconds()> delay = [] {
        return milliseconds(10);
    };
    std::vector<Asked> asked;
    std::vector<Reported> reported;
    std::vector<int> resting;
    std::vector<End> ends;
    std::vector<nanoseconds> waits;  // of the short requests
    std::uint64_t discarded = 0;
    int good = 0, wrong = 0;
    std::optional<kelpo::StationRests> rests;
    std::optional<kelpo::PausedBlocks> paused;
    std::optional<kelpo::SlowReads> slow;
    std::optional<kelpo::HoleFinder> holes;
    std::optional<kelpo::CyclePace> pace;
    milliseconds shortest_cycle{0};
    std::vector<Variable> variables;  // polled in addition
    std::optional<kelpo::LinkLoop> loop;

private:
    std::multimap<Time, std::function<void()>> happening;
    Time end;
};

}  // namespace polled
