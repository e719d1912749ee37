#include "planning/read_list.h"

#include "driver_test.h"
#include "hex_text.h"

#include <initializer_list>

using support::blocks;
using support::DriverTest;
using support::host_var;
using support::int_max;
using support::int_min;
using support::make_var;
using support::spans;

namespace {

typedef std::pair<int, int> Span;  ///< address, count

QList<RW_VAR> group(std::initializer_list<Span> entries, int reg_type = 7, int station_no = 1) {
    QList<RW_VAR> list;
    for (const Span &entry : entries)
        list.append(make_var(reg_type, entry.first, entry.second, station_no));
    return list;
}

// The result of both merges for one group; they must agree.
std::string merged(std::initializer_list<Span> entries, int limit) {
    QList<RW_VAR> into_driver = group(entries);
    PLC_driver.read_list.clear();
    BitVarReCreat(&into_driver, limit);

    QList<RW_VAR> into_list = group(entries);
    QList<RW_VAR> output;
    BitVarReCreat_2(&into_list, limit, output);

    EXPECT_EQ(spans(output), spans(PLC_driver.read_list)) << "the two merges disagree";
    return spans(PLC_driver.read_list);
}

class Rebuild : public DriverTest {
protected:
    static int rebuild(std::initializer_list<HOST_VAR> vars) {
        QList<HOST_VAR> list;
        for (const HOST_VAR &var : vars)
            list.append(var);
        const int count = ReCreatReadVarList(&list);
        EXPECT_EQ(count, static_cast<int>(PLC_driver.read_list.size()));
        return count;
    }

    static std::string plan(std::initializer_list<HOST_VAR> vars) {
        rebuild(vars);
        return blocks(PLC_driver.read_list);
    }

