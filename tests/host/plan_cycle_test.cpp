#include "host/driver/driver.h"
#include "host/plan/plan.h"
#include "host/plan/plan_advice.h"
#include "host/plan/plan_text.h"
#include "pseudo_terminal.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace kelpo;
using std::chrono::microseconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// On this line a character takes 1 ms, and the silence between frames 3.5 ms.
PollList list_of(const std::vector<Variable> &variables, const std::vector<Station> &stations) {
    PollList list;
    list.link.line.speed = 10000;
    list.turnaround = microseconds(5000);
    list.variables = variables;
    list.stations = stations;
    list.files = {"list.toml"};
    list.defined.assign(variables.size(), {0, 1});
    return list;
}

Variable word(const std::string &name, int station, const std::string &address) {
    return {name, station, 7, address, 1, View::unsigned_words};
}

PollList plant() {
    return list_of({word("level", 1, "0"),
                    {"valves", 1, 2, "2046", 4, View::bits},
                    word("flow", 1, "11"),
                    {"total", 2, 13, "204", 2, View::unsigned_longs},
                    word("spare", 3, "0")},
                   {{1, "basin", true}, {2, "", true}, {3, "pump", false}});
}

Plan plan_of(const PollList &list) {
    const Driver library(DRIVER_FILE);
    DryRun driver(library);
    return advised(make_plan(list, driver), driver);
}

std::vector<std::string> advice_of(const Plan &plan) {
    std::vector<std::string> texts;
    for (const Advice &advice : plan.advice)
        texts.push_back(advice.text);
    return texts;
}

std::string text_of(const Plan &plan) {
    std::ostringstream out;
    print_plan(plan, "plant.toml", out);
    return out.str();
}

TEST(Plan, CountsBytesAndTimeOfEachBlock) {
    const Plan plan = plan_of(plant());
    ASSERT_EQ(plan.blocks.size(), 4U);

    // Coils 4046 and 4047, then 12000 and 12001: twice 8 bytes out, 6 in.
    EXPECT_EQ(plan.blocks[0].block.register_class, 2);
    EXPECT_EQ(plan.blocks[0].traffic.requests, 2);
    EXPECT_EQ(plan.blocks[0].traffic.bytes_out, 16);
    EXPECT_EQ(plan.blocks[0].traffic.bytes_in, 12);
    EXPECT_EQ(plan.blocks[0].traffic.time, microseconds(45000));
    EXPECT_EQ(plan.blocks[0].unused_units(), 0);
    EXPECT_THAT(plan.blocks[0].variables, ElementsAre(1));

    // Registers 0 to 11: 8 bytes out, 5 and twice 12 in; 1 to 10 are not used.
    EXPECT_EQ(plan.blocks[1].traffic.bytes_in, 29);
    EXPECT_EQ(plan.blocks[1].traffic.time, microseconds(45500));
    EXPECT_EQ(plan.blocks[1].unused_units(), 10);
    ASSERT_EQ(plan.blocks[1].unused.size(), 1U);
    EXPECT_EQ(plan.blocks[1].unused[0].first, 1);
    EXPECT_THAT(plan.blocks[1].variables, ElementsAre(0, 2));

    // A 32-bit register: 8 bytes out, 9 in.
    EXPECT_EQ(plan.blocks[2].traffic.time, microseconds(25500));
    EXPECT_FALSE(plan.blocks[3].enabled);
}

TEST(Plan, SumsUpStationsAndTheCycleOfThoseThatAreOn) {
    const Plan plan = plan_of(plant());
    ASSERT_EQ(plan.stations.size(), 3U);
    EXPECT_EQ(plan.stations[0].blocks, 2);
    EXPECT_EQ(plan.stations[0].unused_units, 10);
    EXPECT_EQ(plan.stations[0].traffic.requests, 3);
    EXPECT_EQ(plan.stations[0].traffic.time, microseconds(90500));
    EXPECT_EQ(plan.stations[2].traffic.time, microseconds(23500));
    EXPECT_EQ(plan.cycle.requests, 4);
    EXPECT_EQ(plan.cycle.bytes_out, 32);
    EXPECT_EQ(plan.cycle.bytes_in, 50);
    EXPECT_EQ(plan.cycle.time, microseconds(116000));
}

