#include "host/list/service_settings.h"

#include "common/utf8_text.h"
#include "host/text/words.h"

#include <algorithm>
#include <string_view>

namespace kelpo {
namespace {

bool fits_a_topic(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '-' || letter == '_';
}

// What is before the last colon, and after it; an address of IPv6 is in brackets.
struct HostAndPort {
    std::string host;
    std::optional<std::string> port;
};

std::optional<HostAndPort> split(std::string_view text) {
    if (text.empty() || text[0] != '[') {
        const std::size_t colon = text.find(':');
        if (colon == std::string_view::npos)
            return HostAndPort{std::string(text), std::nullopt};
        return HostAndPort{std::string(text.substr(0, colon)), std::string(text.substr(colon + 1))};
    }
    const std::size_t end = text.find(']');
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::string host(text.substr(1, end - 1));
    const std::string_view rest = text.substr(end + 1);
    if (rest.empty())
        return HostAndPort{host, std::nullopt};
    if (rest[0] != ':')
        return std::nullopt;
    return HostAndPort{host, std::string(rest.substr(1))};
}

}  // namespace

std::string BrokerAddress::text() const {
    const bool is_ipv6 = host.find(':') != std::string::npos;
    return (tls ? "mqtts://" : "mqtt://") + (is_ipv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<BrokerAddress> broker_from(const std::string &text) {
    constexpr std::string_view plain = "mqtt://", secured = "mqtts://";
    constexpr int plain_port = 1883, secured_port = 8883, last_port = 65535;
    const bool tls = text.rfind(secured, 0) == 0;
    if (!tls && text.rfind(plain, 0) != 0)
        return std::nullopt;
    const auto parts = split(std::string_view(text).substr(tls ? secured.size() : plain.size()));
    if (!parts || parts->host.empty() || parts->host.find_first_of("/@ ") != std::string::npos ||
        !is_printable(parts->host))
        return std::nullopt;
    if (!parts->port)
        return BrokerAddress{parts->host, tls ? secured_port : plain_port, tls};
    const auto port = whole_number(*parts->port);
    if (!port || *port < 1 || *port > last_port)
        return std::nullopt;
    return BrokerAddress{parts->host, static_cast<int>(*port), tls};
}

bool is_topic_level(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), fits_a_topic);
}

std::string topic_level_of(const std::string &name) {
    std::string level;
    for (const char letter : lowered(name)) {
        if (common::continues_character(letter))
            continue;
        level += fits_a_topic(letter) ? letter : '-';
    }
    return level;
}

}  // namespace kelpo
