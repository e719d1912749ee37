#pragma once

#include "host/driver/variable.h"
#include "host/link/link_settings.h"
#include "host/list/service_settings.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// A line of a file.
struct FilePlace {
    std::string file;
    int line;  ///< from 1; 0: the file as a whole
};

/// One controller on the line.
struct Station {
    int number;                                             ///< 1 to 247
    std::string name;                                       ///< empty when the list gives none
    bool enabled;                                           ///< false: it is not asked until the user switches it on
    std::optional<std::chrono::milliseconds> every{};       ///< Variable::every of those that have none of their own
    std::optional<std::chrono::microseconds> turnaround{};  ///< PollList::turnaround of this station
};

/// A line of one of a list's files.
struct DefinedAt {
    std::uint8_t file;  ///< its place in PollList::files
    int line;
};

/// What a list file says.
struct PollList {
    LinkSettings link;
    std::chrono::microseconds turnaround{5000};  ///< estimate: from the end of a request to the first byte of its reply
    std::vector<Station> stations;               ///< all that are described or that variables name, by number
    std::vector<Variable> variables;             ///< in the order of the list; names are unique
    std::vector<std::string> files;              ///< that define variables
    std::vector<DefinedAt> defined;              ///< where each variable was defined, in the same order
    std::optional<SiteSettings> site;            ///< for `kelpo serve`, if the list has it
    std::optional<MqttSettings> mqtt;            ///< the same

    FilePlace place_of(const DefinedAt &at) const {
        return {files[at.file], at.line};
    }
    FilePlace place_of(std::size_t variable) const {
        return place_of(defined[variable]);
    }

    /// The station of that number; it must be one of `stations`.
    const Station &station(int number) const;

    /// How long that station takes to answer.
    std::chrono::microseconds turnaround_of(int number) const {
        return station(number).turnaround.value_or(turnaround);
    }
};

/// A message to the author of a list.
struct Remark {
    enum class Kind {
        mistake,  ///< the list cannot be used
        warning   ///< it can, but may surprise
    };

    Kind kind;
    FilePlace place;
    std::string text;      ///< what is wrong; what would be right
    std::size_t more = 0;  ///< further ones of its kind, which are counted only
};

using Remarks = std::vector<Remark>;

/// "FILE:LINE: text", with "warning: " before the text of a warning; without the line when there is none.
std::string text_of(const Remark &remark);

}  // namespace kelpo