// There is no wire that needs silence between two frames.
TEST(Plan, HasNoSilenceOnAPseudoTerminal) {
    const PseudoTerminal terminal;
    PollList list = plant();
    list.link.line.path = terminal.path();
    EXPECT_EQ(plan_of(list).list.link.line.frame_gap(), microseconds(0));
    const auto without = plan_of(list).cycle.time;
    list.link.line.gap = microseconds(1000);
    const Plan with_gap = plan_of(list);
    EXPECT_EQ(with_gap.cycle.time, without + microseconds(1000) * with_gap.cycle.requests);
    list.link.line.gap.reset();
    list.link.line.path = "/nowhere/line";
    EXPECT_EQ(plan_of(list).list.link.line.frame_gap(), microseconds(3500));
}

TEST(Plan, TakesParityStopBitsAndGapIntoAccount) {
    PollList list = list_of({word("level", 1, "0")}, {{1, "", true}});
    list.link.line.parity = Parity::even;
    list.link.line.stop_bits = 2;
    list.link.line.gap = microseconds(1000);
    list.turnaround = microseconds(0);
    // 8 bytes out and 7 in, of 12 bits each.
    EXPECT_EQ(plan_of(list).cycle.time, microseconds(1000 + 15 * 1200));
}

TEST(Plan, CountsARegisterOnceThatTwoVariablesSee) {
    const Plan plan = plan_of(list_of({word("a", 1, "0"),
                                       {"b", 1, 7, "0", 4, View::unsigned_words},
                                       word("c", 1, "5"),
                                       {"d", 1, 12, "2", 2, View::unsigned_longs}},
                                      {{1, "", true}}));
    ASSERT_EQ(plan.blocks.size(), 1U);
    EXPECT_EQ(plan.blocks[0].unused_units(), 1);
    EXPECT_EQ(plan.blocks[0].unused[0].first, 4);
    EXPECT_THAT(plan.blocks[0].variables, ElementsAre(0, 1, 3, 2));
}

TEST(Plan, CountsTheTurnaroundOfEachStation) {
    PollList list = list_of({word("a", 1, "0"), word("b", 2, "0")}, {{1, "", true}, {2, "", true}});
    const auto before = plan_of(list).cycle.time;
    list.stations[1].turnaround = list.turnaround + microseconds(700);
    EXPECT_EQ(plan_of(list).cycle.time, before + microseconds(700));
}

TEST(Plan, GivesEachStationBlocksOfItsOwnSize) {
    PollList list = list_of({{"a", 1, 7, "0", 30, View::unsigned_words}, {"b", 2, 7, "0", 30, View::unsigned_words}},
                            {{1, "", true}, {2, "", true}});
    list.link.stations[2].max_count = 10;
    const Plan plan = plan_of(list);
    EXPECT_EQ(plan.stations[0].blocks, 1);
    EXPECT_EQ(plan.stations[1].blocks, 3);
}

TEST(PlanAdvice, KnowsTheTimeOutAndTheRetriesOfASilentStation) {
    PollList list = list_of({word("a", 1, "0")}, {{1, "", true}});
    list.link.stations[1].reply = std::chrono::milliseconds(200);
    list.link.stations[1].retries = 0;
    // 3.5 ms of silence, 8 bytes of 1 ms, 200 ms and then 100 ms of listening.
    EXPECT_THAT(advice_of(plan_of(list)),
                testing::Contains("when station 1 is silent, each cycle takes some 311.5 ms more: 1 try of each of 1 "
                                  "request, waiting 200 ms each time"));
}

