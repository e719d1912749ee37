#pragma once

#include "host/driver/driver.h"
#include "host/exit_code.h"
#include "host/line/stop_signal.h"
#include "host/link/link_settings.h"
#include "host/link/link_watcher.h"

#include <chrono>
#include <iosfwd>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace kelpo {

/// What a station has answered.
struct StationAnswer {
    enum class Kind {
        value,    ///< the register that was asked for
        refused,  ///< a Modbus exception: it is there, but has no such register
        other,    ///< a whole reply to another question
        late      ///< a whole reply when another station was asked already
    };

    Kind kind;
    std::string text;                ///< in words; empty for a value
    std::chrono::microseconds time;  ///< from the request to the reply; 0 for a late one
};

/// Listens while station after station is asked. Any whole reply with the right check counts, from any station. Any
/// thread may read it.
class StationWatch : public LinkWatcher {
public:
    void exchanged(const Exchange &exchange) override;
    void line_echoes() override;

    /// How many stations were asked and will not be asked again.
    int asked() const;

    std::map<int, StationAnswer> answers() const;

    /// For each station that was asked and was answered by bytes that are not a reply: what was wrong with them.
    std::map<int, std::string> noises() const;

private:
    void heard(int station, const StationAnswer &answer);

    mutable std::mutex mutex_;
    int asked_ = 0;
    bool echoes_ = false;  // what comes back is neither noise nor an answer
    std::map<int, StationAnswer> answers_;
    std::map<int, std::string> noises_;
};

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

/// Asks each station and prints on `out` which answer, by their numbers, and on `error` what else was noticed. `stop`
/// ends it with the results so far. all_well when some station answers, not_right when none does. Throws LineError.
ExitCode run_scan(Driver &driver, const ScanOptions &options, StopSignal &stop, std::ostream &out, std::ostream &error);

}  // namespace kelpo
