#include "simulated_line.h"

#include <algorithm>

std::string SimulatedLine::listen(Time until) {
    if (!is_something_there() && !stopped_)
        wait_until(until);
    return take(there_.max_size());
}

// Until something comes in or it is `until`, and then until the host gets the processor.
void SimulatedLine::wait_until(Time until) {
    const bool comes_in_time = !coming_.empty() && coming_.begin()->first <= until;
    now_ = std::max(now_, comes_in_time ? coming_.begin()->first : until);
    if (held_up)
        now_ += held_up();
}

bool SimulatedLine::is_something_there() {
    while (!coming_.empty() && coming_.begin()->first <= now_) {
        if (there_.empty())
            there_since_ = coming_.begin()->first;
        there_ += coming_.begin()->second;
        coming_.erase(coming_.begin());
    }
    return !there_.empty();
}

// Until the first byte that was not read.
SimulatedLine::Time SimulatedLine::looked_until() const {
    if (!there_.empty())
        return there_since_;
    return coming_.empty() ? now_ : std::min(now_, coming_.begin()->first);
}

std::string SimulatedLine::take(std::size_t most) {
    if (!is_something_there())
        return {};
    arrived_after_ = there_since_;
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
    if (held_up)
        now_ += held_up();
    now_ += time_of_a_character * static_cast<int>(size);
    request_end_ = now_ + time_of_a_request;
    on_request({bytes, size});
    if (held_up)
        now_ += held_up();
    return true;
}

std::size_t SimulatedLine::receive(char *buffer, std::size_t already, const WholeSize &whole,
                                   const kelpo::ReplyTimeouts &timeouts) {
    std::size_t got = already;
    Time deadline = already > 0 ? now_ + timeouts.inter_character : request_end_ + timeouts.reply;
    Time first_byte = arrived_after_;
    while (got < whole({buffer, got})) {
        const std::string bytes = take(whole({buffer, got}) - got);
        if (bytes.empty()) {
            if (now_ >= deadline)
                break;
            wait_until(deadline);
            continue;
        }
        first_byte = got > 0 ? first_byte : arrived_after_;
        arrived_after_ = first_byte;
        std::copy(bytes.begin(), bytes.end(), buffer + got);
        got += bytes.size();
        deadline = now_ + timeouts.inter_character;
    }
    return got;
}