// Each request takes 23.5 ms.
TEST(Plan, CountsWhatHasARateOfItsOwnApart) {
    PollList list = list_of({word("a", 1, "0"), word("b", 1, "500"), word("c", 1, "1000")}, {{1, "", true}});
    list.variables[1].every = std::chrono::milliseconds(235);
    const Plan plan = plan_of(list);
    EXPECT_EQ(plan.cycle.time, microseconds(2 * 23500));
    EXPECT_DOUBLE_EQ(plan.slow_share, 0.1);
    EXPECT_FALSE(plan.load());
    EXPECT_THAT(text_of(plan),
                HasSubstr("what has a rate of its own takes 10 % of the line's time, cycles take the rest\n"));
    EXPECT_THAT(text_of(plan), HasSubstr("  23.5  every 235 ms: b\n"));

    list.link.cycle = std::chrono::milliseconds(470);
    EXPECT_DOUBLE_EQ(*plan_of(list).load(), 0.2);
    EXPECT_THAT(
        text_of(plan_of(list)),
        HasSubstr("load 20 % of the line's time: a cycle in each 470 ms, and 10 % for what has a rate of its own\n"));
}

TEST(PlanAdvice, WarnsOfALineThatIsLoadedToMoreThanEightyPercent) {
    PollList list = list_of({word("a", 1, "0")}, {{1, "", true}});
    list.link.cycle = std::chrono::milliseconds(30);
    EXPECT_THAT(advice_of(plan_of(list)), Not(testing::Contains(HasSubstr("is loaded to"))));
    list.link.cycle = std::chrono::milliseconds(25);
    EXPECT_EQ(advice_of(plan_of(list)).front(),
              "the line is loaded to 94 %, which leaves little time for writes and for what is sent again: above 80 %, "
              "make cycle-ms or every-ms longer");
}

TEST(PlanAdvice, NamesTheVariableThatOpensABlockOfItsOwn) {
    const Plan plan = plan_of(list_of({word("a", 1, "0"), word("b", 1, "1"), word("far", 1, "500")}, {{1, "", true}}));
    // 3.5 ms, 8 + 7 bytes, 5 ms.
    EXPECT_EQ(plan.advice[0].text, "\"far\" (station 1, type 7, address 500) opens a block of its own: nearer to the "
                                   "others, or left out, it saves 23.5 ms (1 request)");
    EXPECT_EQ(plan.advice[0].saves, microseconds(23500));
}

TEST(PlanAdvice, HasNothingToSaveInAListWithoutGaps) {
    const Plan plan = plan_of(list_of({word("a", 1, "0"), word("b", 1, "1")}, {{1, "", true}}));
    EXPECT_THAT(advice_of(plan), ElementsAre("when station 1 is silent, each cycle takes some 1834.5 ms more: 3 tries "
                                             "of each of 1 request, waiting 500 ms each time"));
}

TEST(PlanAdvice, NamesTheUnusedRegistersThatCostMost) {
    const Plan plan = plan_of(list_of({word("a", 1, "0"), word("b", 1, "3"), word("c", 1, "60")}, {{1, "", true}}));
    // 56 registers of two bytes.
    EXPECT_EQ(plan.advice[0].text, "station 1, class 7: registers 4 to 59 are read and not used; variables without "
                                   "gaps between them save up to 112.0 ms");
}

TEST(PlanAdvice, SaysWhenMaxCountIsSmall) {
    PollList list = list_of({{"a", 1, 9, "0", 30, View::unsigned_words}}, {{1, "", true}});
    list.link.max_count = 10;
    // Two requests of 3.5 ms, 8 + 5 bytes and 5 ms.
    EXPECT_EQ(plan_of(list).advice[0].text, "max-count 10 is small: with 100 the cycle saves 2 requests and 43.0 ms");
}

TEST(PlanAdvice, SaysWhatStationsThatAreOffWouldTake) {
    EXPECT_THAT(
        advice_of(plan_of(plant())),
        testing::Contains("station 3 is off: when it is switched on, the cycle has 1 request and 23.5 ms more"));
}

TEST(PlanAdvice, KnowsThatABitIsNotSeenInTheRegisterThatItAsksFor) {
    const Plan plan =
        plan_of(list_of({word("flags", 1, "6"), {"open", 1, 15, "60.4", 1, View::bits}}, {{1, "", true}}));
    EXPECT_THAT(advice_of(plan),
                testing::Contains("\"open\" (station 1, type 15, address 60.4) opens a block of its own: "
                                  "left out, with its word in a binary view instead, it saves 23.5 ms "
                                  "(1 request)"));
}

