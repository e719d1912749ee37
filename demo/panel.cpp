#include "demo/panel.h"

#include "demo/exerciser.h"
#include "host/driver/raw_calls.h"

#include <algorithm>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto fresh_time = std::chrono::seconds(1);

Cell::Mark mark_for(Verdict verdict, const Shown &shown, Clock::time_point now) {
    if (verdict == Verdict::wrong)
        return Cell::Mark::wrong;
    return now - shown.changed_at < fresh_time ? Cell::Mark::fresh : Cell::Mark::plain;
}

template <typename Condition> std::size_t count_rows(const std::vector<Shown> &shown, Condition condition) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < shown.size(); ++i)
        if (condition(demo_list()[i], shown[i]))
            ++count;
    return count;
}

}  // namespace

Panel::Panel(const DriverEntryPoints &driver, const ControllerMemory &memory, const std::atomic<int> &at_rest)
    : driver_(driver), memory_(memory), at_rest_(at_rest), judge_(memory), shown_(demo_list().size()) {}

void Panel::refresh() {
    for (std::size_t i = 0; i < shown_.size(); ++i)
        take(demo_list()[i], shown_[i]);
}

void Panel::take(const DemoRow &row, Shown &shown) {
    // Read first: it is set before the values stop changing, and cleared after they change again.
    const int resting = at_rest_;
    const bool rests = resting == all_stations || resting == row.variable.station;
    const Moment before = memory_.moment();
    const Values values = shown_by(driver_, row.variable);
    const Moment after = memory_.moment();

    const auto now = Clock::now();
    const std::string text = text_of(row.variable.view, values);
    if (text != shown.text) {
        shown.changed = shown.changed || shown.text != "-";
        shown.changed_at = now;
        shown.text = text;
    }
    if (rests) {
        shown.mark = Cell::Mark::at_rest;
        return;
    }
    // What was polled at the end of one moment is shown in the next.
    const Moment previous = before == 0 ? 0 : before - 1;
    const Verdict verdict = judge_.judge(row, values, {previous, after});
    shown.proven = shown.proven || verdict == Verdict::right;
    shown.mark = mark_for(verdict, shown, now);
}

std::vector<Cell> Panel::cells() const {
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        const Variable &variable = demo_list()[i].variable;
        cells.push_back(
            {variable.name, variable.station, variable.type, variable.address, shown_[i].text, shown_[i].mark});
    }
    return cells;
}

std::size_t Panel::moving() const {
    return count_rows(shown_, [](const DemoRow &row, const Shown &) { return row.moves; });
}

std::size_t Panel::unmoved() const {
    return count_rows(shown_, [](const DemoRow &row, const Shown &shown) { return row.moves && !shown.changed; });
}

std::size_t Panel::unproven() const {
    return count_rows(shown_, [](const DemoRow &, const Shown &shown) { return !shown.proven; });
}

}  // namespace kelpo