    // The length of the first of the blocks that a variable of `count` units is cut into.
    static int limit_of(int reg_type, int count) {
        rebuild({host_var(reg_type, 1, "0", count)});
        return PLC_driver.read_list.isEmpty() ? 0 : PLC_driver.read_list.first().reg_count;
    }
};

class Merge : public DriverTest {};
class Sort : public DriverTest {};

// ---- the rebuild

TEST_F(Rebuild, AListInWhichNoAddressParsesBeginsAnEmptyPass) {
    rebuild({host_var(7, 1, "10", 1)});
    info.finish_flag = 1;
    PLC_driver.read_pass_count = 5;
    EXPECT_EQ(rebuild({host_var(7, 1, "abc", 1), host_var(13, 1, "199", 1), host_var(15, 1, "10", 1)}), 0);
    EXPECT_TRUE(PLC_driver.read_list.isEmpty());
    EXPECT_EQ(info.finish_flag, 0);
    EXPECT_EQ(PLC_driver.read_pass_count, 0);
}

TEST_F(Rebuild, StationsAndClassesAscendOverTheirWholeRange) {
    info.multi_station = 1;
    EXPECT_EQ(
        plan({host_var(255, 0, "1", 1), host_var(13, 255, "201", 1), host_var(18, 0, "1", 1), host_var(13, 0, "201", 1),
              host_var(11, 0, "1", 1), host_var(0, 200, "1", 1), host_var(10, 0, "1", 1)}),
        "0/10(1,1) 0/11(1,1) 0/13(1,1) 0/18(1,1) 0/255(1,1) 200/0(1,1) 255/13(1,1)");
}

TEST_F(Rebuild, AnyMultiStationButZeroKeepsEachStation) {
    for (int multi_station : {1, 2, -1, int_min}) {
        info.multi_station = multi_station;
        EXPECT_EQ(plan({host_var(7, 3, "10", 1), host_var(7, 1, "12", 1)}), "1/7(12,1) 3/7(10,1)") << multi_station;
    }
}

TEST_F(Rebuild, TheDefaultStationIsTakenAsItIs) {
    for (int station : {0, -7, 300, int_max, int_min}) {
        info.default_station = station;
        rebuild({host_var(7, 3, "10", 1)});
        ASSERT_EQ(PLC_driver.read_list.size(), 1);
        EXPECT_EQ(PLC_driver.read_list.first().station_no, station);
    }
}

TEST_F(Rebuild, TheBlockLimitOfEveryClassFollowsFromMaxCount) {
    struct Limits {
        int max_count;
        int bits;
        int dwords;
        int words;
    };
    // A plain word limit of 1 is limit-1 mode, which cuts nothing: those show as the whole count.
    const Limits rows[] = {{2, 16, 2, 2},          {3, 24, 3, 3},     {19, 152, 19, 19},  {20, 160, 20, 20},
                           {21, 160, 21, 21},      {25, 160, 25, 25}, {49, 160, 49, 49},  {50, 160, 50, 50},
                           {51, 160, 50, 51},      {60, 160, 50, 60}, {99, 160, 50, 99},  {100, 160, 50, 100},
                           {1, 8, 500, 1000},      {0, 8, 500, 1000}, {-1, 8, 500, 1000}, {-100, 8, 500, 1000},
                           {int_min, 8, 500, 1000}};
    for (const Limits &row : rows) {
        SCOPED_TRACE(row.max_count);
        info.max_count = row.max_count;
        for (int bit_class = 2; bit_class <= 6; ++bit_class)
            EXPECT_EQ(limit_of(bit_class, 1000), row.bits) << "class " << bit_class;
        for (int octal_class = 0; octal_class <= 1; ++octal_class)
            EXPECT_EQ(limit_of(octal_class, 1000), row.bits) << "class " << octal_class;
        rebuild({host_var(13, 1, "200", 1000)});
        EXPECT_EQ(PLC_driver.read_list.first().reg_count, row.dwords);
        for (int word_class : {7, 8, 9, 10, 11, 12, 14, 18, 19, 100, 255})
            EXPECT_EQ(limit_of(word_class, 1000), row.words) << "type " << word_class;
    }
}

// The block belongs to the host: a count that the host writes there after SetComInfo is used as it is.
TEST_F(Rebuild, AMaxCountThatTheHostRaisesLaterIsUsed) {
    info.max_count = 500;
    EXPECT_EQ(plan({host_var(7, 1, "0", 700)}), "1/7(0,500) 1/7(500,200)");
    EXPECT_EQ(limit_of(2, 1000), 160);
    info.max_count = int_max;
    EXPECT_EQ(plan({host_var(7, 1, "0", 700)}), "1/7(0,700)");
    EXPECT_EQ(limit_of(2, 1000), 160);
}

// A group that begins with a count of 0 extends the last entry of the group before. Beyond the limit, the pieces that
// continue that entry belong to the group before, too.
TEST_F(Rebuild, AnExtensionOfTheGroupBeforeContinuesInThatGroup) {
    info.multi_station = 1;
    info.max_count = 10;
    EXPECT_EQ(plan({host_var(7, 1, "0", 5), host_var(7, 2, "0", 0), host_var(7, 2, "9", 14)}),
              "1/7(0,10) 1/7(10,10) 1/7(20,3)");
}

// The entry of the group before may be longer than this group's limit. It is cut to that limit as soon as a variable
// reaches beyond its end.
TEST_F(Rebuild, ALongerEntryOfTheGroupBeforeIsCutWhenExtended) {
    info.max_count = 20;
    EXPECT_EQ(plan({host_var(2, 1, "0", 160), host_var(7, 1, "0", 0), host_var(7, 1, "10", 150)}), "1/2(0,160)");
    EXPECT_EQ(plan({host_var(2, 1, "0", 160), host_var(7, 1, "0", 0), host_var(7, 1, "10", 151)}),
              "1/2(0,20) 1/2(20,20) 1/2(40,20) 1/2(60,20) 1/2(80,20) 1/2(100,20) 1/2(120,20) 1/2(140,20) 1/2(160,1)");
}

TEST_F(Rebuild, AfterAFirstCountOf0TheNextVariableOpensABlock) {
    EXPECT_EQ(plan({host_var(7, 1, "0", 0), host_var(7, 1, "3", 4)}), "1/7(3,4)");
    EXPECT_EQ(plan({host_var(7, 1, "0", -3), host_var(7, 1, "0", 0), host_var(7, 1, "3", 4), host_var(7, 1, "5", 9)}),
              "1/7(3,11)");
    EXPECT_EQ(plan({host_var(7, 1, "0", 0), host_var(7, 1, "3", 250)}), "1/7(3,100) 1/7(103,100) 1/7(203,50)");
}

TEST_F(Rebuild, AGroupOfCountsOf0GivesNoEntry) {
    EXPECT_EQ(plan({host_var(7, 1, "0", 0), host_var(7, 1, "3", 0), host_var(7, 1, "500", -1)}), "");
}

// Limit-1 mode neither cuts nor checks: the entry is polled with the count that the host registered.
TEST_F(Rebuild, WithLimit1AFirstVariableWithACountOf0IsAppended) {
    info.max_count = 1;
    EXPECT_EQ(plan({host_var(7, 1, "10", 0)}), "1/7(10,0)");
    EXPECT_EQ(plan({host_var(7, 1, "10", -4)}), "1/7(10,-4)");
    info.multi_station = 1;
    EXPECT_EQ(plan({host_var(7, 1, "10", 0), host_var(7, 2, "10", -1)}), "1/7(10,0) 2/7(10,-1)");
}

TEST_F(Rebuild, AReadEntryCarriesTheFieldsOfItsTable) {
    info.remote_mode = 3;
    info.local_area_no = 44;
    info.multi_station = 1;
    rebuild({host_var(12, 5, "10", 3, "second text")});
    ASSERT_EQ(PLC_driver.read_list.size(), 1);
    EXPECT_EQ(support::describe(PLC_driver.read_list.first()),
              "var_group 0\nvar_id -1\nhost_ref2 0\nhost_ref3 3\narea_no 44\nret_value 0\naux_text second text\n"
              "addr_text 10\nreg_type 7\nreg_addr 10\nstation_no 5\nreg_count 4\nstore_mode 0\naux_word 0\n"
              "value_bytes ");
}

// The texts are those of the variable that opened the block, even where they no longer match its address: only station,
// class, address and count describe a block.
TEST_F(Rebuild, EveryEntryOfABlockKeepsTheTextsOfItsFirstVariable) {
    info.max_count = 10;
    rebuild({host_var(7, 1, "0", 2, "first"), host_var(7, 1, "5", 2, "second"), host_var(7, 1, "9", 4, "third")});
    ASSERT_EQ(blocks(PLC_driver.read_list), "1/7(0,10) 1/7(10,3)");
    for (const RW_VAR &entry : PLC_driver.read_list) {
        EXPECT_EQ(entry.addr_text, QString::fromLatin1("0"));
        EXPECT_EQ(entry.aux_text, QString::fromLatin1("first"));
    }
}

TEST_F(Rebuild, AmongEqualAddressesTheFirstRegisteredOpensTheBlock) {
    rebuild({host_var(7, 1, "10", 1, "first"), host_var(7, 1, "10", 5, "second"), host_var(7, 1, "010", 2, "third")});
    ASSERT_EQ(blocks(PLC_driver.read_list), "1/7(10,5)");
    EXPECT_EQ(PLC_driver.read_list.first().aux_text, QString::fromLatin1("first"));
}

TEST_F(Rebuild, DoesNotExtendAnEntryOfTheListItReplaces) {
    PLC_driver.read_list.append(make_var(7, 0, 5));
    EXPECT_EQ(plan({host_var(7, 1, "0", 0), host_var(7, 1, "3", 4)}), "1/7(3,4)");
}

TEST_F(Rebuild, LeavesTheOtherListsTheFrameInFlightAndTheCountersAlone) {
    PLC_driver.write_list.append(make_var(7, 1, 1));
    PLC_driver.once_read_list.append(make_var(7, 2, 1));
    PLC_driver.frame_list.append(Protocol());
    PLC_driver.last_op = 2;
    PLC_driver.write_tries = 3;
    PLC_driver.once_read_tries = 4;
    info.retry_count = 5;
    info.success_count = 6;
    rebuild({host_var(7, 1, "10", 1)});
    EXPECT_EQ(PLC_driver.write_list.size(), 1);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 1);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
    EXPECT_EQ(PLC_driver.last_op, 2);
    EXPECT_EQ(PLC_driver.write_tries, 3);
    EXPECT_EQ(PLC_driver.once_read_tries, 4);
    EXPECT_EQ(info.retry_count, 5);
    EXPECT_EQ(info.success_count, 6);
}

