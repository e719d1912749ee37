#include "list_material.h"

#include <gmock/gmock.h>

namespace {

using namespace kelpo;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char *one_variable = R"(
[[variable]]
type = 7
address = 0
)";

TEST(ListService, TakesEverySettingOfTheService) {
    const ListReading reading = ListMaterial().read(std::string(R"([site]
site = "plant"
line = "boilers_2"
[mqtt]
brokers = ["mqtt://10.0.0.7", "mqtts://[fd00::7]:8884"]
root = "factory/east"
user = "line"
password-file = "password"
ca = "/etc/ca.pem"
certificate = "line.pem"
key = "line.key"
client-id = "Line 2"
version = "3.1.1"
keep-alive-s = 30
window = 20
publish = "bundle"
)") + one_variable,
                                                    "lists/boilers.toml");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    ASSERT_TRUE(reading.list.site && reading.list.mqtt);
    EXPECT_EQ(reading.list.site->site, "plant");
    EXPECT_EQ(reading.list.site->line, "boilers_2");
    const MqttSettings &mqtt = *reading.list.mqtt;
    ASSERT_EQ(mqtt.brokers.size(), 2U);
    EXPECT_EQ(mqtt.brokers[0].text(), "mqtt://10.0.0.7:1883");
    EXPECT_EQ(mqtt.brokers[1].text(), "mqtts://[fd00::7]:8884");
    EXPECT_TRUE(mqtt.brokers[1].tls);
    EXPECT_EQ(mqtt.root, "factory/east");
    EXPECT_EQ(mqtt.user, "line");
    EXPECT_EQ(mqtt.password_file, "lists/password");
    EXPECT_EQ(mqtt.ca, "/etc/ca.pem");
    EXPECT_EQ(mqtt.certificate, "lists/line.pem");
    EXPECT_EQ(mqtt.key, "lists/line.key");
    EXPECT_EQ(mqtt.client_id, "Line 2");
    EXPECT_EQ(mqtt.version, MqttVersion::v3_1_1);
    EXPECT_EQ(mqtt.keep_alive, std::chrono::seconds(30));
    EXPECT_EQ(mqtt.window, 20);
    EXPECT_EQ(mqtt.publishing, Publishing::bundle);
}

TEST(ListService, SaysWhatIsWrongWithTheLineAndWhatWouldBeRight) {
    const std::string text = R"([site]
site = "My Plant"
[mqtt]
brokers = ["localhost", "mqtt://h:99999"]
root = "kelpo//x"
password-file = ""
ca = "ca.pem"
key = "line.key"
client-id = ""
version = "4"
keep-alive-s = 1
window = 0
publish = "all"
password = "secret"
)";
    EXPECT_THAT(
        texts_of(ListMaterial().read(text + one_variable).remarks),
        ElementsAre("list.toml:1: no line; a level of the topics, such as line = \"boilers\"",
                    "list.toml:2: site \"My Plant\"; small letters, digits, - and _, such as \"my-plant\"",
                    "list.toml:4: broker \"localhost\"; \"mqtt://HOST:PORT\", or \"mqtts://HOST:PORT\" for TLS",
                    "list.toml:4: broker \"mqtt://h:99999\"; \"mqtt://HOST:PORT\", or \"mqtts://HOST:PORT\" for TLS",
                    "list.toml:5: root \"kelpo//x\"; small letters, digits, - and _, with / between",
                    "list.toml:6: password-file \"\" names no file",
                    "list.toml:8: certificate and key belong together; give both or none",
                    "list.toml:9: client-id \"\"; letters and digits",
                    "list.toml:10: version \"4\"; \"5\" or \"3.1.1\"",
                    "list.toml:11: keep-alive-s 1; a whole number, 5 to 3600",
                    "list.toml:12: window 0; a whole number, 1 to 65535",
                    "list.toml:13: publish \"all\"; \"each\" or \"bundle\"",
                    HasSubstr("list.toml:14: unknown key \"password\" in [mqtt]")));
}

TEST(ListService, WantsASiteABrokerAndTlsForCertificates) {
    const ListMaterial material;
    EXPECT_THAT(texts_of(material.read(std::string("[mqtt]\nbrokers = []\n") + one_variable).remarks),
                ElementsAre("list.toml:1: [mqtt] without [site]; add [site] with site and line, which make the topics",
                            "list.toml:2: no brokers; brokers = [\"mqtt://127.0.0.1:1883\"]"));
    EXPECT_THAT(texts_of(material
                             .read(std::string("[site]\nsite=\"a\"\nline=\"b\"\n[mqtt]\nbrokers=[\"mqtt://h\"]\n"
                                               "ca=\"ca.pem\"\npassword-file=\"p\"\n") +
                                   one_variable)
                             .remarks),
                ElementsAre("list.toml:6: ca is for TLS, and no broker has it; write mqtts:// for mqtt://",
                            "list.toml:7: password-file without user; add the user whose password it is"));
    EXPECT_THAT(texts_of(material
                             .read(std::string("[mqtt]\nbrokers = \"mqtt://h\"\n[site]\nsite=\"a\"\nline=\"b\"\n") +
                                   one_variable)
                             .remarks),
                ElementsAre("list.toml:2: brokers is a text; an array of texts, such as brokers = "
                            "[\"mqtt://127.0.0.1:1883\"]",
                            HasSubstr("no brokers")));
}

TEST(ListService, FindsNamesThatMakeTheSameTopic) {
    const std::string two_variables = R"(
[[variable]]
name = "Set point"
type = 7
address = 0
[[variable]]
name = "set-point"
type = 7
address = 1
)";
    const ListMaterial material;
    EXPECT_THAT(texts_of(material.read(two_variables).remarks), IsEmpty());
    EXPECT_THAT(
        texts_of(material.read("[site]\nsite = \"a\"\nline = \"b\"\n" + two_variables).remarks),
        ElementsAre("list.toml:9: name \"set-point\" makes the topic \"set-point\", as \"Set point\" does; give "
                    "one of them another name"));
}

TEST(ListService, MakesTopicsOfNames) {
    EXPECT_EQ(topic_level_of("Boiler_1 Temp.-2"), "boiler_1-temp--2");
    EXPECT_EQ(topic_level_of("1:7:100"), "1-7-100");
    EXPECT_EQ(topic_level_of("Kess\u00e4l +#/"), "kess-l----");
    EXPECT_TRUE(is_topic_level("a-b_9"));
    for (const char *level : {"", "A", "a/b", "a b", "+", "#", "\u00e4"})
        EXPECT_FALSE(is_topic_level(level)) << level;
}

TEST(ListService, TakesAddressesOfBrokers) {
    EXPECT_EQ(broker_from("mqtts://h")->text(), "mqtts://h:8883");
    EXPECT_EQ(broker_from("mqtt://[::1]")->text(), "mqtt://[::1]:1883");
    for (const char *text : {"", "h", "mqtt://", "mqtt://:1", "mqtt://h:", "mqtt://h:0", "mqtt://h:1x", "mqtt://u@h",
                             "mqtt://h/x", "http://h", "mqtt://[::1", "mqtt://[::1]1", "mqtt://h:1:2"})
        EXPECT_FALSE(broker_from(text)) << text;
}

}  // namespace
