#include "host/commands/run_program.h"

#include "common/standard_streams.h"
#include "host/driver/driver_error.h"
#include "host/exit_code.h"
#include "host/line/line_error.h"
#include "host/text/words.h"

#include <exception>
#include <iostream>

namespace kelpo {
namespace {

int complain(const char *program, const std::exception &cause, ExitCode code) {
    std::cerr << program << ": " << printable(cause.what()) << "\n";
    return static_cast<int>(code);
}

}  // namespace

int run_program(const char *program, const std::function<int()> &run) {
    common::open_standard_descriptors();
    try {
        const int ended_with = run();
        return common::output_was_written(program) ? ended_with : static_cast<int>(ExitCode::system);
    } catch (const DriverLibraryError &cause) {
        return complain(program, cause, ExitCode::no_driver);
    } catch (const LineError &cause) {
        return complain(program, cause, ExitCode::no_line);
    } catch (const std::exception &cause) {
        return complain(program, cause, ExitCode::system);
    }
}

}  // namespace kelpo
