#pragma once

#include "host/driver/variable.h"
#include "host/once/scan_options.h"
#include "host/once/station_watch.h"
#include "host/text/json.h"

#include <string>

namespace kelpo {

/// The register that a scan asks the station for.
Variable scanned_place(const ScanOptions &options, int station);

/// What the station has answered, in words. `values` are those of its place.
std::string answer_words(const StationAnswer &answer, const Variable &place, const Values &values);

/// A line for the user, from the answer's words.
std::string answer_line(int station, const StationAnswer &answer, const std::string &words);

/// The same for programs.
Json answer_object(int station, const StationAnswer &answer, const std::string &words);

}  // namespace kelpo
