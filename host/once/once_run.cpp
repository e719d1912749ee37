#include "host/once/once_run.h"

#include "host/once/requests.h"

namespace kelpo {
namespace {

constexpr auto look_time = std::chrono::milliseconds(2);

QString text_of(const std::string &text) {
    return QString::fromLatin1(text.c_str());
}

}  // namespace

OnceRun::OnceRun(const LinkSettings &settings, StopSignal &stop, LinkWatcher &watcher)
    : max_count_(settings.max_count), stop_(stop), watch_(stop),
      session_(settings, stop, {&watch_, &watcher}, OnLoss::end) {}

void OnceRun::start() {
    session_.start();
}

void OnceRun::queue_read(const Variable &place, int group, int id) {
    const Variable to_read = place_to_read(place).value_or(place);
    if (!wait_for_room(requests_of_read(to_read, max_count_)))
        return;
    RW_VAR record = once_read_record(to_read, group, id);
    session_.driver().entry().AddListOnceReadVar(&record, 0);
}

void OnceRun::queue_write(const Reference &reference, int group, int id) {
    const Variable &place = reference.place;
    if (!wait_for_room(requests_of_write(place, max_count_)))
        return;
    session_.driver().entry().SetRegisterData(QString(), place.type, text_of(place.address), place.station,
                                              bytes_of(place.view, reference.values), place.count, group, id);
}

// The driver drops what does not fit into its queue, and tells nobody. False when the run is stopped.
bool OnceRun::wait_for_room(int requests) const {
    while (!stop_.raised() && session_.driver().requests_waiting() + requests > most_queued)
        stop_.wait_for(look_time);
    return !stop_.raised();
}

void OnceRun::wait_until_served(const std::function<void()> &meanwhile) const {
    while (!stop_.raised() && session_.driver().requests_waiting() > 0) {
        meanwhile();
        stop_.wait_for(look_time);
    }
}

void OnceRun::finish() {
    session_.finish();
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
    if (!line_error().empty())
        return {false, "the line failed before it was through", ExitCode::no_line};
    return {false, "was ended before it was through", ExitCode::not_right};
}

Values OnceRun::values(const Variable &place) const {
    return shown_by(session_.driver().entry(), place);
}

}  // namespace kelpo
