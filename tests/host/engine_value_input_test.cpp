#include "host/engine/value_input.h"

#include <gmock/gmock.h>

#include <tuple>

namespace kelpo {
namespace {

using testing::ElementsAre;

Variable variable(int type, int count, const char *view) {
    return {"v", 1, type, "0", count, *view_named(view, type)};
}

TEST(ValueInputTest, TakesOneValueForEachOfTheVariable) {
    EXPECT_THAT(value_input(variable(7, 1, "unsigned"), "350").values, ElementsAre(350));
    EXPECT_THAT(value_input(variable(7, 1, "signed"), " 0xFFFF ").values, ElementsAre(-1));
    EXPECT_THAT(value_input(variable(7, 3, "unsigned"), "1, 2 3").values, ElementsAre(1, 2, 3));
    EXPECT_THAT(value_input(variable(7, 2, "float"), "1.5").values, ElementsAre(0x3FC00000));
    EXPECT_THAT(value_input(variable(12, 4, "signed"), "-1 70000").values, ElementsAre(-1, 70000));
}

TEST(ValueInputTest, TakesBitsInARowOrApart) {
    EXPECT_THAT(value_input(variable(1, 4, "bits"), "0110").values, ElementsAre(0, 1, 1, 0));
    EXPECT_THAT(value_input(variable(1, 4, "bits"), "off on 1 0").values, ElementsAre(0, 1, 1, 0));
    EXPECT_THAT(value_input(variable(1, 1, "bits"), "1").values, ElementsAre(1));
}

TEST(ValueInputTest, SaysWhatIsWrongAndWhatWouldBeRight) {
    const std::tuple<Variable, const char *, const char *> cases[] = {
        {variable(7, 1, "unsigned"), "", "0 values typed; -32768 to 65535"},
        {variable(7, 1, "unsigned"), "1 2", "2 values typed; -32768 to 65535"},
        {variable(7, 3, "unsigned"), "1 2", "2 values typed; 3 values, each -32768 to 65535"},
        {variable(7, 1, "unsigned"), "70000", "\"70000\" does not fit; -32768 to 65535"},
        {variable(12, 2, "signed"), "x", "\"x\" does not fit; -2147483648 to 4294967295"},
        {variable(7, 2, "float"), "x", "\"x\" does not fit; a number, or 0x and the bits of a float"},
        {variable(1, 4, "bits"), "01102", "1 value typed; 4 values, each 0 or 1"},
        {variable(1, 1, "bits"), "2", "\"2\" does not fit; 0 or 1"},
    };
    for (const auto &[of, typed, mistake] : cases) {
        const ValueInput input = value_input(of, typed);
        EXPECT_THAT(input.values, testing::IsEmpty()) << typed;
        EXPECT_EQ(input.mistake, mistake) << typed;
    }
}

}  // namespace
}  // namespace kelpo
