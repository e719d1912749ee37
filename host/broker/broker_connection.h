#pragma once

#include "host/list/service_settings.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelpo {

/// A message that a broker has passed on.
struct ReceivedMessage {
    std::string topic;
    std::string payload;
    std::size_t size;  ///< of the payload as it was sent: the rest of one that is too long is not kept
    bool is_retained;  ///< the broker had kept it, or was asked to keep it
};

/// Payloads are kept up to this size.
constexpr std::size_t longest_payload = std::size_t{64} << 10U;

/// What a connection begins with.
struct BrokerLogin {
    std::string client_id;
    std::string will_topic, will_payload;   ///< what the broker publishes, retained, when the connection is lost
    std::vector<std::string> topics;        ///< to be heard
    std::vector<std::string> own_topics{};  ///< to be heard where somebody else, or the client before, has published
                                            ///< there; with MQTT 3.1.1, which has no such thing, they are not heard
};

/// A connection to one broker, with a thread of its own.
class BrokerConnection {
public:
    /// Gets reports from the connection's own thread. They must be quick, and must not end the connection.
    class Listener {
    public:
        virtual ~Listener() = default;

        /// The broker has let the client in, and was asked for the topics.
        virtual void connected() = 0;

        /// The connection could not be made, or is lost. Nothing more is reported. `is_replaced`: another client has
        /// come with the same client id.
        virtual void disconnected(const std::string &why, bool is_replaced) = 0;

        /// The broker has the message that publish() has returned this number for.
        virtual void acknowledged(int number) = 0;

        /// What the topics bring.
        virtual void received(ReceivedMessage message) = 0;

        /// Something that the user should know.
        virtual void remark(const std::string &text) = 0;
    };

    /// Ends the connection. The broker publishes the will, unless it was said goodbye to.
    virtual ~BrokerConnection() = default;

    /// What publish() returns for a message that this broker never takes, since it is too large for it.
    static constexpr int never_taken = 0;

    /// Passes a message on, to be acknowledged, and returns its number. Nothing when the connection is not there any
    /// more.
    virtual std::optional<int> publish(const std::string &topic, const std::string &payload, bool is_retained) = 0;

    /// Tells the broker that the client goes: there is no will then.
    virtual void say_goodbye() = 0;
};

/// Begins to connect; the listener must outlive the connection. Throws std::runtime_error when there is something
/// that no broker could help with, such as a file that cannot be read.
using ConnectToBroker =
    std::function<std::unique_ptr<BrokerConnection>(const BrokerAddress &, BrokerConnection::Listener &)>;

}  // namespace kelpo
