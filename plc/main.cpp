#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <system_error>
#include <variant>

#include <sys/signalfd.h>

#include "plc/controller.h"
#include "plc/line.h"
#include "plc/options.h"
#include "plc/serve.h"

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
        throw std::system_error(errno, std::generic_category(), "cannot watch for signals");
    return descriptor;
}

void run(const plc::Options &options) {
    const plc::Descriptor end_signal(catch_end_signals());
    plc::Line line;
    plc::Controller controller(options.settings, options.memory, std::chrono::steady_clock::now());
    std::optional<plc::LineLink> link;
    if (options.link)
        link.emplace(*options.link, line.client_path());

    // Whoever waits for this line finds the link and the memory file in place.
    std::cout << "line " << line.client_path() << std::endl;
    plc::serve(line, controller, end_signal.number());
}

}  // namespace

int main(int argc, char **argv) {
    const auto read = plc::read_options(argc, argv, std::cout, std::cerr);
    if (const int *exit_status = std::get_if<int>(&read))
        return *exit_status;
    try {
        run(std::get<plc::Options>(read));
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "kelpo-plc: " << error.what() << std::endl;
        return 1;
    }
}
