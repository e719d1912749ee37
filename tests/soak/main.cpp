#include "campaign.h"

#include "common/command_line.h"

#include <exception>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char **argv) {
    soak::Options options;
    common::CommandLine line("Host, driver and simulated controller on a line with every kind of fault, and a judge.",
                             "campaign", KELPO_VERSION);
    common::Command app = line.command();
    app.add_option("--driver", options.driver, "File name of the driver").required();
    app.add_option("--plc", options.plc, "The controller's program").required();
    app.add_option("--seed", options.seed, "Decides what is asked and which faults happen").capture_default_str();
    app.add_option("--exchanges", options.exchanges, "About how many").capture_default_str();
    app.add_option("--faults", options.faults,
                   "Words of the faults that may happen, separated by commas; all if not given")
        .delimiter(',')
        .one_of(soak::fault_words());
    if (const auto exit_status = line.parse(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr))
        return *exit_status;
    try {
        return soak::Campaign(options).run(std::cout) ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "campaign: " << error.what() << std::endl;
        return 2;
    }
}
