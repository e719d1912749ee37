#include "demo/screen.h"

#include "host/text/words.h"

#include <algorithm>
#include <utility>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t most_events = 50;
constexpr auto page_time = std::chrono::seconds(3);
constexpr auto line_time = std::chrono::seconds(1);

}  // namespace

PollScreen demo_screen(const std::string &title, const Screen::Content &content,
                       const std::deque<ExerciseEvent> &events, std::chrono::nanoseconds time, PollScreenSize size) {
    PollModel model;
    model.title = title;
    model.rows = PollRows(content.rows);
    model.stations = content.stations;
    model.link = content.link;
    model.message = content.status;
    model.keys = "q quit";
    model.trace_title = "exercises, newest last";
    model.most_trace_lines = 4;
    model.trace.emplace();
    for (const ExerciseEvent &event : events)
        model.trace->push_back({event.text, event.wrong});
    model.selected = model.rows.size();
    const std::size_t shown = poll_screen(model, size).rows_shown;
    const std::size_t pages = std::max<std::size_t>(1, (model.rows.size() + shown - 1) / shown);
    model.top = static_cast<std::size_t>(time / page_time) % pages * shown;
    return poll_screen(model, size);
}

Screen::Screen(std::string title, std::ostream &out)
    : title_(std::move(title)), out_(out), terminal_(Terminal::take_over()), started_(Clock::now()),
      next_line_(started_) {
    if (!terminal_)
        out_ << printable(title_) << std::endl;
}

void Screen::show_event(const ExerciseEvent &event) {
    if (!terminal_)
        out_ << printable(event.text) << std::endl;
    events_.push_back(event);
    if (events_.size() > most_events)
        events_.pop_front();
}

void Screen::show(Content content) {
    if (terminal_) {
        terminal_->show(demo_screen(title_, content, events_, Clock::now() - started_, terminal_->size()));
    } else if (Clock::now() >= next_line_) {
        out_ << content.status << std::endl;
        next_line_ = Clock::now() + line_time;
    }
}

bool Screen::wait_until(Time time, const StopSignal &stop) {
    if (!terminal_)
        return !stop.wait_for(time - Clock::now());
    while (const auto pressed = terminal_->key(time, stop))
        if (pressed->key == KeyPress::Key::hung_up || (pressed->key == KeyPress::Key::text && pressed->byte == 'q'))
            return false;
    return !stop.raised();
}

}  // namespace kelpo
