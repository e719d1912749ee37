#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kelpo {

/// What a line is called on a broker.
struct SiteSettings {
    std::string site, line;  ///< levels of a topic
};

/// Where a broker is.
struct BrokerAddress {
    std::string host;
    int port;
    bool tls;

    /// "mqtt://HOST:PORT" or "mqtts://HOST:PORT".
    std::string text() const;
};

enum class MqttVersion { v3_1_1, v5 };

/// How values are published.
enum class Publishing {
    each,   ///< a message for each value that has changed
    bundle  ///< one more for all of a station that have changed together
};

/// How a line is brought to a broker.
struct MqttSettings {
    std::vector<BrokerAddress> brokers;  ///< in the order in which they are tried
    std::string root = "kelpo";          ///< levels of a topic, above the site
    std::string user;
    std::string password_file, ca, certificate, key;  ///< names of files; empty: none
    std::string client_id;                            ///< empty: made of root, site and line
    MqttVersion version = MqttVersion::v5;
    std::chrono::seconds keep_alive{10};
    int window = 100;  ///< most messages that the broker has not acknowledged
    Publishing publishing = Publishing::each;
};

/// The broker that `text` means: mqtt://HOST:PORT, or mqtts:// for TLS. The port may be left out. Nothing when it is
/// something else.
std::optional<BrokerAddress> broker_from(const std::string &text);

/// True when `text` can be a level of a topic: small letters of ASCII, digits, '-' and '_'.
bool is_topic_level(const std::string &text);

/// `name`, which is UTF-8, as a level of a topic: small letters, and '-' for each other character.
std::string topic_level_of(const std::string &name);

}  // namespace kelpo
