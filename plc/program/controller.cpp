#include "plc/program/controller.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace plc {
namespace {

// The CRC stays as it was: it has been checked.
Bytes addressed_to(const StationMemory &memory, Bytes request) {
    request[0] = static_cast<std::uint8_t>(memory.station());
    return request;
}

}  // namespace

Controller::Controller(const Settings &settings, const std::optional<std::string> &memory, TimePoint now)
    : settings_(settings), faults_(settings.faults, settings.seed), next_moment_(now + settings.moment),
      last_byte_(now) {
    for (const unsigned station : settings.stations)
        stations_.emplace_back(station);
    for (const Preset &preset : settings.presets)
        for (StationMemory &station : stations_)
            if (station.station() == preset.station)
                station.put(preset);
    if (memory) {
        memory_.emplace(*memory, stations_);
        memory_->publish_fault_counts(faults_.counts());
    }
}

void Controller::receive(const Bytes &bytes, TimePoint now) {
    if (bytes.empty())
        return;
    last_byte_ = now;
    bytes_received_ += bytes.size();
    if (const std::optional<Bytes> request = framer_.take(bytes.data(), bytes.size()))
        serve(*request);
}

void Controller::advance(TimePoint now) {
    if (!framer_.at_rest() && now >= last_byte_ + settings_.silence)
        end_frame();
    if (settings_.moment.count() != 0 && now >= next_moment_) {
        step();
        next_moment_ += settings_.moment;
        if (next_moment_ <= now)
            next_moment_ = now + settings_.moment;
    }
}

std::optional<Sending> Controller::take_due(TimePoint now) {
    if (waiting_.empty() || now < waiting_.front().due)
        return std::nullopt;
    Sending sending = std::move(waiting_.front().sending);
    waiting_.pop_front();
    return sending;
}

void Controller::note_sent(const Sending &sending, TimePoint now) {
    note_piece(sending.request, sending.bytes.size(), now);
    if (memory_ && sending.ends_reply)
        memory_->count_reply();
}

void Controller::note_echo(std::size_t size, TimePoint now) {
    note_piece(no_request, size, now);
}

void Controller::note_piece(std::uint64_t request, std::size_t size, TimePoint now) {
    bytes_sent_ += size;
    if (!memory_)
        return;
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch());
    memory_->log_piece({request, bytes_sent_, static_cast<std::uint64_t>(time.count())});
}

const std::vector<FaultCount> &Controller::fault_counts() const {
    return faults_.counts();
}

std::optional<Controller::TimePoint> Controller::next_deadline() const {
    std::optional<TimePoint> next;
    const auto consider = [&next](TimePoint deadline) {
        next = next ? std::min(*next, deadline) : deadline;
    };
    if (settings_.moment.count() != 0)
        consider(next_moment_);
    if (!framer_.at_rest())
        consider(last_byte_ + settings_.silence);
    if (!waiting_.empty())
        consider(waiting_.front().due);
    return next;
}

void Controller::step() {
    ++moment_;
    for (StationMemory &memory : stations_)
        memory.move_to(moment_);
    if (memory_)
        memory_->publish_next_moment();
}

void Controller::end_frame() {
    if (const std::optional<Bytes> request = framer_.end_by_silence())
        serve(*request);
    else
        drop_frame();
}

void Controller::drop_frame() {
    if (memory_)
        memory_->count_dropped_frame();
}

void Controller::serve(const Bytes &request) {
    if (request[0] == broadcast_station) {
        serve_broadcast(request);
        return;
    }
    const auto found = std::find_if(stations_.begin(), stations_.end(),
                                    [&request](const StationMemory &memory) { return memory.station() == request[0]; });
    if (found == stations_.end())
        return;
    if (waiting_.size() >= max_waiting) {
        drop_frame();
        return;
    }
    const auto station = static_cast<std::size_t>(found - stations_.begin());
    if (memory_)
        memory_->count_request(station);
    schedule(request, reply_to(request, station));
    ++requests_;
    if (memory_)
        memory_->publish_fault_counts(faults_.counts());
}

void Controller::log_request(std::uint32_t fault) {
    if (memory_)
        memory_->log_request(bytes_received_, fault);
}

std::vector<ReplyPart> Controller::reply_to(const Bytes &request, std::size_t station) {
    const std::optional<Happening> happening = faults_.next(request);
    const Bytes reply = !happening || happening->carries_out() ? carry_out(request, station) : Bytes();
    log_request(happening ? static_cast<std::uint32_t>(happening->number) + 1 : 0);
    if (!happening)
        return {{std::chrono::milliseconds(0), reply}};
    return spoiled_reply(request, reply, *happening);
}

void Controller::serve_broadcast(const Bytes &request) {
    if (memory_)
        memory_->count_broadcast();
    for (std::size_t station = 0; station < stations_.size(); ++station) {
        const Bytes addressed = addressed_to(stations_[station], request);
        if (!faults_.misses_broadcast(addressed))
            carry_out(addressed, station);
    }
    log_request(0);
    ++requests_;
    if (memory_)
        memory_->publish_fault_counts(faults_.counts());
}

Bytes Controller::carry_out(const Bytes &request, std::size_t station) {
    StationMemory &memory = stations_[station];
    Answer answer = engine_.answer(request, memory);
    if (memory_ && answer.change)
        memory_->publish_change(station, memory, *answer.change);
    return std::move(answer.reply);
}

// A station begins a reply only when it has sent the one before.
void Controller::schedule(const Bytes &request, std::vector<ReplyPart> parts) {
    TimePoint due = last_byte_ + settings_.turnaround + time_on_wire(request.size());
    for (const Waiting &waiting : waiting_)
        if (waiting.station == request[0])
            due = std::max(due, waiting.due);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        ReplyPart &part = parts[i];
        due += part.wait + time_on_wire(part.bytes.size());
        const auto later =
            std::find_if(waiting_.begin(), waiting_.end(), [due](const Waiting &waiting) { return waiting.due > due; });
        waiting_.insert(later, {due, request[0], {std::move(part.bytes), i + 1 == parts.size(), requests_}});
    }
}

std::chrono::nanoseconds Controller::time_on_wire(std::size_t bytes) const {
    if (settings_.baud == 0)
        return std::chrono::nanoseconds(0);
    const std::uint64_t bits = std::uint64_t(bytes) * settings_.bits_per_byte;
    return std::chrono::nanoseconds(bits * 1000000000u / settings_.baud);
}

}  // namespace plc
