#include "host/once/once_run.h"

namespace kelpo {
namespace {

constexpr auto look_time = std::chrono::milliseconds(2);

LinkSettings each_request_for_itself(LinkSettings settings) {
    settings.retries_per_request = true;
    return settings;
}

}  // namespace

OnceRun::OnceRun(Driver &driver, const LinkSettings &settings, StopSignal &stop, LinkWatcher &watcher, IfAway if_away)
    : driver_(driver), rules_(settings.of_driver().rules()), stop_(stop), writer_(driver, if_away), remarks_(settings),
      session_(driver, each_request_for_itself(settings), stop, {&watch_, &writer_, &remarks_, &watcher}, OnLoss::end) {
}

void OnceRun::start() {
    session_.start();
}

std::optional<RequestName> OnceRun::queue_read(const Variable &place) {
    const Variable to_read = place_to_read(driver_, place).value_or(place);
    if (!wait_for_room(requests_of_read(to_read, rules_.of(place.station).max_count)))
        return std::nullopt;
    const RequestName name = driver_.queue_read(to_read);
    stations_[name] = place.station;
    return name;
}

int OnceRun::queue_write(const Reference &reference, WriteQueue::Time asked, std::chrono::milliseconds within) {
    return writer_.write(
        parts_of_write(driver_, reference.place, reference.values, rules_.of(reference.place.station).max_count), asked,
        within);
}

// False when the run is stopped.
bool OnceRun::wait_for_room(int requests) const {
    while (!stop_.raised() && !driver_.has_room_for(requests))
        stop_.wait_for(look_time);
    return !stop_.raised();
}

void OnceRun::wait_until_served(const std::function<void()> &meanwhile) {
    while (!stop_.raised() && (!driver_.all_served() || writer_.size() > 0)) {
        take_write_results();
        meanwhile();
        stop_.wait_for(look_time);
    }
    take_write_results();
}

void OnceRun::finish() {
    session_.finish();
    const Status end = unserved();
    writer_.end(end.problem, end.code);
    take_write_results();
}

void OnceRun::take_write_results() {
    for (const WriteResult &result : writer_.take_results())
        writes_[result.id] = {result.kind == WriteResult::Kind::done, result.text, result.code};
}

// The status of what is not complete when the run ends.
Status OnceRun::unserved() const {
    if (!line_error().empty())
        return {false, "the line failed before it was done", ExitCode::no_line};
    return {false, "was ended before it was done", ExitCode::not_right};
}

Status OnceRun::write_status(int id) const {
    const auto found = writes_.find(id);
    return found == writes_.end() ? unserved() : found->second;
}

Status OnceRun::read_status(const std::optional<RequestName> &name) {
    const auto outcome = name ? driver_.take_outcome(*name) : std::nullopt;
    if (outcome == RequestOutcome::done)
        return all_well;
    const bool failed = outcome == RequestOutcome::failed;
    const auto failure = name ? watch_.failure(*name) : std::nullopt;
    if (failure && (failed || failure->kind == Failure::Kind::not_now))
        return {false, failure->text, exit_code_of(failure->kind)};
    if (failed)
        return {false, "the driver could not make a request for it", ExitCode::not_right};
    if (name && outcome && watch_.has_rested(stations_.at(*name)))
        return {false, "no reply to the requests before, and not asked for", ExitCode::no_reply};
    return unserved();
}

Values OnceRun::values(const Variable &place) const {
    return driver_.held_values(place);
}

}  // namespace kelpo
