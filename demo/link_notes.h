#pragma once

#include "host/link/link_watcher.h"
#include "host/link/mailbox.h"

namespace kelpo {

/// Something that the link thread learned about a request: what a callback reported, or a reply that was not good.
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

/// Puts what is reported into a mailbox, for a thread that may be slow.
class LinkNotes : public LinkWatcher {
public:
    std::vector<LinkNote> take() {
        return notes_.take();
    }

    void request_ended(const RequestName &name, RequestOutcome outcome) override {
        notes_.put({LinkNote::Kind::result, name.group, name.id, outcome == RequestOutcome::done ? 1 : 2});
    }

    void communication_failed(int group) override {
        constexpr int no_id = -1;
        notes_.put({LinkNote::Kind::comm_error, group, no_id, 1});
    }

    void exchanged(const Exchange &exchange) override {
        if (exchange.outcome != Outcome::good)
            notes_.put({LinkNote::Kind::failed_reply, exchange.name.group, exchange.name.id, exchange.code});
    }

private:
    Mailbox<LinkNote> notes_;
};

}  // namespace kelpo
