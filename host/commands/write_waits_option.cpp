#include "host/commands/write_waits_option.h"

#include "host/text/words.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace kelpo {

namespace {

constexpr std::pair<const char *, std::int64_t> units[] = {{"ms", 1}, {"s", 1000}, {"min", 60000}};

}  // namespace

struct WriteWaitsOption::Given {
    std::string within;
    std::optional<IfAway> if_away;
};

std::optional<std::chrono::milliseconds> duration_from(const std::string &text) {
    constexpr std::int64_t longest = 86400000;
    const std::size_t digits = text.find_first_not_of("0123456789");
    if (digits == 0 || digits == std::string::npos)
        return std::nullopt;
    const auto number = whole_number(text.substr(0, digits));
    for (const auto &[name, milliseconds] : units)
        if (number && text.substr(digits) == name && *number > 0 && *number <= longest / milliseconds)
            return std::chrono::milliseconds(*number * milliseconds);
    return std::nullopt;
}

WriteWaitsOption::WriteWaitsOption(common::Command command) : given_(std::make_shared<Given>()) {
    command
        .add_option("--within", given_->within,
                    "A write that has not begun after this time is not sent any more, and reported as expired: 500ms, "
                    "5s, 2min; otherwise 5s")
        .check([](const std::string &text) {
            return duration_from(text) ? std::string() : in_quotes(text) + " is not a time such as 500ms, 5s or 2min";
        })
        .type_name("TIME");
    command.add_option("--if-away", given_->if_away, {{"wait", IfAway::wait}, {"fail", IfAway::fail}},
                       "A write to a station that rests or is switched off, or to a line that is lost: wait for it, "
                       "for the same time, or fail at once; otherwise it waits for a line only");
}

WriteWaits WriteWaitsOption::value() const {
    return {duration_from(given_->within).value_or(default_write_deadline),
            given_->if_away.value_or(IfAway::wait_for_line)};
}

}  // namespace kelpo
