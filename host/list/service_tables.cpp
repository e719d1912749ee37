#include "host/list/service_tables.h"

#include "host/list/list_builder.h"
#include "host/text/words.h"

#include <map>

namespace kelpo {
namespace {

std::string level_in(ListTable &table, const char *key, const std::string &example) {
    const auto level = table.text(key, example);
    if (!level) {
        if (!table.has(key))
            table.refuse_key(key, "no " + std::string(key) + "; a level of the topics, such as " + key + " = \"" +
                                      example + "\"");
        return {};
    }
    if (!is_topic_level(*level))
        table.refuse_key(key, std::string(key) + " " + in_quotes(*level) +
                                  "; small letters, digits, - and _, such as \"" + topic_level_of(*level) + "\"");
    return *level;
}

bool is_root(const std::string &text) {
    std::size_t begin = 0;
    for (std::size_t end = text.find('/'); end != std::string::npos; end = text.find('/', begin)) {
        if (!is_topic_level(text.substr(begin, end - begin)))
            return false;
        begin = end + 1;
    }
    return is_topic_level(text.substr(begin));
}

void read_brokers(ListTable &table, MqttSettings &mqtt) {
    constexpr const char *example = "mqtt://127.0.0.1:1883";
    const std::string right = "; \"mqtt://HOST:PORT\", or \"mqtts://HOST:PORT\" for TLS";
    const std::vector<std::string> brokers = table.texts("brokers", example);
    for (const std::string &text : brokers) {
        if (const auto broker = broker_from(text))
            mqtt.brokers.push_back(*broker);
        else
            table.refuse_key("brokers", "broker " + in_quotes(text) + right);
    }
    if (brokers.empty())
        table.refuse_key("brokers", "no brokers; brokers = [\"" + std::string(example) + "\"]");
}

void read_secrets(ListTable &table, MqttSettings &mqtt) {
    const auto file = [&table](const char *key, const char *example) {
        std::string name = table.text(key, example).value_or("");
        if (table.has(key) && (trimmed(name).empty() || !is_printable(name)))
            table.refuse_key(key, std::string(key) + " " + in_quotes(name) + " names no file");
        return name;
    };
    mqtt.user = table.text("user", "line").value_or("");
    mqtt.password_file = file("password-file", "password");
    mqtt.ca = file("ca", "ca.pem");
    mqtt.certificate = file("certificate", "line.pem");
    mqtt.key = file("key", "line.key");
    if (mqtt.user.empty() && !mqtt.password_file.empty())
        table.refuse_key("password-file", "password-file without user; add the user whose password it is");
    if (mqtt.certificate.empty() != mqtt.key.empty())
        table.refuse_key(mqtt.key.empty() ? "certificate" : "key",
                         "certificate and key belong together; give both or none");
    bool any_tls = false;
    for (const BrokerAddress &broker : mqtt.brokers)
        any_tls = any_tls || broker.tls;
    if (!any_tls && !mqtt.brokers.empty())
        for (const char *key : {"ca", "certificate", "key"})
            if (table.has(key))
                table.refuse_key(key,
                                 std::string(key) + " is for TLS, and no broker has it; write mqtts:// for mqtt://");
}

}  // namespace

SiteSettings site_settings_in(ListTable &table) {
    table.allow({"site", "line"});
    SiteSettings settings;
    settings.site = level_in(table, "site", "plant");
    settings.line = level_in(table, "line", "boilers");
    return settings;
}

MqttSettings mqtt_settings_in(ListTable &table) {
    table.allow({"brokers", "root", "user", "password-file", "ca", "certificate", "key", "client-id", "version",
                 "keep-alive-s", "window", "publish"});
    MqttSettings mqtt;
    read_brokers(table, mqtt);
    read_secrets(table, mqtt);
    if (const auto root = table.text("root", "kelpo")) {
        if (!is_root(*root))
            table.refuse_key("root", "root " + in_quotes(*root) + "; small letters, digits, - and _, with / between");
        mqtt.root = *root;
    }
    if (const auto id = table.text("client-id", "kelpo-plant-boilers")) {
        if (id->empty() || !is_printable(*id))
            table.refuse_key("client-id", "client-id " + in_quotes(*id) + "; letters and digits");
        mqtt.client_id = *id;
    }
    if (const auto version = table.text("version", "5")) {
        if (*version != "5" && *version != "3.1.1")
            table.refuse_key("version", "version " + in_quotes(*version) + "; \"5\" or \"3.1.1\"");
        mqtt.version = *version == "5" ? MqttVersion::v5 : MqttVersion::v3_1_1;
    }
    if (const auto seconds = table.number("keep-alive-s", 5, 3600))
        mqtt.keep_alive = std::chrono::seconds(*seconds);
    if (const auto window = table.number("window", 1, 65535))
        mqtt.window = static_cast<int>(*window);
    if (const auto publish = table.text("publish", "each")) {
        if (*publish != "each" && *publish != "bundle")
            table.refuse_key("publish", "publish " + in_quotes(*publish) + "; \"each\" or \"bundle\"");
        mqtt.publishing = *publish == "bundle" ? Publishing::bundle : Publishing::each;
    }
    return mqtt;
}

void note_same_topics(const PollList &list, ListBuilder &builder) {
    std::map<std::string, std::size_t> first;
    for (std::size_t i = 0; i < list.variables.size(); ++i) {
        const std::string &name = list.variables[i].name;
        const std::string level = topic_level_of(name);
        const auto [other, is_new] = first.insert({level, i});
        if (!is_new)
            builder.mistake(list.place_of(i), "name " + in_quotes(name) + " makes the topic " + in_quotes(level) +
                                                  ", as " + in_quotes(list.variables[other->second].name) +
                                                  " does; give one of them another name");
    }
}

}  // namespace kelpo
