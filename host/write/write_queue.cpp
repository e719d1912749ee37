#include "host/write/write_queue.h"

#include "host/text/quantities.h"

#include <algorithm>

namespace kelpo {
namespace {

using Kind = WriteResult::Kind;

const std::string nobody_knows = "; it may have been written anyway";
const std::string not_sent = "; it was not sent";

}  // namespace

int WriteQueue::add(std::vector<WritePart> parts, Time asked, std::chrono::milliseconds within) {
    const int id = next_id_++;
    Write write{};
    write.id = id;
    write.parts = std::move(parts);
    write.asked = asked;
    write.within = within;
    const int station = write.parts.front().station;
    const auto rests = resting_.find(station), is_off = off_.find(station);
    if (line_lost_ && if_away_ == IfAway::fail)
        results_.push_back({id, Kind::failed, ExitCode::no_line, "the line is lost: " + *line_lost_ + not_sent});
    else if (is_off != off_.end() && if_away_ != IfAway::wait)
        results_.push_back({id, Kind::failed, ExitCode::not_right, is_off->second});
    else if (rests != resting_.end() && if_away_ != IfAway::wait)
        results_.push_back({id, Kind::failed, ExitCode::no_reply, rests->second + not_sent});
    else
        waiting_.push_back(std::move(write));
    return id;
}

bool WriteQueue::is_away(int station) const {
    return off_.count(station) > 0 || resting_.count(station) > 0;
}

std::optional<WriteQueue::Request> WriteQueue::next(Time now) {
    expire(now);
    const auto first = std::find_if(waiting_.begin(), waiting_.end(),
                                    [this](const Write &write) { return !is_away(write.parts.front().station); });
    if (!current_ && first != waiting_.end()) {
        current_ = std::move(*first);
        waiting_.erase(first);
    }
    if (!current_ || current_->under_way)
        return std::nullopt;
    current_->under_way = next_number_++;
    current_->ended_well.reset();
    return Request{*current_->under_way, current_->parts[current_->begun++]};
}

std::optional<int> WriteQueue::under_way() const {
    return current_ ? current_->under_way : std::nullopt;
}

void WriteQueue::ended(int number, bool well) {
    if (under_way() == number)
        current_->ended_well = well;
}

void WriteQueue::exchanged(int number, bool comes_again, const std::optional<Failure> &failure) {
    if (under_way() != number)
        return;
    current_->failure = failure;
    if (comes_again)
        return;
    if (failure)
        fail(exit_code_of(failure->kind), failure->text, failure->kind != Failure::Kind::refused);
    else if (current_->ended_well == true)
        part_is_through();
}

void WriteQueue::part_is_through() {
    current_->under_way.reset();
    if (current_->begun < current_->parts.size())
        return;
    results_.push_back({current_->id, Kind::done, ExitCode::all_well, {}});
    current_.reset();
}

void WriteQueue::dropped(const std::string &why) {
    if (under_way())
        fail(ExitCode::not_right, why);
}

void WriteQueue::line_lost(const std::string &why) {
    if (current_)
        fail(ExitCode::no_line, "the line was lost: " + why, current_->under_way.has_value());
    line_lost_ = why;
    if (if_away_ == IfAway::fail)
        fail_waiting([](const Write &) { return true; }, ExitCode::no_line, "the line was lost: " + why + not_sent);
}

void WriteQueue::line_opened() {
    line_lost_.reset();
}

// Fails the write that was begun.
void WriteQueue::fail(ExitCode code, const std::string &why, bool may_be_written) {
    const std::size_t through = current_->begun - (current_->under_way ? 1 : 0);
    std::string text = why + (may_be_written ? nobody_knows : "");
    if (through > 0)
        text += "; " + std::to_string(through) + " of its " + std::to_string(current_->parts.size()) +
                " requests were carried out before";
    results_.push_back({current_->id, Kind::failed, code, std::move(text), may_be_written});
    current_.reset();
}

bool WriteQueue::may_leave(int number, bool writes, Time now) {
    if (under_way() != number)
        return true;
    if (!current_->was_sent && is_late(*current_, now)) {
        note_expired(*current_);
        current_.reset();
        return false;
    }
    current_->was_sent = current_->was_sent || writes;
    return true;
}

bool WriteQueue::is_late(const Write &write, Time now) {
    return now - write.asked >= write.within;
}

void WriteQueue::note_expired(const Write &write) {
    results_.push_back({write.id, Kind::expired, ExitCode::not_right,
                        "not sent within " + exact_duration_text(write.within) + ", and not sent any more"});
}

void WriteQueue::expire(Time now) {
    const auto expired = [this, now](const Write &write) {
        const bool late = is_late(write, now);
        if (late)
            note_expired(write);
        return late;
    };
    waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(), expired), waiting_.end());
}

void WriteQueue::station_off(int station, const std::string &why) {
    off_[station] = why;
    if (if_away_ != IfAway::wait)
        fail_waiting([station](const Write &write) { return write.parts.front().station == station; },
                     ExitCode::not_right, why);
}

void WriteQueue::station_on(int station) {
    off_.erase(station);
}

void WriteQueue::station_rests(int station, const std::string &why) {
    resting_[station] = why;
    if (current_ && !current_->under_way && current_->parts.front().station == station)
        fail(ExitCode::no_reply, why);
    if (if_away_ != IfAway::wait)
        fail_waiting([station](const Write &write) { return write.parts.front().station == station; },
                     ExitCode::no_reply, why + not_sent);
}

void WriteQueue::fail_waiting(const std::function<bool(const Write &)> &is_meant, ExitCode code,
                              const std::string &why) {
    const auto fails = [&](const Write &write) {
        const bool is_failed = is_meant(write);
        if (is_failed)
            results_.push_back({write.id, Kind::failed, code, why});
        return is_failed;
    };
    waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(), fails), waiting_.end());
}

void WriteQueue::rest_ended(int station) {
    resting_.erase(station);
}

void WriteQueue::end(const std::string &why, ExitCode code) {
    if (current_ && current_->under_way && current_->failure && current_->failure->kind == Failure::Kind::not_now)
        fail(exit_code_of(current_->failure->kind), current_->failure->text, true);
    else if (current_)
        fail(code, why, current_->under_way.has_value());
    for (const Write &write : waiting_)
        results_.push_back({write.id, Kind::failed, code, why + not_sent});
    waiting_.clear();
}

bool WriteQueue::has(int id) const {
    return (current_ && current_->id == id) ||
           std::any_of(waiting_.begin(), waiting_.end(), [id](const Write &write) { return write.id == id; });
}

std::size_t WriteQueue::size() const {
    return waiting_.size() + (current_ ? 1 : 0);
}

std::size_t WriteQueue::requests() const {
    std::size_t requests = current_ ? current_->parts.size() : 0;
    for (const Write &write : waiting_)
        requests += write.parts.size();
    return requests;
}

}  // namespace kelpo
