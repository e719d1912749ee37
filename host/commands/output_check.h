#pragma once

#include <string>

namespace kelpo {

/// Throws common::UsageError when `output`, unless empty, is the file or the line `input`, under any name: writing
/// would destroy what is to be read, or be sent on the line.
void refuse_to_overwrite(const std::string &input, const std::string &output);

/// Throws common::UsageError when both are named, and would be the same file: the second would replace the first.
void refuse_same_output(const std::string &one, const std::string &other);

}  // namespace kelpo
