#include "host/link/link_loop.h"

#include "host/driver/raw_calls.h"
#include "host/link/rtu_shape.h"
#include "simulated_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace {

using kelpo::Exchange;
using kelpo::Outcome;
using kelpo::Variable;
using kelpo::View;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds reply_timeout(500);

unsigned word_at(const std::string &frame, std::size_t at) {
    return kelpo::rtu::byte_at(frame, at) << 8U | kelpo::rtu::byte_at(frame, at + 1);
}

std::string word(unsigned value) {
    return {static_cast<char>(value >> 8U), static_cast<char>(value & 0xFFU)};
}

// What the register holds until it is written: no two hold the same.
unsigned value_of(unsigned address) {
    return 7 * address + 3;
}

// A controller that answers correctly, and as late as the test sets.
class Controller {
public:
    enum class Order { queued, each_on_its_own };

    Controller(SimulatedLine &line, Order order, std::function<nanoseconds()> delay)
        : line_(line), order_(order), delay_(std::move(delay)) {
        line_.on_request = [this](const std::string &request) {
            serve(request);
        };
    }

    bool holds(unsigned address, unsigned value) const {
        const auto written = written_.find(address);
        return (written == written_.end() ? value_of(address) : written->second) == value;
    }
    std::size_t served() const {
        return served_;
    }

private:
    void serve(const std::string &request) {
        ++served_;
        const auto begin = order_ == Order::queued ? std::max(line_.now(), free_at_) : line_.now();
        free_at_ = begin + delay_();
        line_.comes(free_at_ - line_.now(), reply_to(request));
    }

    std::string reply_to(const std::string &request) {
        const unsigned function = kelpo::rtu::byte_at(request, 1), address = word_at(request, 2);
        if (function == 16) {
            for (unsigned i = 0; i < word_at(request, 4); ++i)
                written_[address + i] = word_at(request, 7 + 2 * i);
            return kelpo::rtu::with_crc(request.substr(0, 6));
        }
        const unsigned count = word_at(request, 4);
        std::string reply = request.substr(0, 2) + static_cast<char>(2 * count);
        for (unsigned i = 0; i < count; ++i) {
            const auto written = written_.find(address + i);
            reply += word(written == written_.end() ? value_of(address + i) : written->second);
        }
        return kelpo::rtu::with_crc(reply);
    }

    SimulatedLine &line_;
    Order order_;
    std::function<nanoseconds()> delay_;
    kelpo::Channel::Time free_at_{};
    std::map<unsigned, unsigned> written_;
    std::size_t served_ = 0;
};

Variable register_at(unsigned address, int station = 1) {
    return {"", station, 7, std::to_string(address), 1, View::unsigned_words};
}

// Registers so far apart that each has a request of its own; the requests differ only in the address.
std::vector<Variable> registers() {
    std::vector<Variable> all;
    for (unsigned address = 0; address < 20; ++address)
        all.push_back(register_at(200 * address));
    return all;
}

/// Compares what the driver holds with what is right, after each exchange.
class Judge : public kelpo::LinkWatcher {
public:
    Judge(const kelpo::DriverEntryPoints &driver, SimulatedLine &line, int exchanges)
        : driver_(driver), line_(line), left_(exchanges) {}

    void exchanged(const Exchange &exchange) override {
        if (exchange.outcome == Outcome::good)
            ++good;
        if (exchange.outcome == Outcome::good && exchange.request[1] == '\x03') {
            const auto shown = kelpo::shown_by(driver_, register_at(static_cast<unsigned>(exchange.address))).at(0);
            if (static_cast<unsigned>(shown) != value_of(static_cast<unsigned>(exchange.address)))
                ++of_another_register;
        }
        if (--left_ == 0)
            line_.stop();
    }
    void reply_late(int station, milliseconds time) override {
        latest[station] = time;
    }

    int good = 0;
    int of_another_register = 0;
    std::map<int, milliseconds> latest;

private:
    const kelpo::DriverEntryPoints &driver_;
    SimulatedLine &line_;
    int left_;
};