TEST_F(Rebuild, DoesNotChangeTheHostsList) {
    QList<HOST_VAR> list;
    list.append(host_var(12, 5, "20", 3, "b"));
    list.append(host_var(7, 4, "10", 7, "a"));
    ReCreatReadVarList(&list);
    ASSERT_EQ(list.size(), 2);
    EXPECT_EQ(list.at(0).reg_type, 12);
    EXPECT_EQ(list.at(0).station_no, 5);
    EXPECT_EQ(list.at(0).addr_text, QString::fromLatin1("20"));
    EXPECT_EQ(list.at(0).aux_text, QString::fromLatin1("b"));
    EXPECT_EQ(list.at(0).reg_count, 3);
    EXPECT_EQ(list.at(0).host_byte_0, 0x11);
    EXPECT_EQ(list.at(0).host_byte_3, 0x22);
    EXPECT_EQ(list.at(0).host_word_4, 0x33333333);
    EXPECT_EQ(list.at(1).reg_count, 7);
}

TEST_F(Rebuild, TakesListMutexForAnEmptyListToo) {
    QList<HOST_VAR> none;
    QList<HOST_VAR> one;
    one.append(host_var(7, 1, "10", 1));
    EXPECT_TRUE(support::takes_only({&PLC_driver.list_mutex}, [&] { ReCreatReadVarList(&one); }));
    EXPECT_TRUE(support::waits_for(PLC_driver.list_mutex, [&] { ReCreatReadVarList(&none); }));
    EXPECT_TRUE(PLC_driver.read_list.isEmpty());
}

