#include "host/serve/service_manager.h"

#include "host/line/descriptor.h"
#include "host/text/words.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kelpo {
namespace {

std::string from_environment(const char *name) {
    const char *const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

}  // namespace

ServiceManager::ServiceManager() : socket_(from_environment("NOTIFY_SOCKET")) {
    const std::string process = from_environment("WATCHDOG_PID");
    const auto time = whole_number(from_environment("WATCHDOG_USEC"));
    if (time && *time > 0 && (process.empty() || process == std::to_string(getpid())))
        watchdog_ = std::chrono::microseconds(*time);
}

void ServiceManager::notify(const std::string &lines) const {
    sockaddr_un address{};
    if (socket_.empty() || socket_.size() >= sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socket_.data(), socket_.size());
    if (socket_[0] == '@')  // a name that is not in the file system begins with a zero
        address.sun_path[0] = '\0';
    const Descriptor sender(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (sender.number() < 0)
        return;
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());
    // Nobody is there to hear that this failed.
    [[maybe_unused]] const ssize_t sent = sendto(sender.number(), lines.data(), lines.size(), MSG_NOSIGNAL,
                                                 reinterpret_cast<const sockaddr *>(&address), length);
}

}  // namespace kelpo
