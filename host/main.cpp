#include "host/demo.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <map>

namespace {

using kelpo::DemoOptions;
using kelpo::DemoResult;
using kelpo::Parity;

const char *const exit_codes =
    "Exit codes: 0 everything shown and tried was right; 1 it was not, or the run was too short to "
    "tell; 2 wrong usage; 3 the driver cannot be loaded; 4 the line cannot be opened or "
    "failed; 5 the controller's memory file cannot be read; 6 the system refused something else.";

void add_line_options(CLI::App &command, DemoOptions &options) {
    static const std::map<std::string, Parity> parities = {
        {"none", Parity::none}, {"even", Parity::even}, {"odd", Parity::odd}};
    command.add_option("--line", options.line.path, "The line: a serial port or a pseudo-terminal")->required();
    command.add_option("--speed", options.line.speed, "Bits per second")->capture_default_str();
    command.add_option("--parity", options.line.parity, "none, even or odd")
        ->transform(CLI::CheckedTransformer(parities).description(""))
        ->default_str("none");
    command.add_option("--stop-bits", options.line.stop_bits, "1 or 2")->check(CLI::Range(1, 2))->capture_default_str();
    command.add_option("--driver", options.driver, "File name of the driver")->capture_default_str();
}

int run(int argc, char **argv) {
    CLI::App app("Reference host of the PLC driver: loads it as a panel does and talks to controllers through it.",
                 "kelpo");
    app.require_subcommand(1);

    DemoOptions options;
    int seconds = 10;
    int reply_timeout = static_cast<int>(options.timeouts.reply.count());
    int character_timeout = static_cast<int>(options.timeouts.inter_character.count());
    CLI::App *demo = app.add_subcommand("demo", "Poll and show some 60 variables of a simulated controller, write, "
                                                "read once, switch a station off, lose replies, "
                                                "and check all of it.");
    demo->footer(exit_codes);
    add_line_options(*demo, options);
    demo->add_option("--memory", options.memory, "The memory file that the controller publishes")->required();
    CLI::Option *limit =
        demo->add_option("--seconds", seconds, "How long to run")->check(CLI::Range(1, 86400))->capture_default_str();
    CLI::Option *keep = demo->add_flag("--keep", "Run until Ctrl-C")->excludes(limit);
    demo->add_flag(
        "--until-proven", options.until_proven,
        "End earlier, once every value was right, every moving one has moved, and the exercises are through");
    demo->add_option("--reply-timeout", reply_timeout, "Milliseconds to wait for a reply")
        ->check(CLI::Range(1, 60000))
        ->take_last()
        ->capture_default_str();
    demo->add_option("--character-timeout", character_timeout, "Milliseconds of silence that end a reply")
        ->check(CLI::Range(1, 60000))
        ->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &refused) {
        return app.exit(refused) == 0 ? 0 : static_cast<int>(DemoResult::wrong_usage);
    }
    options.timeouts = {std::chrono::milliseconds(reply_timeout), std::chrono::milliseconds(character_timeout)};
    options.duration = std::chrono::seconds(seconds);
    if (keep->count() > 0)
        options.duration.reset();
    return static_cast<int>(kelpo::run_demo(options, std::cout, std::cerr));
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception &cause) {
        std::fprintf(stderr, "kelpo: %s\n", cause.what());
        return static_cast<int>(DemoResult::broken);
    }
}
