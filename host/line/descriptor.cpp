#include "host/line/descriptor.h"

#include <cerrno>
#include <system_error>

#include <sys/eventfd.h>

namespace kelpo {

Descriptor new_event() {
    Descriptor event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (event.number() < 0)
        throw std::system_error(errno, std::generic_category(), "cannot make an event");
    return event;
}

}  // namespace kelpo
