#pragma once

#include "host/frames/trace_record.h"

#include <optional>
#include <string>
#include <string_view>

namespace kelpo {

/// Times of a trace as text. Any time may be given.
enum class TimeZone { utc, local };

/// "2026-11-21".
std::string date_text(TraceTime time, TimeZone zone);

/// "05:31:26.123456".
std::string clock_text(TraceTime time, TimeZone zone);

/// "2026-11-21T05:31:26.123Z".
std::string utc_text(TraceTime time);

/// The reverse of date_text and clock_text in UTC; nothing when the texts are not exactly in their form, or name a day
/// that the calendar does not have, or a year outside 1970 to 2105.
std::optional<TraceTime> time_from(std::string_view date, std::string_view clock);

}  // namespace kelpo
