#include "host/commands/output_check.h"

#include "common/command_line.h"

#include <filesystem>
#include <system_error>

#include <sys/stat.h>

namespace kelpo {

void refuse_to_overwrite(const std::string &input, const std::string &output) {
    struct stat read, written;
    const bool both_exist = ::stat(input.c_str(), &read) == 0 && ::stat(output.c_str(), &written) == 0;
    if (both_exist && read.st_dev == written.st_dev && read.st_ino == written.st_ino)
        throw common::UsageError(output + ": is what is read; name another file to write");
}

void refuse_same_output(const std::string &one, const std::string &other) {
    std::error_code none;
    if (!one.empty() && !other.empty() &&
        std::filesystem::weakly_canonical(one, none) == std::filesystem::weakly_canonical(other, none))
        throw common::UsageError(other + ": is written already; name another file");
}

}  // namespace kelpo
