#include "host/text/words.h"

#include <gmock/gmock.h>

#include <clocale>

namespace {

using namespace kelpo;
using testing::Optional;

TEST(ListWords, QuoteWhatCouldControlATerminal) {
    EXPECT_EQ(in_quotes("level"), "\"level\"");
    EXPECT_EQ(in_quotes("a\x1B[2Jb\n"), "\"a\\x1B[2Jb\\x0A\"");
    EXPECT_EQ(in_quotes("K\xC3\xBChler"), "\"K\xC3\xBChler\"");
    EXPECT_EQ(in_quotes("K\xFChler"), "\"K\\xFChler\"");
    EXPECT_EQ(in_quotes("a\xC2\x9B"
                        "2Jb"),
              "\"a\\xC2\\x9B2Jb\"");
}

TEST(ListWords, PrintWhatATerminalMightObeyByteByByteAndKeepAllElse) {
    EXPECT_EQ(printable("K\xC3\xBChler\x7F 1\n\xC2\x9B"
                        "2J"),
              "K\xC3\xBChler\\x7F 1\\x0A\\xC2\\x9B2J");
    EXPECT_EQ(printable("\xC2\xA0 \xE2\x82\xAC \xF0\x9F\x98\x80"), "\xC2\xA0 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(printable("\\x1B"), "\\x1B");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a\\x00b");
}

TEST(ListWords, PrintTheDirectionOfWritingAndTheEndsOfLinesAsBytes) {
    EXPECT_EQ(printable("\xE2\x80\xAE"
                        "321\xE2\x80\xAC"),
              "\\xE2\\x80\\xAE321\\xE2\\x80\\xAC");
    EXPECT_EQ(printable("\xE2\x81\xA6 \xE2\x81\xA9 \xE2\x80\x8E \xE2\x80\x8F \xD8\x9C"),
              "\\xE2\\x81\\xA6 \\xE2\\x81\\xA9 \\xE2\\x80\\x8E \\xE2\\x80\\x8F \\xD8\\x9C");
    EXPECT_EQ(printable("a\xE2\x80\xA8"
                        "b\xE2\x80\xA9"),
              "a\\xE2\\x80\\xA8b\\xE2\\x80\\xA9");
    EXPECT_EQ(printable("\xE2\x80\xA7 \xE2\x80\xAF \xD7\xA9\xD7\x9C \xD8\xB9"),
              "\xE2\x80\xA7 \xE2\x80\xAF \xD7\xA9\xD7\x9C \xD8\xB9");
}

TEST(ListWords, PrintBytesThatAreNotUtf8AsSuch) {
    EXPECT_EQ(printable("K\xFC, \xC3\xBC, \xC3"), "K\\xFC, \xC3\xBC, \\xC3");
    EXPECT_EQ(printable("\x9B[2J"), "\\x9B[2J");
    EXPECT_EQ(printable("\xED\xA0\x80 \xF4\x90\x80\x80 \xC0\x80"), "\\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80 \\xC0\\x80");
}

TEST(ListWords, KnowWhatIsPrintable) {
    EXPECT_FALSE(is_printable("a\tb"));
    EXPECT_FALSE(is_printable("\xC2\x80"));
    EXPECT_FALSE(is_printable("\xC2\x9F"));
    EXPECT_FALSE(is_printable("\xE2\x80\xAE"));
    EXPECT_FALSE(is_printable("\xFF"));
    EXPECT_TRUE(is_printable("\xC2\xA0 K\xC3\xBChler \xE2\x82\xAC"));
    EXPECT_TRUE(is_printable(""));
}

TEST(ListWords, CutLongQuotesShort) {
    EXPECT_EQ(in_quotes(std::string(1000, 'x')), "\"" + std::string(59, 'x') + "...\"");
}

TEST(ListWords, TakeWholeNumbersOnly) {
    EXPECT_THAT(whole_number("42"), Optional(42));
    EXPECT_EQ(whole_number(" 42"), std::nullopt);
    EXPECT_THAT(whole_number("-7"), Optional(-7));
    for (const char *text : {"", " ", "4.0", "0x10", "4 2", "seven", "99999999999999999999"})
        EXPECT_EQ(whole_number(text), std::nullopt) << text;
}

TEST(ListWords, FindTheWordThatWasMeant) {
    const std::vector<std::string> known = {"path", "speed", "parity", "stop-bits"};
    EXPECT_THAT(nearest("paritiy", known), Optional(std::string("parity")));
    EXPECT_THAT(nearest("Speed", known), Optional(std::string("speed")));
    EXPECT_THAT(nearest("stop_bits", known), Optional(std::string("stop-bits")));
    EXPECT_THAT(nearest("sepeed", known), Optional(std::string("speed")));
    EXPECT_THAT(nearest("aptj", {"path"}), std::nullopt);
    EXPECT_THAT(nearest("apth", {"path"}), Optional(std::string("path")));
    EXPECT_THAT(nearest("stop", known), Optional(std::string("stop-bits")));
    EXPECT_EQ(nearest("flow-control", known), std::nullopt);
    EXPECT_EQ(nearest("", known), std::nullopt);
}

TEST(ListWords, ListWordsAsASentenceDoes) {
    EXPECT_EQ(listed({}), "");
    EXPECT_EQ(listed({"a"}), "a");
    EXPECT_EQ(listed({"a", "b", "c"}), "a, b and c");
}

TEST(ListWords, KnowUtf8FromWhatOnlyLooksLikeIt) {
    EXPECT_TRUE(is_utf8(""));
    EXPECT_TRUE(is_utf8("\xC3\xBC \xE2\x82\xAC \xF0\x9F\x92\xA7"));
    for (const char *text : {"\xFC", "\xC3", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80"})
        EXPECT_FALSE(is_utf8(text)) << in_quotes(text);
}

TEST(ListWords, MeasureAndCutInCharacters) {
    EXPECT_EQ(width_of("K\xC3\xBChler"), 6U);
    EXPECT_EQ(cut_to("K\xC3\xBChler", 6), "K\xC3\xBChler");
    EXPECT_EQ(cut_to("K\xC3\xBChler", 3), "K\xC3\xBC~");
    EXPECT_EQ(cut_to("level", 1), "~");
    EXPECT_EQ(cut_to("level", 0), "");
    EXPECT_EQ(width_of("a\xFC\xE6\xB0"), 3U);
}

// Water tank, in Chinese; an e with an accent of its own.
TEST(ListWords, TakeTheColumnsThatATerminalTakes) {
    const std::string tank = "\xE6\xB0\xB4\xE7\xAE\xB1", accent = "e\xCC\x81";
    const std::string before = std::setlocale(LC_CTYPE, nullptr);
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_EQ(width_of(tank + "1"), 5U);
    EXPECT_EQ(width_of(accent + "1"), 2U);
    EXPECT_EQ(cut_to(tank + "1", 5), tank + "1");
    EXPECT_EQ(cut_to(tank + "1", 4), "\xE6\xB0\xB4~");
    EXPECT_EQ(cut_to(tank + "1", 3), "\xE6\xB0\xB4~");
    EXPECT_EQ(cut_to(tank + "1", 2), "~");
    EXPECT_EQ(cut_to(accent + "12", 2), accent + "~");
    // A terminal that does not know them shows a question mark for each.
    ASSERT_NE(std::setlocale(LC_CTYPE, "C"), nullptr);
    EXPECT_EQ(width_of(tank), 2U);
    std::setlocale(LC_CTYPE, before.c_str());
}

}  // namespace
