#include "host/driver/value_json.h"
#include "host/text/hex.h"
#include "host/text/json.h"

#include <gtest/gtest.h>

namespace kelpo {
namespace {

TEST(JsonText, KeepsTheOrderOfItsMembers) {
    Json object = Json::object();
    object.set("z", 1);
    object.set("a", true);
    object.set("text", "say \"no\"");
    object.set("number", 2.5);
    Json list = Json::array();
    list.add(std::int64_t{-7});
    list.add_null();
    object.set("list", list);
    EXPECT_EQ(object.in_one_line(), R"({"z":1,"a":true,"text":"say \"no\"","number":2.5,"list":[-7,null]})");
    EXPECT_EQ(list.in_lines(), "[\n  -7,\n  null\n]");
}

TEST(JsonText, IsValidAlsoForBytesThatAreNoText) {
    Json object = Json::object();
    object.set("text", std::string("a\xFF"));
    EXPECT_EQ(object.in_one_line(), "{\"text\":\"a\xEF\xBF\xBD\"}");
}

TEST(JsonText, EscapesWhatATerminalMightObey) {
    Json object = Json::object();
    object.set("a\x7F", "b\xC2\x9B"
                        "c\xE2\x80\xAE"
                        "d\033");
    EXPECT_EQ(object.in_one_line(), R"({"a\u007f":"b\u009bc\u202ed\u001b"})");
    EXPECT_EQ(object.in_lines(), "{\n  \"a\\u007f\": \"b\\u009bc\\u202ed\\u001b\"\n}");
}

TEST(JsonText, CopiesAreTheirOwn) {
    Json one = Json::array();
    Json other = one;
    other.add("x");
    EXPECT_EQ(one.in_one_line(), "[]");
    one = other;
    EXPECT_EQ(one.in_one_line(), "[\"x\"]");
}

TEST(JsonValues, AreNumbersAndNullWhereJsonHasNone) {
    EXPECT_EQ(json_values(View::signed_words, {-1, 7}).in_one_line(), "[-1,7]");
    const View real = view_named("float", 12).value();
    // 0.1, infinity
    EXPECT_EQ(json_values(real, {0x3DCCCCCD, 0x7F800000}).in_one_line(), "[0.1,null]");
}

TEST(HexText, HasTwoDigitsForEachByte) {
    EXPECT_EQ(hex_text({0x01, 0xA3, 0x00}), "01 A3 00");
    EXPECT_EQ(hex_text({}), "");
}

}  // namespace
}  // namespace kelpo
