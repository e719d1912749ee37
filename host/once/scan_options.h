#pragma once

#include "host/link/link_settings.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace kelpo {

struct ScanOptions {
    LinkSettings link;
    std::vector<int> stations;  ///< to be asked, in this order
    int type = 7;               ///< register type and address of the register that each is asked for
    std::string address = "0";
    bool json = false;            ///< one JSON object for each station that answers, instead of lines
    bool shows_progress = false;  ///< keeps a bar on `error`, a terminal
};

/// The time-outs of a scan, unless the user chooses others: short, since most stations do not answer.
LinkSettings scan_defaults();

/// A text that names no stations; what() says what would be right.
class StationsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The stations that `text` names, such as "1-20,33", each once, in the order of their numbers. Throws StationsError.
std::vector<int> stations_from(const std::string &text);

}  // namespace kelpo
