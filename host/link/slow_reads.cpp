#include "host/link/slow_reads.h"

#include "host/link/paused_blocks.h"

#include <algorithm>
#include <utility>

namespace kelpo {

SlowReads::SlowReads(Driver &driver, Clock clock) : driver_(driver), clock_(std::move(clock)) {}

void SlowReads::about_to_ask() {
    if (!std::exchange(has_begun_, true))
        for (const SlowBlock &slow : driver_.slow_blocks())
            entries_.push_back({slow});
    if (entries_.empty())
        return;
    const auto now = clock_();
    if (is_asking_) {
        if (!driver_.take_outcome(RequestName::slow_read()))
            return;
        is_asking_ = false;
        next_ = now + (now - asked_at_);
    }
    if (now < next_)
        return;
    Entry *first = nullptr;
    for (Entry &entry : entries_)
        if (entry.due <= now && (first == nullptr || entry.due < first->due) &&
            driver_.is_asked(entry.slow.block.station) &&
            (paused_ == nullptr || paused_->paused_until(entry.slow.block) <= now))
            first = &entry;
    if (first == nullptr)
        return;
    first->due = now + first->slow.every;
    driver_.queue_slow_read(first->slow.block);
    is_asking_ = true;
    asked_at_ = now;
}

void SlowReads::replace(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) {
    std::chrono::milliseconds every{0};
    const auto is_gone = [&](const Entry &entry) {
        const bool found = std::find(gone.begin(), gone.end(), entry.slow.block) != gone.end();
        every = found ? entry.slow.every : every;
        return found;
    };
    entries_.erase(std::remove_if(entries_.begin(), entries_.end(), is_gone), entries_.end());
    for (const PolledBlock &block : come)
        entries_.push_back({{block, every}});
}

}  // namespace kelpo
