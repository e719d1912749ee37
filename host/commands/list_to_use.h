#pragma once

#include "host/commands/line_options.h"
#include "host/list/poll_list.h"

#include <optional>
#include <string>

namespace kelpo {

class Driver;

/// The list in `file`, whose line is as the options say where they do. What is wrong with the list is printed on
/// standard error, each remark after `prefix`. Nothing when the list has mistakes.
std::optional<PollList> list_to_use(const std::string &file, const LineOptions &line, const Driver &driver,
                                    const std::string &prefix);

/// Throws common::UsageError when neither the list nor the options name a line.
void require_line(const PollList &list);

}  // namespace kelpo
