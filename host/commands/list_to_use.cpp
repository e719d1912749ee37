#include "host/commands/list_to_use.h"

#include "host/list/list_file.h"
#include "host/list/remark_text.h"

#include <iostream>
#include <utility>

namespace kelpo {

std::optional<PollList> list_to_use(const std::string &file, const LineOptions &line, const Driver &driver,
                                    const std::string &prefix) {
    ListReading reading = load_list(file, line.over(LinkSettings()), driver);
    print_remarks(reading.remarks, prefix, std::cerr);
    if (!reading.usable())
        return std::nullopt;
    reading.list.link = line.over(reading.list.link);
    return std::move(reading.list);
}

void require_line(const PollList &list) {
    if (list.link.line.path.empty())
        throw common::UsageError("--line, or a list with a line in it, is required");
}

}  // namespace kelpo