TEST_F(Rebuild, AddressesUpToTheLargestIntArePlannedIn64Bits) {
    EXPECT_EQ(plan({host_var(7, 1, "2147483600", 10), host_var(7, 1, "2147483640", 5)}), "1/7(2147483600,45)");
    EXPECT_EQ(plan({host_var(7, 1, "2147483600", 10), host_var(7, 1, "2147483647", 100)}),
              "1/7(2147483600,100) 1/7(-2147483596,47)");
    EXPECT_EQ(plan({host_var(7, 1, "2147483647", 250)}),
              "1/7(2147483647,100) 1/7(-2147483549,100) 1/7(-2147483449,50)");
}

TEST_F(Rebuild, TheSmallestAndLargestCountsDoNoHarm) {
    EXPECT_EQ(plan({host_var(7, 1, "2147483647", int_min), host_var(7, 1, "5", int_min)}), "");
    for (int type : {12, 13, 14})
        EXPECT_EQ(plan({host_var(type, 1, "200", int_min)}), "") << "type " << type;
    info.max_count = 1;
    EXPECT_EQ(plan({host_var(7, 1, "2147483647", int_max), host_var(7, 1, "2147483647", int_min)}),
              "1/7(2147483647,2147483647)");
}

TEST_F(Rebuild, AHundredThousandVariablesInReverseOrderBecomeDenseBlocks) {
    QList<HOST_VAR> vars;
    for (int address = 99999; address >= 0; --address)
        vars.append(host_var(8, 1, std::to_string(address).c_str(), 1));
    ASSERT_EQ(ReCreatReadVarList(&vars), 1000);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(PLC_driver.read_list.at(i).reg_addr, i * 100);
        ASSERT_EQ(PLC_driver.read_list.at(i).reg_count, 100);
    }
}

