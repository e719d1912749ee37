#include "demo/demo.h"

#include "demo/controller_memory.h"
#include "demo/demo_list.h"
#include "demo/exerciser.h"
#include "demo/link_notes.h"
#include "demo/panel.h"
#include "demo/screen.h"
#include "host/commands/stop_on_signals.h"
#include "host/driver/driver.h"
#include "host/engine/link_gauge.h"
#include "host/engine/read_values.h"
#include "host/line/stop_signal.h"
#include "host/link/mailbox.h"
#include "host/link/session.h"
#include "host/text/words.h"

#include <algorithm>
#include <iomanip>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto refresh_time = std::chrono::milliseconds(200);

std::vector<Variable> demo_variables() {
    std::vector<Variable> variables;
    for (const DemoRow &row : demo_list())
        variables.push_back(row.variable);
    return variables;
}

std::string rate(std::uint64_t count, Clock::duration time) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1)
         << static_cast<double>(count) / std::max(1e-3, std::chrono::duration<double>(time).count());
    return text.str();
}

std::string status_line(const LinkStatistics &link, const Judge &judge, const ExerciseScores &scores,
                        Clock::duration time) {
    std::ostringstream text;
    text << link.exchanges << " exchanges, " << rate(link.exchanges, time) << "/s; failed " << link.failed
         << ", given up " << link.given_up << "; passes " << link.passes << "; right " << judge.right() << ", wrong "
         << judge.wrong() << "; tried " << scores.total().done << ", right " << scores.total().right;
    return text.str();
}

std::set<int> stations_of(const Driver &driver) {
    std::set<int> stations;
    for (const PolledBlock &block : driver.blocks())
        stations.insert(block.station);
    return stations;
}

PollStation station_row(int number, const LinkReading &link, int at_rest, Clock::time_point now) {
    PollStation shown{number, PollStation::State::unknown, {}, {}};
    const auto known = link.stations.find(number);
    if (at_rest == number) {
        shown.state = PollStation::State::off;
    } else if (known != link.stations.end() && known->second.down_since) {
        shown.state = PollStation::State::down;
        shown.down_for = now - *known->second.down_since;
        shown.failure = known->second.failure->text;
    } else if (known != link.stations.end() && known->second.answered > 0) {
        shown.state = PollStation::State::answers;
    }
    return shown;
}

/// What follows the link.
struct Watchers {
    LinkNotes notes;
    LinkGauge gauge;
    ReadValues reads;
};

/// The whole demonstration, once driver, line and memory are there.
class Demo {
public:
    /// `watchers` follow the session, which ends when its line is lost, and raises `stop` then.
    Demo(Driver &driver, const DemoOptions &options, Session &session, Watchers &watchers, StopSignal &stop,
         const ControllerMemory &memory)
        : driver_(driver), options_(options), session_(session), link_(session.statistics()), gauge_(watchers.gauge),
          stop_(stop), exerciser_(driver.library(), memory, link_, watchers.notes, exercised_, stop),
          panel_(driver.library().entry(), memory, watchers.reads, exerciser_.at_rest()) {
        blocks_ = driver.poll(variables_);
        watchers.reads.use(driver, variables_, driver.blocks());
    }

    /// Throws LineError when the line cannot be opened.
    void run(std::ostream &out);

    bool summarise(std::ostream &out) const;

private:
    void run_screen(std::ostream &out);
    Screen::Content content() const;
    bool everything_proven() const;
    std::string title() const;
    std::vector<std::string> faults() const;

    const std::vector<Variable> variables_ = demo_variables();
    Driver &driver_;
    const DemoOptions &options_;
    Session &session_;
    const LinkStatistics &link_;
    LinkGauge &gauge_;
    StopSignal &stop_;
    Mailbox<ExerciseEvent> exercised_;
    Exerciser exerciser_;
    Panel panel_;
    int blocks_ = 0;
    Clock::time_point started_;
    Clock::duration time_{};
};

void Demo::run(std::ostream &out) {
    session_.start();
    started_ = Clock::now();
    const StopOnSignals stop_on_signals(stop_);
    std::thread exercises([this] { exerciser_.run(!options_.duration); });
    run_screen(out);
    stop_.raise();
    exercises.join();
    session_.finish();
    exerciser_.finish();
    time_ = Clock::now() - started_;
}

// Until a stop, the end of the time, or the proof that was asked for.
void Demo::run_screen(std::ostream &out) {
    Screen screen(title(), out);
    Clock::time_point next;
    do {
        // Before the first pass is complete the driver answers 0 for what it has not read.
        if (link_.passes > 0)
            panel_.refresh();
        for (const ExerciseEvent &event : exercised_.take())
            screen.show_event(event);
        gauge_.take_events();
        screen.show(content());
        if (options_.until_proven && everything_proven())
            return;
        next = Clock::now() + refresh_time;
        if (options_.duration)
            next = std::min(next, started_ + *options_.duration);
    } while (screen.wait_until(next, stop_) && (!options_.duration || next < started_ + *options_.duration));
}

