#pragma once

#include "host/driver/driver_library.h"
#include "host/line/line.h"
#include "host/link/link_watcher.h"

namespace kelpo {

/// Gives the driver its configuration block and two callbacks that tell `watcher`. Both must live as long as the driver
/// is used. There is one driver per process, so a second call replaces the first.
void attach(const DriverEntryPoints &driver, ComInfo &info, LinkWatcher &watcher);

/// Runs the link until a stop of `line` is requested: asks the driver for the next request, sends it, hands back the
/// reply, tells `watcher`. Only one thread may run it, and it needs `attach` first. Throws LineError when the line is
/// gone: the request then stays in flight in the driver, and is sent again when the loop runs once more, on another
/// line.
///
/// After a reply that the driver does not take, the loop listens for `timeouts.settle` before it goes on, so that what
/// is late does not answer the next request.
///
/// The loop lowers ComInfo::finish_flag whenever it has told of a pass, so that the driver raises it again for the next
/// one.
void run_link(const DriverEntryPoints &driver, Line &line, ComInfo &info, const ReplyTimeouts &timeouts,
              LinkWatcher &watcher);

}  // namespace kelpo
