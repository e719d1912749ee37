// The records are laid out in memory as they were when the interface was defined, so that hosts built then still work.
#include "layout.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace records {
namespace {

Layout layout_of(const std::string &text) {
    std::istringstream in(text);
    return read_layout(in);
}

TEST(Layout, IsTheRecordedOne) {
    const std::string file = LAYOUT_FOLDER "/" + layout_file_name();
    std::ifstream in(file);
    ASSERT_TRUE(in) << "the layout of this word size and this Qt is not recorded: there is no " << file
                    << "; to support it, put the output of print_layout there";
    const std::string moved = differences(read_layout(in), measured_layout());
    EXPECT_TRUE(moved.empty()) << "the binary interface changed; hosts that are already built break:\n" << moved;
}

TEST(Layout, IsReadAsItIsPrinted) {
    std::ostringstream text;
    print(text, measured_layout());
    EXPECT_EQ(layout_of(text.str()), measured_layout());
}

TEST(Layout, AMovedFieldIsReportedWithBothPlaces) {
    EXPECT_EQ(differences(layout_of("R 0 8\nR.a 0 4\nR.b 4 4\n"), layout_of("R 0 8\nR.a 4 4\nR.b 4 4\n")),
              "R.a: expected offset 0 size 4, found offset 4 size 4\n");
}

TEST(Layout, LostAndNewFieldsAreReported) {
    EXPECT_EQ(differences(layout_of("R.a 0 4\n"), layout_of("R.b 0 2\n")),
              "R.a: expected offset 0 size 4, found no such field\nR.b: not expected, found offset 0 size 2\n");
}

TEST(Layout, ABrokenLineIsNotRead) {
    EXPECT_THROW(layout_of("R 0\n"), std::runtime_error);
    EXPECT_THROW(layout_of("R 0 4 5\n"), std::runtime_error);
    EXPECT_THROW(layout_of("\n"), std::runtime_error);
}

}  // namespace
}  // namespace records
