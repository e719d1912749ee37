#include "host/engine/read_values.h"

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <utility>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// Answers as the test wants.
class FakeDriver : public DriverQueries {
public:
    // What the driver's cache holds, by type and address text.
    std::map<std::pair<int, std::string>, std::string> cached;
    mutable int asked_for = 0;  // units

    // As the driver takes them.
    std::optional<int> number_of(int type, const std::string &address) const override {
        const std::size_t point = address.find('.');
        if (type >= 15)
            return std::stoi(address.substr(0, point)) * 16 + std::stoi(address.substr(point + 1));
        return std::stoi(address, nullptr, type <= 1 ? 8 : 10) - (type == 13 ? 200 : 0);
    }
    // Also a part of what is cached.
    std::string held_bytes(const Variable &variable) const override {
        const RegisterType &type = register_type(variable.type);
        const int number = *number_of(variable.type, variable.address);
        asked_for += variable.count;
        for (const auto &[place, bytes] : cached) {
            const int before = (number - *number_of(type.type, place.second)) * type.modbus_per_number;
            const int first = before < 0 ? -1 : value_size(type, before);
            if (place.first == type.type && first >= 0 && first < static_cast<int>(bytes.size()))
                return bytes.substr(static_cast<std::size_t>(first),
                                    static_cast<std::size_t>(value_size(type, variable.count)));
        }
        return {};
    }
};

PolledBlock block(int station, int register_class, int first, int count) {
    return {station, register_class, first, count};
}

Variable word(const char *address, int count = 1, int station = 1) {
    return {"a", station, 7, address, count, View::unsigned_words};
}

class ReadValuesTest : public testing::Test {
protected:
    FakeDriver driver;
    std::vector<Variable> variables;
    ReadValue::Time now{1h};
    ReadValues values{[this] {
        return now;
    }};

    void use(std::vector<Variable> list, const std::vector<PolledBlock> &blocks) {
        variables = std::move(list);
        values.use(driver, variables, blocks);
    }

    void exchange(int station, int register_class, int address, int count, int code, int id = -1) {
        Exchange seen{};
        seen.ended_at = Exchange::Time(now.time_since_epoch() + 1h);
        seen.request = std::string_view("\x01\x03\x00\x64\x00\x01\xC5\xD5", 8);
        seen.station = station;
        seen.type = register_class;
        seen.address = address;
        seen.count = count;
        seen.name = {0, id};
        seen.code = code;
        seen.outcome = outcome_of(code);
        values.exchanged(seen);
    }
    void read(int station, int register_class, int address, int count) {
        exchange(station, register_class, address, count, 1);
    }
    void give_up(int station, int register_class, int address, int count) {
        exchange(station, register_class, address, count, 41);
    }

    // The only one that was touched.
    ReadValue value() {
        const auto touched = values.take();
        EXPECT_EQ(touched.size(), 1U);
        return touched.empty() ? ReadValue() : touched[0].second;
    }
};

TEST_F(ReadValuesTest, AreWhatARepliedToPollBrought) {
    use({word("100"), word("101")}, {block(1, 7, 100, 1)});
    EXPECT_THAT(values.take(), IsEmpty());
    driver.cached[{7, "100"}] = std::string({5, 0});
    read(1, 7, 100, 1);
    const ReadValue held = value();
    EXPECT_EQ(held.bytes, std::string({5, 0}));
    EXPECT_EQ(held.read_at, now);
    EXPECT_EQ(held.wall_time, ReadValue::WallTime(2h));
    EXPECT_FALSE(held.failure);
    EXPECT_THAT(values.take(), IsEmpty());
}

// The driver's cache has a written value as soon as its request is built.
TEST_F(ReadValuesTest, AreNotWhatWasWritten) {
    use({word("100")}, {block(1, 7, 100, 1)});
    driver.cached[{7, "100"}] = std::string({5, 0});
    read(1, 7, 100, 1);
    driver.cached[{7, "100"}] = std::string({42, 0});
    EXPECT_EQ(value().bytes, std::string({5, 0}));
    exchange(1, 7, 100, 1, 1, 3);   // the write is answered
    exchange(1, 7, 100, 1, 71, 4);  // another is refused
    EXPECT_THAT(values.take(), IsEmpty());
}