Screen::Content Demo::content() const {
    const Clock::time_point now = Clock::now();
    Screen::Content content;
    content.rows = panel_.rows();
    content.link = gauge_.reading();
    content.link.counts = link_.counts();
    for (const int station : stations_of(driver_))
        content.stations.push_back(station_row(station, content.link, exerciser_.at_rest(), now));
    content.status = status_line(link_, panel_.judge(), exerciser_.scores(), now - started_);
    return content;
}

bool Demo::everything_proven() const {
    return panel_.unproven() == 0 && panel_.unmoved() == 0 && exerciser_.scores().rounds > 0;
}

std::string Demo::title() const {
    return "kelpo-demo: " + std::to_string(demo_list().size()) + " variables in " + std::to_string(blocks_) +
           " blocks of " + std::to_string(stations_of(driver_).size()) + " stations on " + options_.link.line.path;
}

std::vector<std::string> Demo::faults() const {
    const ExerciseScores scores = exerciser_.scores();
    std::vector<std::string> faults;
    const auto blame = [&faults](std::uint64_t count, const std::string &what) {
        if (count != 0)
            faults.push_back(std::to_string(count) + " " + what);
    };
    if (const std::string error = session_.line_error(); !error.empty())
        faults.push_back("the line failed (" + printable(error) + ")");
    if (link_.passes == 0)
        faults.push_back("no pass over the list was completed");
    blame(scores.other_give_ups, "requests were given up");
    blame(panel_.judge().wrong(), "values shown were wrong");
    blame(panel_.unproven(), "variables were never shown right");
    blame(panel_.unmoved(), "moving variables never changed");
    blame(scores.total().done - scores.total().right, "exercises were not right");
    if (scores.rounds == 0)
        faults.push_back("the exercises were not finished");
    return faults;
}

void summarise_exercises(const ExerciseScores &scores, std::ostream &out) {
    struct Line {
        const char *name;
        Subject subject;
        const char *right;
    };
    static const Line lines[] = {
        {"writes", Subject::write, "done as the controller's own log and memory have it"},
        {"read-only", Subject::read_only, "refused: type 0 is not writable"},
        {"once-reads", Subject::once_read, "right"},
        {"station", Subject::station_switch, "at rest while switched off, and moving again"},
        {"retries", Subject::dropped_reply, "answered after a reply that was dropped on purpose"},
        {"give-ups", Subject::unanswered, "given up and reported, after no reply on purpose"},
    };
    for (const Line &line : lines) {
        const ExerciseScores::Score &score = scores.of(line.subject);
        out << std::left << std::setw(11) << line.name << score.right << " of " << score.done << " " << line.right
            << "\n";
    }
    for (const std::string &complaint : scores.complaints)
        out << "wrong      " << complaint << "\n";
}

bool Demo::summarise(std::ostream &out) const {
    const Judge &judge = panel_.judge();
    const ExerciseScores scores = exerciser_.scores();
    out << "variables  " << demo_list().size() << " in " << blocks_ << " blocks; " << panel_.moving() - panel_.unmoved()
        << " of " << panel_.moving() << " moving ones changed\n"
        << "exchanges  " << link_.exchanges << " (" << rate(link_.exchanges, time_) << " per second): good "
        << link_.good << ", sent again " << link_.failed << ", given up " << link_.given_up << " ("
        << scores.expected_give_ups << " on purpose)\n"
        << "passes     " << link_.passes << " over the list\n"
        << "bytes      " << link_.bytes_sent << " sent, " << link_.bytes_received << " received, "
        << link_.bytes_discarded << " discarded\n"
        << "values     " << judge.right() + judge.wrong() + judge.unproven() << " judged: right " << judge.right()
        << ", wrong " << judge.wrong() << ", unproven " << judge.unproven() << "\n";
    for (const std::string &complaint : judge.complaints())
        out << "wrong      " << complaint << "\n";
    summarise_exercises(scores, out);

    const std::vector<std::string> found = faults();
    out << "verdict    "
        << (found.empty() ? "every value shown was what the controller held, and every exercise was right" : "FAILED");
    for (std::size_t i = 0; i < found.size(); ++i)
        out << (i == 0 ? ": " : "; ") << found[i];
    out << std::endl;
    return found.empty();
}

}  // namespace

ExitCode run_demo(const DemoOptions &options, std::ostream &out) {
    StopSignal stop;
    Watchers watchers;
    Driver driver(options.link.driver);
    Session session(driver, options.link, stop, {&watchers.reads, &watchers.gauge, &watchers.notes}, OnLoss::end);
    const PublishedMemory memory(options.memory);
    Demo demo(driver, options, session, watchers, stop, memory);
    demo.run(out);
    const bool right = demo.summarise(out);
    if (!session.line_error().empty())
        return ExitCode::no_line;
    return right ? ExitCode::all_well : ExitCode::not_right;
}

}  // namespace kelpo
