#include "host/commands/output_check.h"

#include "common/command_line.h"

#include <filesystem>

namespace kelpo {

void refuse_to_overwrite(const std::string &input, const std::string &output) {
    std::error_code none;
    if (!output.empty() && std::filesystem::equivalent(input, output, none))
        throw common::UsageError(output + ": is what is read; name another file to write");
}

}  // namespace kelpo
