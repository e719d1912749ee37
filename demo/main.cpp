#include "demo/demo.h"
#include "host/commands/line_options.h"
#include "host/commands/run_program.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

using kelpo::ExitCode;

kelpo::LinkSettings link_defaults() {
    kelpo::LinkSettings settings;
    settings.retries = 3;
    return settings;
}

int run(int argc, char **argv) {
    common::CommandLine line(
        "Polls and shows some 60 variables of a simulated controller, writes, reads once, switches "
        "a station off, loses replies, and checks all of it against the controller's own memory. "
        "script/demo starts it beside such a controller.",
        "kelpo-demo", KELPO_VERSION);
    common::Command app = line.command();
    kelpo::DemoOptions options;
    int seconds = 10;
    bool keep = false;
    int exit_code = static_cast<int>(ExitCode::all_well);
    app.add_option("--memory", options.memory, "The memory file that the controller publishes").required();
    const common::Option limit =
        app.add_option("--seconds", seconds, "How long to run").range(1, 86400).capture_default_str();
    app.add_flag("--keep", keep, "Run until Ctrl-C").excludes(limit);
    app.add_flag("--until-proven", options.until_proven,
                 "End earlier, once every value was right, every moving one has moved, and the exercises are done");
    const kelpo::LineOptions line_options(app, link_defaults());
    app.callback([&] {
        options.link = line_options.over(link_defaults());
        if (options.link.line.path.empty())
            throw common::UsageError("--line is required");
        options.duration = std::chrono::seconds(seconds);
        if (keep)
            options.duration.reset();
        exit_code = static_cast<int>(kelpo::run_demo(options, std::cout));
    });
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    return line.parse(arguments, std::cout, std::cerr).value_or(exit_code);
}

}  // namespace

int main(int argc, char **argv) {
    return kelpo::run_program("kelpo-demo", [=] { return run(argc, argv); });
}
