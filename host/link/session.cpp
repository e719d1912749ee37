#include "host/link/session.h"

#include "host/link/link_loop.h"

#include <algorithm>
#include <stdexcept>

#include <sys/prctl.h>

namespace kelpo {
namespace {

using std::chrono::milliseconds;

// Sets the slack of this thread's waits. Otherwise the system may let each wait last 50 us longer, to wake several
// threads at once, and the line would be idle for that time before every request.
void wait_no_longer_than_asked() {
    constexpr unsigned long shortest_slack = 1;  // nanosecond; 0 means the usual one
    prctl(PR_SET_TIMERSLACK, shortest_slack, 0UL, 0UL, 0UL);
}

}  // namespace

Session::Session(Driver &driver, const LinkSettings &settings, StopSignal &stop,
                 const std::vector<LinkWatcher *> &watchers, OnLoss on_loss)
    : settings_(settings), stop_(stop), on_loss_(on_loss), ends_(driver), slow_(driver) {
    watchers_.add(ends_);
    watchers_.add(statistics_);
    for (LinkWatcher *watcher : watchers)
        watchers_.add(*watcher);
    const bool any_own_retries = std::any_of(settings.stations.begin(), settings.stations.end(),
                                             [](const auto &station) { return station.second.retries.has_value(); });
    auto &info = driver.configure(settings.of_driver());
    if (any_own_retries) {
        retries_.emplace(driver, settings_);
        watchers_.add(*retries_);
    }
    const std::map<int, milliseconds> replies = settings.own_replies();
    const LoopSettings loop{settings.timeouts, settings.retries_per_request || any_own_retries, settings.takes_off_echo,
                            replies};
    if (settings.rest.enabled) {
        rests_.emplace(driver, settings.rest, settings.timeouts.reply, watchers_, replies);
        paused_.emplace(driver, settings.rest);
        watchers_.add(*paused_);
        slow_.leave_alone_what_is_in(*paused_);
        holes_.emplace(driver, slow_, watchers_);
        watchers_.add(*holes_);
    }
    watchers_.add(slow_);
    if (settings.cycle > milliseconds(0)) {
        pace_.emplace(driver, settings.cycle);
        watchers_.add(*pace_);
    }
    loop_ = std::make_unique<LinkLoop>(
        driver.library().entry(), info, loop, watchers_,
        LoopBooks{rests_ ? &*rests_ : nullptr, paused_ ? &*paused_ : nullptr, pace_ ? &*pace_ : nullptr});
    attach(driver.library().entry(), info, watchers_);
}

bool Session::StationRetries::may_leave(const Exchange &exchange) {
    driver_.set_retries(settings_.retries_of(exchange.station));
    return true;
}

Session::~Session() {
    finish();
}

void Session::start() {
    line_ = std::make_unique<Line>(settings_.line, stop_);
    settings_.line.known_terminal = line_->terminal();
    thread_ = std::thread([this] { run(); });
}

void Session::finish() {
    stop_.raise();
    if (thread_.joinable())
        thread_.join();
}

std::string Session::line_error() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return line_error_;
}

void Session::set_line_error(const std::string &text) {
    const std::lock_guard<std::mutex> locked(mutex_);
    line_error_ = text;
}

void Session::run() {
    wait_no_longer_than_asked();
    watchers_.line_opened();
    // Replies to what others asked on this line before, also when they were killed.
    try {
        line_->settle_after_others(settings_.timeouts.settle);
    } catch (const std::runtime_error &error) {
        lose_line(error.what(), false);
    }
    while (!stop_.raised()) {
        const std::uint64_t good_before = statistics_.good;
        try {
            if (!line_ && !open_again())
                return;
            loop_->run(*line_);
        } catch (const std::runtime_error &error) {  // a LineError, or the system lacks a resource
            if (!stop_.raised())
                lose_line(error.what(), statistics_.good > good_before);
        }
    }
}

void Session::lose_line(const std::string &why, bool carried_something) {
    line_.reset();
    set_line_error(why);
    if (on_loss_ == OnLoss::end) {
        stop_.raise();
        return;
    }
    loop_->line_was_lost();
    // A line that breaks again before it carried anything is no better than one that does not open.
    const bool first_loss = carried_something || next_pause_ == milliseconds(0);
    next_pause_ = first_loss ? settings_.pauses.first : std::min(2 * next_pause_, settings_.pauses.longest);
    watchers_.line_lost(why, next_pause_);
}

// False when a stop came first.
bool Session::open_again() {
    if (stop_.wait_for(next_pause_))
        return false;
    line_ = std::make_unique<Line>(settings_.line, stop_);
    // The controller may still be answering what was asked when the line broke, or what others have asked since.
    line_->settle_after_others(settings_.timeouts.settle);
    set_line_error(std::string());
    watchers_.line_opened();
    return true;
}

}  // namespace kelpo
