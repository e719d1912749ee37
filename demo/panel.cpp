#include "demo/panel.h"

#include "demo/exerciser.h"
#include "host/driver/raw_calls.h"

#include <utility>

namespace kelpo {
namespace {

using Clock = std::chrono::steady_clock;

template <typename Condition> std::size_t count_rows(const std::vector<Shown> &shown, Condition condition) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < shown.size(); ++i)
        if (condition(demo_list()[i], shown[i]))
            ++count;
    return count;
}

}  // namespace

Panel::Panel(const DriverEntryPoints &driver, const ControllerMemory &memory, ReadValues &reads,
             const std::atomic<int> &at_rest)
    : driver_(driver), memory_(memory), reads_(reads), at_rest_(at_rest), judge_(memory), shown_(demo_list().size()) {}

void Panel::refresh() {
    for (const auto &[index, read] : reads_.take())
        if (!read.bytes.empty())
            shown_[index].read_at = read.read_at;
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

    const std::string text = text_of(row.variable.view, values);
    if (text != shown.text) {
        if (!shown.text.empty())
            ++shown.changes;
        shown.changed_at = Clock::now();
        shown.text = text;
    }
    if (rests) {
        shown.state = PollRow::State::off;
        return;
    }
    // What was polled at the end of one moment is shown in the next.
    const Moment previous = before == 0 ? 0 : before - 1;
    const Verdict verdict = judge_.judge(row, values, {previous, after});
    shown.proven = shown.proven || verdict == Verdict::right;
    shown.state = verdict == Verdict::wrong ? PollRow::State::failing : PollRow::State::asked;
}

std::vector<PollRow> Panel::rows() const {
    const auto now = Clock::now();
    std::vector<PollRow> rows;
    for (std::size_t i = 0; i < shown_.size(); ++i) {
        const Shown &shown = shown_[i];
        PollRow row = row_of(demo_list()[i].variable);
        row.value = shown.text;
        if (shown.read_at)
            row.age = now - *shown.read_at;
        if (!shown.text.empty())
            row.steady = now - shown.changed_at;
        row.changes = shown.changes;
        row.state = shown.state;
        rows.push_back(std::move(row));
    }
    return rows;
}

std::size_t Panel::moving() const {
    return count_rows(shown_, [](const DemoRow &row, const Shown &) { return row.moves; });
}

std::size_t Panel::unmoved() const {
    return count_rows(shown_, [](const DemoRow &row, const Shown &shown) { return row.moves && shown.changes == 0; });
}

std::size_t Panel::unproven() const {
    return count_rows(shown_, [](const DemoRow &, const Shown &shown) { return !shown.proven; });
}

}  // namespace kelpo
