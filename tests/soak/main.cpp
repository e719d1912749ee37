#include "campaign.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>

int main(int argc, char **argv) {
    soak::Options options;
    CLI::App app("Host, driver and simulated controller on a line where everything goes wrong, and a judge.");
    app.add_option("--driver", options.driver, "File name of the driver")->required();
    app.add_option("--plc", options.plc, "The controller's program")->required();
    app.add_option("--seed", options.seed, "Decides what is asked and what goes wrong")->capture_default_str();
    app.add_option("--exchanges", options.exchanges, "How many, about")->capture_default_str();
    app.add_option("--faults", options.faults, "Words of the faults that may happen, with commas between; none: all")
        ->delimiter(',')
        ->check(CLI::IsMember(soak::fault_words()));
    CLI11_PARSE(app, argc, argv);
    try {
        return soak::Campaign(options).run(std::cout) ? 0 : 1;
    } catch (const std::exception &error) {
        std::cerr << "campaign: " << error.what() << std::endl;
        return 2;
    }
}
