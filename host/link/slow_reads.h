#pragma once

#include "host/driver/driver.h"
#include "host/line/channel.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <functional>
#include <vector>

namespace kelpo {

class PausedBlocks;

/// Reads the blocks of a list that are not in its cycle, each as often as the list says, by once-reads of the driver.
/// There is never more than one of them in the driver's queue, and together they get half of the line's time at most. A
/// station that is switched off or rests is asked as soon as it is back.
///
/// For the link's thread alone.
class SlowReads : public LinkWatcher {
public:
    using Clock = std::function<Channel::Time()>;

    /// Takes the driver's slow blocks when the link begins to ask. `driver` must outlive the object.
    explicit SlowReads(Driver &driver, Clock clock = Channel::Clock::now);

    /// What is paused there is not asked for, even if its rate would have it read. It must outlive the object.
    void leave_alone_what_is_in(PausedBlocks &paused) {
        paused_ = &paused;
    }

    /// Some of the blocks are read as others from now on, and these at once.
    void replace(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come);

    void about_to_ask() override;

private:
    struct Entry {
        SlowBlock slow;
        Channel::Time due{};
    };

    Driver &driver_;
    const Clock clock_;
    PausedBlocks *paused_ = nullptr;
    bool has_begun_ = false;
    std::vector<Entry> entries_;
    bool is_asking_ = false;
    Channel::Time asked_at_{};
    Channel::Time next_{};  // none is asked for before
};

}  // namespace kelpo
