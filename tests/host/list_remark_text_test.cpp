#include "host/list/remark_text.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using kelpo::Remark;
using kelpo::Remarks;

std::string printed(const Remarks &remarks) {
    std::ostringstream out;
    kelpo::print_remarks(remarks, "kelpo: ", out);
    return out.str();
}

TEST(RemarkText, IsInTheOrderOfTheLinesTheListFirst) {
    Remarks remarks = {{Remark::Kind::warning, {"tags.csv", 1}, "c"},
                       {Remark::Kind::warning, {"list.toml", 9}, "b"},
                       {Remark::Kind::mistake, {"list.toml", 2}, "a"}};
    kelpo::sort_by_place(remarks, "list.toml");
    EXPECT_EQ(printed(remarks), "kelpo: list.toml:2: a\n"
                                "kelpo: list.toml:9: warning: b\n"
                                "kelpo: tags.csv:1: warning: c\n");
}

TEST(RemarkText, EndsAfterAHundredOfEachKindWithTheCountOfTheRest) {
    Remarks remarks;
    for (int line = 1; line <= 76301; ++line)
        remarks.push_back({Remark::Kind::warning, {"a", line}, "odd"});
    for (int line = 76302; line <= 76402; ++line)
        remarks.push_back({Remark::Kind::mistake, {"a", line}, "wrong"});
    std::string expected;
    for (int line = 1; line <= 100; ++line)
        expected += "kelpo: a:" + std::to_string(line) + ": warning: odd\n";
    for (int line = 76302; line <= 76401; ++line)
        expected += "kelpo: a:" + std::to_string(line) + ": wrong\n";
    EXPECT_EQ(printed(remarks), expected + "kelpo: and 1 more mistake\nkelpo: and 76201 more warnings\n");
}

TEST(RemarkText, CountsWhatIsCountedOnly) {
    const Remarks remarks = {{Remark::Kind::mistake, {"a", 1}, "wrong", 7}, {Remark::Kind::mistake, {"a", 2}, "wrong"}};
    EXPECT_EQ(printed(remarks), "kelpo: a:1: wrong\nkelpo: a:2: wrong\nkelpo: and 7 more mistakes\n");
}

}  // namespace
