#include "host/poll/variable_watch.h"

#include <gmock/gmock.h>

#include <map>
#include <string>
#include <utility>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// What the driver's cache would answer, by type and address text.
std::map<std::pair<int, std::string>, QByteArray> cached;
int times_asked = 0;

int get_register_data(QString, int type, QString address, int, QByteArray &out, int) {
    ++times_asked;
    out = cached[{type, address.toStdString()}];
    return 1;
}

int address_of(int type, QString text) {
    const int number = text.toInt();
    return type == 13 ? number - 200 : number;
}

RW_VAR block(int station, int register_class, int address, int count) {
    RW_VAR block;
    block.station_no = station;
    block.reg_type = register_class;
    block.reg_addr = address;
    block.reg_count = count;
    return block;
}

class VariableWatchTest : public testing::Test {
protected:
    DriverEntryPoints driver{};
    LinkReading link;
    LinkReading::Time now{1h};

    VariableWatchTest() {
        driver.GetRegisterData = get_register_data;
        driver.PLCAddressChangeIntef = address_of;
        cached.clear();
        times_asked = 0;
    }

    void read(const BlockPlace &place, LinkReading::Time at) {
        LinkReading::Block &block = link.blocks[place];
        ++block.readings;
        block.read_at = at;
    }
};

TEST_F(VariableWatchTest, KnowsNoValueBeforeItsBlockWasRead) {
    VariableWatch watch(driver, {{"a", 1, 7, "100", 1, View::unsigned_words}}, {block(1, 7, 100, 1)});
    EXPECT_THAT(watch.refresh(link), IsEmpty());
    EXPECT_FALSE(watch.states()[0].known());

    cached[{7, "100"}] = QByteArray("\x05\x00", 2);
    read({1, 7, 100}, now);
    EXPECT_THAT(watch.refresh(link), ElementsAre(0));
    EXPECT_EQ(watch.states()[0].text, "5");
    EXPECT_THAT(watch.states()[0].values, ElementsAre(5));
    EXPECT_EQ(watch.states()[0].changes, 0U);
    EXPECT_EQ(watch.states()[0].read_at, now);
}

TEST_F(VariableWatchTest, CountsChangesAndKnowsWhenTheLastWas) {
    VariableWatch watch(driver, {{"a", 1, 7, "100", 1, View::unsigned_words}}, {block(1, 7, 90, 20)});
    const std::pair<const char *, std::uint64_t> steps[] = {
        {"\x05", 0}, {"\x05", 0}, {"\x06", 1}, {"\x06", 1}, {"\x05", 2}};
    LinkReading::Time changed = now;
    std::uint64_t changes = 0;
    for (const auto &[value, expected] : steps) {
        now += 1s;
        if (expected != changes || now == LinkReading::Time(1h + 1s))
            changed = now;
        changes = expected;
        cached[{7, "100"}] = QByteArray(value, 1) + QByteArray(1, '\0');
        read({1, 7, 90}, now);
        watch.refresh(link);
        EXPECT_EQ(watch.states()[0].changes, expected);
        EXPECT_EQ(watch.states()[0].changed_at, changed);
        EXPECT_EQ(watch.states()[0].read_at, now);
    }
}

TEST_F(VariableWatchTest, AsksTheDriverOnlyForWhatWasReadAnew) {
    VariableWatch watch(driver,
                        {{"a", 1, 7, "100", 1, View::unsigned_words}, {"b", 2, 7, "100", 1, View::unsigned_words}},
                        {block(1, 7, 100, 1), block(2, 7, 100, 1)});
    cached[{7, "100"}] = QByteArray("\x05\x00", 2);
    read({1, 7, 100}, now);
    EXPECT_THAT(watch.refresh(link), ElementsAre(0));
    EXPECT_THAT(watch.refresh(link), IsEmpty());
    EXPECT_EQ(times_asked, 1);
}

TEST_F(VariableWatchTest, WaitsForAllBlocksOfALongValueAndIsAsOldAsTheOldest) {
    VariableWatch watch(driver, {{"a", 1, 7, "95", 10, View::unsigned_words}},
                        {block(1, 7, 0, 100), block(1, 7, 100, 5)});
    cached[{7, "95"}] = QByteArray(20, '\0');
    read({1, 7, 0}, now);
    EXPECT_THAT(watch.refresh(link), IsEmpty());
    read({1, 7, 100}, now + 1s);
    EXPECT_THAT(watch.refresh(link), ElementsAre(0));
    EXPECT_EQ(watch.states()[0].read_at, now);
}

TEST_F(VariableWatchTest, FindsTheBlockOfEveryType) {
    struct Case {
        int type;
        const char *address;
        int count;
        BlockPlace block;
        int units;
    };
    const Case cases[] = {
        {1, "16", 8, {1, 1, 16}, 8},   {9, "3", 2, {1, 9, 3}, 2},    {12, "10", 2, {1, 7, 10}, 2},
        {13, "203", 2, {1, 13, 3}, 1}, {14, "20", 4, {1, 8, 20}, 4},
    };
    for (const Case &one : cases) {
        const Variable variable{"a", 1, one.type, one.address, one.count, default_view(one.type)};
        VariableWatch watch(driver, {variable},
                            {block(one.block.station, one.block.type, one.block.address, one.units)});
        cached[{one.type, one.address}] = QByteArray(4, '\x01');
        link = LinkReading();
        read(one.block, now);
        EXPECT_THAT(watch.refresh(link), ElementsAre(0)) << one.type;
    }
}

TEST_F(VariableWatchTest, PollsTheRegisterOfABit) {
    const Variable bit{"bit", 1, 15, "5.3", 1, View::bits};
    const std::vector<Variable> places = places_to_poll({bit});
    ASSERT_EQ(places.size(), 1U);
    EXPECT_EQ(places[0].type, 7);
    EXPECT_EQ(places[0].address, "5");
    EXPECT_EQ(places[0].count, 1);

    VariableWatch watch(driver, {bit}, {block(1, 7, 5, 1)});
    cached[{15, "5.3"}] = QByteArray(1, '\x01');
    read({1, 7, 5}, now);
    EXPECT_THAT(watch.refresh(link), ElementsAre(0));
    EXPECT_EQ(watch.states()[0].text, "1");
}

TEST_F(VariableWatchTest, KeepsTheLastValueAndTellsWhyItIsNotReadAnyMore) {
    VariableWatch watch(driver, {{"a", 1, 7, "100", 1, View::unsigned_words}}, {block(1, 7, 100, 1)});
    cached[{7, "100"}] = QByteArray("\x05\x00", 2);
    read({1, 7, 100}, now);
    watch.refresh(link);
    link.blocks[{1, 7, 100}].failure = Failure{Failure::Kind::no_reply, "no reply"};
    EXPECT_THAT(watch.refresh(link), IsEmpty());
    EXPECT_EQ(watch.states()[0].text, "5");
    ASSERT_TRUE(watch.states()[0].failure);
    EXPECT_EQ(watch.states()[0].failure->text, "no reply");
}

}  // namespace
}  // namespace kelpo
