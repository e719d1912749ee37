#include "plc/program/options.h"

#include "common/command_line.h"
#include "common/utf8_text.h"
#include "plc/text/list_file.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace plc {
namespace {

constexpr int exit_wrong_argument = 2;
constexpr int an_hour = 3600 * 1000;

constexpr unsigned bits_without_parity_and_stop = 9;
const std::map<std::string, unsigned> parity_bits = {{"none", 0}, {"even", 1}, {"odd", 1}};

// What the command line has in another form than the options.
struct Arguments {
    int moment;
    int turnaround;
    int silence;
    std::optional<unsigned> parity_bits;
    unsigned stop_bits = 1;
    std::string listen;
    std::vector<std::string> preset_files;
    std::vector<std::string> faults;
    std::vector<std::string> fault_files;
};

std::string with_commas(const std::vector<unsigned> &numbers) {
    std::string text;
    for (const unsigned number : numbers)
        text += (text.empty() ? "" : ",") + std::to_string(number);
    return text;
}

void refuse_repetition(std::vector<unsigned> stations) {
    std::sort(stations.begin(), stations.end());
    const auto twice = std::adjacent_find(stations.begin(), stations.end());
    if (twice != stations.end())
        throw common::UsageError("--stations: station " + std::to_string(*twice) + " is there twice");
}

// Empty when `parse` takes the text.
template <typename Parse> std::string refusal(Parse parse, const std::string &text) {
    try {
        parse(text);
        return std::string();
    } catch (const std::invalid_argument &refused) {
        return refused.what();
    }
}

std::string examples(const std::string &name) {
    return "What may go wrong (--fault \"WORD FIELD=N...\"):\n" + help_on_faults() +
           "and with which requests: station=N function=N address=N touches=N\n"
           "and when: after=N every=N rate=1/N for=N times=N\n"
           "\nExamples:\n"
           "  " +
           name +
           " --stations 1,2,3 --link /tmp/line\n"
           "      three stations whose values move; other programs open /tmp/line\n"
           "  " +
           name +
           " --listen 5020 --preset values.csv --moment 0\n"
           "      a device server at 127.0.0.1:5020; values are as the file says, in lines such as\n"
           "      1,register,100,0x1234,-5 and 1,coil,7,1,0,1\n"
           "  " +
           name +
           " --baud 9600 --parity even --turnaround 20\n"
           "      replies that take as long as on a wire\n"
           "  " +
           name +
           " --fault \"garbled rate=1/100\" --fault \"no-reply station=1 function=6 every=3\"\n"
           "      one reply in a hundred is garbled, and every third write of a register stays without one\n"
           "  " +
           name +
           " --stations 1,2 --fault \"dead station=2 after=100 for=50 every=500\"\n"
           "      station 2 is dead from its 101st request on for 50 requests, and again after each 500\n"
           "  " +
           name +
           " --faults faults.txt --seed 7\n"
           "      the faults of a file, one in each line\n";
}

void add_line_options(common::Command &app, Options &options, Arguments &arguments) {
    const common::Option listen =
        app.add_option("--listen", arguments.listen,
                       "Serve a TCP port instead of a pseudo-terminal: PORT on 127.0.0.1, or ADDRESS:PORT; port 0: any")
            .check([](const std::string &text) { return refusal(parse_tcp_address, text); })
            .type_name("[ADDRESS:]PORT");
    app.add_option("--link", options.link, "Symbolic link to make to the pseudo-terminal, removed at the end")
        .excludes(listen)
        .type_name("PATH");
    app.add_option("--baud", options.settings.baud, "Speed of the line that replies keep to; 0: no delay")
        .range(0, 100000000)
        .capture_default_str()
        .type_name("N");
    app.add_option("--parity", arguments.parity_bits, parity_bits,
                   "none, even or odd: whether a byte takes a bit more at --baud")
        .default_str("none");
    app.add_option("--stop-bits", arguments.stop_bits, "1 or 2: how many bits end a byte at --baud")
        .range(1, 2)
        .capture_default_str()
        .type_name("N");
    app.add_option("--turnaround", arguments.turnaround, "Milliseconds from the end of a request to its reply")
        .range(0, an_hour)
        .capture_default_str()
        .type_name("MS");
    app.add_option("--silence", arguments.silence, "Milliseconds without a byte that end a frame")
        .range(1, an_hour)
        .capture_default_str()
        .type_name("MS");
    app.add_flag("--echo", options.settings.echoes, "Return all that comes at once, as some two-wire adapters do");
}

void add_value_options(common::Command &app, Options &options, Arguments &arguments) {
    app.add_option("--stations", options.settings.stations, "Station numbers, 1 to 247, with commas between")
        .delimiter(',')
        .range(1, 247)
        .capture_default_str()
        .type_name("N,N...");
    app.add_option("--moment", arguments.moment, "Milliseconds between steps of the moving values; 0: they do not move")
        .range(0, an_hour)
        .capture_default_str()
        .type_name("MS");
    app.add_option("--preset", arguments.preset_files,
                   "CSV file of values to begin with, in lines such as 1,register,100,7,8; may be repeated")
        .one_value_each()
        .type_name("FILE");
    app.add_option("--memory", options.memory, "File in which the memory is published").type_name("FILE");
}

void add_fault_options(common::Command &app, Options &options, Arguments &arguments) {
    app.add_option("--fault", arguments.faults,
                   "What goes wrong, such as \"no-reply station=3 function=3 address=4990 times=1\"; may be repeated")
        .one_value_each()
        .check([](const std::string &text) { return refusal(parse_fault, text); })
        .type_name("TEXT");
    app.add_option("--faults", arguments.fault_files, "File of faults, one in each line; may be repeated")
        .one_value_each()
        .type_name("FILE");
    app.add_option("--seed", options.settings.seed, "Number that decides what faults leave to chance")
        .capture_default_str()
        .type_name("N");
}

Preset parse_preset_of(const std::vector<unsigned> &stations, const std::string &text) {
    Preset preset = parse_preset(text);
    if (std::find(stations.begin(), stations.end(), preset.station) == stations.end())
        throw std::invalid_argument("a station is one of --stations, " + with_commas(stations) + ", not " +
                                    std::to_string(preset.station));
    return preset;
}

Mistakes read_files(const Arguments &arguments, Settings &settings) {
    Mistakes mistakes;
    const auto take_preset = [&settings](const std::string &text) {
        settings.presets.push_back(parse_preset_of(settings.stations, text));
    };
    for (const std::string &path : arguments.preset_files)
        read_list(path, take_preset, mistakes);
    std::size_t faults = settings.faults.size();
    const auto take_fault = [&settings, &faults](const std::string &text) {
        const Fault fault = parse_fault(text);
        if (++faults <= max_faults)
            settings.faults.push_back(fault);
    };
    for (const std::string &path : arguments.fault_files)
        read_list(path, take_fault, mistakes);
    if (faults > max_faults)
        mistakes.push_back("there may be " + std::to_string(max_faults) + " faults at most, not " +
                           std::to_string(faults));
    return mistakes;
}

void take_over(const Arguments &arguments, Options &options) {
    Settings &settings = options.settings;
    settings.moment = std::chrono::milliseconds(arguments.moment);
    settings.turnaround = std::chrono::milliseconds(arguments.turnaround);
    settings.silence = std::chrono::milliseconds(arguments.silence);
    settings.bits_per_byte = bits_without_parity_and_stop + arguments.parity_bits.value_or(0) + arguments.stop_bits;
    if (!arguments.listen.empty())
        options.listen = parse_tcp_address(arguments.listen);
    for (const std::string &fault : arguments.faults)
        settings.faults.push_back(parse_fault(fault));
}

}  // namespace

