#include "plc/options.h"

#include <algorithm>
#include <chrono>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace plc {

namespace {

constexpr int exit_wrong_argument = 2;
constexpr int an_hour = 3600 * 1000;

std::string refuse_repetition(std::vector<unsigned> stations) {
    std::sort(stations.begin(), stations.end());
    const auto twice = std::adjacent_find(stations.begin(), stations.end());
    return twice == stations.end() ? std::string() : "--stations: station " + std::to_string(*twice) + " stands twice";
}

// Empty when the text is a fault.
std::string refuse_fault(const std::string &text) {
    try {
        parse_fault(text);
        return std::string();
    } catch (const std::invalid_argument &refused) {
        return refused.what();
    }
}

std::string one_line(const CLI::App *, const CLI::Error &error) {
    return std::string("kelpo-plc: ") + error.what() + "\n";
}

}  // namespace

std::variant<Options, int> read_options(int argc, const char *const *argv, std::ostream &out, std::ostream &error) {
    Options options;
    int moment = static_cast<int>(options.settings.moment.count());
    int turnaround = static_cast<int>(options.settings.turnaround.count());
    int silence = static_cast<int>(options.settings.silence.count());

    CLI::App app("Simulated controller: Modbus RTU stations on a pseudo-terminal.", "kelpo-plc");
    app.failure_message(one_line);
    app.add_option("--stations", options.settings.stations, "Station numbers, 1 to 247, with commas between")
        ->delimiter(',')
        ->check(CLI::Range(1, 247))
        ->capture_default_str();
    app.add_option("--link", options.link, "Symbolic link to make to the line, removed at the end");
    app.add_option("--memory", options.memory, "File in which the memory is published");
    app.add_option("--moment", moment, "Milliseconds between steps of the moving values; 0: they stand still")
        ->check(CLI::Range(0, an_hour))
        ->capture_default_str();
    app.add_option("--turnaround", turnaround, "Milliseconds from the end of a request to its reply")
        ->check(CLI::Range(0, an_hour))
        ->capture_default_str();
    app.add_option("--silence", silence, "Milliseconds without a byte that end a frame")
        ->check(CLI::Range(1, an_hour))
        ->capture_default_str();
    app.add_option("--baud", options.settings.baud, "Speed of the line that replies keep to; 0: as fast as it goes")
        ->check(CLI::Range(0, 100000000))
        ->capture_default_str();
    std::vector<std::string> faults;
    app.add_option("--fault", faults,
                   "What goes wrong, such as \"no-reply station=3 function=3 address=4990 times=1\"; may be repeated")
        ->allow_extra_args(false)
        ->check(refuse_fault);

    try {
        app.parse(argc, argv);
        const std::string repetition = refuse_repetition(options.settings.stations);
        if (!repetition.empty())
            throw CLI::ValidationError(repetition);
    } catch (const CLI::ParseError &refused) {
        return app.exit(refused, out, error) == 0 ? 0 : exit_wrong_argument;
    }
    options.settings.moment = std::chrono::milliseconds(moment);
    options.settings.turnaround = std::chrono::milliseconds(turnaround);
    options.settings.silence = std::chrono::milliseconds(silence);
    for (const std::string &fault : faults)
        options.settings.faults.push_back(parse_fault(fault));
    return options;
}

}  // namespace plc
