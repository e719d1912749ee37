#pragma once

#include "common/command_line.h"
#include "host/trace/trace_outputs.h"

#include <chrono>
#include <memory>
#include <optional>

namespace kelpo {

/// What `kelpo trace` and `kelpo listen` have in common: --seconds, --to, --pcap, --station, --function, --failures and
/// --utc. Copies share what the command line gave.
class TraceCommandOptions {
public:
    /// Adds the options to `command`. `seconds_words` are the help of --seconds.
    TraceCommandOptions(common::Command command, const char *seconds_words);

    /// After parsing. Colours where standard output is a terminal.
    TraceOptions options() const;

    /// After parsing.
    std::optional<std::chrono::seconds> duration() const;

private:
    struct Given;
    std::shared_ptr<Given> given_;
};

}  // namespace kelpo
