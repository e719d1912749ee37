#pragma once

#include <string>

namespace kelpo {

/// What a driver return code of DataCom says (docs/host-guide.md): "given up: no reply", without the group that the
/// code also tells. "unknown driver code 7" for a number that is none.
std::string return_code_words(int code);

}  // namespace kelpo
