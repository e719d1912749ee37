#include "host/once/once_run.h"

#include "host/once/requests.h"

namespace kelpo {
namespace {

constexpr auto look_time = std::chrono::milliseconds(2);

LinkSettings each_request_for_itself(LinkSettings settings) {
    settings.retries_per_request = true;
    return settings;
}

}  // namespace

OnceRun::OnceRun(const LinkSettings &settings, StopSignal &stop, LinkWatcher &watcher)
    : max_count_(settings.max_count), stop_(stop), remarks_(settings.timeouts.reply),
      session_(each_request_for_itself(settings), stop, {&watch_, &writer_, &remarks_, &watcher}, OnLoss::end) {
    writer_.use(session_.driver());
}

void OnceRun::start() {
    session_.start();
}

void OnceRun::queue_read(const Variable &place, int group, int id) {
    const DriverEntryPoints &driver = session_.driver().entry();
    const Variable to_read = place_to_read(driver, place).value_or(place);
    if (!wait_for_room(requests_of_read(to_read, max_count_)))
        return;
    for (const Variable &part : parts_to_read(driver, to_read, max_count_)) {
        RW_VAR record = once_read_record(part, group, id);
        driver.AddListOnceReadVar(&record, ozna_kelpo::parse_and_cut);
    }
}

int OnceRun::queue_write(const Reference &reference, WriteQueue::Time asked, std::chrono::milliseconds within) {
    return writer_.write(parts_of_write(session_.driver().entry(), reference.place, reference.values, max_count_),
                         asked, within);
}

// The driver drops what does not fit into its queue, and tells nobody. False when the run is stopped.
bool OnceRun::wait_for_room(int requests) const {
    while (!stop_.raised() && session_.driver().requests_waiting() + requests > most_queued)
        stop_.wait_for(look_time);
    return !stop_.raised();
}

void OnceRun::wait_until_served(const std::function<void()> &meanwhile) {
    while (!stop_.raised() && (session_.driver().requests_waiting() > 0 || writer_.size() > 0)) {
        take_write_results();
        meanwhile();
        stop_.wait_for(look_time);
    }
    take_write_results();
}

void OnceRun::finish() {
    session_.finish();
    const Ending end = unserved();
    writer_.end(end.problem, end.code);
    take_write_results();
}

void OnceRun::take_write_results() {
    for (const WriteResult &result : writer_.take_results())
        writes_[result.id] = {result.kind == WriteResult::Kind::done, result.text, result.code};
}

// What is not through when the run ends.
Ending OnceRun::unserved() const {
    if (!line_error().empty())
        return {false, "the line failed before it was through", ExitCode::no_line};
    return {false, "was ended before it was through", ExitCode::not_right};
}

Ending OnceRun::write_ending(int id) const {
    const auto found = writes_.find(id);
    return found == writes_.end() ? unserved() : found->second;
}

bool OnceRun::done(int group, int id) const {
    const Course course = watch_.course(group, id);
    return course.done && !course.failed && !session_.driver().is_waiting(group, id);
}

Ending OnceRun::ending(int group, int id) const {
    if (done(group, id))
        return all_well;
    const Course course = watch_.course(group, id);
    const bool not_now = course.failure && course.failure->kind == Failure::Kind::not_now;
    if (course.failure && (course.failed || not_now))
        return {false, course.failure->text, exit_code_of(course.failure->kind)};
    if (course.failed)
        return {false, "the driver could not make a request of it", ExitCode::not_right};
    return unserved();
}

Values OnceRun::values(const Variable &place) const {
    return shown_by(session_.driver().entry(), place);
}

}  // namespace kelpo
