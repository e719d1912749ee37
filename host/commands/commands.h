#pragma once

#include "common/command_line.h"

namespace kelpo {

// Each adds one subcommand to `app`: its options, its help with examples, and what it does. When the user calls it, it
// runs while the command line is parsed, and leaves in `exit_code` the program's exit code (host/exit_code.h). `app`
// and `exit_code` must outlive the parsing. A command that cannot start throws: DriverLibraryError, LineError, or
// another std::exception when the system refuses something.

void add_address_command(common::Command app, int &exit_code);
void add_check_command(common::Command app, int &exit_code);
void add_listen_command(common::Command app, int &exit_code);
void add_plan_command(common::Command app, int &exit_code);
void add_plc_command(common::Command app, int &exit_code);
void add_poll_command(common::Command app, int &exit_code);
void add_read_command(common::Command app, int &exit_code);
void add_scan_command(common::Command app, int &exit_code);
void add_serve_command(common::Command app, int &exit_code);  // where KELPO_SERVICE is defined
void add_trace_command(common::Command app, int &exit_code);
void add_write_command(common::Command app, int &exit_code);

}  // namespace kelpo
