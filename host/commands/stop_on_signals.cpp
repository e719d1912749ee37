#include "host/commands/stop_on_signals.h"

#include "common/standard_streams.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <iostream>

#include <sys/time.h>

namespace kelpo {
namespace {

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr suseconds_t look_interval = 100'000;  // microseconds

// A handler gets nothing but the signal's number.
std::atomic<StopSignal *> to_raise{nullptr};

// A terminal may become stuck only when the rest is printed.
void look_after_terminals(suseconds_t interval) {
    const itimerval timer{{0, interval}, {0, interval}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

extern "C" void raise_stop(int) {
    const int error = errno;
    // The first signal ends the command, which waits for the reply that is on its way; another ends that wait too.
    if (StopSignal *stop = to_raise)
        stop->raised() ? stop->hurry() : stop->raise();
    common::release_stuck_terminals();
    look_after_terminals(look_interval);
    errno = error;
}

extern "C" void look_again(int) {
    const int error = errno;
    common::release_stuck_terminals();
    errno = error;
}

// A program that is started with the signal ignored, as nohup does, is meant to outlive the terminal.
bool stays_ignored(int number) {
    struct sigaction before {};
    return number == SIGHUP && sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
}

void handle(int number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

void handle_all(void (*handler)(int)) {
    for (const int number : signals)
        if (!stays_ignored(number))
            handle(number, handler);
}

}  // namespace

StopOnSignals::StopOnSignals(StopSignal &stop) {
    to_raise = &stop;
    handle(SIGALRM, look_again);
    handle_all(raise_stop);
}

StopOnSignals::~StopOnSignals() {
    std::cout.flush();
    std::cerr.flush();
    handle_all(SIG_DFL);
    look_after_terminals(0);
    handle(SIGALRM, SIG_DFL);
    to_raise = nullptr;
}

}  // namespace kelpo
