#include "list_material.h"

#include <gmock/gmock.h>

namespace {

using namespace kelpo;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> names_of(const PollList &list) {
    std::vector<std::string> names;
    for (const Variable &variable : list.variables)
        names.push_back(variable.name);
    return names;
}

TEST(ListFile, TakesEverySettingOfTheLine) {
    const ListReading reading = ListMaterial().read(R"([line]
path = "tcp:10.0.0.7:4001"
speed = 19200
parity = "even"
stop-bits = 2
rs485 = true
gap-ms = 4.5
[link]
retries = 0
max-count = 32
rest = false
rest-after = 3
retry-s = 10
echo = "auto"
[timeouts]
reply-ms = 700
inter-character-ms = 20
settle-ms = 0
turnaround-ms = 2.5
[[variable]]
type = 7
address = 0
)");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    const LinkSettings &link = reading.list.link;
    EXPECT_EQ(link.line.path, "tcp:10.0.0.7:4001");
    EXPECT_EQ(link.line.speed, 19200U);
    EXPECT_EQ(link.line.parity, Parity::even);
    EXPECT_EQ(link.line.stop_bits, 2);
    EXPECT_TRUE(link.line.rs485);
    EXPECT_EQ(link.line.gap, std::chrono::microseconds(4500));
    EXPECT_EQ(link.retries, 0);
    EXPECT_EQ(link.max_count, 32);
    EXPECT_FALSE(link.rest.enabled);
    EXPECT_EQ(link.rest.after, 3);
    EXPECT_EQ(link.rest.longest, std::chrono::seconds(10));
    EXPECT_TRUE(link.takes_off_echo);
    EXPECT_EQ(link.timeouts.reply.count(), 700);
    EXPECT_EQ(link.timeouts.inter_character.count(), 20);
    EXPECT_EQ(link.timeouts.settle.count(), 0);
    EXPECT_EQ(reading.list.turnaround, std::chrono::microseconds(2500));
}

TEST(ListFile, LeavesWhatIsNotSaidAsItIsByDefault) {
    const ListReading reading = ListMaterial().read("[[variable]]\ntype = 7\naddress = 100\n");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    EXPECT_EQ(reading.list.link.line.speed, LineSettings().speed);
    EXPECT_EQ(reading.list.link.timeouts.reply, ReplyTimeouts().reply);
    EXPECT_TRUE(reading.list.link.rest.enabled);
    EXPECT_EQ(reading.list.link.rest.after, 2);
    EXPECT_EQ(reading.list.link.rest.longest, std::chrono::seconds(30));
    EXPECT_FALSE(reading.list.link.takes_off_echo);
    EXPECT_EQ(reading.list.turnaround, std::chrono::milliseconds(5));
    ASSERT_EQ(reading.list.variables.size(), 1U);
    const Variable &variable = reading.list.variables[0];
    EXPECT_EQ(variable.name, "1:7:100");
    EXPECT_EQ(variable.station, 1);
    EXPECT_EQ(variable.address, "100");
    EXPECT_EQ(variable.count, 1);
    EXPECT_EQ(variable.view, View::unsigned_words);
    EXPECT_EQ(reading.list.place_of(0).line, 1);
}

TEST(ListFile, TakesOneValueWhereNoCountIsGiven) {
    const ListReading reading = ListMaterial().read(R"([[variable]]
type = 12
address = "20"
[[variable]]
type = 7
address = "40"
view = "float"
[[variable]]
type = 15
address = "6.4"
)");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    ASSERT_EQ(reading.list.variables.size(), 3U);
    EXPECT_EQ(reading.list.variables[0].count, 2);
    EXPECT_EQ(reading.list.variables[0].view, View::unsigned_longs);
    EXPECT_EQ(reading.list.variables[1].count, 2);
    EXPECT_EQ(reading.list.variables[2].count, 1);
    EXPECT_EQ(reading.list.variables[2].view, View::bits);
}

TEST(ListFile, GivesVariablesTheOnlyStation) {
    const ListReading reading = ListMaterial().read("[[station]]\nnumber = 9\n[[variable]]\ntype = 7\naddress = 0\n");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    EXPECT_EQ(reading.list.variables[0].station, 9);
}

TEST(ListFile, TakesTheSettingsOfAStation) {
    const ListReading reading = ListMaterial().read(R"([link]
max-count = 50
[timeouts]
turnaround-ms = 8
[[station]]
number = 7
max-count = 16
max-gap = 0
reply-ms = 1500
retries = 0
turnaround-ms = 40.5
write-single = false
[[station]]
number = 8
max-gap = 20
[[variable]]
station = 9
type = 7
address = 0
)");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    const LinkSettings &link = reading.list.link;
    const PollRules rules = link.of_driver().rules();
    EXPECT_EQ(rules.of(7).max_count, 16);
    EXPECT_EQ(rules.of(7).max_gap, 0);
    EXPECT_EQ(rules.of(8).max_count, 50);
    EXPECT_EQ(rules.of(8).max_gap, 20);
    EXPECT_EQ(rules.of(9).max_count, 50);
    EXPECT_EQ(rules.of(9).max_gap, std::nullopt);
    EXPECT_EQ(link.reply_of(7).count(), 1500);
    EXPECT_EQ(link.reply_of(8).count(), 500);
    EXPECT_EQ(link.retries_of(7), 0);
    EXPECT_EQ(link.retries_of(8), 2);
    EXPECT_EQ(reading.list.turnaround_of(7), std::chrono::microseconds(40500));
    EXPECT_EQ(reading.list.turnaround_of(9), std::chrono::milliseconds(8));
}

TEST(ListFile, TakesTheRatesOfVariablesAndStations) {
    const ListReading reading = ListMaterial().read(R"([link]
cycle-ms = 250
[[station]]
number = 1
every-ms = 10000
[[station]]
number = 2
[[variable]]
station = 1
type = 7
address = 0
[[variable]]
station = 1
type = 7
address = 1
every-ms = 0
[[variable]]
station = 2
type = 7
address = 0
every-ms = 60000
[[variable]]
station = 2
type = 7
address = 1
)");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    EXPECT_EQ(reading.list.link.cycle, std::chrono::milliseconds(250));
    std::vector<std::int64_t> rates;
    for (const Variable &variable : reading.list.variables)
        rates.push_back(variable.every.count());
    EXPECT_THAT(rates, ElementsAre(10000, 0, 60000, 0));
}

TEST(ListFile, TakesTheRatesOfACsvList) {
    const ListReading reading = ListMaterial().read("type,address,Every-ms\n7,0,500\n7,1,\n", "tags.csv");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    EXPECT_EQ(reading.list.variables[0].every, std::chrono::milliseconds(500));
    EXPECT_EQ(reading.list.variables[1].every, std::chrono::milliseconds(0));
    const ListReading wrong = ListMaterial().read("type,address,every-ms\n7,0,soon\n", "tags.csv");
    EXPECT_THAT(texts_of(wrong.remarks), ElementsAre("tags.csv:2: every-ms \"soon\"; milliseconds, 0 to 86400000"));
}

TEST(ListFile, KnowsAllStationsByNumber) {
    const ListReading reading = ListMaterial().read(R"([[station]]
number = 7
name = "boiler"
enabled = false
[[station]]
number = 2
[[variable]]
station = 7
type = 7
address = 0
[[variable]]
station = 3
type = 7
address = 0
)");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    ASSERT_EQ(reading.list.stations.size(), 3U);
    EXPECT_EQ(reading.list.stations[0].number, 2);
    EXPECT_EQ(reading.list.stations[1].number, 3);
    EXPECT_TRUE(reading.list.stations[1].enabled);
    EXPECT_EQ(reading.list.station(7).name, "boiler");
    EXPECT_FALSE(reading.list.station(7).enabled);
}

TEST(ListFile, TakesVariablesFromACsvFileNextToIt) {
    ListMaterial material;
    material.files["plant/tags.csv"] = "name;type;address\r\nlevel;7;100\r\n";
    const ListReading reading = material.read("variables = \"tags.csv\"\n[line]\nspeed = 9600\n", "plant/list.toml");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    EXPECT_THAT(names_of(reading.list), ElementsAre("level"));
    EXPECT_EQ(reading.list.place_of(0).file, "plant/tags.csv");
    EXPECT_EQ(reading.list.place_of(0).line, 2);
    EXPECT_EQ(reading.list.link.line.speed, 9600U);
}

TEST(ListFile, TakesACsvFileAlone) {
    const std::string text = "\xEF\xBB\xBF"
                             "Address\tCOUNT\tname\ttype\tview\tstation\r\n6.4\t\tK\xC3\xBChler\t15\t\t3\r\n"
                             "40\t4\t\"a\t\"\"b\"\"\"\t7\tfloat-swapped\t\r\n";
    for (const char *file : {"tags.csv", "tags.CSV", "tags.txt"}) {
        const ListReading reading = ListMaterial().read(text, file);
        EXPECT_THAT(texts_of(reading.remarks),
                    ElementsAre(std::string(file) + ":3: name \"a\\x09\"b\"\" has control characters; letters, "
                                                    "digits, signs and blanks"));
        ASSERT_EQ(reading.list.variables.size(), 1U);
        EXPECT_EQ(reading.list.variables[0].name, "K\xC3\xBChler");
        EXPECT_EQ(reading.list.variables[0].station, 3);
        EXPECT_EQ(reading.list.variables[0].address, "6.4");
    }
}

TEST(ListFile, PassesOverColumnsOfOtherPrograms) {
    const ListReading reading = ListMaterial().read("name,type,address,comment\nlevel,7,0,basin\n", "tags.csv");
    EXPECT_TRUE(reading.usable());
    EXPECT_THAT(texts_of(reading.remarks),
                ElementsAre("tags.csv:1: warning: column \"comment\" is ignored; known are name, station, type, "
                            "address, count, view and every-ms"));
    EXPECT_THAT(names_of(reading.list), ElementsAre("level"));
}

TEST(ListFile, CollectsTheMistakesOfAllFilesByLine) {
    ListMaterial material;
    material.files["tags.csv"] = "name,type,address\na,7,x\na,99,0\n";
    const ListReading reading = material.read(R"(variables = "tags.csv"
[[variable]]
station = 0
type = 18
adress = 3
count = 0
[line]
speed = 9601
)");
    EXPECT_FALSE(reading.usable());
    EXPECT_THAT(texts_of(reading.remarks),
                ElementsAre("list.toml:2: no address; the register's number as the controller has it",
                            "list.toml:3: station 0; a controller's number, 1 to 247",
                            "list.toml:4: type 18; a register type, 0 to 17",
                            "list.toml:5: unknown key \"adress\" in [[variable]]; \"address\" was meant",
                            "list.toml:6: count 0; a number of bits or 16-bit registers, 1 to 65535",
                            "list.toml:8: speed 9601 is not a rate that serial lines have; the nearest is 9600",
                            "tags.csv:2: address \"x\" is not a number; type 7 takes a decimal number, such as 100",
                            "tags.csv:3: type 99; a register type, 0 to 17",
                            "tags.csv:3: name \"a\" is in line 2 already; give one of them another name"));
}

struct Mistake {
    const char *list;
    const char *remark;
};

class ListMistakes : public testing::TestWithParam<Mistake> {};

TEST_P(ListMistakes, AreReportedWithTheLineAndWhatWouldBeRight) {
    const ListReading reading = ListMaterial().read(GetParam().list);
    EXPECT_FALSE(reading.usable());
    EXPECT_THAT(texts_of(reading.remarks), ElementsAre(std::string("list.toml:") + GetParam().remark));
}

const Mistake settings[] = {
    {"", "1: no variables; add a [[variable]] with type and address, or variables = \"FILE.csv\""},
    {"[line]\nspeed = \n", "2: this is not TOML: Error while parsing key-value pair: expected value, saw '\\n'"},
    {"[lien]\n", "1: unknown key \"lien\"; \"line\" was meant"},
    {"[line]\nbaud = 9600\n",
     "2: unknown key \"baud\" in [line]; known are path, speed, parity, stop-bits, rs485 and gap-ms"},
    {"line = \"/dev/ttyS0\"\n", "1: line is a text; write it as a table, [line]"},
    {"[[line]]\nspeed = 9600\n", "1: line is an array of tables; write it as a table, [line]"},
    {"[line]\npath = 5\n", "2: path is a whole number; a text in quotes, such as path = \"/dev/ttyUSB0\""},
    {"[line]\npath = \" \"\n", "2: path \" \" names no line; \"/dev/ttyUSB0\" or \"tcp:HOST:PORT\""},
    {"[line]\nspeed = \"9600\"\n", "2: speed is a text; a whole number, 50 to 4000000"},
    {"[line]\nspeed = 9600.0\n", "2: speed is a number with a point; a whole number, 50 to 4000000"},
    {"[line]\nspeed = 20000\n", "2: speed 20000 is not a rate that serial lines have; the nearest is 19200"},
    {"[line]\nspeed = -1\n", "2: speed -1; a whole number, 50 to 4000000"},
    {"[line]\nparity = \"E\"\n", "2: parity \"E\"; \"none\", \"even\" or \"odd\""},
    {"[line]\nstop-bits = 3\n", "2: stop-bits 3; a whole number, 1 to 2"},
    {"[line]\nrs485 = 1\n", "2: rs485 is a whole number; true or false, without quotes"},
    {"[line]\ngap-ms = nan\n", "2: gap-ms is out of range; milliseconds, 0 to 1000"},
    {"[line]\ngap-ms = 1000.5\n", "2: gap-ms is out of range; milliseconds, 0 to 1000"},
    {"[link]\nretries = -1\n", "2: retries -1; a whole number, 0 to 100"},
    {"[link]\nrest-after = 0\n", "2: rest-after 0; a whole number, 1 to 100"},
    {"[link]\nretry-s = 0\n", "2: retry-s 0; a whole number, 1 to 3600"},
    {"[link]\necho = \"on\"\n", "2: echo \"on\"; \"auto\" or \"off\""},
    {"[link]\necho = true\n", "2: echo is true or false; a text in quotes, such as echo = \"auto\""},
    {"[link]\nmax-count = 101\n", "2: max-count 101; a whole number, 1 to 100"},
    {"[timeouts]\nreply-ms = 0\n", "2: reply-ms 0; a whole number, 1 to 60000"},
    {"[timeouts]\nreply = 500\n", "2: unknown key \"reply\" in [timeouts]; \"reply-ms\" was meant"},
    {"[timeouts]\nturnaround-ms = 12:00:00\n", "2: turnaround-ms is a date or time; milliseconds, 0 to 60000"},
    {"[[station]]\nname = \"a\"\n", "1: no number; the station's number on the line, 1 to 247"},
    {"[[station]]\nnumber = 248\n", "2: number 248; a whole number, 1 to 247"},
    {"[[station]]\nnumber = 1\n[[station]]\nnumber = 1\n",
     "3: station 1 is in line 1 already; describe each station once"},
    {"[[station]]\nnumber = 1\nmax-count = 101\n", "3: max-count 101; a whole number, 1 to 100"},
    {"[[station]]\nnumber = 1\nmax-gap = -1\n", "3: max-gap -1; a whole number, 0 to 100"},
    {"[[station]]\nnumber = 1\nreply-ms = 0\n", "3: reply-ms 0; a whole number, 1 to 60000"},
    {"[[station]]\nnumber = 1\nretries = 2.5\n", "3: retries is a number with a point; a whole number, 0 to 100"},
    {"[[station]]\nnumber = 1\nturnaround-ms = -1\n", "3: turnaround-ms is out of range; milliseconds, 0 to 60000"},
    {"[[station]]\nnumber = 1\nwrite-single = true\n",
     "3: write-single = true; the driver writes registers with function 16, a single one too: let the controller "
     "accept "
     "that, or write the register's bits as types 15 to 17, which go out with function 6"},
    {"[[station]]\nnumber = 1\nwrite-single = 1\n", "3: write-single is a whole number; true or false, without quotes"},
    {"[[station]]\nnumber = 1\nevery-ms = -1\n", "3: every-ms -1; a whole number, 0 to 86400000"},
    {"[link]\ncycle-ms = 3600001\n", "2: cycle-ms 3600001; a whole number, 0 to 3600000"},
    {"[station]\nnumber = 1\n", "1: station is a table; write each as a table of its own, [[station]]"},
    {"variables = \"none.csv\"\n",
     "1: variables \"none.csv\" cannot be read: No such file or directory; a CSV file beside this one"},
    {"variables = \"\"\n", "1: variables \"\" names no file; \"variables.csv\""},
    {"variable = [1]\n", "1: variable is a whole number; write each as a table of its own, [[variable]]"},
    {"a = \"\x81\"\n", "1: characters that are not UTF-8; save the file as UTF-8"},
    {"\xFF\xFE[", "1: characters that are not UTF-8; save the file as UTF-8"},
};

INSTANTIATE_TEST_SUITE_P(InSettings, ListMistakes, testing::ValuesIn(settings));

const Mistake variables[] = {
    {"[[variable]]\naddress = 1\n", "1: no type; a register type, 0 to 17"},
    {"[[variable]]\ntype = 15\n", "1: no address; type 15 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = \"D\"\naddress = 1\n", "2: type \"D\"; a register type, 0 to 17"},
    {"[[variable]]\ntype = 7.0\naddress = 1\n", "2: type is a number with a point; a register type, 0 to 17"},
    {"[[variable]]\nstation = 248\ntype = 7\naddress = 1\n", "2: station 248; a controller's number, 1 to 247"},
    {"[[station]]\nnumber = 1\n[[station]]\nnumber = 2\n[[variable]]\ntype = 7\naddress = 1\n",
     "5: no station; with several stations each variable names its own"},
    {"[[variable]]\ntype = 0\naddress = 18\n",
     "3: address \"18\" has a digit above 7; type 0 takes an octal number (digits 0 to 7), such as 17"},
    {"[[variable]]\ntype = 13\naddress = 199\n",
     "3: address \"199\" is below 200; type 13 takes a decimal number, at least 200, such as 204"},
    {"[[variable]]\ntype = 15\naddress = 6\n", "3: address \"6\" names no bit; type 15 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 17\naddress = \"6.4.1\"\n",
     "3: address \"6.4.1\" has more than one point; type 17 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 16\naddress = \".4\"\n",
     "3: address \".4\" has no number before the point; type 16 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 16\naddress = \"4.\"\n",
     "3: address \"4.\" has no number after the point; type 16 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 15\naddress = 6.4\n",
     "3: address is a number with a point; write it in quotes as the controller has it, such as \"6.4\""},
    {"[[variable]]\ntype = 1\naddress = 0o17\n", "3: address has a prefix such as 0x or 0o; write it in quotes as the "
                                                 "controller has it, such as \"6.4\""},
    {"[[variable]]\ntype = 7\naddress = \"6.4\"\n",
     "3: address \"6.4\" names a bit, which only types 15 to 17 have; type 7 takes a decimal number, such as 100"},
    {"[[variable]]\ntype = 7\naddress = -1\n",
     "3: address \"-1\" is below 0; type 7 takes a decimal number, such as 100"},
    {"[[variable]]\ntype = 7\naddress = \"\"\n",
     "3: address \"\" is empty; type 7 takes a decimal number, such as 100"},
    {"[[variable]]\ntype = 7\naddress = 2147483648\n",
     "3: address \"2147483648\" is too large; type 7 takes a decimal number, such as 100"},
    {"[[variable]]\ntype = 7\naddress = \"1\\u00002\"\n",
     "3: address \"1\\x002\" is not a number; type 7 takes a decimal number, such as 100"},
    {"[[variable]]\ntype = 7\naddress = \"-k\"\n",
     "3: address \"-k\" is not a number; type 7 takes a decimal number, such as 100"},
    {"[[variable]]\ntype = 15\naddress = \"-\"\n",
     "3: address \"-\" names no bit; type 15 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 15\naddress = \"-1.4\"\n",
     "3: address \"-1.4\" is below 0; type 15 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 15\naddress = \"+99999999999.1\"\n",
     "3: address \"+99999999999.1\" is too large; type 15 takes word.bit, such as 6.4"},
    {"[[variable]]\ntype = 12\naddress = 0\ncount = 3\n",
     "4: count 3 is odd; each value takes two registers: 4 for 2 values"},
    {"[[variable]]\ntype = 7\naddress = 0\ncount = 1\nview = \"float\"\n",
     "4: count 1 is odd; each value takes two registers: 2 for 1 value"},
    {"[[variable]]\ntype = 7\naddress = 0\ncount = 65536\n",
     "4: count 65536; a number of bits or 16-bit registers, 1 to 65535"},
    {"[[variable]]\ntype = 1\naddress = 0\nview = \"signed\"\n", "4: type 1 has no view \"signed\"; it has bits"},
    {"[[variable]]\ntype = 13\naddress = 200\nview = \"bits\"\n",
     "4: type 13 has no view \"bits\"; it has unsigned, signed, hex, binary, float"},
    {"[[variable]]\nname = 5\ntype = 7\naddress = 0\n",
     "2: name is a whole number; a text in quotes, such as name = \"boiler temperature\""},
    {"[[variable]]\nname = \"a\\u001b[2J\"\ntype = 7\naddress = 0\n",
     "2: name \"a\\x1B[2J\" has control characters; letters, digits, signs and blanks"},
    {"[[variable]]\nname = \"a\"\ntype = 7\naddress = 0\n[[variable]]\ntype = 7\nname = \"a\"\naddress = 1\n",
     "7: name \"a\" is in line 2 already; give one of them another name"},
    {"[[variable]]\ntype = 7\naddress = 0\nunit = \"bar\"\n",
     "4: unknown key \"unit\" in [[variable]]; known are name, station, type, address, count, view and "
     "every-ms"},
};

INSTANTIATE_TEST_SUITE_P(InVariables, ListMistakes, testing::ValuesIn(variables));

class CsvMistakes : public testing::TestWithParam<Mistake> {};

TEST_P(CsvMistakes, AreReportedWithTheLineAndWhatWouldBeRight) {
    const ListReading reading = ListMaterial().read(GetParam().list, "tags.csv");
    EXPECT_FALSE(reading.usable());
    EXPECT_THAT(texts_of(reading.remarks), ElementsAre(std::string("tags.csv:") + GetParam().remark));
}

const Mistake csv[] = {
    {"", "1: nothing in it; a first line such as name,station,type,address,count,view, and a variable in each line "
         "below"},
    {"type,address\n", "1: no variables; add a [[variable]] with type and address, or variables = \"FILE.csv\""},
    {"name,type\na,7\n", "1: no column \"address\"; the first line names the columns: name, station, type, address, "
                         "count, view and every-ms"},
    {"type,address,adress\n7,1,\n", "1: unknown column \"adress\"; \"address\" was meant"},
    {"type,address,type\n7,1,\n", "1: column \"type\" is there twice; leave one of them out"},
    {"type,address\n7,1,2\n",
     "2: 3 fields where the first line names 2; put a field with a separator in it between double quotes"},
    {"type,address\n7\n", "2: no address; type 7 takes a decimal number, such as 100"},
    {"type,address,name\n7,0,\"a\n", "2: a quote is never closed; put \" after the field"},
    {"type;address\n15;6,4\n", "2: address \"6,4\" names no bit; type 15 takes word.bit, such as 6.4"},
    {"type,address,station\n7,0,one\n", "2: station \"one\"; a controller's number, 1 to 247"},
};

INSTANTIATE_TEST_SUITE_P(InCsv, CsvMistakes, testing::ValuesIn(csv));

TEST(ListFile, IsReadAsSpreadsheetsSaveIt) {
    using namespace std::string_literals;
    const std::string little = "\xFF\xFEt\0y\0p\0e\0\t\0n\0a\0m\0e\0\t\0a\0d\0d\0r\0e\0s\0s\0\r\0\n\0"
                               "7\0\t\0\xFC\0\xAC\x20\t\0"
                               "5\0\r\0\n\0"s;
    std::string big = little;
    for (std::size_t i = 0; i + 1 < big.size(); i += 2)
        std::swap(big[i], big[i + 1]);
    for (const std::string &utf16 : {little, big}) {
        const ListReading reading = ListMaterial().read(utf16, "tags.csv");
        EXPECT_THAT(texts_of(reading.remarks), ElementsAre());
        ASSERT_EQ(reading.list.variables.size(), 1U);
        EXPECT_EQ(reading.list.variables[0].name, "\xC3\xBC\xE2\x82\xAC");
        EXPECT_EQ(reading.list.variables[0].address, "5");
    }
    const ListReading old = ListMaterial().read("type;address;name\r\n7;5;\xFC\x80\r\n", "tags.csv");
    EXPECT_THAT(
        texts_of(old.remarks),
        ElementsAre("tags.csv:2: warning: characters that are not UTF-8 are taken as Windows-1252; save the file "
                    "as UTF-8 to be sure"));
    ASSERT_EQ(old.list.variables.size(), 1U);
    EXPECT_EQ(old.list.variables[0].name, "\xC3\xBC\xE2\x82\xAC");
}

TEST(ListFile, SurvivesTextThatIsNoList) {
    const ListMaterial material;
    const std::string hostile[] = {
        std::string(1, '\0'),
        std::string(5000, '['),
        std::string(5000, '"'),
        "a = " + std::string(3000, '['),
        "\"type\",address\r",
        "sep=\"\ntype\"address\n\"\"",
        "type,address\n7," + std::string(100000, '9'),
        "[[variable]]\n[[variable.type]]\n",
        "variables = \"\\u0000\"",
    };
    for (const std::string &text : hostile)
        for (const char *file : {"list.toml", "list.csv"})
            EXPECT_FALSE(material.read(text, file).usable()) << text.substr(0, 20);
}

TEST(ListFile, RefusesKeysOfMorePartsThanTheParsersStackHolds) {
    std::string parts = "a";
    for (int i = 0; i < 200000; ++i)
        parts += ".a";
    const std::string remark =
        "more than 100 points in one line; a key of a list has one or two parts, such as line.speed";
    const ListMaterial material;
    EXPECT_THAT(texts_of(material.read("# 1\n\n" + parts + " = 1\n").remarks), ElementsAre("list.toml:3: " + remark));
    EXPECT_THAT(texts_of(material.read("a = \"\"\"\n\\\"\n\"\"\"\n[" + parts + "]\n").remarks),
                ElementsAre("list.toml:4: " + remark));
    EXPECT_THAT(texts_of(material.read("a = \"\"\"b\"\"\"\"\"\n" + parts + " = \"\"\n").remarks),
                ElementsAre("list.toml:2: " + remark));
    EXPECT_THAT(texts_of(material.read("a = [\n'\\', \"'\", {" + parts + " = 1}]\n").remarks),
                ElementsAre("list.toml:2: " + remark));
}

TEST(ListFile, TakesAnyNumberOfPointsThatPartNoKey) {
    const std::string points(1000, '.');
    const std::string list = "# " + points + "\n[line]\npath = \"/dev/" + points +
                             "\"\n[[station]]\nnumber = 1\nname = '" + points +
                             "'\n[[variable]]\ntype = 7\naddress = 1\nname = \"\"\"" + points + "\"\"\"\n";
    EXPECT_THAT(texts_of(ListMaterial().read(list).remarks), IsEmpty());
}

TEST(ListFile, ReadsKeysOfAsManyPartsAsALineMayHave) {
    const auto parts = [](int count) {
        std::string key = "a";
        for (int i = 1; i < count; ++i)
            key += ".a";
        return key;
    };
    std::string list = "[" + parts(101) + "]\n" + parts(101) + " = ";
    for (int i = 0; i < 15; ++i)
        list += "[\n{" + parts(50) + " = ";
    const std::string unknown = "list.toml:1: unknown key \"a\"; known are line, link, timeouts, site, mqtt, "
                                "station, variable and "
                                "variables";
    const ListMaterial material;
    EXPECT_THAT(texts_of(material.read("[" + parts(101) + "]\n" + parts(101) + " = 1\n").remarks),
                ElementsAre(unknown));
    EXPECT_THAT(texts_of(material.read(list).remarks),
                ElementsAre(testing::HasSubstr("exceeded maximum nested value")));
}

TEST(ListFile, SaysWhatIsWrongWithALetterBeyondAsciiOutsideQuotes) {
    const std::string remark = "a letter beyond ASCII outside quotes; put the key or the value into double quotes";
    const ListMaterial material;
    EXPECT_THAT(texts_of(material.read("gr\xC3\xB6\xC3\x9F\x65 = 1\n").remarks), ElementsAre("list.toml:1: " + remark));
    EXPECT_THAT(texts_of(material.read("# \xC3\xB6\n[line]\npath = \xC2\xA0\"/dev/ttyS0\"\n").remarks),
                ElementsAre("list.toml:3: " + remark));
}

TEST(ListFile, TakesLettersBeyondAsciiInQuotesAndCommentsAndAByteOrderMark) {
    EXPECT_THAT(texts_of(ListMaterial()
                             .read("\xEF\xBB\xBF# K\xC3\xBChler\n[[variable]]\nname = \"K\xC3\xBChler\"\n"
                                   "type = 7\naddress = 1\n")
                             .remarks),
                IsEmpty());
}

TEST(ListFile, TakesLettersBeyondAsciiAfterALineThatContinues) {
    const ListReading reading = ListMaterial().read("[[variable]]\nname = \"\"\"Pump \\\n  \xC3\xA9\xC3\xA9\"\"\"\n"
                                                    "type = 7\naddress = 1\n");
    EXPECT_THAT(texts_of(reading.remarks), IsEmpty());
    ASSERT_EQ(reading.list.variables.size(), 1U);
    EXPECT_EQ(reading.list.variables[0].name, "Pump \xC3\xA9\xC3\xA9");
}

TEST(ListFile, RefusesALetterBeyondAsciiAfterABackslash) {
    EXPECT_THAT(texts_of(ListMaterial().read("a = \"\"\"\\\xC3\xA9\"\"\"\n").remarks),
                ElementsAre(testing::HasSubstr("unknown escape sequence '\\\xC3\xA9'")));
}

TEST(ListFile, TakesEveryLetterAsItIs) {
    const std::string names[] = {"100 %", "%41", "%C3%A9", "\xC2\xA0\xE2\x80\xAF", "\xF0\x9F\x92\xA7\xF4\x80\x80\x80"};
    for (const std::string &name : names) {
        const std::string list = "[[variable]]\ntype = 7\naddress = 1\n[[station]]\nnumber = 1\nname = ";
        for (const std::string quotes : {"\"", "'", "\"\"\"", "'''"}) {
            const ListReading reading = ListMaterial().read(list + quotes + name + quotes);
            EXPECT_THAT(texts_of(reading.remarks), IsEmpty()) << quotes;
            EXPECT_EQ(reading.list.station(1).name, name) << quotes;
        }
    }
    EXPECT_THAT(texts_of(ListMaterial().read("\"\xC3\xA9%41\" = 1\n").remarks),
                ElementsAre(testing::HasSubstr("unknown key \"\xC3\xA9%41\"")));
    EXPECT_THAT(texts_of(ListMaterial().read("a = %\n").remarks), ElementsAre(testing::HasSubstr("this is not TOML")));
}

TEST(ListFile, RefusesTheEscapeThatItKeepsForItself) {
    const std::string remark = "list.toml:2: an escape for %; write the letter itself";
    for (const char *escape : {"\\u0025C3", "\\U00000025C3"})
        EXPECT_THAT(texts_of(ListMaterial().read("\na = \"" + std::string(escape) + "\"\n").remarks),
                    ElementsAre(remark));
}

TEST(ListFile, ShowsControlCharactersOfTextThatIsNoToml) {
    EXPECT_THAT(texts_of(ListMaterial().read("path = tr\x0B\x0B\n").remarks),
                ElementsAre(testing::AllOf(testing::HasSubstr("\\x0B"), testing::Not(testing::HasSubstr("\x0B")))));
}

TEST(ListFile, SaysWhyAFileCannotBeRead) {
    const Driver driver(DRIVER_FILE);
    EXPECT_THAT(texts_of(load_list("/nowhere/list.toml", LinkSettings(), driver).remarks),
                ElementsAre("/nowhere/list.toml: cannot be read: No such file or directory; a TOML or CSV file"));
    EXPECT_THAT(texts_of(load_list("/", LinkSettings(), driver).remarks),
                ElementsAre("/: cannot be read: Is a directory; a TOML or CSV file"));
    EXPECT_THAT(texts_of(load_list("/dev/zero", LinkSettings(), driver).remarks),
                ElementsAre("/dev/zero: cannot be read: it is not a regular file; a TOML or CSV file"));
}

TEST(ListFile, TakesTheExamples) {
    const Driver driver(DRIVER_FILE);
    const ListReading toml = load_list(EXAMPLES_FOLDER "/pump-station.toml", LinkSettings(), driver);
    EXPECT_THAT(texts_of(toml.remarks), IsEmpty());
    EXPECT_EQ(toml.list.variables.size(), 8U);
    EXPECT_EQ(toml.list.stations.size(), 3U);
    const ListReading csv_list = load_list(EXAMPLES_FOLDER "/basin-variables.csv", LinkSettings(), driver);
    EXPECT_THAT(texts_of(csv_list.remarks), IsEmpty());
    EXPECT_EQ(csv_list.list.variables.size(), 5U);
}

}  // namespace
