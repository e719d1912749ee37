#include "host/broker/mosquitto_connection.h"

#include "common/regular_file.h"
#include "host/text/words.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace kelpo {
namespace {

constexpr int quality_of_service = 1;
constexpr int loop_ms = 100;  // until the connection's thread looks whether it is to end
constexpr auto time_for_goodbye = std::chrono::milliseconds(500);
constexpr const char *system_certificates = "/etc/ssl/certs";

struct Library {
    Library() {
        mosquitto_lib_init();
    }
    ~Library() {
        mosquitto_lib_cleanup();
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;
};

// A file that the service manager hands over under the same name comes first.
std::string place_of(const std::string &file) {
    if (const char *const folder = std::getenv("CREDENTIALS_DIRECTORY")) {
        std::string handed_over = std::string(folder) + "/" + file.substr(file.rfind('/') + 1);
        if (common::content_of_file(handed_over).text)
            return handed_over;
    }
    return file;
}

std::string password_in(const std::string &file) {
    const common::FileContent content = common::content_of_file(place_of(file));
    if (!content.text)
        throw std::runtime_error("password-file " + in_quotes(file) + " cannot be read: " + content.error);
    return content.text->substr(0, content.text->find_first_of("\r\n"));
}

const char *or_null(const std::string &text) {
    return text.empty() ? nullptr : text.c_str();
}

void require(int result, const std::string &what) {
    if (result != MOSQ_ERR_SUCCESS)
        throw std::runtime_error(what + ": " +
                                 (result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result)));
}

class MosquittoConnection : public BrokerConnection {
public:
    MosquittoConnection(BrokerAddress broker, const MqttSettings &settings, BrokerLogin login, Listener &listener)
        : broker_(std::move(broker)), login_(std::move(login)), listener_(listener),
          is_v5_(settings.version == MqttVersion::v5), keep_alive_(static_cast<int>(settings.keep_alive.count())),
          client_(mosquitto_new(login_.client_id.c_str(), true, this), mosquitto_destroy) {
        if (!client_)
            throw std::runtime_error("no MQTT client: " + std::string(std::strerror(errno)));
        set_up(settings);
        thread_ = std::thread([this] { run(); });
    }

    ~MosquittoConnection() override {
        ends_ = true;
        thread_.join();
    }
    MosquittoConnection(const MosquittoConnection &) = delete;
    MosquittoConnection &operator=(const MosquittoConnection &) = delete;

    std::optional<int> publish(const std::string &topic, const std::string &payload, bool is_retained) override {
        int number = 0;
        const int result = mosquitto_publish_v5(client_.get(), &number, topic.c_str(), static_cast<int>(payload.size()),
                                                payload.data(), quality_of_service, is_retained, nullptr);
        if (result == MOSQ_ERR_OVERSIZE_PACKET || result == MOSQ_ERR_PAYLOAD_SIZE)
            return never_taken;
        return result == MOSQ_ERR_SUCCESS ? std::optional<int>(number) : std::nullopt;
    }

    void say_goodbye() override {
        goodbye_until_ = std::chrono::steady_clock::now() + time_for_goodbye;
        mosquitto_disconnect_v5(client_.get(), MQTT_RC_NORMAL_DISCONNECTION, nullptr);
    }

private:
    static MosquittoConnection &of(void *object) {
        return *static_cast<MosquittoConnection *>(object);
    }

    void set_up(const MqttSettings &settings) {
        mosquitto *const client = client_.get();
        require(mosquitto_threaded_set(client, true), "threads");
        require(mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, is_v5_ ? MQTT_PROTOCOL_V5 : MQTT_PROTOCOL_V311),
                "version");
        require(mosquitto_int_option(client, MOSQ_OPT_SEND_MAXIMUM, settings.window), "window");
        require(mosquitto_int_option(client, MOSQ_OPT_TCP_NODELAY, 1), "no delay");
        if (!settings.user.empty()) {
            const std::string password =
                settings.password_file.empty() ? std::string() : password_in(settings.password_file);
            require(mosquitto_username_pw_set(client, settings.user.c_str(),
                                              settings.password_file.empty() ? nullptr : password.c_str()),
                    "user " + in_quotes(settings.user));
        }
        if (broker_.tls)
            set_up_tls(settings);
        require(mosquitto_will_set_v5(client, login_.will_topic.c_str(), static_cast<int>(login_.will_payload.size()),
                                      login_.will_payload.data(), quality_of_service, true, nullptr),
                "will");
        mosquitto_connect_v5_callback_set(client, on_connect);
        mosquitto_disconnect_v5_callback_set(client, on_disconnect);
        mosquitto_publish_v5_callback_set(client, on_publish);
        mosquitto_subscribe_v5_callback_set(client, on_subscribe);
        mosquitto_message_v5_callback_set(client, on_message);
    }

