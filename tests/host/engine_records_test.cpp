#include "host/engine/records.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <ctime>

namespace kelpo {
namespace {

using namespace std::chrono_literals;
using EventKind = PollEvent::Kind;

// 2026-11-21 05:31:26.123456 UTC
const RecordTime time_of_record{std::chrono::microseconds(1795239086123456)};

const Variable level{"tank level", 3, 7, "100", 1, View::signed_words};
const Variable gates{"inlet gates, \"north\"", 1, 1, "17", 4, View::bits};
const Variable heat{"heat", 2, 12, "8", 4, {View::Unit::long_value, View::Reading::real}};
const std::vector<Variable> variables{level, gates, heat};

/// Local time is UTC.
class RecordsTest : public testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
    }
};

VariableState state(const Variable &variable, const Values &values) {
    VariableState state;
    state.bytes = bytes_of(variable.view, values);
    state.quality = Quality::good;
    state.wall_time = time_of_record - 100ms;
    return state;
}

TEST_F(RecordsTest, PrintValuesInPlainLines) {
    EXPECT_EQ(record_head(RecordFormat::plain), "");
    EXPECT_EQ(value_record(RecordFormat::plain, time_of_record, level, state(level, {-42})),
              "05:31:26.123 tank level = -42\n");
}

TEST_F(RecordsTest, PrintValuesInCsv) {
    EXPECT_EQ(record_head(RecordFormat::csv), "time,kind,name,station,type,address,count,text,quality,read_at\n");
    EXPECT_EQ(value_record(RecordFormat::csv, time_of_record, level, state(level, {-42})),
              "2026-11-21T05:31:26.123Z,value,tank level,3,7,100,1,-42,good,2026-11-21T05:31:26.023Z\n");
    EXPECT_EQ(value_record(RecordFormat::csv, time_of_record, gates, state(gates, {0, 1, 1, 0})),
              "2026-11-21T05:31:26.123Z,value,\"inlet gates, \"\"north\"\"\",1,1,17,4,0110,good,"
              "2026-11-21T05:31:26.023Z\n");
}

std::string csv_name(const std::string &name) {
    Variable variable = level;
    variable.name = name;
    const std::string record = value_record(RecordFormat::csv, time_of_record, variable, state(variable, {7}));
    const std::string before = "2026-11-21T05:31:26.123Z,value,",
                      after = ",3,7,100,1,7,good,2026-11-21T05:31:26.023Z\n";
    EXPECT_EQ(record.substr(0, before.size()), before);
    EXPECT_EQ(record.substr(record.size() - after.size()), after);
    return record.substr(before.size(), record.size() - before.size() - after.size());
}

TEST_F(RecordsTest, AreNoFormulasForASpreadsheet) {
    EXPECT_EQ(csv_name("=1+1"), "'=1+1");
    EXPECT_EQ(csv_name("+cmd|' /C calc'!A0"), "'+cmd|' /C calc'!A0");
    EXPECT_EQ(csv_name("-2+3"), "'-2+3");
    EXPECT_EQ(csv_name("@SUM(A1)"), "'@SUM(A1)");
    EXPECT_EQ(csv_name(" =1+1"), "' =1+1");
    EXPECT_EQ(csv_name("=HYPERLINK(\"a\",\"b\")"), "\"'=HYPERLINK(\"\"a\"\",\"\"b\"\")\"");
    EXPECT_EQ(csv_name("a;=1+1"), "\"a;=1+1\"");
    EXPECT_EQ(csv_name("\t=1"), "'\\x09=1");
    for (const char *const number : {"-40", "+40", "-1.5e-05", "1-2", "a=b"})
        EXPECT_EQ(csv_name(number), number);
}

TEST_F(RecordsTest, KeepNumbersInCsvAndMarkSeveralThatWouldBeAddedUp) {
    const auto text_of_values = [](const Values &values) {
        const Variable pair{"pair", 1, 7, "1", static_cast<int>(values.size()), View::signed_words};
        return value_record(RecordFormat::csv, time_of_record, pair, state(pair, values)).substr(42);
    };
    EXPECT_EQ(text_of_values({-1}).substr(0, 7), "1,-1,go");
    EXPECT_EQ(text_of_values({-1, -2}).substr(0, 11), "2,'-1 -2,go");
    EXPECT_EQ(text_of_values({1, -2}).substr(0, 9), "2,1 -2,go");
}

