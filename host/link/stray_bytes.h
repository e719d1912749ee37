#pragma once

#include "host/link/reply_ledger.h"

#include <string>
#include <string_view>

namespace kelpo {

/// Finds late replies in what comes when no reply is expected, piece by piece, and crosses them off in the ledger.
class StrayBytes {
public:
    /// `ledger` must outlive the object.
    explicit StrayBytes(ReplyLedger &ledger) : ledger_(ledger) {}

    /// What comes next begins something new.
    void forget() {
        unjudged_.clear();
    }

    void hear(std::string_view bytes, ReplyLedger::Arrival arrival);

private:
    ReplyLedger &ledger_;
    std::string unjudged_;  // may yet become a reply
};

}  // namespace kelpo
