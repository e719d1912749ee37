#include "host/text/quantities.h"

#include <gtest/gtest.h>

#include <utility>

namespace kelpo {
namespace {

using namespace std::chrono_literals;

TEST(QuantityTextTest, GivesDurationsThreeDigits) {
    const std::pair<std::chrono::nanoseconds, const char *> cases[] = {
        {0ns, "0.0 ms"},      {5234us, "5.2 ms"},   {9949us, "9.9 ms"}, {9960us, "10 ms"},    {51600us, "52 ms"},
        {999400us, "999 ms"}, {999600us, "1.00 s"}, {1520ms, "1.52 s"}, {99949ms, "99.95 s"}, {152s, "152 s"},
    };
    for (const auto &[time, text] : cases)
        EXPECT_EQ(duration_text(time), text);
}

TEST(QuantityTextTest, GivesAgesFiveCharacters) {
    const std::pair<std::chrono::nanoseconds, const char *> cases[] = {
        {-5s, "0.0s"},       {0s, "0.0s"},           {240ms, "0.2s"}, {9949ms, "9.9s"},      {9960ms, "10s"},
        {59400ms, "59s"},    {59600ms, "1m00"},      {185s, "3m05"},  {3599s, "59m59"},      {3600s, "1h00"},
        {2h + 7min, "2h07"}, {23h + 59min, "23h59"}, {24h, "1d"},     {24h * 9999, "9999d"},
    };
    for (const auto &[age, text] : cases)
        EXPECT_EQ(age_text(age), text);
}

TEST(QuantityTextTest, GivesBytesAUnit) {
    const std::pair<std::uint64_t, const char *> cases[] = {
        {0, "0 B"},           {999, "999 B"},     {1000, "1.0 kB"},    {12345, "12.3 kB"},
        {999949, "999.9 kB"}, {999950, "1.0 MB"}, {4512345, "4.5 MB"}, {12345678901, "12.3 GB"},
    };
    for (const auto &[bytes, text] : cases)
        EXPECT_EQ(bytes_text(bytes), text);
}

}  // namespace
}  // namespace kelpo
