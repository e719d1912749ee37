#pragma once

#include <string>

namespace kelpo {

/// Throws common::UsageError when `output`, unless empty, is the file `input`, under whatever name: writing would
/// destroy what is to be read.
void refuse_to_overwrite(const std::string &input, const std::string &output);

}  // namespace kelpo