std::variant<Options, int> read_options(const std::vector<std::string> &arguments, const std::string &name,
                                        std::ostream &out, std::ostream &error) {
    Options options;
    Arguments read;
    read.moment = static_cast<int>(options.settings.moment.count());
    read.turnaround = static_cast<int>(options.settings.turnaround.count());
    read.silence = static_cast<int>(options.settings.silence.count());

    common::CommandLine line("Simulated controller: Modbus RTU stations on a pseudo-terminal or a TCP port.", name,
                             KELPO_VERSION);
    common::Command app = line.command();
    app.footer(examples(name));
    app.callback([&options] { refuse_repetition(options.settings.stations); });
    add_line_options(app, options, read);
    add_value_options(app, options, read);
    add_fault_options(app, options, read);
    app.add_option("--while", options.companion, "End with this process: --while $$ in a shell script")
        .range(1, std::numeric_limits<pid_t>::max())
        .type_name("PID");

    if (const auto exit_status = line.parse(arguments, out, error))
        return *exit_status;
    take_over(read, options);
    const Mistakes mistakes = read_files(read, options.settings);
    for (const std::string &mistake : mistakes)
        error << common::printable(mistake) << "\n";
    if (!mistakes.empty())
        return exit_wrong_argument;
    return options;
}

}  // namespace plc
