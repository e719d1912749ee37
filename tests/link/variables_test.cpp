#include "host/driver/raw_calls.h"

#include <gtest/gtest.h>

namespace {

using kelpo::View;

TEST(PolledVariables, CarryWhatTheDriverReads) {
    const QList<HOST_VAR> list =
        kelpo::polled({{"level", 3, 12, "8004", 2, View::unsigned_longs}, {"bit", 247, 15, "6.4", 8, View::bits}});
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list[0].reg_type, 12);
    EXPECT_EQ(list[0].station_no, 3);
    EXPECT_EQ(list[0].addr_text, QLatin1String("8004"));
    EXPECT_EQ(list[0].reg_count, 2);
    EXPECT_EQ(list[1].reg_type, 15);
    EXPECT_EQ(list[1].station_no, 247);
    EXPECT_EQ(list[1].addr_text, QLatin1String("6.4"));
    EXPECT_EQ(list[1].reg_count, 8);
}

}  // namespace
