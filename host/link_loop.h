#pragma once

#include "host/driver_library.h"
#include "host/line.h"
#include "host/mailbox.h"

#include <atomic>
#include <cstdint>

namespace kelpo {

/// Something that the link thread learned about a request: what a callback told, or a reply that was not good.
struct LinkNote {
    enum class Kind {
        result,        ///< write-result callback; `value` is the status, 1 = done, 2 = failed
        comm_error,    ///< communication-error callback; it knows no id
        failed_reply,  ///< `value` is the driver return code, 0 = the request is sent again
    };

    Kind kind;
    int group;  ///< the request's var_group
    int id;     ///< the request's var_id, -1 for a polled block
    int value;
};

/// What the link loop has counted so far; any thread may read it while the loop runs.
struct LinkStatistics {
    std::atomic<std::uint64_t> exchanges{0};  ///< requests sent
    std::atomic<std::uint64_t> good{0};       ///< replies that the driver accepted
    std::atomic<std::uint64_t> failed{0};     ///< replies refused or missing whose request is sent again
    std::atomic<std::uint64_t> given_up{0};   ///< replies refused or missing after the last try
    std::atomic<std::uint64_t> bytes_sent{0};
    std::atomic<std::uint64_t> bytes_received{0};
    std::atomic<std::uint64_t> bytes_discarded{0};  ///< came in when nothing was awaited
    std::atomic<std::uint64_t> passes{0};           ///< complete passes over the cyclic read list
    std::atomic<std::uint64_t> writes_done{0};      ///< write-result callbacks with status 1
    std::atomic<std::uint64_t> writes_failed{0};    ///< write-result callbacks with status 2
    std::atomic<std::uint64_t> error_calls{0};      ///< communication-error callbacks
};

/// Gives the driver its configuration block and two callbacks that count in `statistics` and put what they are told
/// into `notes`. All must live as long as the driver is used. There is one driver per process, so a second call
/// replaces the first.
void attach(const DriverEntryPoints &driver, ComInfo &info, LinkStatistics &statistics, Mailbox<LinkNote> &notes);

/// Runs the link until a stop of `line` is requested: asks the driver for the next request, sends it, hands back the
/// reply. Only one thread may run it, and it needs `attach` first. Replies that are not good are put into `notes` as
/// well. Throws LineError when the line is gone.
///
/// The loop lowers ComInfo::finish_flag whenever it has counted a pass, so that the driver raises it again for the next
/// one; other threads look at LinkStatistics::passes instead.
void run_link(const DriverEntryPoints &driver, Line &line, ComInfo &info, const ReplyTimeouts &timeouts,
              LinkStatistics &statistics, Mailbox<LinkNote> &notes);

}  // namespace kelpo
