#include "host/commands/line_options.h"

#include "host/line/line_text.h"

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace kelpo {

struct LineOptions::Given {
    std::optional<std::string> line;
    std::optional<unsigned> speed;
    std::optional<Parity> parity;
    std::optional<int> stop_bits;
    bool rs485 = false;
    std::optional<double> gap;
    std::optional<int> reply_timeout;
    std::optional<int> character_timeout;
    std::optional<int> settle;
    std::optional<int> retries;
    std::optional<int> max_count;
    bool no_rest = false;
    std::optional<bool> takes_off_echo;
    std::optional<std::string> driver;
};

namespace {

constexpr int fastest = 100000000;   // bits per second
constexpr int longest_wait = 60000;  // ms

std::map<std::string, Parity> parities() {
    std::map<std::string, Parity> named;
    for (const Parity parity : {Parity::none, Parity::even, Parity::odd})
        named[name_of(parity)] = parity;
    return named;
}

std::string milliseconds_in(std::chrono::milliseconds time) {
    return std::to_string(time.count());
}

template <typename Value> void take_over(Value &setting, const std::optional<Value> &given) {
    if (given)
        setting = *given;
}

void take_over(std::chrono::milliseconds &setting, const std::optional<int> &given) {
    if (given)
        setting = std::chrono::milliseconds(*given);
}

}  // namespace

LineOptions::LineOptions(common::Command command, const LinkSettings &defaults) : given_(std::make_shared<Given>()) {
    Given &given = *given_;
    const auto add = [&command](const char *name, auto &value, const char *meaning) {
        // A script's own choice may come before its user's.
        return command.add_option(name, value, meaning).group("Line").take_last();
    };
    add("--line", given.line, "A serial port or pseudo-terminal, or tcp:HOST:PORT for a device server")
        .type_name("PATH");
    add("--speed", given.speed, "Bits per second")
        .range(1, fastest)
        .type_name("BAUD")
        .default_str(std::to_string(defaults.line.speed));
    command.add_option("--parity", given.parity, parities(), "none, even or odd")
        .group("Line")
        .take_last()
        .default_str(name_of(defaults.line.parity));
    add("--stop-bits", given.stop_bits, "1 or 2")
        .range(1, 2)
        .type_name("N")
        .default_str(std::to_string(defaults.line.stop_bits));
    command.add_flag("--rs485", given.rs485, "Let the kernel switch the transmitter of a two-wire line").group("Line");
    add("--gap", given.gap, "Milliseconds of silence between frames; otherwise 3.5 characters, at least 1.75")
        .range(0.0, 1000.0)
        .type_name("MS");
    add("--reply-timeout", given.reply_timeout, "Milliseconds to wait for a reply")
        .range(1, longest_wait)
        .type_name("MS")
        .default_str(milliseconds_in(defaults.timeouts.reply));
    add("--character-timeout", given.character_timeout, "Milliseconds of silence that end a reply")
        .range(1, longest_wait)
        .type_name("MS")
        .default_str(milliseconds_in(defaults.timeouts.inter_character));
    add("--settle", given.settle, "Milliseconds to listen for a late reply after a failure")
        .range(0, longest_wait)
        .type_name("MS")
        .default_str(milliseconds_in(defaults.timeouts.settle));
    add("--retries", given.retries, "Failed replies that are tolerated before a request is given up")
        .range(0, 100)
        .type_name("N")
        .default_str(std::to_string(defaults.retries));
    add("--max-count", given.max_count, "Most registers in one request")
        .range(1, 100)
        .type_name("N")
        .default_str(std::to_string(defaults.max_count));
    command.add_flag("--no-rest", given.no_rest, "Ask stations that do not answer as often as all others")
        .group("Line");
    command
        .add_option("--echo", given.takes_off_echo, {{"auto", true}, {"off", false}},
                    "auto: take off what a two-wire adapter returns of each request")
        .group("Line")
        .take_last()
        .default_str("off");
    add("--driver", given.driver, "File name of the driver").type_name("FILE").default_str(defaults.driver);
}

LinkSettings LineOptions::over(LinkSettings settings) const {
    const Given &given = *given_;
    take_over(settings.line.path, given.line);
    take_over(settings.line.speed, given.speed);
    take_over(settings.line.parity, given.parity);
    take_over(settings.line.stop_bits, given.stop_bits);
    settings.line.rs485 = settings.line.rs485 || given.rs485;
    if (given.gap)
        settings.line.gap =
            std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double, std::milli>(*given.gap));
    take_over(settings.timeouts.reply, given.reply_timeout);
    take_over(settings.timeouts.inter_character, given.character_timeout);
    take_over(settings.timeouts.settle, given.settle);
    take_over(settings.retries, given.retries);
    take_over(settings.max_count, given.max_count);
    settings.rest.enabled = settings.rest.enabled && !given.no_rest;
    take_over(settings.takes_off_echo, given.takes_off_echo);
    take_over(settings.driver, given.driver);
    return settings;
}

bool LineOptions::has_line() const {
    return given_->line.has_value();
}

bool LineOptions::has_speed() const {
    return given_->speed.has_value();
}

bool LineOptions::has_parity() const {
    return given_->parity.has_value();
}

bool LineOptions::has_stop_bits() const {
    return given_->stop_bits.has_value();
}

}  // namespace kelpo
