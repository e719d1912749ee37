#include "host/commands/commands.h"
#include "host/demo/demo.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <map>
#include <memory>

namespace kelpo {
namespace {

// What the options are read into, until the command runs.
struct Chosen {
    DemoOptions options;
    int seconds = 10;
    bool keep = false;
    int reply_timeout = static_cast<int>(options.timeouts.reply.count());
    int character_timeout = static_cast<int>(options.timeouts.inter_character.count());
};

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

ExitCode run(Chosen &chosen) {
    DemoOptions &options = chosen.options;
    options.timeouts.reply = std::chrono::milliseconds(chosen.reply_timeout);
    options.timeouts.inter_character = std::chrono::milliseconds(chosen.character_timeout);
    options.duration = std::chrono::seconds(chosen.seconds);
    if (chosen.keep)
        options.duration.reset();
    return run_demo(options, std::cout, std::cerr);
}

}  // namespace

void add_demo_command(CLI::App &app, int &exit_code) {
    const auto chosen = std::make_shared<Chosen>();
    CLI::App *demo = app.add_subcommand("demo", "Poll and show some 60 variables of a simulated controller, write, "
                                                "read once, switch a station off, lose replies, "
                                                "and check all of it.");
    add_line_options(*demo, chosen->options);
    demo->add_option("--memory", chosen->options.memory, "The memory file that the controller publishes")->required();
    CLI::Option *limit = demo->add_option("--seconds", chosen->seconds, "How long to run")
                             ->check(CLI::Range(1, 86400))
                             ->capture_default_str();
    demo->add_flag("--keep", chosen->keep, "Run until Ctrl-C")->excludes(limit);
    demo->add_flag(
        "--until-proven", chosen->options.until_proven,
        "End earlier, once every value was right, every moving one has moved, and the exercises are through");
    demo->add_option("--reply-timeout", chosen->reply_timeout, "Milliseconds to wait for a reply")
        ->check(CLI::Range(1, 60000))
        ->take_last()
        ->capture_default_str();
    demo->add_option("--character-timeout", chosen->character_timeout, "Milliseconds of silence that end a reply")
        ->check(CLI::Range(1, 60000))
        ->capture_default_str();
    demo->footer("Example, beside a controller started as in script/demo:\n"
                 "  kelpo demo --line /tmp/line --memory /tmp/memory --seconds 30");
    demo->callback([chosen, &exit_code] { exit_code = static_cast<int>(run(*chosen)); });
}

}  // namespace kelpo
