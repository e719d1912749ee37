#include "host/once/find_line.h"

#include "host/line/line_text.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace kelpo {
namespace {

using testing::ElementsAre;

std::vector<std::string> texts(const LineSettings &line, const GivenSettings &given) {
    std::vector<std::string> all;
    for (const LineSettings &setting : likely_settings(line, given))
        all.push_back(character_text(setting));
    return all;
}

TEST(FindLine, TriesWhatIsLikeliestFirstAndNothingTwice) {
    const std::vector<std::string> all = texts({}, {});
    const std::vector<std::string> first(all.begin(), all.begin() + 5);
    EXPECT_THAT(first, ElementsAre("9600 8N1", "19200 8E1", "19200 8N1", "9600 8E1", "115200 8N1"));
    EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), all.size());
    EXPECT_EQ(all.size(), 8U * 4);
    EXPECT_EQ(all.back(), "1200 8O1");
}

TEST(FindLine, VariesNothingThatIsGiven) {
    LineSettings line;
    line.speed = 38400;
    line.parity = Parity::odd;
    line.stop_bits = 2;
    EXPECT_THAT(texts(line, {true, false, false}), ElementsAre("38400 8N1", "38400 8E1", "38400 8N2", "38400 8O1"));
    EXPECT_THAT(texts(line, {true, true, false}), ElementsAre("38400 8O1"));
    EXPECT_THAT(texts(line, {true, false, true}), ElementsAre("38400 8N2", "38400 8E2", "38400 8O2"));
    EXPECT_THAT(texts(line, {true, true, true}), ElementsAre("38400 8O2"));
    EXPECT_EQ(texts(line, {false, true, true}).front(), "9600 8O2");
}

TEST(FindLine, KeepsEverythingElseOfTheLine) {
    LineSettings line;
    line.path = "/dev/ttyS9";
    line.gap = std::chrono::milliseconds(4);
    for (const LineSettings &setting : likely_settings(line, {})) {
        EXPECT_EQ(setting.path, line.path);
        EXPECT_EQ(setting.gap, line.gap);
    }
}

}  // namespace
}  // namespace kelpo
