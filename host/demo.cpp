#include "host/demo.h"

#include "host/controller_memory.h"
#include "host/demo_list.h"
#include "host/driver_library.h"
#include "host/judge.h"
#include "host/link_loop.h"
#include "host/screen.h"
#include "host/variables.h"

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <iomanip>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <thread>

#include <unistd.h>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto refresh_time = std::chrono::milliseconds(200);
constexpr auto fresh_time = std::chrono::seconds(1);

ComInfo demo_configuration() {
    constexpr int longest_request = 100, tries_again = 3, to_controller = 2;
    ComInfo info{};
    info.max_count = longest_request;
    info.default_station = 1;
    info.retry_times = tries_again;
    info.multi_station = 1;
    info.write_mode = to_controller;
    return info;
}

std::vector<Variable> demo_variables() {
    std::vector<Variable> variables;
    for (const DemoRow &row : demo_list())
        variables.push_back(row.variable);
    return variables;
}

// What the screen thread knows about one variable.
struct Shown {
    std::string text = "-";
    bool changed = false;  // ever
    bool proven = false;   // was right at least once
    Clock::time_point changed_at;
    Cell::Mark mark = Cell::Mark::plain;
};

/// The screen's side: takes the values out of the driver, has them judged, shows them. For one thread.
class Panel {
public:
    Panel(const DriverEntryPoints &driver, const LinkStatistics &link, const ControllerMemory &memory)
        : driver_(driver), link_(link), memory_(memory), judge_(memory), shown_(demo_list().size()) {}

    void refresh() {
        const auto now = Clock::now();
        moments_.note(now, memory_.moment());
        // Before the first pass is complete the driver answers 0 for what it has not read.
        if (link_.passes == 0)
            return;
        for (std::size_t i = 0; i < shown_.size(); ++i)
            take(demo_list()[i], shown_[i], now);
    }

    std::vector<Cell> cells() const {
        std::vector<Cell> cells;
        for (std::size_t i = 0; i < shown_.size(); ++i) {
            const Variable &variable = demo_list()[i].variable;
            cells.push_back(
                {variable.name, variable.station, variable.type, variable.address, shown_[i].text, shown_[i].mark});
        }
        return cells;
    }

    const Judge &judge() const {
        return judge_;
    }
    const std::vector<Shown> &shown() const {
        return shown_;
    }

private:
    void take(const DemoRow &row, Shown &shown, Clock::time_point now) {
        const Variable &variable = row.variable;
        const Clock::time_point oldest = link_.last_pass_began;
        const Moment before = memory_.moment();
        QByteArray bytes;
        driver_.GetRegisterData(QString(), variable.type, QString::fromLatin1(variable.address.c_str()),
                                variable.station, bytes, variable.count);
        const Moment after = memory_.moment();

        const Values values = values_in(variable.view, bytes);
        const std::string text = text_of(variable.view, values);
        if (text != shown.text) {
            shown.changed = shown.changed || shown.text != "-";
            shown.changed_at = now;
            shown.text = text;
        }

        // What was polled at the end of one moment is shown in the next. It is older only if the line is so slow, or
        // was so busy, that a pass takes longer than a moment.
        const Moment previous = before == 0 ? 0 : before - 1;
        const Verdict verdict = judge_.judge(row, values, {std::min(previous, moments_.at(oldest)), after});
        shown.proven = shown.proven || verdict == Verdict::right;
        shown.mark = verdict == Verdict::wrong             ? Cell::Mark::wrong
                     : now - shown.changed_at < fresh_time ? Cell::Mark::fresh
                                                           : Cell::Mark::plain;
    }

    const DriverEntryPoints &driver_;
    const LinkStatistics &link_;
    const ControllerMemory &memory_;
    Judge judge_;
    MomentLog moments_;
    std::vector<Shown> shown_;
};

// Told once, from any thread; waited for by one.
class StopFlag {
public:
    void raise() {
        const std::lock_guard<std::mutex> locked(mutex_);
        raised_ = true;
        changed_.notify_all();
    }

    bool wait_for(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> locked(mutex_);
        return changed_.wait_for(locked, time, [this] { return raised_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool raised_ = false;
};

std::string rate(std::uint64_t count, Clock::duration time) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1)
         << static_cast<double>(count) / std::max(1e-3, std::chrono::duration<double>(time).count());
    return text.str();
}

std::string status_line(const LinkStatistics &link, const Judge &judge, Clock::duration time) {
    std::ostringstream text;
    text << link.exchanges << " exchanges, " << rate(link.exchanges, time) << "/s; failed " << link.failed
         << ", given up " << link.given_up << "; passes " << link.passes << "; right " << judge.right() << ", wrong "
         << judge.wrong();
    return text.str();
}

/// The whole demonstration, once driver, line and memory are there.
class Demo {
public:
    Demo(const DemoOptions &options, const DriverLibrary &driver, Line &line, const ControllerMemory &memory)
        : options_(options), driver_(driver), line_(line), panel_(driver.entry(), link_, memory) {
        attach(driver.entry(), info_, link_);
        QList<HOST_VAR> variables = polled(demo_variables());
        blocks_ = driver.entry().ReCreatReadVarList(&variables);
    }