TEST_F(Rebuild, AHundredThousandVariablesOfOneAddressBecomeOneBlock) {
    QList<HOST_VAR> vars;
    vars.append(host_var(8, 1, "70", 1, "first"));
    for (int i = 1; i < 100000; ++i)
        vars.append(host_var(8, 1, "70", i % 50, "later"));
    ASSERT_EQ(ReCreatReadVarList(&vars), 1);
    EXPECT_EQ(blocks(PLC_driver.read_list), "1/8(70,49)");
    EXPECT_EQ(PLC_driver.read_list.first().aux_text, QString::fromLatin1("first"));
}

// ---- the merge

// Each step is the merge of the variables up to it.
TEST_F(Merge, TheWorkedExampleWithLimit10StepByStep) {
    EXPECT_EQ(merged({{0, 2}}, 10), "(0,2)");
    EXPECT_EQ(merged({{0, 2}, {5, 2}}, 10), "(0,7)");
    EXPECT_EQ(merged({{0, 2}, {5, 2}, {9, 4}}, 10), "(0,10) (10,3)");
    EXPECT_EQ(merged({{0, 2}, {5, 2}, {9, 4}, {30, 1}}, 10), "(0,10) (10,3) (30,1)");
    EXPECT_EQ(merged({{0, 2}, {5, 2}, {9, 4}, {30, 1}, {30, 1}}, 10), "(0,10) (10,3) (30,1)");
    EXPECT_EQ(merged({{0, 2}, {5, 2}, {9, 4}, {30, 1}, {30, 1}, {31, 25}}, 10), "(0,10) (10,3) (30,10) (40,10) (50,6)");
}

TEST_F(Merge, WithLimit1NothingIsCutAndNeighboursStayApart) {
    EXPECT_EQ(merged({{0, 300}, {1, 1}, {2, 1}, {2, 1}}, 1), "(0,300) (1,1) (2,1)");
}

TEST_F(Merge, WithLimit1LaterVariablesAreAppendedWithAnyCountToo) {
    EXPECT_EQ(merged({{0, -1}, {0, 0}, {1, 0}, {2, -7}, {2, -8}}, 1), "(0,0) (1,0) (2,-7)");
}

TEST_F(Merge, WithLimit1EachNewAddressStartsItsOwnLargestCount) {
    EXPECT_EQ(merged({{5, 9}, {6, 1}, {6, 3}, {7, 2}, {7, 1}}, 1), "(5,9) (6,3) (7,2)");
}

TEST_F(Merge, WithLimit1TheFirstVariableOfAnAddressIsKept) {
    QList<RW_VAR> vars = group({{5, 2}, {5, 4}});
    vars[0].aux_text = QString::fromLatin1("first");
    vars[1].aux_text = QString::fromLatin1("second");
    QList<RW_VAR> output;
    BitVarReCreat_2(&vars, 1, output);
    ASSERT_EQ(spans(output), "(5,4)");
    EXPECT_EQ(output.first().aux_text, QString::fromLatin1("first"));
}

TEST_F(Merge, AGapIsBridgedUpToTheLimitFromTheBlocksStart) {
    EXPECT_EQ(merged({{0, 1}, {9, 1}}, 10), "(0,10)");
    EXPECT_EQ(merged({{0, 1}, {10, 1}}, 10), "(0,1) (10,1)");
    EXPECT_EQ(merged({{0, 1}, {8, 1}, {9, 1}, {10, 1}}, 10), "(0,10) (10,1)");
}

