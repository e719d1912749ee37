#include "host/link/link_remarks.h"

#include <utility>

namespace kelpo {

std::string echo_words(bool is_taken_off) {
    return is_taken_off ? "the line returns what is sent, and that is taken off"
                        : "the line returns what is sent: it is a loop, or the adapter receives what it sends";
}

std::string late_words(int station, std::chrono::milliseconds time, std::chrono::milliseconds reply_timeout) {
    return "station " + std::to_string(station) + " answers after up to " + std::to_string(time.count()) +
           " ms: reply-ms " + std::to_string(reply_timeout.count()) + " is too short";
}

std::string waiting_words(int station) {
    return "station " + std::to_string(station) + " keeps asking to wait (6A 8B): that is taken for no reply";
}

std::vector<std::string> LinkRemarks::sentences() const {
    const std::lock_guard<std::mutex> locked(mutex_);
    std::vector<std::string> all;
    if (echoes_)
        all.push_back(echo_words(*echoes_));
    for (const auto &[station, time] : latest_)
        all.push_back(late_words(station, time, settings_.reply_of(station)));
    for (const int station : waiting_)
        all.push_back(waiting_words(station));
    return all;
}

std::vector<std::string> LinkRemarks::take_new() {
    const std::lock_guard<std::mutex> locked(mutex_);
    return std::exchange(new_, {});
}

void LinkRemarks::reply_late(int station, std::chrono::milliseconds time) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (latest_.count(station) == 0)
        new_.push_back(late_words(station, time, settings_.reply_of(station)));
    latest_[station] = time;
}

void LinkRemarks::line_echoes(bool is_taken_off) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (!std::exchange(echoes_, is_taken_off))
        new_.push_back(echo_words(is_taken_off));
}

void LinkRemarks::wait_refused(int station) {
    const std::lock_guard<std::mutex> locked(mutex_);
    if (waiting_.insert(station).second)
        new_.push_back(waiting_words(station));
}

}  // namespace kelpo
