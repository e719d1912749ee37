#include "host/link/link_watcher.h"

#include <algorithm>

#include <ozna_kelpo_constants.h>

namespace kelpo {

Outcome outcome_of(int code) {
    switch (ozna_kelpo::classify(code)) {
    case ozna_kelpo::good:
        return Outcome::good;
    case ozna_kelpo::sent_again:
    case ozna_kelpo::not_now:
        return Outcome::sent_again;
    default:
        return Outcome::given_up;
    }
}

void WatcherList::about_to_ask() {
    for (LinkWatcher *watcher : watchers_)
        watcher->about_to_ask();
}

bool WatcherList::may_leave(const Exchange &exchange) {
    return std::all_of(watchers_.begin(), watchers_.end(),
                       [&](LinkWatcher *watcher) { return watcher->may_leave(exchange); });
}

void WatcherList::exchanged(const Exchange &exchange) {
    for (LinkWatcher *watcher : watchers_)
        watcher->exchanged(exchange);
}

void WatcherList::blocks_replaced(const std::vector<PolledBlock> &gone, const std::vector<PolledBlock> &come) {
    for (LinkWatcher *watcher : watchers_)
        watcher->blocks_replaced(gone, come);
}

void WatcherList::pass_ended() {
    for (LinkWatcher *watcher : watchers_)
        watcher->pass_ended();
}

void WatcherList::request_ended(const RequestName &name, RequestOutcome outcome) {
    for (LinkWatcher *watcher : watchers_)
        watcher->request_ended(name, outcome);
}

void WatcherList::communication_failed(int group) {
    for (LinkWatcher *watcher : watchers_)
        watcher->communication_failed(group);
}

void WatcherList::reply_late(int station, std::chrono::milliseconds time) {
    for (LinkWatcher *watcher : watchers_)
        watcher->reply_late(station, time);
}

void WatcherList::line_probed(const Exchange &exchange, ProbePurpose purpose) {
    for (LinkWatcher *watcher : watchers_)
        watcher->line_probed(exchange, purpose);
}

void WatcherList::station_rests(int station, std::chrono::milliseconds pause) {
    for (LinkWatcher *watcher : watchers_)
        watcher->station_rests(station, pause);
}

void WatcherList::rest_ended(int station, bool has_answered) {
    for (LinkWatcher *watcher : watchers_)
        watcher->rest_ended(station, has_answered);
}

void WatcherList::line_echoes(bool is_taken_off) {
    for (LinkWatcher *watcher : watchers_)
        watcher->line_echoes(is_taken_off);
}

void WatcherList::wait_refused(int station) {
    for (LinkWatcher *watcher : watchers_)
        watcher->wait_refused(station);
}

void WatcherList::line_opened() {
    for (LinkWatcher *watcher : watchers_)
        watcher->line_opened();
}

void WatcherList::line_lost(const std::string &why, std::chrono::milliseconds pause) {
    for (LinkWatcher *watcher : watchers_)
        watcher->line_lost(why, pause);
}

}  // namespace kelpo