TEST_F(Merge, AVariableWhollyInsideTheBlockAddsNothing) {
    EXPECT_EQ(merged({{0, 8}, {2, 3}, {7, 1}}, 10), "(0,8)");
    EXPECT_EQ(merged({{0, 8}, {7, 2}}, 10), "(0,9)");
}

TEST_F(Merge, ALongVariableIsCutIntoPiecesOfTheLimit) {
    EXPECT_EQ(merged({{7, 9}}, 10), "(7,9)");
    EXPECT_EQ(merged({{7, 10}}, 10), "(7,10)");
    EXPECT_EQ(merged({{7, 11}}, 10), "(7,10) (17,1)");
    EXPECT_EQ(merged({{7, 20}}, 10), "(7,10) (17,10)");
    EXPECT_EQ(merged({{7, 21}}, 10), "(7,10) (17,10) (27,1)");
}

TEST_F(Merge, TheNextVariableIsMeasuredFromTheLastPiece) {
    EXPECT_EQ(merged({{0, 25}, {29, 1}}, 10), "(0,10) (10,10) (20,10)");
    EXPECT_EQ(merged({{0, 25}, {30, 1}}, 10), "(0,10) (10,10) (20,5) (30,1)");
    EXPECT_EQ(merged({{0, 5}, {9, 4}, {19, 2}}, 10), "(0,10) (10,10) (20,1)");
}

TEST_F(Merge, AnExtensionOfExactlyTheLimitLeavesNoEmptyPiece) {
    EXPECT_EQ(merged({{0, 5}, {5, 5}}, 10), "(0,10)");
    EXPECT_EQ(merged({{0, 5}, {5, 15}}, 10), "(0,10) (10,10)");
    EXPECT_EQ(merged({{0, 5}, {5, 16}}, 10), "(0,10) (10,10) (20,1)");
}

// A count of 0 or less inside a block is used as it is: the block is extended to address + count if that is farther.
TEST_F(Merge, ALaterCountOf0OrLessStillExtendsTheBlockToItsEnd) {
    EXPECT_EQ(merged({{0, 5}, {3, 0}}, 10), "(0,5)");
    EXPECT_EQ(merged({{0, 5}, {9, 0}}, 10), "(0,9)");
    EXPECT_EQ(merged({{0, 5}, {8, -2}}, 10), "(0,6)");
    EXPECT_EQ(merged({{0, 5}, {8, -3}}, 10), "(0,5)");
    EXPECT_EQ(merged({{0, 5}, {10, 0}, {12, 1}}, 10), "(0,5) (12,1)");
}

TEST_F(Merge, ALimitOf2CutsAfterEveryTwoUnits) {
    EXPECT_EQ(merged({{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 5}}, 2), "(0,2) (2,2) (4,2) (6,2) (8,1)");
}

TEST_F(Merge, ALimitBelow1CountsAs1) {
    for (int limit : {0, -1, -10, int_min})
        EXPECT_EQ(merged({{5, 2}, {5, 4}, {5, 3}, {6, 1}, {7, 300}}, limit), "(5,4) (6,1) (7,300)") << limit;
}

TEST_F(Merge, AnEmptyGroupGivesNoBlocks) {
    EXPECT_EQ(merged({}, 10), "");
    EXPECT_EQ(merged({}, 1), "");
    EXPECT_EQ(merged({}, 0), "");
}

TEST_F(Merge, AfterCountsOf0OnAnEmptyOutputTheNextVariableOpensABlock) {
    EXPECT_EQ(merged({{5, 0}, {7, 3}}, 10), "(7,3)");
    EXPECT_EQ(merged({{0, 0}, {0, 1}}, 10), "(0,1)");
    EXPECT_EQ(merged({{5, -1}, {6, 0}, {7, 25}}, 10), "(7,10) (17,10) (27,5)");
    EXPECT_EQ(merged({{5, 0}, {15, 3}}, 10), "(15,3)");
    EXPECT_EQ(merged({{5, 0}, {9, -3}}, 10), "");
}

