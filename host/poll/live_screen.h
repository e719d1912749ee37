#pragma once

#include "host/engine/poll_engine.h"
#include "host/poll/poll_view.h"
#include "host/poll/terminal.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// The live screen: shows what an engine polls, and does what keys ask for.
class LiveScreen {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// All must outlive the screen. `title` is shown at the top.
    LiveScreen(PollEngine &engine, Terminal &terminal, std::string title);

    /// Runs until the user quits, `stop` is raised, or `end` has come. Throws TraceOutputError.
    void run(const StopSignal &stop, std::optional<Time> end);

private:
    enum class Asked { nothing, value, search };

    void refresh();
    void pause();
    PollModel current_model();
    void show();
    bool press(const KeyPress &press);
    bool command(char key);
    void move(const KeyPress &press);
    void type(const KeyPress &press);
    void take_typed();
    void ask_for_value();
    void switch_station();
    void show_message(const std::string &message);
    void search_for(const std::string &text);
    const std::size_t *selected_variable() const;

    PollEngine &engine_;
    Terminal &terminal_;
    const std::string title_;
    std::vector<PollRow> frozen_;        // while it is paused: all variables as they were
    std::vector<std::size_t> matching_;  // variables that the search leaves
    RowWidths widths_{};                 // of these
    std::string search_;
    std::size_t selected_ = 0;  // among these
    PollScreen shown_;
    bool paused_ = false, help_ = false, trace_ = false;
    std::vector<PollModel::TraceLine> trace_lines_;
    std::string message_;
    Time message_at_;
    Asked asked_ = Asked::nothing;
    std::string typed_;
};

}  // namespace kelpo
