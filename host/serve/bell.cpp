#include "host/serve/bell.h"

#include <sys/eventfd.h>

namespace kelpo {
Bell::Bell() : event_(new_event()) {}

void Bell::ring() const {
    eventfd_write(event_.number(), 1);
}

void Bell::quiet() const {
    eventfd_t times = 0;
    eventfd_read(event_.number(), &times);
}

void LinkBell::exchanged(const Exchange & /*exchange*/) {
    bell_.ring();
}

void LinkBell::station_rests(int /*station*/, std::chrono::milliseconds /*pause*/) {
    bell_.ring();
}

void LinkBell::rest_ended(int /*station*/, bool /*has_answered*/) {
    bell_.ring();
}

void LinkBell::line_opened() {
    bell_.ring();
}

void LinkBell::line_lost(const std::string & /*why*/, std::chrono::milliseconds /*pause*/) {
    bell_.ring();
}

}  // namespace kelpo