TEST_F(Merge, TheFirstVariableOpensABlockOfItsOwn) {
    PLC_driver.read_list = group({{0, 5}}, 7, 1);
    QList<RW_VAR> vars = group({{3, 4}, {9, 1}}, 8, 2);
    BitVarReCreat(&vars, 10);
    EXPECT_EQ(blocks(PLC_driver.read_list), "1/7(0,5) 2/8(3,7)");

    QList<RW_VAR> output = group({{0, 5}}, 7, 1);
    BitVarReCreat_2(&vars, 10, output);
    EXPECT_EQ(blocks(output), "1/7(0,5) 2/8(3,7)");
}

// The last entry is that of the output, whichever group it came from.
TEST_F(Merge, AfterACountOf0ItIsTheOutputsLastEntryThatIsExtended) {
    PLC_driver.read_list = group({{0, 5}}, 7, 1);
    QList<RW_VAR> vars = group({{3, 0}, {4, 4}}, 8, 2);
    BitVarReCreat(&vars, 10);
    EXPECT_EQ(blocks(PLC_driver.read_list), "1/7(0,8)");

    QList<RW_VAR> output = group({{2, 5}}, 7, 1);
    BitVarReCreat_2(&vars, 10, output);
    EXPECT_EQ(blocks(output), "1/7(2,6)");
}

TEST_F(Merge, WithLimit1AFirstVariableNeverJoinsAnEarlierEntry) {
    PLC_driver.read_list = group({{5, 2}}, 7, 1);
    QList<RW_VAR> vars = group({{5, 9}, {5, 10}}, 7, 2);
    BitVarReCreat(&vars, 1);
    EXPECT_EQ(blocks(PLC_driver.read_list), "1/7(5,2) 2/7(5,10)");
}

TEST_F(Merge, BitVarReCreat_2ChangesOnlyItsOutput) {
    PLC_driver.read_list = group({{0, 5}});
    QList<RW_VAR> vars = group({{3, 0}, {4, 25}});
    QList<RW_VAR> output;
    BitVarReCreat_2(&vars, 10, output);
    EXPECT_EQ(spans(PLC_driver.read_list), "(0,5)");
    EXPECT_EQ(spans(vars), "(3,0) (4,25)");
    EXPECT_EQ(spans(output), "(4,10) (14,10) (24,5)");
}

TEST_F(Merge, LeavesItsInputUnchanged) {
    QList<RW_VAR> vars = group({{0, 2}, {5, 2}, {9, 14}});
    BitVarReCreat(&vars, 10);
    EXPECT_EQ(spans(vars), "(0,2) (5,2) (9,14)");
    BitVarReCreat(&vars, 1);
    EXPECT_EQ(spans(vars), "(0,2) (5,2) (9,14)");
}

// The caller holds the mutex, which is not recursive.
TEST_F(Merge, BitVarReCreatTakesNoLock) {
    QList<RW_VAR> vars = group({{0, 2}});
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, [&] { BitVarReCreat(&vars, 10); }));
    EXPECT_EQ(spans(PLC_driver.read_list), "(0,2)");
}

TEST_F(Merge, PiecesAreCopiesOfTheLastEntryWithAllItsOtherFields) {
    RW_VAR first = support::full_var();
    first.reg_addr = 0;
    first.reg_count = 5;
    RW_VAR second = make_var(7, 9, 12, 1);
    QList<RW_VAR> vars;
    vars.append(first);
    vars.append(second);
    QList<RW_VAR> output;
    BitVarReCreat_2(&vars, 10, output);
    ASSERT_EQ(spans(output), "(0,10) (10,10) (20,1)");
    RW_VAR expected = support::full_var();
    expected.reg_addr = 20;
    expected.reg_count = 1;
    EXPECT_EQ(support::describe(output.at(2)), support::describe(expected));
}

