// Loaded before a program (LD_PRELOAD), it steps the program's wall clock, as an operator or a time server would: every
// 150 ms to the next of the offsets, in seconds, that the environment names in STEPPING_CLOCK. Other clocks stay.
#include <cstdlib>
#include <ctime>
#include <vector>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

long now_of(clockid_t clock, timespec &now) {
    return syscall(SYS_clock_gettime, clock, &now);
}

std::vector<time_t> offsets_from_environment() {
    std::vector<time_t> offsets;
    const char *rest = std::getenv("STEPPING_CLOCK");
    for (char *end = nullptr; rest != nullptr && *rest != '\0'; rest = *end == ',' ? end + 1 : end)
        offsets.push_back(std::strtoll(rest, &end, 10));
    return offsets;
}

void step(timespec &time) {
    static const std::vector<time_t> offsets = offsets_from_environment();
    if (offsets.empty())
        return;
    timespec steady{};
    now_of(CLOCK_MONOTONIC, steady);
    constexpr long milliseconds_each = 150;
    const long turn = (steady.tv_sec * 1000 + steady.tv_nsec / 1000000) / milliseconds_each;
    time.tv_sec += offsets[static_cast<std::size_t>(turn) % offsets.size()];
}

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec *now) {
    const long result = now_of(clock, *now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        step(*now);
    return static_cast<int>(result);
}

extern "C" int gettimeofday(timeval *now, void *) {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    *now = {time.tv_sec, time.tv_nsec / 1000};
    return 0;
}

extern "C" time_t time(time_t *now) {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    if (now != nullptr)
        *now = time.tv_sec;
    return time.tv_sec;
}