    void set_up_tls(const MqttSettings &settings) {
        const auto file = [](const std::string &name) {
            return name.empty() ? std::string() : place_of(name);
        };
        const std::string ca = file(settings.ca), certificate = file(settings.certificate), key = file(settings.key);
        require(mosquitto_tls_set(client_.get(), or_null(ca), ca.empty() ? system_certificates : nullptr,
                                  or_null(certificate), or_null(key), nullptr),
                "ca, certificate or key cannot be used");
    }

    void run() {
        int result =
            mosquitto_connect_bind_async(client_.get(), broker_.host.c_str(), broker_.port, keep_alive_, nullptr);
        while (result == MOSQ_ERR_SUCCESS && !may_end())
            result = mosquitto_loop(client_.get(), loop_ms, 1);
        if (result != MOSQ_ERR_SUCCESS)
            end(result == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(result), false);
    }

    bool may_end() const {
        return ends_ && std::chrono::steady_clock::now() >= goodbye_until_.load();
    }

    void end(const std::string &why, bool is_replaced) {
        if (!std::exchange(is_ended_, true))
            listener_.disconnected(why, is_replaced);
    }

    static void on_connect(mosquitto *client, void *object, int reason, int, const mosquitto_property *) {
        MosquittoConnection &connection = of(object);
        if (reason != 0) {
            connection.end(connection.is_v5_ ? mosquitto_reason_string(reason) : mosquitto_connack_string(reason),
                           false);
            return;
        }
        // A command that is retained is passed on as such only if the broker is asked to.
        const int options = connection.is_v5_ ? MQTT_SUB_OPT_RETAIN_AS_PUBLISHED : 0;
        for (const std::string &topic : connection.login_.topics)
            mosquitto_subscribe_v5(client, nullptr, topic.c_str(), quality_of_service, options, nullptr);
        if (connection.is_v5_)
            connection.subscribe_to_own_topics();
        connection.listener_.connected();
    }

    void subscribe_to_own_topics() {
        for (const std::string &topic : login_.own_topics) {
            int number = 0;
            mosquitto_subscribe_v5(client_.get(), &number, topic.c_str(), quality_of_service,
                                   MQTT_SUB_OPT_RETAIN_AS_PUBLISHED | MQTT_SUB_OPT_NO_LOCAL, nullptr);
            own_subscriptions_.insert(number);
        }
    }

    static void on_disconnect(mosquitto *, void *object, int reason, const mosquitto_property *) {
        of(object).end(reason < MQTT_RC_UNSPECIFIED ? mosquitto_strerror(reason) : mosquitto_reason_string(reason),
                       reason == MQTT_RC_SESSION_TAKEN_OVER);
    }

    static void on_publish(mosquitto *, void *object, int number, int reason, const mosquitto_property *) {
        MosquittoConnection &connection = of(object);
        if (reason >= MQTT_RC_UNSPECIFIED && !std::exchange(connection.has_refused_, true))
            connection.listener_.remark("the broker refuses what is published: " +
                                        std::string(mosquitto_reason_string(reason)));
        connection.listener_.acknowledged(number);
    }

    static void on_subscribe(mosquitto *, void *object, int number, int count, const int *granted,
                             const mosquitto_property *) {
        if (of(object).own_subscriptions_.count(number) > 0)
            return;
        for (int i = 0; i < count; ++i)
            if (granted[i] >= MQTT_RC_UNSPECIFIED)
                of(object).listener_.remark("the broker does not let it hear of writes");
    }

    static void on_message(mosquitto *, void *object, const mosquitto_message *message, const mosquitto_property *) {
        const auto size = static_cast<std::size_t>(message->payloadlen);
        const auto *const bytes = static_cast<const char *>(message->payload);
        of(object).listener_.received({message->topic,
                                       size == 0 ? std::string() : std::string(bytes, std::min(size, longest_payload)),
                                       size, message->retain});
    }

    const BrokerAddress broker_;
    const BrokerLogin login_;
    Listener &listener_;
    const bool is_v5_;
    const int keep_alive_;
    const Library library_;
    const std::unique_ptr<mosquitto, void (*)(mosquitto *)> client_;
    std::atomic<bool> ends_{false};
    std::atomic<std::chrono::steady_clock::time_point> goodbye_until_{std::chrono::steady_clock::time_point()};
    bool is_ended_ = false, has_refused_ = false;  // of the connection's thread, as is the next one
    std::set<int> own_subscriptions_;              // their numbers
    std::thread thread_;
};

}  // namespace

std::unique_ptr<BrokerConnection> connect_with_mosquitto(const BrokerAddress &broker, const MqttSettings &settings,
                                                         const BrokerLogin &login,
                                                         BrokerConnection::Listener &listener) {
    return std::make_unique<MosquittoConnection>(broker, settings, login, listener);
}

}  // namespace kelpo
