#include "host/commands/commands.h"
#include "plc/program/program.h"

#include <algorithm>
#include <string>
#include <vector>

namespace kelpo {

void add_plc_command(common::Command app, int &exit_code) {
    common::Command plc =
        app.add_subcommand("plc", "A simulated controller with several stations, moving values and faults");
    // The controller reads its own command line, help included.
    plc.pass_on([&exit_code](const std::vector<std::string> &words) {
        std::vector<const char *> arguments;
        std::transform(words.begin(), words.end(), std::back_inserter(arguments),
                       [](const std::string &word) { return word.c_str(); });
        exit_code = plc::run_program(static_cast<int>(arguments.size()), arguments.data(), "kelpo plc");
    });
}

}  // namespace kelpo
