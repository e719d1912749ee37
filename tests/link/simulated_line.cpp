#include "simulated_line.h"

#include <algorithm>

std::string SimulatedLine::listen(Time until) {
    if (there_.empty() && !stopped_) {
        const bool comes_in_time = !coming_.empty() && coming_.begin()->first <= until;
        now_ = std::max(now_, comes_in_time ? coming_.begin()->first : until);
    }
    return take(there_.max_size());
}

std::string SimulatedLine::take(std::size_t most) {
    while (!coming_.empty() && coming_.begin()->first <= now_) {
        there_ += coming_.begin()->second;
        coming_.erase(coming_.begin());
    }
    const std::string taken = there_.substr(0, most);
    there_.erase(0, taken.size());
    received_ += taken.size();
    return taken;
}

std::string SimulatedLine::settle(Duration duration, const Heard &heard) {
    const Time until = now_ + duration;
    std::string all;
    while (now_ < until && !stopped_) {
        const std::string bytes = listen(until);
        if (heard && !bytes.empty())
            heard(bytes);
        all += bytes;
    }
    return all;
}

std::string SimulatedLine::await_silence(const Heard &heard) {
    const std::string bytes = take(there_.max_size());
    if (heard && !bytes.empty())
        heard(bytes);
    return bytes;
}

bool SimulatedLine::send(const char *bytes, std::size_t size) {
    now_ += time_of_a_character * static_cast<int>(size);
    request_end_ = now_ + time_of_a_request;
    on_request({bytes, size});
    return true;
}

std::size_t SimulatedLine::receive(char *buffer, std::size_t already, const WholeSize &whole,
                                   const kelpo::ReplyTimeouts &timeouts) {
    std::size_t got = already;
    Time deadline = already > 0 ? now_ + timeouts.inter_character : request_end_ + timeouts.reply;
    while (got < whole({buffer, got})) {
        std::string bytes = take(whole({buffer, got}) - got);
        if (bytes.empty()) {
            if (coming_.empty() || coming_.begin()->first > deadline) {
                now_ = std::max(now_, deadline);
                break;
            }
            now_ = coming_.begin()->first;
            continue;
        }
        std::copy(bytes.begin(), bytes.end(), buffer + got);
        got += bytes.size();
        deadline = now_ + timeouts.inter_character;
    }
    return got;
}
