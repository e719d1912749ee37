#include "plc/system/system_call.h"

#include <system_error>

namespace plc {

void fail(const std::string &what, int error) {
    throw std::system_error(error, std::generic_category(), what);
}

bool would_wait(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace plc
