#pragma once

#include "host/exit_code.h"
#include "host/link/link_watcher.h"

#include <string>

namespace kelpo {

/// Why an exchange failed.
struct Failure {
    enum class Kind {
        no_reply,   ///< nothing came before the time-out
        refused,    ///< the controller answered with a Modbus exception
        bad_reply,  ///< something came that is not an answer to the request
        not_now     ///< the controller's own reply that asks the host to wait
    };

    Kind kind;
    std::string text;  ///< for the user, in words, without a full stop
};

/// What went wrong in an exchange that the driver did not accept as good. The bytes say more than the driver's code,
/// which treats an exception as a reply of the wrong length. A pure function.
Failure failure_of(const Exchange &exchange);

/// The exit code that a failure of this kind ends with.
ExitCode exit_code_of(Failure::Kind kind);

}  // namespace kelpo