class LateReplies : public testing::Test {
protected:
    // The test ends after this many exchanges.
    void run(Controller::Order order, const std::function<nanoseconds()> &delay, int exchanges) {
        const kelpo::DriverLibrary driver(DRIVER_FILE);
        ComInfo info{};
        info.max_count = 100;
        info.retry_times = 2;
        info.multi_station = 1;
        info.write_mode = 2;
        SimulatedLine line;
        line.held_up = held_up;
        const Controller controller(line, order, delay);
        Judge judge(driver.entry(), line, exchanges);
        kelpo::attach(driver.entry(), info, judge);
        QList<HOST_VAR> polled = kelpo::polled(registers());
        driver.entry().ReCreatReadVarList(&polled);
        kelpo::LoopSettings settings;
        settings.timeouts.reply = reply_timeout;
        kelpo::LinkLoop(driver.entry(), info, settings, judge).run(line);
        good = judge.good;
        of_another_register = judge.of_another_register;
        latest = judge.latest;
    }

    std::function<nanoseconds()> held_up;
    int good = 0;
    int of_another_register = 0;
    std::map<int, milliseconds> latest;
};

const Controller::Order both_orders[] = {Controller::Order::queued, Controller::Order::each_on_its_own};

TEST_F(LateReplies, NeverGiveAValueToAnotherRegisterWhenAllAreEquallyLate) {
    for (const Controller::Order order : both_orders)
        for (const double factor : {0.1, 0.5, 0.9, 1.1, 1.15, 1.2, 1.4, 1.7, 2.0, 2.5, 3.0, 3.3, 3.5, 4.0}) {
            const auto delay = std::chrono::duration_cast<nanoseconds>(reply_timeout * factor);
            run(
                order, [delay] { return delay; }, 10000);
            EXPECT_EQ(of_another_register, 0) << factor;
            if (factor < 1) {
                EXPECT_EQ(good, 10000) << factor;
            }
        }
}

TEST_F(LateReplies, NeverGiveAValueToAnotherRegisterWhenTheyAreLateAtRandom) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> factor(0.1, 4);
    for (const Controller::Order order : both_orders) {
        run(
            order, [&] { return std::chrono::duration_cast<nanoseconds>(reply_timeout * factor(random)); }, 10000);
        EXPECT_EQ(of_another_register, 0);
        EXPECT_GT(good, 1000);
    }
}

TEST_F(LateReplies, NeverGiveAValueToAnotherRegisterWhenFewAreLate) {
    std::mt19937 random(2);
    std::uniform_real_distribution<double> factor(0.1, 4);
    for (const Controller::Order order : both_orders)
        for (const unsigned one_in : {3U, 10U, 100U, 300U}) {
            const auto delay = [&] {
                const double times = random() % one_in == 0 ? factor(random) : 0.02;
                return std::chrono::duration_cast<nanoseconds>(reply_timeout * times);
            };
            run(order, delay, 10000);
            EXPECT_EQ(of_another_register, 0) << one_in;
            EXPECT_GT(good, 5000) << one_in;
        }
}

// The replies keep the promise; it is the host that does not get the processor.
TEST_F(LateReplies, NeverGiveAValueToAnotherRegisterWhenTheHostItselfIsLate) {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> factor(0.1, 4);
    const auto times = [](double factor_of) {
        return std::chrono::duration_cast<nanoseconds>(reply_timeout * factor_of);
    };
    held_up = [&] {
        return random() % 10 == 0 ? times(factor(random)) : nanoseconds(0);
    };
    for (const Controller::Order order : both_orders)
        for (const unsigned one_in : {1U, 3U, 30U}) {
            run(
                order, [&] { return times(random() % one_in == 0 ? factor(random) : 0.02); }, 10000);
            EXPECT_EQ(of_another_register, 0) << one_in;
            EXPECT_GT(good, 500) << one_in;
        }
}

}  // namespace
