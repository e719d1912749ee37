#include "host/commands/commands.h"
#include "host/commands/line_options.h"
#include "host/commands/list_to_use.h"
#include "host/commands/stop_on_signals.h"

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/list/remark_text.h"
#include "host/plan/learn_run.h"
#include "host/plan/plan_advice.h"
#include "host/plan/plan_text.h"
#include "host/plan/plan_tune.h"
#include "host/plan/surprises.h"

#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kelpo {
namespace {

/// What the command line gave.
struct ChosenForPlan {
    explicit ChosenForPlan(common::Command command) : line(command, LinkSettings()) {}

    LineOptions line;
    std::string list;
    std::optional<double> turnaround;
    bool json = false;
    bool tune = false;
    bool learn = false;
    int seconds = 300;  // of learning, at most
};

ExitCode plan_as_chosen(const ChosenForPlan &chosen) {
    Driver library(chosen.line.over(LinkSettings()).driver);
    std::optional<PollList> usable = list_to_use(chosen.list, chosen.line, library, "");
    if (!usable)
        return ExitCode::wrong_usage;
    PollList &list = *usable;
    if (chosen.turnaround)
        list.turnaround = std::chrono::microseconds(std::llround(*chosen.turnaround * 1000));

    if (chosen.learn) {
        require_line(list);
        StopSignal stop;
        const StopOnSignals on_signals(stop);
        return run_learn(library, list, chosen.list, std::chrono::seconds(chosen.seconds), stop, std::cout);
    }
    DryRun driver(library);
    if (chosen.tune) {
        print_tuned(tuned(make_plan(std::move(list), driver).list, driver), chosen.list, std::cout);
        return ExitCode::all_well;
    }
    print_remarks(torn_values(list, driver), "", std::cerr);
    const Plan plan = advised(make_plan(std::move(list), driver), driver);
    if (chosen.json)
        print_plan_json(plan, chosen.list, std::cout);
    else
        print_plan(plan, chosen.list, std::cout);
    return ExitCode::all_well;
}

}  // namespace

void add_plan_command(common::Command app, int &exit_code) {
    common::Command plan = app.add_subcommand(
        "plan", "Show what the driver asks for to poll a list, and how long a cycle takes. Needs no line.");
    const auto chosen = std::make_shared<ChosenForPlan>(plan);
    plan.add_option("LIST", chosen->list, "The list: a TOML file, or a CSV file of variables").required();
    plan.add_option("--turnaround", chosen->turnaround,
                    "Milliseconds that the controllers take to answer, an estimate; 5 unless the list says otherwise")
        .range(0.0, 60000.0)
        .type_name("MS");
    const common::Option json = plan.add_flag("--json", chosen->json, "Print a JSON object, for programs");
    common::Option tune = plan.add_flag("--tune", chosen->tune,
                                        "Find out with which max-count of each station a cycle takes the least time");
    tune.excludes(json);
    common::Option learn =
        plan.add_flag("--learn", chosen->learn,
                      "Poll the list over its line, and print what the controllers refuse, as lines for the list");
    learn.excludes(json).excludes(tune);
    plan.add_option("--seconds", chosen->seconds, "With --learn: how long at most; 300 unless given")
        .range(1, 31 * 86400)
        .type_name("N")
        .needs(learn);
    plan.footer(
        "Examples:\n"
        "  kelpo plan pumps.toml\n"
        "  kelpo plan pumps.toml --speed 9600 --parity even      what would a slower line cost?\n"
        "  kelpo plan tags.csv --turnaround 12.5 --max-count 32\n"
        "  kelpo plan pumps.toml --json | jq '.cycle.ms'\n"
        "  kelpo plan pumps.toml --tune                          with which max-count is a cycle the shortest?\n"
        "  kelpo plan pumps.toml --learn                         what does not exist? Needs the line\n"
        "Ends with 0, or with 2 when the list has a mistake (see kelpo check); with --learn also as kelpo read.");
    plan.callback([chosen, &exit_code] { exit_code = static_cast<int>(plan_as_chosen(*chosen)); });
}

}  // namespace kelpo
