#include "host/frames/trace_time.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>

namespace kelpo {
namespace {

using std::chrono::microseconds;

constexpr std::int64_t a_second = 1000000;
constexpr std::int64_t a_day = 86400;

struct Date {
    int year, month, day;  // counted from 1
};

struct Moment {
    Date date;
    int hour, minute, second, microsecond;
};

bool leap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int days_in(int year, int month) {
    static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && leap(year) ? 29 : days[month - 1];
}

// Days from 1 January 1970 to 1 January of `year`.
std::int64_t days_to(int year) {
    const std::int64_t whole = year - 1;
    return 365 * (whole - 1969) + (whole / 4 - 492) - (whole / 100 - 19) + (whole / 400 - 4);
}

Date date_of(std::int64_t days) {
    int year = 1970 + static_cast<int>(days / 366);
    while (days_to(year + 1) <= days)
        ++year;
    auto left = static_cast<int>(days - days_to(year));
    int month = 1;
    for (; left >= days_in(year, month); ++month)
        left -= days_in(year, month);
    return {year, month, left + 1};
}

// Times before 1970 are shown as its first moment.
Moment moment_of(TraceTime time, TimeZone zone) {
    const std::int64_t since = std::max<std::int64_t>(0, time.time_since_epoch().count());
    const std::int64_t seconds = since / a_second;
    const auto fraction = static_cast<int>(since % a_second);
    std::tm local{};
    const bool fits = seconds <= std::numeric_limits<std::time_t>::max();
    const auto as_time = static_cast<std::time_t>(seconds);
    if (zone == TimeZone::local && fits && ::localtime_r(&as_time, &local) != nullptr)
        return {{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday},
                local.tm_hour,
                local.tm_min,
                local.tm_sec,
                fraction};
    const auto rest = static_cast<int>(seconds % a_day);
    return {date_of(seconds / a_day), rest / 3600, rest / 60 % 60, rest % 60, fraction};
}

// The numbers of `text`, which has the form of `pattern`: '0' means a digit, all else itself. They are 0
// before.
template <std::size_t fields>
bool take_numbers(std::string_view text, std::string_view pattern, int (&numbers)[fields]) {
    if (text.size() != pattern.size())
        return false;
    std::size_t field = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (pattern[i] != '0') {
            if (text[i] != pattern[i])
                return false;
            ++field;
        } else if (text[i] < '0' || text[i] > '9') {
            return false;
        } else {
            numbers[field] = numbers[field] * 10 + (text[i] - '0');
        }
    }
    return true;
}

}  // namespace

std::string date_text(TraceTime time, TimeZone zone) {
    const Date date = moment_of(time, zone).date;
    return fmt::format("{:04}-{:02}-{:02}", date.year, date.month, date.day);
}

std::string clock_text(TraceTime time, TimeZone zone) {
    const Moment moment = moment_of(time, zone);
    return fmt::format("{:02}:{:02}:{:02}.{:06}", moment.hour, moment.minute, moment.second, moment.microsecond);
}

std::string utc_text(TraceTime time) {
    constexpr std::size_t hh_mm_ss_mmm = 12;
    return date_text(time, TimeZone::utc) + "T" + clock_text(time, TimeZone::utc).substr(0, hh_mm_ss_mmm) + "Z";
}

std::optional<TraceTime> time_from(std::string_view date, std::string_view clock) {
    int day[3] = {}, hour[4] = {};
    if (!take_numbers(date, "0000-00-00", day) || !take_numbers(clock, "00:00:00.000000", hour))
        return {};
    if (day[0] < 1970 || day[0] > 2105 || day[1] < 1 || day[1] > 12 || day[2] < 1 || day[2] > days_in(day[0], day[1]) ||
        hour[0] > 23 || hour[1] > 59 || hour[2] > 59)
        return {};
    std::int64_t days = days_to(day[0]) + day[2] - 1;
    for (int month = 1; month < day[1]; ++month)
        days += days_in(day[0], month);
    const std::int64_t seconds = days * a_day + std::int64_t{hour[0]} * 3600 + std::int64_t{hour[1]} * 60 + hour[2];
    return TraceTime(microseconds(seconds * a_second + hour[3]));
}

}  // namespace kelpo
