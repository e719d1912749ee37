#pragma once

#include "host/link/link_settings.h"
#include "host/link/link_watcher.h"

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kelpo {

/// In words for the user: a station answers later than the reply time-out allows.
std::string late_words(int station, std::chrono::milliseconds time, std::chrono::milliseconds reply_timeout);

/// In words for the user: a station asks to wait too often.
std::string waiting_words(int station);

/// In words for the user: the line returns what is sent.
std::string echo_words(bool is_taken_off);

/// Keeps what the user should know about a line beyond the requests that were asked for. Any thread may read it.
class LinkRemarks : public LinkWatcher {
public:
    explicit LinkRemarks(LinkSettings settings) : settings_(std::move(settings)) {}

    /// Each a sentence without a full stop, once for each station.
    std::vector<std::string> sentences() const;

    /// Those that are new since the last call.
    std::vector<std::string> take_new();

    void reply_late(int station, std::chrono::milliseconds time) override;
    void line_echoes(bool is_taken_off) override;
    void wait_refused(int station) override;

private:
    const LinkSettings settings_;
    mutable std::mutex mutex_;  // guards all below
    std::map<int, std::chrono::milliseconds> latest_;
    std::set<int> waiting_;
    std::optional<bool> echoes_;  // and it is taken off
    std::vector<std::string> new_;
};

}  // namespace kelpo
