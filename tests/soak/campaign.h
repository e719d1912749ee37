#pragma once

#include "controller.h"
#include "fault_choice.h"
#include "judge.h"
#include "waits.h"

#include "host/engine/read_values.h"
#include "host/link/session.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace soak {

struct Options {
    std::string driver;
    std::string plc;
    unsigned seed = 1;
    std::uint64_t exchanges = 10000;
    std::vector<std::string> faults;  ///< the words of those that may happen; empty: all
};

/// Lets other threads wait for the link's requests, those of the driver and the host's own.
class Pace : public kelpo::LinkWatcher {
public:
    void exchanged(const kelpo::Exchange &) override {
        move_on();
    }
    void line_probed(const kelpo::Exchange &, kelpo::ProbePurpose) override {
        move_on();
    }

    /// Waits until there were more than `requests`, at most for `time`. Returns how many there were.
    std::uint64_t wait_beyond(std::uint64_t requests, std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> locked(mutex_);
        moved_on_.wait_for(locked, time, [&] { return requests_ > requests; });
        return requests_;
    }

private:
    void move_on() {
        const std::lock_guard<std::mutex> locked(mutex_);
        ++requests_;
        moved_on_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable moved_on_;
    std::uint64_t requests_ = 0;
};

/// Knows which stations rest, for threads that queue requests in the driver themselves: it drops their requests.
class Resting : public kelpo::LinkWatcher {
public:
    bool is_off(int station) const {
        return off_[static_cast<std::size_t>(station)];
    }
    bool is_any_live_off() const {
        return std::any_of(std::begin(answering_stations), std::end(answering_stations),
                           [this](int station) { return is_off(station); });
    }
    void station_rests(int station, std::chrono::milliseconds) override {
        off_[static_cast<std::size_t>(station)] = true;
    }
    void rest_ended(int station, bool) override {
        off_[static_cast<std::size_t>(station)] = false;
    }

private:
    static constexpr std::size_t stations = 8;

    std::array<std::atomic<bool>, stations> off_{};
};

/// Follows when the host says that each value was read. Its clock counts exchanges.
class ReadTimes : public kelpo::LinkWatcher {
public:
    explicit ReadTimes(Judge &judge)
        : judge_(judge),
          values_([&judge] { return kelpo::ReadValue::Time(kelpo::ReadValue::Time::duration(judge.exchanges())); }) {}

    /// Before the link starts. All three must outlive it.
    void use(const kelpo::Driver &driver, const std::vector<kelpo::Variable> &variables) {
        values_.use(driver, variables, driver.all_blocks());
    }

    void exchanged(const kelpo::Exchange &exchange) override {
        values_.exchanged(exchange);
        for (const auto &[variable, value] : values_.take())
            if (!value.bytes.empty())
                judge_.dated(static_cast<int>(variable),
                             static_cast<std::uint64_t>(value.read_at.time_since_epoch().count()));
    }
    void blocks_replaced(const std::vector<kelpo::PolledBlock> &gone,
                         const std::vector<kelpo::PolledBlock> &come) override {
        values_.blocks_replaced(gone, come);
    }

private:
    Judge &judge_;
    kelpo::ReadValues values_;
};

/// One run: a host with several threads, a line, controllers with every kind of fault, and the judge.
class Campaign {
public:
    explicit Campaign(const Options &options);
    ~Campaign();
    Campaign(const Campaign &) = delete;
    Campaign &operator=(const Campaign &) = delete;

    /// Runs to the end, or until the link stops. True when the judge has no complaints.
    bool run(std::ostream &out);

private:
    struct LinkStopped {};

    void run_controller(unsigned number);
    void ask_at_random();
    void write(int variable);
    void read_once(int variable);
    void rebuild();
    void fill_queue();
    void come_to_rest(bool is_all_over);
    void wait_until_all_is_read(std::uint64_t quiet_since);
    bool faults_are_over(const FaultChoice &choice) const;
    void pace();
    void show();
    void measure_memory();
    void print(std::ostream &out) const;

    Options options_;
    const bool echoes_;      // the line returns what is sent, and the host removes that
    const bool list_stays_;  // the host makes the list, and takes blocks apart; else it is rebuilt all the time
    std::vector<Variable> variables_;
    std::vector<kelpo::Variable> shown_;
    std::vector<Cell> cells_;
    std::vector<int> written_;
    std::vector<int> readable_once_;
    QList<HOST_VAR> all_polled_;
    QList<HOST_VAR> half_polled_;
    std::mt19937 random_;

    Judge judge_;
    ReadTimes read_times_;
    Pace pace_;
    Resting resting_;
    Controller controller_;
    kelpo::StopSignal stop_;
    kelpo::Driver driver_;
    kelpo::Session session_;

    std::uint64_t requests_ = 0;   // seen by this thread, with the host's own
    std::uint64_t exchanges_ = 0;  // without these
    long resident_early_ = 0;
    long resident_late_ = 0;
    Waits set_waits_, once_waits_, rebuild_waits_;

    std::atomic<bool> screens_end_{false};
    Waits get_waits_;  // of the screens' thread
    std::thread screens_;
};

}  // namespace soak