TEST_F(RecordsTest, SayHowManyAreLeftOut) {
    EXPECT_EQ(left_out_record(RecordFormat::plain, time_of_record, 2),
              "05:31:26.123 * 2 records are left out here: the reader was too slow\n");
    EXPECT_EQ(left_out_record(RecordFormat::csv, time_of_record, 1),
              "2026-11-21T05:31:26.123Z,left-out,,,,,1,1 record is left out here: the reader was too slow,,\n");
    EXPECT_EQ(left_out_record(RecordFormat::json, time_of_record, 4000000000),
              R"({"time":"2026-11-21T05:31:26.123Z","kind":"left-out","count":4000000000,)"
              R"("text":"4000000000 records are left out here: the reader was too slow"})"
              "\n");
}

TEST_F(RecordsTest, CannotSteerATerminal) {
    Variable hostile = level;
    hostile.name = "a\033[2J\n\xE2\x80\xAE";
    EXPECT_EQ(value_record(RecordFormat::plain, time_of_record, hostile, state(hostile, {7})),
              "05:31:26.123 a\\x1B[2J\\x0A\\xE2\\x80\\xAE = 7\n");
    EXPECT_EQ(csv_name(hostile.name), "a\\x1B[2J\\x0A\\xE2\\x80\\xAE");
}

TEST_F(RecordsTest, PrintValuesInJson) {
    EXPECT_EQ(
        value_record(RecordFormat::json, time_of_record, level, state(level, {-42})),
        R"({"time":"2026-11-21T05:31:26.123Z","kind":"value","name":"tank level","station":3,"type":7,)"
        R"("address":"100","count":1,"values":[-42],"text":"-42","quality":"good","read_at":"2026-11-21T05:31:26.023Z"})"
        "\n");
    // 0.1 as a float, and not-a-number.
    EXPECT_EQ(
        value_record(RecordFormat::json, time_of_record, heat, state(heat, {0x3DCCCCCD, 0x7FC00000})),
        R"({"time":"2026-11-21T05:31:26.123Z","kind":"value","name":"heat","station":2,"type":12,)"
        R"("address":"8","count":4,"values":[0.1,null],"text":"0.1 nan","quality":"good","read_at":"2026-11-21T05:31:26.023Z"})"
        "\n");
}

TEST_F(RecordsTest, MarkAValueThatIsNotGoodAndSayWhenItWasRead) {
    VariableState old = state(level, {-42});
    old.quality = Quality::stale;
    old.wall_time = time_of_record - 1min;
    EXPECT_EQ(value_record(RecordFormat::plain, time_of_record, level, old),
              "05:31:26.123 tank level = -42 (stale, read at 05:30:26.123)\n");
    EXPECT_EQ(value_record(RecordFormat::csv, time_of_record, level, old),
              "2026-11-21T05:31:26.123Z,value,tank level,3,7,100,1,-42,stale,2026-11-21T05:30:26.123Z\n");
    old.quality = Quality::bad;
    EXPECT_EQ(value_record(RecordFormat::plain, time_of_record, level, old),
              "05:31:26.123 tank level = -42 (bad, read at 05:30:26.123)\n");
    EXPECT_EQ(value_record(RecordFormat::json, time_of_record, level, old),
              R"({"time":"2026-11-21T05:31:26.123Z","kind":"value","name":"tank level","station":3,"type":7,)"
              R"("address":"100","count":1,"values":[-42],"text":"-42","quality":"bad",)"
              R"("read_at":"2026-11-21T05:30:26.123Z"})"
              "\n");
}

