#pragma once

#include "host/commands/list_or_line.h"
#include "host/once/read_write.h"

#include <memory>

namespace kelpo {

/// What `kelpo read` and `kelpo write` have in common: the references, --station, --json, and the line.
class OnceCommandOptions {
public:
    /// Adds them to `command`.
    explicit OnceCommandOptions(common::Command command);

    /// To be filled in by further options of the command.
    OnceOptions &chosen() const {
        return *chosen_;
    }

    /// Runs `what` with the options, until it ends or the user presses Ctrl-C.
    ExitCode run(ExitCode (*what)(DriverOnDemand &, const OnceOptions &, StopSignal &, std::ostream &,
                                  std::ostream &)) const;

private:
    std::shared_ptr<OnceOptions> chosen_;
    ListOrLine line_;
};

/// The part of the help that says how references are written.
extern const char *const references_help;

}  // namespace kelpo
