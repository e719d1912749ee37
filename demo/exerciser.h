#pragma once

#include "demo/controller_memory.h"
#include "demo/exercises.h"
#include "demo/link_notes.h"
#include "host/driver/driver_library.h"
#include "host/line/stop_signal.h"
#include "host/link/link_statistics.h"
#include "host/link/mailbox.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace kelpo {

constexpr int no_station = 0;
constexpr int all_stations = -1;

/// The kinds of exercises.
enum class Subject { write, read_only, once_read, station_switch, dropped_reply, unanswered };
constexpr std::size_t subject_count = 6;

/// How the exercises went so far.
struct ExerciseScores {
    struct Score {
        std::uint64_t done = 0;
        std::uint64_t right = 0;
    };
    std::array<Score, subject_count> by_subject;
    int rounds = 0;                       ///< rounds that are complete
    std::uint64_t expected_give_ups = 0;  ///< of requests that the controller never answers
    std::uint64_t other_give_ups = 0;
    std::vector<std::string> complaints;  ///< the first few exercises that were not right, and why

    const Score &of(Subject subject) const {
        return by_subject[static_cast<std::size_t>(subject)];
    }
    Score total() const;
};

/// What an exercise did, in one line.
struct ExerciseEvent {
    std::string text;
    bool wrong = false;
};

/// Puts the driver through everything but polling, while the link loop runs: writes, once-reads, a station switched
/// off, replies that fail. Judges each by the controller's memory.
class Exerciser {
public:
    /// `notes` are the link's; nobody else may take them. Each exercise is reported in `events`. All must outlive the
    /// exerciser.
    Exerciser(const DriverLibrary &driver, const ControllerMemory &memory, const LinkStatistics &link, LinkNotes &notes,
              Mailbox<ExerciseEvent> &events, StopSignal &stop);

    /// Waits for the first pass, then does one round, or rounds without end, until the stop flag is raised. An exercise
    /// that the stop interrupts does not count. For a thread of its own, which calls the driver's host side.
    void run(bool without_end);

    /// Counts the give-ups that came after run(). To be called when the link loop has ended.
    void finish();

    /// From any thread.
    ExerciseScores scores() const;

    /// The station whose values do not change now, on purpose, or `no_station` or `all_stations`. Set before they stop
    /// changing, and back to `no_station` when all have been read again.
    const std::atomic<int> &at_rest() const {
        return at_rest_;
    }

private:
    struct Request {
        int group;
        int id;
    };
    struct Outcome {
        std::vector<int> results;       // statuses of the request's write-result callbacks
        std::vector<int> failures;      // return codes of its replies that were not good
        std::vector<int> error_groups;  // what the communication-error callbacks named
    };
    struct Stopped {};

    void run_round(int round);
    void write(const WriteExercise &exercise, int id, int round);
    void write_read_only(int round);
    void read_once(const DemoRow &row, int id);
    void lose_replies(int round);
    void drop_reply();
    void leave_unanswered(int round);
    void switch_station_off_and_on();

    std::string fault_of_plain_write(const WriteExercise &exercise, const Values &values, int id);
    std::string fault_of_once_read(const DemoRow &row, int id, bool to_be_dropped, std::string &shown);
    std::string fault_of_switched_station();
    Outcome send_write(const WriteExercise &exercise, const Values &values, Request request);

    void begin(Request request);
    Outcome end();
    void sort_notes();
    void wait_until(const std::function<bool()> &condition);
    void wait_for_exchanges(std::uint64_t count);
    void wait_for_all_values();
    void pause(std::chrono::milliseconds time);
    void record(Subject subject, const std::string &what, const std::string &fault);

    const DriverLibrary &driver_;
    const ControllerMemory &memory_;
    const LinkStatistics &link_;
    LinkNotes &notes_;
    Mailbox<ExerciseEvent> &events_;
    StopSignal &stop_;
    std::atomic<int> at_rest_{no_station};

    Request request_{-1, -1};  // the one that is tried now
    Outcome outcome_;          // what came of it so far

    mutable std::mutex mutex_;  // guards the scores
    ExerciseScores scores_;
};

}  // namespace kelpo
