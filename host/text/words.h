#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// `text` from any source as whatever is printed shows it, in one line: what a terminal might obey as \xHH, and bytes
/// that are not UTF-8 too.
std::string printable(std::string_view text);

/// The same in double quotes, a long text cut short.
std::string in_quotes(std::string_view text);

/// Without blanks at both ends.
std::string_view trimmed(std::string_view text);

/// With small letters for A to Z.
std::string lowered(std::string_view text);

/// A decimal number that `text` is as a whole.
std::optional<long long> whole_number(std::string_view text);

/// The one of `known` that differs least from `name`, if the difference is small; capital letters count as small ones.
std::optional<std::string> nearest(std::string_view name, const std::vector<std::string> &known);

/// "a, b and c".
std::string listed(const std::vector<std::string> &words);

/// True when `text` is valid UTF-8.
bool is_utf8(std::string_view text);

/// True when printable() leaves `text` as it is.
bool is_printable(std::string_view text);

/// Columns that UTF-8 text takes on a terminal: by the locale's table two for wide characters and none for those that
/// combine with the one before. A character that the locale does not know takes one: it is shown as a question mark.
std::size_t width_of(std::string_view text);

/// The first characters of UTF-8 text, in at most `width` columns; the last is "~" when more follow.
std::string cut_to(std::string_view text, std::size_t width);

}  // namespace kelpo
