#include "host/commands/list_or_line.h"

#include "host/list/list_file.h"
#include "host/list/remark_text.h"

#include <ostream>

namespace kelpo {

ListOrLine::ListOrLine(common::Command command, const LinkSettings &defaults)
    : defaults_(defaults), line_(command, defaults), list_(std::make_shared<std::string>()) {
    command.add_option("--list", *list_, "Take the line and its time-outs from this list file")
        .type_name("FILE")
        .group("Line");
}

std::optional<LinkSettings> ListOrLine::settings(DriverOnDemand &driver, std::ostream &error) const {
    LinkSettings settings = defaults_;
    if (!list_->empty()) {
        const ListReading reading = load_list(*list_, defaults_, driver.get());
        if (!reading.usable()) {
            print_remarks(reading.remarks, "kelpo: ", error);
            return std::nullopt;
        }
        settings = reading.list.link;
    }
    settings = line_.over(settings);
    if (settings.line.path.empty())
        throw common::UsageError("--line, or --list with a line in it, is required");
    return settings;
}

std::string ListOrLine::driver_file() const {
    return line_.over(defaults_).driver;
}

}  // namespace kelpo
