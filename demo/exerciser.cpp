#include "demo/exerciser.h"

#include "demo/judge.h"
#include "demo/write_judge.h"
#include "host/driver/raw_calls.h"

#include <algorithm>

namespace kelpo {
namespace {

constexpr auto poll_time = std::chrono::milliseconds(2);
constexpr auto time_between = std::chrono::milliseconds(60);
constexpr auto time_between_subjects = std::chrono::milliseconds(400);
constexpr auto time_between_rounds = std::chrono::seconds(2);

// The host's names for its requests. The group also shifts the driver's error codes.
constexpr int write_group = 1, once_read_group = 2, unanswered_group = 3;
constexpr int read_only_id = 1000, dropped_reply_id = 1000, unanswered_id = 1000;

using ozna_kelpo::code_not_now, ozna_kelpo::code_sent_again, ozna_kelpo::request_done, ozna_kelpo::request_failed;
constexpr int given_up_without_reply = 41;

bool is_give_up(const LinkNote &note) {
    return note.kind == LinkNote::Kind::failed_reply && note.value != code_sent_again && note.value != code_not_now;
}

bool all_are(const std::vector<int> &numbers, int number) {
    return std::all_of(numbers.begin(), numbers.end(), [number](int each) { return each == number; });
}

std::string text_of(const std::vector<int> &numbers) {
    std::string text;
    for (const int number : numbers)
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    return text.empty() ? "none" : text;
}

// Bits in a row; if there are many numbers, the first and the last.
std::string short_text(const Variable &variable, const Values &values) {
    if (variable.view == View::bits || values.size() <= 4)
        return text_of(variable.view, values);
    return std::to_string(values.front()) + " ... " + std::to_string(values.back());
}

std::vector<Values> shown_of_station(const DriverEntryPoints &driver, int station) {
    std::vector<Values> shown;
    for (const DemoRow &row : demo_list())
        if (row.variable.station == station)
            shown.push_back(shown_by(driver, row.variable));
    return shown;
}

}  // namespace

ExerciseScores::Score ExerciseScores::total() const {
    Score total;
    for (const Score &score : by_subject) {
        total.done += score.done;
        total.right += score.right;
    }
    return total;
}

Exerciser::Exerciser(const DriverLibrary &driver, const ControllerMemory &memory, const LinkStatistics &link,
                     LinkNotes &notes, Mailbox<ExerciseEvent> &events, StopSignal &stop)
    : driver_(driver), memory_(memory), link_(link), notes_(notes), events_(events), stop_(stop) {}

void Exerciser::run(bool without_end) {
    try {
        wait_until([this] { return link_.passes > 0; });
        for (int round = 0; round == 0 || without_end; ++round) {
            run_round(round);
            {
                const std::lock_guard<std::mutex> locked(mutex_);
                ++scores_.rounds;
            }
            pause(time_between_rounds);
        }
    } catch (const Stopped &) {
        return;
    }
}

void Exerciser::finish() {
    sort_notes();
}

ExerciseScores Exerciser::scores() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return scores_;
}

void Exerciser::run_round(int round) {
    for (std::size_t i = 0; i < write_exercises().size(); ++i)
        write(write_exercises()[i], static_cast<int>(i), round);
    write_read_only(round);
    pause(time_between_subjects);
    for (std::size_t i = 0; i < once_read_exercises().size(); ++i)
        read_once(once_read_exercises()[i], static_cast<int>(i));
    pause(time_between_subjects);
    switch_station_off_and_on();
    pause(time_between_subjects);
    lose_replies(round);
}

void Exerciser::lose_replies(int round) {
    // Nothing is polled while the driver waits for a reply that does not come.
    at_rest_ = all_stations;
    // In this order: the driver adds up the failed replies of all requests until it gives one up. The dropped reply
    // leaves one failure counted, and the request that is never answered clears the count.
    drop_reply();
    pause(time_between_subjects);
    leave_unanswered(round);
    wait_for_all_values();
    at_rest_ = no_station;
}

void Exerciser::write(const WriteExercise &exercise, int id, int round) {
    const Values values = exercise.values_in_round(round);
    const std::string fault = fault_of_plain_write(exercise, values, id);
    const Variable &target = exercise.target.variable;
    record(Subject::write, "write " + name_of(target) + " = " + short_text(target, values), fault);
    pause(time_between);
}