    void run() {
        started_ = Clock::now();
        asio::signal_set signals(events_, SIGINT, SIGTERM, SIGHUP);
        signals.async_wait([this](const asio::error_code &, int) { events_.stop(); });
        asio::steady_timer end(events_);
        if (options_.duration) {
            end.expires_after(*options_.duration);
            end.async_wait([this](const asio::error_code &) { events_.stop(); });
        }

        std::thread link([this] {
            try {
                run_link(driver_.entry(), line_, info_, options_.timeouts, link_);
            } catch (const LineError &error) {
                line_error_ = error.what();
                events_.stop();
            }
        });
        std::thread screen([this] { run_screen(); });
        events_.run();

        line_.request_stop();
        screen_stop_.raise();
        screen.join();
        link.join();
        time_ = Clock::now() - started_;
    }

    /// Why the line failed; empty if it did not.
    const std::string &line_error() const {
        return line_error_;
    }

    bool summarise(std::ostream &out) const;

private:
    void run_screen();
    std::string title() const;
    std::vector<std::string> faults() const;
    template <typename Condition> std::size_t count_rows(Condition condition) const;
    std::size_t unproven_rows() const;
    std::size_t unmoved_rows() const;

    const DemoOptions &options_;
    const DriverLibrary &driver_;
    Line &line_;
    ComInfo info_ = demo_configuration();
    LinkStatistics link_;
    Panel panel_;
    int blocks_ = 0;
    asio::io_context events_;  // run by the main thread; its end is the end of the demonstration
    StopFlag screen_stop_;
    std::string line_error_;
    Clock::time_point started_;
    Clock::duration time_{};
};

void Demo::run_screen() {
    Screen screen(STDOUT_FILENO, title());
    do {
        panel_.refresh();
        screen.show(panel_.cells(), status_line(link_, panel_.judge(), Clock::now() - started_));
        if (options_.until_proven && link_.passes > 0 && unproven_rows() == 0 && unmoved_rows() == 0)
            events_.stop();
    } while (!screen_stop_.wait_for(refresh_time));
}

std::string Demo::title() const {
    std::set<int> stations;
    for (const RW_VAR &block : driver_.read_blocks())
        stations.insert(block.station_no);
    return "kelpo demo: " + std::to_string(demo_list().size()) + " variables in " + std::to_string(blocks_) +
           " blocks of " + std::to_string(stations.size()) + " stations on " + options_.line.path;
}

template <typename Condition> std::size_t Demo::count_rows(Condition condition) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < demo_list().size(); ++i)
        if (condition(demo_list()[i], panel_.shown()[i]))
            ++count;
    return count;
}

std::size_t Demo::unproven_rows() const {
    return count_rows([](const DemoRow &, const Shown &shown) { return !shown.proven; });
}

std::size_t Demo::unmoved_rows() const {
    return count_rows([](const DemoRow &row, const Shown &shown) { return row.moves && !shown.changed; });
}

std::vector<std::string> Demo::faults() const {
    std::vector<std::string> faults;
    const auto blame = [&faults](std::uint64_t count, const std::string &what) {
        if (count != 0)
            faults.push_back(std::to_string(count) + " " + what);
    };
    if (!line_error_.empty())
        faults.push_back("the line failed (" + line_error_ + ")");
    if (link_.passes == 0)
        faults.push_back("no pass over the list was completed");
    blame(link_.given_up, "requests were given up");
    blame(panel_.judge().wrong(), "values shown were wrong");
    blame(unproven_rows(), "variables were never shown right");
    blame(unmoved_rows(), "moving variables never changed");
    return faults;
}

bool Demo::summarise(std::ostream &out) const {
    const Judge &judge = panel_.judge();
    const auto moving = count_rows([](const DemoRow &row, const Shown &) { return row.moves; });
    out << "variables  " << demo_list().size() << " in " << blocks_ << " blocks; " << moving - unmoved_rows() << " of "
        << moving << " moving ones changed\n"
        << "exchanges  " << link_.exchanges << " (" << rate(link_.exchanges, time_) << " per second): good "
        << link_.good << ", failed " << link_.failed << ", given up " << link_.given_up << "\n"
        << "passes     " << link_.passes << " over the list\n"
        << "bytes      " << link_.bytes_sent << " sent, " << link_.bytes_received << " received, "
        << link_.bytes_discarded << " discarded\n"
        << "values     " << judge.right() + judge.wrong() + judge.unproven() << " judged: right " << judge.right()
        << ", wrong " << judge.wrong() << ", unproven " << judge.unproven() << "\n";
    for (const std::string &complaint : judge.complaints())
        out << "wrong      " << complaint << "\n";

    const std::vector<std::string> found = faults();
    out << "verdict    " << (found.empty() ? "every value shown was what the controller held" : "FAILED");
    for (std::size_t i = 0; i < found.size(); ++i)
        out << (i == 0 ? ": " : "; ") << found[i];
    out << std::endl;
    return found.empty();
}

}  // namespace

DemoResult run_demo(const DemoOptions &options, std::ostream &out, std::ostream &error) {
    try {
        const DriverLibrary driver(options.driver);
        std::unique_ptr<ControllerMemory> memory;
        try {
            memory = std::make_unique<PublishedMemory>(options.memory);
        } catch (const std::exception &cause) {
            error << "kelpo: " << cause.what() << "\n";
            return DemoResult::no_memory;
        }
        Line line(options.line);
        Demo demo(options, driver, line, *memory);
        demo.run();
        const bool right = demo.summarise(out);
        if (!demo.line_error().empty())
            return DemoResult::line_failed;
        return right ? DemoResult::all_right : DemoResult::not_right;
    } catch (const DriverLibraryError &cause) {
        error << "kelpo: " << cause.what() << "\n";
        return DemoResult::no_driver;
    } catch (const LineError &cause) {
        error << "kelpo: " << cause.what() << "\n";
        return DemoResult::line_failed;
    }
}

}  // namespace kelpo
