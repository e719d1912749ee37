#include "host/write/writer.h"

#include "host/line/modbus.h"
#include "host/link/rtu_shape.h"

namespace kelpo {

int Writer::write(std::vector<WritePart> parts, WriteQueue::Time asked, std::chrono::milliseconds within) {
    const std::lock_guard<std::mutex> locked(mutex_);
    return queue_.add(std::move(parts), asked, within);
}

std::vector<WriteResult> Writer::take_results() {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.expire(clock_());
    return queue_.take_results();
}

bool Writer::has(int id) const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return queue_.has(id);
}

std::size_t Writer::size() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return queue_.size();
}

std::size_t Writer::requests() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    return queue_.requests();
}

void Writer::station_off(int station, const std::string &why) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.station_off(station, why);
}

void Writer::station_on(int station) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.station_on(station);
}

void Writer::end(const std::string &why, ExitCode code) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.end(why, code);
}

void Writer::about_to_ask() {
    // A request is sent as soon as it is queued. If it has ended without an exchange, the driver has dropped it: it
    // does that when the station was switched off in between.
    const bool dropped = handed_over_ && driver_.take_outcome(handed_over_->name);
    if (dropped)
        handed_over_.reset();
    const bool free = driver_.serves_a_write_next();
    std::optional<WriteQueue::Request> request;
    {
        const std::lock_guard<std::mutex> locked(mutex_);
        if (dropped)
            queue_.dropped("the driver did not send it");
        if (free)
            request = queue_.next(clock_());
    }
    if (request)
        handed_over_ = HandedOver{driver_.queue_write(request->part), request->number};
}

bool Writer::may_leave(const Exchange &exchange) {
    if (!handed_over_ || !(exchange.name == handed_over_->name))
        return true;
    const bool writes = modbus::is_write(rtu::function_of(exchange.request));
    const std::lock_guard<std::mutex> locked(mutex_);
    return queue_.may_leave(handed_over_->number, writes, clock_());
}

void Writer::exchanged(const Exchange &exchange) {
    if (!handed_over_ || !(exchange.name == handed_over_->name))
        return;
    const int number = handed_over_->number;
    std::optional<Failure> failure;
    if (exchange.outcome != Outcome::good)
        failure = failure_of(exchange);
    const std::optional<RequestOutcome> outcome = driver_.take_outcome(exchange.name);
    if (outcome)
        handed_over_.reset();
    const std::lock_guard<std::mutex> locked(mutex_);
    if (outcome)
        queue_.ended(number, outcome == RequestOutcome::done);
    queue_.exchanged(number, exchange.outcome == Outcome::sent_again, failure);
}

void Writer::station_rests(int station, std::chrono::milliseconds) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.station_rests(station, "station " + std::to_string(station) + " gives no reply and rests");
}

void Writer::rest_ended(int station, bool) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.rest_ended(station);
}

void Writer::line_opened() {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.line_opened();
}

void Writer::line_lost(const std::string &why, std::chrono::milliseconds) {
    {
        const std::lock_guard<std::mutex> locked(mutex_);
        queue_.line_lost(why);
    }
    if (!handed_over_)
        return;
    // Otherwise it would be sent again when the line is back, even if that is very late.
    driver_.give_up(handed_over_->name);
    driver_.take_outcome(handed_over_->name);
    handed_over_.reset();
}

}  // namespace kelpo
