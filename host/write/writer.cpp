#include "host/write/writer.h"

#include <ozna_kelpo_constants.h>

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

void Writer::withdraw(int station, const std::string &why) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.withdraw(station, why);
}

void Writer::end(const std::string &why, ExitCode code) {
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.end(why, code);
}

void Writer::about_to_ask() {
    std::optional<int> under_way;
    {
        const std::lock_guard<std::mutex> locked(mutex_);
        under_way = queue_.under_way();
    }
    // A request goes out as soon as it is queued. One that is neither in flight nor queued any more, the driver has
    // thrown away: that is what it does when the station was switched off in between.
    const bool dropped = under_way && !driver_->is_waiting(group, *under_way);
    const bool free = driver_->serves_a_write_next();
    std::optional<WriteQueue::Request> request;
    {
        const std::lock_guard<std::mutex> locked(mutex_);
        if (dropped)
            queue_.dropped("the driver did not send it");
        if (free)
            request = queue_.next(clock_());
    }
    if (request)
        driver_->entry().SetRegisterData(QString(), request->part.type,
                                         QString::fromLatin1(request->part.address.c_str()), request->part.station,
                                         request->part.bytes, request->part.count, group, request->number);
}

void Writer::exchanged(const Exchange &exchange) {
    if (exchange.group != group)
        return;
    std::optional<Failure> failure;
    if (exchange.outcome != Outcome::good)
        failure = failure_of(exchange);
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.exchanged(exchange.id, exchange.outcome == Outcome::sent_again, failure);
}

void Writer::request_ended(int ended_group, int id, int status) {
    if (ended_group != group)
        return;
    const std::lock_guard<std::mutex> locked(mutex_);
    queue_.ended(id, status == ozna_kelpo::request_done);
}

void Writer::line_lost(const std::string &why, std::chrono::milliseconds) {
    {
        const std::lock_guard<std::mutex> locked(mutex_);
        queue_.line_lost(why);
    }
    // Otherwise it would be sent again when the line is back, however late.
    driver_->give_up(group);
}

}  // namespace kelpo
