#include "host/poll/live_screen.h"

#include "host/engine/value_input.h"
#include "host/poll/trace_pane.h"
#include "host/text/words.h"

#include <algorithm>
#include <map>
#include <utility>

namespace kelpo {
namespace {

using std::chrono::steady_clock;
using Key = KeyPress::Key;

constexpr auto refresh_time = std::chrono::milliseconds(200);
constexpr auto message_time = std::chrono::seconds(20);

PollRow::State state_of(const PollEngine &engine, int station, const VariableState &state) {
    if (engine.is_off(station))
        return PollRow::State::off;
    if (!engine.link().line_open)
        return PollRow::State::lost;
    const auto known = engine.link().stations.find(station);
    if (known != engine.link().stations.end() && known->second.down_since)
        return PollRow::State::down;
    if (state.failure)
        return PollRow::State::failing;
    return state.quality == Quality::stale ? PollRow::State::stale : PollRow::State::asked;
}

PollRow row_of(const PollEngine &engine, std::size_t index, steady_clock::time_point now) {
    const Variable &variable = engine.watch().variables()[index];
    const VariableState &state = engine.watch().states()[index];
    PollRow row = row_of(variable);
    row.value = shown_text(variable, state);
    if (state.known()) {
        row.age = now - state.read_at;
        row.steady = now - state.changed_at;
    }
    row.changes = state.changes;
    row.state = state_of(engine, variable.station, state);
    row.write_waits = engine.write_waits(index);
    return row;
}

PollStation station_of(const PollEngine &engine, const std::map<int, FailingBlocks> &failing, const Station &station,
                       steady_clock::time_point now) {
    using State = PollStation::State;
    PollStation shown{station.number, State::unknown, {}, {}};
    const auto known = engine.link().stations.find(station.number);
    const auto fails = failing.find(station.number);
    if (engine.is_off(station.number)) {
        shown.state = State::off;
    } else if (known != engine.link().stations.end() && known->second.down_since) {
        shown.state = State::down;
        shown.down_for = now - *known->second.down_since;
        shown.failure = known->second.failure->text;
        if (known->second.next_try)
            shown.failure += "; " + rest_words(*known->second.next_try - now);
    } else if (fails != failing.end()) {
        shown.state = State::partly;
        shown.failure = fails->second.words();
    } else if (known != engine.link().stations.end() && known->second.answered > 0) {
        shown.state = State::answers;
    }
    return shown;
}

bool matches(const PollRow &row, const std::string &small_text) {
    const std::string place = std::to_string(row.station) + ":" + row.place;
    return lowered(row.name).find(small_text) != std::string::npos || place.find(small_text) != std::string::npos;
}

// What the lines at the top and the rows do not show permanently.
bool is_news(const PollEvent &event) {
    return event.kind != PollEvent::Kind::given_up && event.kind != PollEvent::Kind::line_lost;
}

void remove_last_character(std::string &text) {
    const auto continues = [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
    };
    while (!text.empty() && continues(text.back()))
        text.pop_back();
    if (!text.empty())
        text.pop_back();
}

}  // namespace

LiveScreen::LiveScreen(PollEngine &engine, Terminal &terminal, std::string title)
    : engine_(engine), terminal_(terminal), title_(std::move(title)), message_at_(steady_clock::now()) {}

void LiveScreen::run(const StopSignal &stop, std::optional<Time> end) {
    Time next = steady_clock::now();
    while (!stop.raised() && (!end || steady_clock::now() < *end)) {
        if (steady_clock::now() >= next) {
            refresh();
            next = steady_clock::now() + refresh_time;
        }
        show();
        const auto pressed = terminal_.key(end ? std::min(next, *end) : next, stop);
        if (pressed && !press(*pressed))
            return;
    }
}

void LiveScreen::refresh() {
    std::string happened;
    for (const PollEvent &event : engine_.refresh().events)
        if (is_news(event))
            happened += (happened.empty() ? "" : "; ") + words_of(event, engine_.watch().variables());
    if (!happened.empty())
        show_message(happened);
    if (paused_)
        return;
    if (matching_.empty() && search_.empty())
        search_for(search_);
    if (trace_)
        trace_lines_ = trace_lines(engine_.trace());
}

PollModel LiveScreen::current_model() {
    const Time now = steady_clock::now();
    PollModel model;
    model.title = title_;
    model.rows = {matching_.size(), widths_, [this, now](std::size_t row) {
                      return paused_ ? frozen_[matching_[row]] : row_of(engine_, matching_[row], now);
                  }};
    model.search = search_;
    model.selected = selected_;
    model.top = shown_.top;
    model.link = engine_.link();
    model.until_next_try = engine_.link().next_try - now;
    const std::map<int, FailingBlocks> failing = engine_.failing_blocks();
    for (const Station &station : engine_.list().stations)
        model.stations.push_back(station_of(engine_, failing, station, now));
    model.paused = paused_;
    model.help = help_;
    if (trace_)
        model.trace = trace_lines_;
    if (!message_.empty() && now - message_at_ < message_time)
        model.message = message_;
    else if (const std::size_t *variable = selected_variable())
        if (const auto &failure = engine_.watch().states()[*variable].failure)
            model.message = engine_.watch().variables()[*variable].name + ": " + failure->text;
    if (asked_ == Asked::search)
        model.prompt = {"find: ", typed_};
    else if (asked_ == Asked::value)
        if (const std::size_t *variable = selected_variable()) {
            const Variable &chosen = engine_.watch().variables()[*variable];
            model.prompt = {"write " + chosen.name + " (" + values_wanted(chosen) + "): ", typed_};
        }
    return model;
}

void LiveScreen::show() {
    shown_ = poll_screen(current_model(), terminal_.size());
    terminal_.show(shown_);
}

// False when the user quits.
bool LiveScreen::press(const KeyPress &press) {
    if (press.key == Key::hung_up)
        return false;
    if (press.key == Key::resized)
        return true;
    if (help_)
        help_ = false;
    else if (asked_ != Asked::nothing)
        type(press);
    else if (press.key == Key::text)
        return command(press.byte);
    else if (press.key == Key::escape)
        search_for("");
    else
        move(press);
    return true;
}

bool LiveScreen::command(char key) {
    switch (key) {
    case 'q':
        return false;
    case ' ':
    case 'p':
        pause();
        break;
    case 'w':
        ask_for_value();
        break;
    case 's':
        switch_station();
        break;
    case 't':
        trace_ = !trace_;
        trace_lines_ = trace_lines(engine_.trace());
        break;
    case '/':
        asked_ = Asked::search;
        typed_ = search_;
        break;
    case '?':
        help_ = true;
        break;
    default:
        break;
    }
    return true;
}

// Or goes on.
void LiveScreen::pause() {
    paused_ = !paused_;
    frozen_ = {};
    const Time now = steady_clock::now();
    for (std::size_t i = 0; paused_ && i < engine_.watch().variables().size(); ++i)
        frozen_.push_back(row_of(engine_, i, now));
}

void LiveScreen::move(const KeyPress &press) {
    if (matching_.empty())
        return;
    message_.clear();  // the message about the variable selected now is more important
    const std::size_t last = matching_.size() - 1;
    const auto back = [this](std::size_t rows) {
        selected_ -= std::min(selected_, rows);
    };
    const auto on = [this, last](std::size_t rows) {
        selected_ = std::min(last, selected_ + rows);
    };
    switch (press.key) {
    case Key::up:
        back(1);
        break;
    case Key::down:
        on(1);
        break;
    case Key::left:
        back(shown_.rows_in_column);
        break;
    case Key::right:
        on(shown_.rows_in_column);
        break;
    case Key::page_up:
        shown_.top -= std::min(shown_.top, shown_.rows_shown);
        back(shown_.rows_shown);
        break;
    case Key::page_down:
        shown_.top += shown_.rows_shown;
        on(shown_.rows_shown);
        break;
    case Key::home:
        selected_ = 0;
        break;
    case Key::end:
        selected_ = last;
        break;
    default:
        break;
    }
}

void LiveScreen::type(const KeyPress &press) {
    switch (press.key) {
    case Key::text:
        typed_ += press.byte;
        break;
    case Key::backspace:
        remove_last_character(typed_);
        break;
    case Key::clear:
        typed_.clear();
        break;
    case Key::escape:
        if (asked_ == Asked::search)
            search_for("");
        asked_ = Asked::nothing;
        return;
    case Key::enter:
        take_typed();
        return;
    default:
        return;
    }
    if (asked_ == Asked::search)
        search_for(typed_);
}

void LiveScreen::take_typed() {
    const Asked asked = std::exchange(asked_, Asked::nothing);
    const std::size_t *variable = selected_variable();
    if (asked == Asked::value && variable != nullptr)
        show_message(engine_.write(*variable, typed_).text);
}

void LiveScreen::ask_for_value() {
    const std::size_t *variable = selected_variable();
    if (variable == nullptr)
        return;
    asked_ = Asked::value;
    // With several values, usually one is to be changed.
    const Variable &chosen = engine_.watch().variables()[*variable];
    const bool several = chosen.count > units_per_value(chosen.view);
    typed_ = several ? shown_text(chosen, engine_.watch().states()[*variable]) : "";
}

void LiveScreen::switch_station() {
    if (const std::size_t *variable = selected_variable())
        show_message(engine_.switch_station(engine_.watch().variables()[*variable].station));
}

void LiveScreen::show_message(const std::string &message) {
    message_ = message;
    message_at_ = steady_clock::now();
}

void LiveScreen::search_for(const std::string &text) {
    const std::size_t *before = selected_variable();
    const std::size_t kept = before == nullptr ? 0 : *before;
    search_ = text;
    matching_.clear();
    const std::string small_text = lowered(text);
    widths_ = {};
    const std::vector<Variable> &variables = engine_.watch().variables();
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const PollRow row = row_of(variables[i]);
        if (!matches(row, small_text))
            continue;
        matching_.push_back(i);
        widths_.widen_for(row);
    }
    const auto place = std::find(matching_.begin(), matching_.end(), kept);
    selected_ = place == matching_.end() ? 0 : static_cast<std::size_t>(place - matching_.begin());
}

// Null when nothing matches the search.
const std::size_t *LiveScreen::selected_variable() const {
    return selected_ < matching_.size() ? &matching_[selected_] : nullptr;
}

}  // namespace kelpo