// The block was refused, and is read in parts from now on.
TEST_F(ReadValuesTest, ForgetWhyABlockWasNotReadThatIsNotPolledAnyMore) {
    use({word("100", 2), word("110")}, {block(1, 7, 100, 11)});
    give_up(1, 7, 100, 11);
    EXPECT_EQ(values.take().size(), 2U);
    values.blocks_replaced({block(1, 7, 100, 11)}, {block(1, 7, 100, 2), block(1, 7, 110, 1)});
    const auto touched = values.take();
    ASSERT_EQ(touched.size(), 2U);
    EXPECT_FALSE(touched[0].second.failure);
    driver.cached[{7, "100"}] = std::string({5, 0, 6, 0});
    read(1, 7, 100, 2);
    EXPECT_EQ(value().bytes, std::string({5, 0, 6, 0}));
    give_up(1, 7, 110, 1);
    EXPECT_TRUE(value().failure);
}

TEST_F(ReadValuesTest, StayWhatWasReadUntilOtherBlocksHaveReadAllOfThem) {
    use({word("100", 4)}, {block(1, 7, 100, 4)});
    driver.cached[{7, "100"}] = std::string({1, 0, 2, 0, 3, 0, 4, 0});
    read(1, 7, 100, 4);
    const auto first_read = now;
    EXPECT_EQ(value().read_at, first_read);
    values.blocks_replaced({block(1, 7, 100, 4)}, {block(1, 7, 100, 2), block(1, 7, 102, 2)});
    EXPECT_EQ(value().bytes, std::string({1, 0, 2, 0, 3, 0, 4, 0}));
    now += 10s;
    driver.cached[{7, "100"}] = std::string({9, 0, 8, 0, 7, 0, 6, 0});
    read(1, 7, 100, 2);
    const ReadValue half = value();
    EXPECT_EQ(half.bytes, std::string({9, 0, 8, 0, 3, 0, 4, 0}));
    EXPECT_EQ(half.read_at, first_read);
    now += 10s;
    read(1, 7, 102, 2);
    const ReadValue whole = value();
    EXPECT_EQ(whole.bytes, std::string({9, 0, 8, 0, 7, 0, 6, 0}));
    EXPECT_EQ(whole.read_at, first_read + 10s);
}

TEST_F(ReadValuesTest, TakeOfALongValueOnlyWhatTheReplyBrought) {
    use({word("98", 4)}, {block(1, 7, 0, 100), block(1, 7, 100, 5)});
    driver.cached[{7, "98"}] = std::string({1, 0, 2, 0, 3, 0, 4, 0});
    read(1, 7, 0, 100);
    EXPECT_EQ(value().bytes, std::string());
    // The first half is written meanwhile.
    driver.cached[{7, "98"}] = std::string({9, 9, 9, 9, 7, 0, 8, 0});
    now += 1s;
    read(1, 7, 100, 5);
    const ReadValue held = value();
    EXPECT_EQ(held.bytes, std::string({1, 0, 2, 0, 7, 0, 8, 0}));
    EXPECT_EQ(held.read_at, now - 1s);
    EXPECT_EQ(held.newest_at, now);
    EXPECT_EQ(held.wall_time, ReadValue::WallTime(2h));
}

// The second request of a block has its own first number.
TEST_F(ReadValuesTest, KnowTheTwoRequestsOfABlockApart) {
    use({word("8005")}, {block(1, 7, 7990, 20)});
    driver.cached[{7, "8005"}] = std::string({5, 0});
    read(1, 7, 7990, 10);
    EXPECT_THAT(values.take(), IsEmpty());
    read(1, 7, 8000, 10);
    EXPECT_EQ(value().bytes, std::string({5, 0}));
    // The second is not sent when the first is given up.
    give_up(1, 7, 7990, 10);
    ASSERT_TRUE(value().failure);
    read(1, 7, 8000, 10);
    EXPECT_FALSE(value().failure);
}

