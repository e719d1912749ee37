#include "host/commands/trace_options.h"

#include <cstdlib>

#include <unistd.h>

namespace kelpo {

struct TraceCommandOptions::Given {
    std::optional<int> seconds;
    TraceOptions options;
    bool utc = false;
};

namespace {

bool on_a_colourful_terminal() {
    const char *refused = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && (refused == nullptr || *refused == '\0');
}

}  // namespace

TraceCommandOptions::TraceCommandOptions(common::Command command, const char *seconds_words)
    : given_(std::make_shared<Given>()) {
    Given &given = *given_;
    command.add_option("--seconds", given.seconds, seconds_words).range(1, 31 * 86400).type_name("N");
    command.add_option("--to", given.options.to, "Save the trace, to be shown again").type_name("FILE");
    command.add_option("--pcap", given.options.pcap, "Save a capture for a protocol analyser").type_name("FILE");
    command.add_option("--station", given.options.filter.station, "Show the requests to this station only")
        .range(0, 255)
        .type_name("N");
    command
        .add_option("--function", given.options.filter.function,
                    "Show the requests with this Modbus function code only")
        .range(1, 127)
        .type_name("N");
    command.add_flag("--failures", given.options.filter.failures, "Show requests without a good reply only");
    command.add_flag("--utc", given.utc, "Show times in UTC instead of local time");
}

TraceOptions TraceCommandOptions::options() const {
    TraceOptions options = given_->options;
    options.style = {on_a_colourful_terminal(), given_->utc ? TimeZone::utc : TimeZone::local};
    return options;
}

std::optional<std::chrono::seconds> TraceCommandOptions::duration() const {
    if (!given_->seconds)
        return std::nullopt;
    return std::chrono::seconds(*given_->seconds);
}

}  // namespace kelpo