TEST(PlanText, ShowsWhatAStationHasOfItsOwn) {
    PollList list = list_of({word("a", 1, "0"), word("b", 2, "0")}, {{1, "", true}, {2, "", true}});
    StationSettings &own = list.link.stations[2];
    own.max_count = 20;
    own.max_gap = 0;
    own.reply = std::chrono::milliseconds(1500);
    own.retries = 1;
    list.stations[1].turnaround = microseconds(12500);
    EXPECT_THAT(text_of(plan_of(list)),
                testing::HasSubstr("answers\nstation 2: max-count 20, max-gap 0, reply-ms 1500, retries 1 and "
                                   "turnaround-ms 12.5\n\n"));
}

TEST(PlanText, ShowsFramesStationsAndAdvice) {
    EXPECT_EQ(text_of(plan_of(plant())),
              R"(plant.toml: 5 variables of 3 stations in 4 blocks, at most 100 registers in each
10000 8N1: 1000 us a character, 3.5 ms between frames, 5.0 ms until a controller answers

st  cl  first  count  gaps  asks           request                  reply    ms  variables
 1   2   2046      4     -  c 4046-4047    01 01 0F CE 00 02 DF 20      6  22.5  valves
                            c 12000-12001  01 01 2E E0 00 02 B5 15      6  22.5
 1   7      0     12    10  r 0-11         01 03 00 00 00 0C 45 CF     29  45.5  level, flow
 2  13      4      1     -  r 9708-9709    02 03 25 EC 00 02 0E C1      9  25.5  total
 3   7      0      1     -  r 0            03 03 00 00 00 01 85 E8      7   off  spare
(c: coils, r: holding registers, as Modbus counts them from 0)

station  blocks  gaps  requests  bytes out  bytes in     ms  name
      1       2    10         3         24        41   90.5  basin
      2       1     0         1          8         9   25.5
      3       1     0         1          8         7    off  pump
  cycle       3    10         4         32        50  116.0

- station 1, class 7: registers 1 to 10 are read and not used; variables without gaps between them
  save up to 20.0 ms
- without others of their station and class to share a request with: "valves" (45.0 ms) and "total"
  (25.5 ms)
- station 3 is off: when it is switched on, the cycle has 1 request and 23.5 ms more
- when station 1 is silent, each cycle takes some 5503.5 ms more: 3 tries of each of 3 requests,
  waiting 500 ms each time
)");
}

TEST(PlanText, StaysWithinAHundredColumns) {
    std::vector<Variable> variables;
    for (int i = 0; i < 300; ++i)
        variables.push_back({"a variable with quite a long n\xC3\xA4me " + std::to_string(i), 247, 2,
                             std::to_string(i % 3 == 0 ? 2000000000 + i * 7000 : i * 3), 1, View::bits});
    const std::string text = text_of(plan_of(list_of(variables, {{247, std::string(200, 'x'), true}})));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 101U) << line;
    EXPECT_THAT(text, HasSubstr("more pieces of advice: see --json"));
}

TEST(PlanText, SaysHowManyNamesItLeavesOut) {
    std::vector<Variable> variables;
    for (int i = 0; i < 12; ++i)
        variables.push_back(word("tank" + std::to_string(i), 1, std::to_string(i)));
    EXPECT_THAT(text_of(plan_of(list_of(variables, {{1, "", true}}))), HasSubstr("  tank0, tank1, tank2 +9\n"));
}

TEST(PlanJson, HasTheSameNumbers) {
    std::ostringstream out;
    print_plan_json(plan_of(plant()), "plant\xFF.toml", out);
    EXPECT_THAT(out.str(), HasSubstr("\"frame\": \"01 03 00 00 00 0C 45 CF\",\n          \"function\": 3,\n          "
                                     "\"modbus_address\": 0,\n          \"quantity\": 12,\n          "
                                     "\"reply_bytes\": 29,\n          \"ms\": 45.5"));
    EXPECT_THAT(out.str(),
                HasSubstr("\"cycle\": {\n    \"requests\": 4,\n    \"bytes_out\": 32,\n    \"bytes_in\": 50,\n"
                          "    \"ms\": 116.0\n  }"));
}

}  // namespace
