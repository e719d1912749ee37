#pragma once

#include <string>

namespace kelpo {

/// The meaning of a driver return code of DataCom (docs/host-guide.md): "given up: no reply", without the group, which
/// the code also contains. "unknown driver code 7" for a number that is not one.
std::string return_code_words(int code);

}  // namespace kelpo
