#include "host/commands/commands.h"
#include "host/commands/line_options.h"
#include "host/demo/demo.h"

#include <iostream>
#include <memory>

namespace kelpo {
namespace {

// What the options are read into, until the command runs.
struct Chosen {
    DemoOptions options;
    int seconds = 10;
    bool keep = false;
};

LinkSettings demo_defaults() {
    LinkSettings settings;
    settings.retries = 3;
    return settings;
}

ExitCode run(Chosen &chosen, const LineOptions &line) {
    chosen.options.link = line.over(demo_defaults());
    if (chosen.options.link.line.path.empty())
        throw common::UsageError("--line is required");
    chosen.options.duration = std::chrono::seconds(chosen.seconds);
    if (chosen.keep)
        chosen.options.duration.reset();
    return run_demo(chosen.options, std::cout, std::cerr);
}

}  // namespace

void add_demo_command(common::Command app, int &exit_code) {
    const auto chosen = std::make_shared<Chosen>();
    common::Command demo =
        app.add_subcommand("demo", "Poll and show some 60 variables of a simulated controller, write, "
                                   "read once, switch a station off, lose replies, "
                                   "and check all of it.");
    demo.add_option("--memory", chosen->options.memory, "The memory file that the controller publishes").required();
    const common::Option limit =
        demo.add_option("--seconds", chosen->seconds, "How long to run").range(1, 86400).capture_default_str();
    demo.add_flag("--keep", chosen->keep, "Run until Ctrl-C").excludes(limit);
    demo.add_flag("--until-proven", chosen->options.until_proven,
                  "End earlier, once every value was right, every moving one has moved, and the exercises are through");
    const LineOptions line(demo, demo_defaults());
    demo.footer("Example, beside a controller started as in script/demo:\n"
                "  kelpo demo --line /tmp/line --memory /tmp/memory --seconds 30");
    demo.callback([chosen, line, &exit_code] { exit_code = static_cast<int>(run(*chosen, line)); });
}

}  // namespace kelpo
