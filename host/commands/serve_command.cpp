#include "host/commands/commands.h"
#include "host/commands/line_options.h"
#include "host/commands/list_to_use.h"
#include "host/commands/stop_on_signals.h"

#include "host/broker/mosquitto_connection.h"
#include "host/driver/driver.h"
#include "host/serve/serve.h"
#include "host/text/words.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kelpo {
namespace {

struct ChosenForServe {
    explicit ChosenForServe(common::Command command) : line(command, LinkSettings()) {}

    LineOptions line;
    std::string list;
    std::vector<std::string> brokers;
};

std::string why_no_broker(const std::string &text) {
    return broker_from(text) ? std::string() : in_quotes(text) + " is not mqtt://HOST:PORT or mqtts://HOST:PORT";
}

void require_names(PollList &list, const ChosenForServe &chosen) {
    require_line(list);
    if (!list.site)
        throw common::UsageError("a list with [site] in it is required: site and line, which make the topics");
    if (!chosen.brokers.empty()) {
        if (!list.mqtt)
            list.mqtt.emplace();
        list.mqtt->brokers.clear();
        for (const std::string &text : chosen.brokers)
            list.mqtt->brokers.push_back(*broker_from(text));
    }
    if (!list.mqtt)
        throw common::UsageError("--broker, or a list with [mqtt] in it, is required");
}

ExitCode serve_as_chosen(const ChosenForServe &chosen) {
    Driver driver(chosen.line.over(LinkSettings()).driver);
    std::optional<PollList> list = list_to_use(chosen.list, chosen.line, driver, "kelpo: ");
    if (!list)
        return ExitCode::wrong_usage;
    ServeOptions options{std::move(*list), KELPO_VERSION, connect_with_mosquitto};
    require_names(options.list, chosen);

    StopSignal stop;
    const StopOnSignals on_signals(stop);
    ServiceLog log(std::cerr, std::getenv("JOURNAL_STREAM") != nullptr);
    return run_serve(driver, options, stop, log);
}

}  // namespace

void add_serve_command(common::Command app, int &exit_code) {
    common::Command serve =
        app.add_subcommand("serve", "Poll the variables of a list and keep an MQTT broker informed: as a service.");
    const auto chosen = std::make_shared<ChosenForServe>(serve);
    serve.add_option("LIST", chosen->list, "The list: a TOML file with [site] and [mqtt]").required();
    serve
        .add_option("--broker", chosen->brokers,
                    "A broker instead of those of the list, mqtt://HOST:PORT or mqtts://HOST:PORT; several are tried "
                    "in turn")
        .check(why_no_broker)
        .one_value_each()
        .type_name("URL");
    serve.footer("docs/topics.md lists the topics. Runs until Ctrl-C or SIGTERM.\n"
                 "Examples:\n"
                 "  kelpo serve boiler.toml\n"
                 "  kelpo serve boiler.toml --broker mqtt://127.0.0.1:1883\n"
                 "  mosquitto_sub -t 'kelpo/#' -v\n"
                 "  mosquitto_pub -t kelpo/plant/boilers/set/pump-set-point -m 350\n"
                 "Ends with 0 when it was asked to end, and with 4 when the line cannot be opened at the start.");
    serve.callback([chosen, &exit_code] { exit_code = static_cast<int>(serve_as_chosen(*chosen)); });
}

}  // namespace kelpo
