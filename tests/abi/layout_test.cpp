// The records lie in memory as they did when the interface was laid down: hosts that were built then still fit.
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

TEST(Layout, IsTheOneOnRecord) {
    const std::string file = LAYOUT_FOLDER "/" + layout_file_name();
    std::ifstream in(file);
    ASSERT_TRUE(in) << "the layout of this word size and this Qt is not on record: there is no " << file
                    << "; if it is to be supported, write down there what print_layout prints";
    const std::string moved = differences(read_layout(in), measured_layout());
    EXPECT_TRUE(moved.empty()) << "the binary interface changed; a host that is built already breaks:\n" << moved;
}

TEST(Layout, IsReadAsItIsPrinted) {
    std::ostringstream text;
    print(text, measured_layout());
    EXPECT_EQ(layout_of(text.str()), measured_layout());
}

TEST(Layout, OfOneMovedFieldIsReportedWithBothPlaces) {
    EXPECT_EQ(differences(layout_of("R 0 8\nR.a 0 4\nR.b 4 4\n"), layout_of("R 0 8\nR.a 4 4\nR.b 4 4\n")),
              "R.a: expected offset 0 size 4, found offset 4 size 4\n");
}

TEST(Layout, OfLostAndNewFieldsIsReported) {
    EXPECT_EQ(differences(layout_of("R.a 0 4\n"), layout_of("R.b 0 2\n")),
              "R.a: expected offset 0 size 4, found no such field\nR.b: not expected, found offset 0 size 2\n");
}

TEST(Layout, WithABrokenLineIsNotRead) {
    EXPECT_THROW(layout_of("R 0\n"), std::runtime_error);
    EXPECT_THROW(layout_of("R 0 4 5\n"), std::runtime_error);
    EXPECT_THROW(layout_of("\n"), std::runtime_error);
}

}  // namespace
}  // namespace records