std::string Exerciser::fault_of_plain_write(const WriteExercise &exercise, const Values &values, int id) {
    const std::uint64_t first_in_log = memory_.writes_logged();
    const Outcome outcome = send_write(exercise, values, {write_group, id});
    const auto log = memory_.writes_from(first_in_log);
    if (outcome.results.empty() || !all_are(outcome.results, request_done))
        return "the driver reported the results " + text_of(outcome.results);
    if (!log)
        return "the controller's log is not complete";
    std::string fault = fault_of_write(exercise.target, values, *log, memory_);
    if (!fault.empty())
        return fault;
    // A place that the controller moves may have been polled since.
    if (!exercise.target.moves && shown_by(driver_.entry(), exercise.target.variable) != values)
        return "the driver does not show the value";
    return std::string();
}

Exerciser::Outcome Exerciser::send_write(const WriteExercise &exercise, const Values &values, Request request) {
    const Variable &target = exercise.target.variable;
    begin(request);
    driver_.entry().SetRegisterData(QString(), target.type, QString::fromLatin1(target.address.c_str()), target.station,
                                    driver_bytes(bytes_of(target.view, values)), target.count, request.group,
                                    request.id);
    wait_until([this] { return driver_.requests_waiting() == 0; });
    return end();
}

void Exerciser::write_read_only(int round) {
    const WriteExercise &exercise = read_only_exercise();
    const std::uint64_t first_in_log = memory_.writes_logged();
    const Outcome outcome = send_write(exercise, exercise.values_in_round(round), {write_group, read_only_id});
    const bool untouched = memory_.writes_logged() == first_in_log && outcome.results.empty();
    record(Subject::read_only, "write " + name_of(exercise.target.variable) + ": type 0 is not writable",
           untouched ? "" : "something was written");
    pause(time_between);
}

void Exerciser::read_once(const DemoRow &row, int id) {
    std::string shown;
    const std::string fault = fault_of_once_read(row, id, false, shown);
    record(Subject::once_read, "once-read " + name_of(row.variable) + ": " + shown, fault);
    pause(time_between);
}

void Exerciser::drop_reply() {
    const DemoRow &row = dropped_reply_exercise();
    std::string shown;
    const std::string fault = fault_of_once_read(row, dropped_reply_id, true, shown);
    record(Subject::dropped_reply,
           "once-read with a dropped reply, sent again, " + name_of(row.variable) + ": " + shown, fault);
}

std::string Exerciser::fault_of_once_read(const DemoRow &row, int id, bool to_be_dropped, std::string &shown) {
    RW_VAR record = once_read_record(row.variable, once_read_group, id);
    begin({once_read_group, id});
    const Moment before = memory_.moment();
    driver_.entry().AddListOnceReadVar(&record, 0);
    wait_until([this] { return driver_.requests_waiting() == 0; });
    const Values values = shown_by(driver_.entry(), row.variable);
    const Moment after = memory_.moment();
    const Outcome outcome = end();

    shown = text_of(row.variable.view, values);
    if (outcome.results != std::vector<int>{request_done})
        return "the driver reported the results " + text_of(outcome.results);
    if (to_be_dropped && outcome.failures.empty())
        return "the controller dropped no reply (was it started with the fault?)";
    // Read in this time and at no other: it is not polled.
    if (Judge(memory_).judge(row, values, {before, after}) != Verdict::right)
        return "the controller did not hold the value";
    return std::string();
}

void Exerciser::leave_unanswered(int round) {
    const WriteExercise &exercise = unanswered_exercise();
    const Values values = exercise.values_in_round(round);
    const Variable &target = exercise.target.variable;
    const std::uint64_t first_in_log = memory_.writes_logged();
    const Outcome outcome = send_write(exercise, values, {unanswered_group, unanswered_id});
    const auto log = memory_.writes_from(first_in_log);

    constexpr int code = given_up_without_reply + unanswered_group;
    const auto &failures = outcome.failures;
    std::string fault;
    if (failures.empty() || failures.back() != code ||
        !all_are({failures.begin(), failures.end() - 1}, code_sent_again))
        fault = "the driver's return codes were " + text_of(failures) + " (was the controller started with the fault?)";
    else if (outcome.results != std::vector<int>{request_failed})
        fault = "the driver reported the results " + text_of(outcome.results);
    else if (outcome.error_groups != std::vector<int>{unanswered_group})
        fault = "the communication-error callback reported the groups " + text_of(outcome.error_groups);
    else
        fault = log ? fault_of_write(exercise.target, values, *log, memory_) : "the controller's log is not complete";
    record(Subject::unanswered,
           "write without an answer, " + name_of(target) + " = " + short_text(target, values) + ": given up, code " +
               std::to_string(code),
           fault);
}