TEST_F(Merge, SumsBeyond32BitsKeepTheirLow32Bits) {
    EXPECT_EQ(merged({{int_max, int_max}}, int_max), "(2147483647,2147483647)");
    EXPECT_EQ(merged({{0, 1}, {int_max - 1, 1}}, int_max), "(0,2147483647)");
    EXPECT_EQ(merged({{1, 1}, {int_max, int_max}}, int_max), "(1,2147483647) (-2147483648,2147483646)");
    EXPECT_EQ(merged({{int_min, 1}, {int_max, 1}}, int_max), "(-2147483648,1) (2147483647,1)");
    EXPECT_EQ(merged({{int_min, 1}, {-2, 1}}, int_max), "(-2147483648,2147483647)");
    EXPECT_EQ(merged({{0, 5}, {3, int_min}}, 10), "(0,5)");
    EXPECT_EQ(merged({{int_min, 5}, {int_min, int_min}}, 10), "(-2147483648,5)");
    EXPECT_EQ(merged({{int_max, int_min}, {int_max, 1}}, 10), "(2147483647,1)");
}

// ---- the sort

TEST_F(Sort, IsAscendingBySignedAddress) {
    QList<RW_VAR> list = group({{5, 1}, {-3, 2}, {int_max, 3}, {0, 4}, {int_min, 5}, {65536, 6}});
    Bubble_Sort(&list);
    EXPECT_EQ(spans(list), "(-2147483648,5) (-3,2) (0,4) (5,1) (65536,6) (2147483647,3)");
}

TEST_F(Sort, MovesWholeRecords) {
    QList<RW_VAR> list;
    list.append(support::full_var());
    list.append(make_var(7, 1, 1));
    Bubble_Sort(&list);
    EXPECT_EQ(list.at(0).reg_addr, 1);
    EXPECT_EQ(support::describe(list.at(1)), support::describe(support::full_var()));
}

TEST_F(Sort, LeavesACopyOfTheListAlone) {
    QList<RW_VAR> list = group({{2, 1}, {1, 1}});
    const QList<RW_VAR> copy = list;
    Bubble_Sort(&list);
    EXPECT_EQ(spans(copy), "(2,1) (1,1)");
    EXPECT_EQ(spans(list), "(1,1) (2,1)");
}

TEST_F(Sort, IsStableOverAHundredThousandEntriesInReverseOrderWithRepeats) {
    const int size = 100000;
    QList<RW_VAR> list;
    for (int i = 0; i < size; ++i)
        list.append(make_var(7, (size - 1 - i) / 4, i));
    Bubble_Sort(&list);
    ASSERT_EQ(list.size(), size);
    for (int i = 0; i < size; ++i) {
        const int address = i / 4;
        const int first_of_address = size - 4 - 4 * address;
        ASSERT_EQ(list.at(i).reg_addr, address) << "entry " << i;
        ASSERT_EQ(list.at(i).reg_count, first_of_address + i % 4) << "entry " << i;
    }
}

TEST_F(Sort, KeepsAHundredThousandEntriesOfOneAddressInTheirOrder) {
    const int size = 100000;
    QList<RW_VAR> list;
    for (int i = 0; i < size; ++i)
        list.append(make_var(7, 42, i));
    Bubble_Sort(&list);
    for (int i = 0; i < size; ++i)
        ASSERT_EQ(list.at(i).reg_count, i) << "entry " << i;
}

// ---- the host's record

TEST_F(Rebuild, TypeAndStationOfTheHostsRecordAreUnsigned) {
    info.multi_station = 1;
    EXPECT_EQ(plan({host_var(200, 250, "5", 1)}), "250/200(5,1)");
}

}  // namespace
