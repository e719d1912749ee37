#pragma once

#include "host/link/link_watcher.h"

#include <chrono>
#include <map>
#include <mutex>
#include <string>

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
    void line_echoes(bool is_taken_off) override;

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

}  // namespace kelpo
