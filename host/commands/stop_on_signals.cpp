#include "host/commands/stop_on_signals.h"

#include <atomic>
#include <cerrno>
#include <csignal>

namespace kelpo {
namespace {

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};

// A handler gets nothing but the signal's number.
std::atomic<StopSignal *> to_raise{nullptr};

extern "C" void raise_stop(int) {
    const int error = errno;
    // The first signal ends the command, which waits for the reply that is on its way; another ends that wait too.
    if (StopSignal *stop = to_raise)
        stop->raised() ? stop->hurry() : stop->raise();
    errno = error;
}

// A program that is started with the signal ignored, as nohup does, is meant to outlive the terminal.
bool stays_ignored(int number) {
    struct sigaction before {};
    return number == SIGHUP && sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
}

void handle_all(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    for (const int number : signals)
        if (!stays_ignored(number))
            sigaction(number, &action, nullptr);
}

}  // namespace

StopOnSignals::StopOnSignals(StopSignal &stop) {
    to_raise = &stop;
    handle_all(raise_stop);
}

StopOnSignals::~StopOnSignals() {
    handle_all(SIG_DFL);
    to_raise = nullptr;
}

}  // namespace kelpo
