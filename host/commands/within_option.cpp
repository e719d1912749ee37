#include "host/commands/within_option.h"

#include "host/text/words.h"
#include "host/write/write_queue.h"

#include <cstdint>
#include <utility>

namespace kelpo {

std::optional<std::chrono::milliseconds> duration_from(const std::string &text) {
    constexpr std::pair<const char *, std::int64_t> units[] = {{"ms", 1}, {"s", 1000}, {"min", 60000}};
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

WithinOption::WithinOption(common::Command command) : text_(std::make_shared<std::string>()) {
    command
        .add_option("--within", *text_,
                    "A write that has not begun after this time is not sent any more, and reported as expired: 500ms, "
                    "5s, 2min; otherwise 5s")
        .check([](const std::string &text) {
            return duration_from(text) ? std::string() : in_quotes(text) + " is not a time such as 500ms, 5s or 2min";
        })
        .type_name("TIME");
}

std::chrono::milliseconds WithinOption::value() const {
    return duration_from(*text_).value_or(default_write_deadline);
}

}  // namespace kelpo
