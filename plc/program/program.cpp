#include "plc/program/program.h"

#include "common/standard_streams.h"
#include "common/utf8_text.h"
#include "plc/line/line_link.h"
#include "plc/line/pty_line.h"
#include "plc/line/tcp_line.h"
#include "plc/program/controller.h"
#include "plc/program/options.h"
#include "plc/program/serve.h"
#include "plc/system/descriptor.h"
#include "plc/system/system_call.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace plc {
namespace {

// From now on these signals only make the descriptor readable.
int catch_end_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0)
        fail("cannot watch for signals");
    return descriptor;
}

// Becomes readable when the process ends. The descriptor, not the number, names it: another process that gets the
// number later does not matter.
int watch_process(pid_t process) {
    const auto descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0u));
    if (descriptor < 0)
        fail("--while: cannot watch process " + std::to_string(process));
    return descriptor;
}

// Readable when one of `descriptors` is.
int any_of(const std::vector<int> &descriptors) {
    const int any = ::epoll_create1(EPOLL_CLOEXEC);
    if (any < 0)
        fail("cannot wait for several things");
    for (const int descriptor : descriptors) {
        epoll_event readable = {};
        readable.events = EPOLLIN;
        if (::epoll_ctl(any, EPOLL_CTL_ADD, descriptor, &readable) != 0)
            fail("cannot wait for several things");
    }
    return any;
}

// The output at the end need not be read by anybody.
void outlive_readers_of_output() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
}

// Waits until what is printed would not be held up, by a terminal after Ctrl-S for example. False when `end` becomes
// readable before that.
bool output_is_ready(int end) {
    pollfd watched[] = {{STDOUT_FILENO, POLLOUT, 0}, {end, POLLIN, 0}};
    while (::poll(watched, 2, -1) < 0 && errno == EINTR) {
    }
    return watched[1].revents == 0;
}

std::unique_ptr<Line> open_line(const Options &options) {
    if (options.listen)
        return std::make_unique<TcpLine>(*options.listen);
    return std::make_unique<PtyLine>();
}

void print_fault_counts(const std::vector<Fault> &faults, const std::vector<FaultCount> &counts) {
    for (std::size_t i = 0; i < faults.size(); ++i)
        std::cout << "fault " << i + 1 << " (" << common::printable(faults[i].text) << "): " << counts[i].happened
                  << " of " << counts[i].fitted << "\n";
    std::cout.flush();
}

void run(const Options &options) {
    const Descriptor end_signal(catch_end_signals());
    const Descriptor companion(options.companion ? watch_process(*options.companion) : -1);
    const Descriptor end(any_of(companion.number() < 0 ? std::vector<int>{end_signal.number()}
                                                       : std::vector<int>{end_signal.number(), companion.number()}));
    outlive_readers_of_output();
    const std::unique_ptr<Line> line = open_line(options);
    Controller controller(options.settings, options.memory, std::chrono::steady_clock::now());
    std::optional<LineLink> link;
    if (options.link)
        link.emplace(*options.link, line->name());

    if (!output_is_ready(end.number()))
        return;
    // A program that waits for this line finds the link and the memory file in place.
    std::cout << "line " << line->name() << std::endl;
    serve(*line, controller, options.settings.echoes, end.number());
    common::release_stuck_terminals();
    print_fault_counts(options.settings.faults, controller.fault_counts());
}

}  // namespace

int run_program(int argc, const char *const *argv, const char *name) {
    const auto read = read_options(std::vector<std::string>(argv, argv + argc), name, std::cout, std::cerr);
    if (const int *exit_status = std::get_if<int>(&read))
        return *exit_status;
    try {
        run(std::get<Options>(read));
        return 0;
    } catch (const std::exception &error) {
        std::cerr << name << ": " << common::printable(error.what()) << std::endl;
        return 1;
    }
}

}  // namespace plc