TEST_F(ReadValuesTest, FindTheRegistersOfEveryType) {
    struct Case {
        int type;
        const char *address;
        int count, register_class, first, last;  // numbers
        std::string first_brings;                // X: bytes that the first number holds
    };
    const Case cases[] = {
        {1, "20", 8, 1, 16, 23, "X......."},  {9, "3", 2, 9, 3, 4, "XX.."},
        {12, "10", 4, 7, 10, 13, "..XX...."}, {13, "203", 3, 13, 3, 4, "XXXX...."},
        {14, "20", 3, 8, 20, 23, "..XX...."}, {15, "5.14", 4, 7, 5, 6, "XX.."},
        {16, "1.20", 1, 8, 2, 2, "X"},        {17, "3.0", 17, 11, 3, 4, "XXXXXXXXXXXXXXXX."},
    };
    for (const Case &one : cases) {
        const std::vector<Variable> listed{{"a", 1, one.type, one.address, one.count, default_view(one.type)}};
        const auto size = one.first_brings.size();
        const int numbers = one.last - one.first + 1;
        const auto begin = [&](ReadValues &fresh) {
            fresh.use(driver, listed, {block(1, one.register_class, one.first, numbers)});
        };
        const auto reads = [&](ReadValues &fresh, int first, int count) {
            Exchange seen{};
            seen.station = 1;
            seen.type = one.register_class;
            seen.address = first;
            seen.count = count;
            seen.name = {0, -1};
            seen.outcome = Outcome::good;
            fresh.exchanged(seen);
        };
        ReadValues around;
        begin(around);
        driver.cached[{one.type, one.address}] = std::string(size, 'X');
        reads(around, one.first - 1, 1);
        reads(around, one.last + 1, 1);
        EXPECT_THAT(around.take(), IsEmpty()) << one.type;

        ReadValues in_two;
        begin(in_two);
        reads(in_two, one.first, 1);
        EXPECT_EQ(in_two.take().size(), 1U) << one.type;
        driver.cached[{one.type, one.address}] = std::string(size, '.');
        if (one.last > one.first)
            reads(in_two, one.first + 1, numbers - 1);
        else
            in_two.forget_failures(1);
        const auto taken = in_two.take();
        ASSERT_EQ(taken.size(), 1U) << one.type;
        EXPECT_EQ(taken[0].second.bytes, one.first_brings) << one.type;
    }
}

TEST_F(ReadValuesTest, AskTheDriverForNoMoreOfALongValueThanAReplyBrings) {
    constexpr int words = 65535, most = 100;
    driver.cached[{7, "0"}] = std::string(std::size_t{2} * words, 'X');
    use({word("0", words)}, {});
    for (int first = 0; first < words; first += most) {
        read(1, 7, first, std::min(most, words - first));
        EXPECT_EQ(value().bytes.empty(), first + most < words) << first;
    }
    read(1, 7, 0, 1);
    EXPECT_EQ(value().bytes, driver.cached.begin()->second);
    EXPECT_EQ(driver.asked_for, words + 1);
}

TEST_F(ReadValuesTest, KnowAValueWhosePartsComeInAnyOrderAndOverlap) {
    driver.cached[{7, "0"}] = std::string(20, 'X');
    use({word("0", 10)}, {});
    const std::pair<int, int> parts[] = {{8, 2}, {3, 6}, {5, 1}, {1, 1}};
    for (const auto &[first, count] : parts) {
        read(1, 7, first, count);
        EXPECT_EQ(value().bytes, "") << first;
    }
    read(1, 7, 0, 3);
    EXPECT_EQ(value().bytes, std::string(20, 'X'));
}

TEST_F(ReadValuesTest, KnowFailuresAndForgetThemWhenAStationIsSwitched) {
    use({word("100"), word("100", 1, 2)}, {block(1, 7, 100, 1), block(2, 7, 100, 1)});
    exchange(1, 7, 100, 1, 0);  // comes again
    EXPECT_THAT(values.take(), IsEmpty());
    give_up(1, 7, 100, 1);
    const ReadValue failed = value();
    ASSERT_TRUE(failed.failure);
    EXPECT_EQ(failed.failure->text, "no reply");
    EXPECT_EQ(failed.bytes, std::string());
    values.forget_failures(1);
    EXPECT_FALSE(value().failure);
}

}  // namespace
}  // namespace kelpo
