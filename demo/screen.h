#pragma once

#include "demo/exerciser.h"
#include "host/line/stop_signal.h"
#include "host/poll/poll_view.h"
#include "host/poll/terminal.h"

#include <chrono>
#include <deque>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace kelpo {

/// Shows the demonstration on the screen of `kelpo poll`, with the last events below the table, page after page; or,
/// where there is no terminal to take over, as a line for each event and a status line per second.
class Screen {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// What there is to show at one moment.
    struct Content {
        std::vector<PollRow> rows;
        std::vector<PollStation> stations;
        LinkReading link;
        std::string status;  ///< in one line
    };

    /// `out` takes the lines when there is no terminal, and must outlive the screen.
    Screen(std::string title, std::ostream &out);

    /// A terminal shows it with the next call of show().
    void show_event(const ExerciseEvent &event);

    void show(Content content);

    /// Waits until `time`. False when `stop` was raised, or the user wants to end it.
    bool wait_until(Time time, const StopSignal &stop);

private:
    std::string title_;
    std::ostream &out_;
    std::unique_ptr<Terminal> terminal_;
    std::deque<ExerciseEvent> events_;  // the last ones, on a terminal
    Time started_;
    Time next_line_;
};

/// The page of `content` that is shown after `time`, in a terminal of `size`: one after the other, then the first
/// again.
PollScreen demo_screen(const std::string &title, const Screen::Content &content,
                       const std::deque<ExerciseEvent> &events, std::chrono::nanoseconds time, PollScreenSize size);

}  // namespace kelpo