void Exerciser::switch_station_off_and_on() {
    at_rest_ = switched_station;
    const std::string fault = fault_of_switched_station();
    at_rest_ = no_station;
    record(Subject::station_switch, "station " + std::to_string(switched_station) + " off and on again", fault);
}

std::string Exerciser::fault_of_switched_station() {
    constexpr int off = 0, on = 1;
    constexpr Moment moments_off = 2;
    constexpr std::uint64_t most_tries_of_one_frame = 5;
    const auto set_station = [this](int mode) {
        driver_.entry().EnableEthernet(switched_station, mode);
    };
    const auto now_shown = [this] {
        return shown_of_station(driver_.entry(), switched_station);
    };

    set_station(off);
    events_.put({"station " + std::to_string(switched_station) + " is switched off"});
    // A request in flight may still be sent.
    wait_for_exchanges(most_tries_of_one_frame);
    const auto requests = memory_.requests_to(switched_station);
    const auto shown = now_shown();
    const Moment begun = memory_.moment();
    wait_until([&] { return memory_.moment() >= begun + moments_off; });
    wait_for_exchanges(most_tries_of_one_frame);
    const bool asked = memory_.requests_to(switched_station) != requests;
    const bool moved = now_shown() != shown;

    set_station(on);
    events_.put({"station " + std::to_string(switched_station) + " is switched on"});
    wait_for_all_values();
    if (asked)
        return "it was asked while it was off";
    if (moved)
        return "its values moved while it was off";
    if (memory_.requests_to(switched_station) == requests || now_shown() == shown)
        return "its values did not move when it was on again";
    return std::string();
}

void Exerciser::begin(Request request) {
    sort_notes();
    request_ = request;
    outcome_ = Outcome();
}

// The last note is put after the driver has let go of the request, but before the next exchange is over.
Exerciser::Outcome Exerciser::end() {
    wait_for_exchanges(1);
    request_ = {-1, -1};
    return outcome_;
}

void Exerciser::sort_notes() {
    for (const LinkNote &note : notes_.take()) {
        const bool wanted = note.group == request_.group && note.id == request_.id;
        if (note.kind == LinkNote::Kind::comm_error)
            outcome_.error_groups.push_back(note.group);
        else if (wanted && note.kind == LinkNote::Kind::result)
            outcome_.results.push_back(note.value);
        else if (wanted)
            outcome_.failures.push_back(note.value);

        if (is_give_up(note)) {
            const std::lock_guard<std::mutex> locked(mutex_);
            ++(note.group == unanswered_group && note.id == unanswered_id ? scores_.expected_give_ups
                                                                          : scores_.other_give_ups);
        }
    }
}

void Exerciser::wait_until(const std::function<bool()> &condition) {
    while (!condition()) {
        sort_notes();
        pause(poll_time);
    }
    sort_notes();
}

void Exerciser::wait_for_exchanges(std::uint64_t count) {
    const std::uint64_t before = link_.exchanges;
    wait_until([&] { return link_.exchanges >= before + count; });
}

// A pass that has begun may be past some of the values.
void Exerciser::wait_for_all_values() {
    constexpr std::uint64_t passes_to_read_all = 2;
    const std::uint64_t before = link_.passes;
    wait_until([&] { return link_.passes >= before + passes_to_read_all; });
}

void Exerciser::pause(std::chrono::milliseconds time) {
    if (stop_.wait_for(time))
        throw Stopped();
}

void Exerciser::record(Subject subject, const std::string &what, const std::string &fault) {
    {
        const std::lock_guard<std::mutex> locked(mutex_);
        ExerciseScores::Score &score = scores_.by_subject[static_cast<std::size_t>(subject)];
        ++score.done;
        if (fault.empty())
            ++score.right;
        else if (scores_.complaints.size() < most_complaints)
            scores_.complaints.push_back(what + ": " + fault);
    }
    events_.put({what + (fault.empty() ? ": right" : ": WRONG, " + fault), !fault.empty()});
}

}  // namespace kelpo