TEST_F(RecordsTest, PrintEventsWithWhatIsKnownOfThem) {
    struct Case {
        PollEvent event;
        const char *plain, *csv, *json;
    };
    const Case cases[] = {
        {{EventKind::given_up, time_of_record, {3, 7, 100}, 10, {}, {}, "no reply"},
         "* station 3, 10 of type 7 from no. 100 given up: no reply",
         "given-up,,3,7,100,10,no reply",
         R"("kind":"given-up","station":3,"type":7,"address":"100","count":10,"text":"no reply"})"},
        {{EventKind::station_down, time_of_record, {3, 7, 100}, 0, {}, {}, "no reply"},
         "* station 3 does not answer: no reply",
         "station-down,,3,,,,no reply",
         R"("kind":"station-down","station":3,"text":"no reply"})"},
        {{EventKind::station_down,
          time_of_record,
          {3, 7, 100},
          0,
          {},
          {},
          "bad reply: noise",
          Failure::Kind::bad_reply},
         "* station 3 is not understood: bad reply: noise",
         "station-down,,3,,,,bad reply: noise",
         R"("kind":"station-down","station":3,"text":"bad reply: noise"})"},
        {{EventKind::station_rests, time_of_record, {3, 0, 0}, 0, {}, 1100ms, "no reply"},
         "* station 3 gives no reply: resting, next try in 2 s",
         "station-rests,,3,,,,no reply",
         R"("kind":"station-rests","station":3,"text":"no reply","pause_ms":1100})"},
        {{EventKind::station_back, time_of_record, {3, 7, 100}, 0, {}, {}, ""},
         "* station 3 answers again",
         "station-back,,3,,,,",
         R"("kind":"station-back","station":3,"text":""})"},
        {{EventKind::line_lost, time_of_record, {}, 0, {}, 500ms, "/dev/ttyUSB0: hung up"},
         "* line lost: /dev/ttyUSB0: hung up; next try in 500 ms",
         "line-lost,,,,,,/dev/ttyUSB0: hung up",
         R"("kind":"line-lost","text":"/dev/ttyUSB0: hung up","pause_ms":500})"},
        {{EventKind::line_back, time_of_record, {}, 0, {}, {}, ""},
         "* line is back",
         "line-back,,,,,,",
         R"("kind":"line-back","text":""})"},
        {{EventKind::write_done, time_of_record, {}, 0, 0, {}, "350"},
         "* write tank level = 350: done",
         "write-done,tank level,3,7,100,1,350",
         R"("kind":"write-done","name":"tank level","station":3,"type":7,"address":"100","count":1,"text":"350"})"},
        {{EventKind::write_failed, time_of_record, {}, 0, 0, {}, "no reply"},
         "* write tank level failed: no reply",
         "write-failed,tank level,3,7,100,1,no reply",
         R"("kind":"write-failed","name":"tank level","station":3,"type":7,"address":"100","count":1,)"
         R"("text":"no reply"})"},
        {{EventKind::write_expired, time_of_record, {}, 0, 0, {}, "not sent within 5 s"},
         "* write tank level expired: not sent within 5 s",
         "write-expired,tank level,3,7,100,1,not sent within 5 s",
         R"("kind":"write-expired","name":"tank level","station":3,"type":7,"address":"100","count":1,)"
         R"("text":"not sent within 5 s"})"},
    };
    for (const Case &one : cases) {
        EXPECT_EQ(event_record(RecordFormat::plain, one.event, variables),
                  std::string("05:31:26.123 ") + one.plain + "\n");
        EXPECT_EQ(event_record(RecordFormat::csv, one.event, variables),
                  std::string("2026-11-21T05:31:26.123Z,") + one.csv + ",,\n");
        EXPECT_EQ(event_record(RecordFormat::json, one.event, variables),
                  std::string(R"({"time":"2026-11-21T05:31:26.123Z",)") + one.json + "\n");
    }
}

TEST_F(RecordsTest, ReportAWriteThatIsRefused) {
    EXPECT_EQ(refusal_record(RecordFormat::plain, time_of_record, nullptr, "no variable \"x\" in the list"),
              "05:31:26.123 * no variable \"x\" in the list\n");
    EXPECT_EQ(refusal_record(RecordFormat::csv, time_of_record, &level, "not now"),
              "2026-11-21T05:31:26.123Z,write-refused,tank level,3,7,100,1,not now,,\n");
}

}  // namespace
}  // namespace kelpo
