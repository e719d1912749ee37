#include "exchange.h"

#include <atomic>
#include <set>
#include <thread>

using support::describe;
using support::DriverTest;
using support::full_var;
using support::int_max;
using support::int_min;
using support::make_var;
using support::spans;

namespace {

class ReadQueue : public DriverTest {};
class WriteQueue : public DriverTest {};

class OnceReadQueue : public DriverTest {
protected:
    static RW_VAR once_var(int reg_type, const char *addr_text, int reg_count) {
        RW_VAR var = make_var(reg_type, -77, reg_count);
        var.addr_text = QString::fromLatin1(addr_text);
        return var;
    }

    // What registering a variable once leaves in the queue.
    static std::string pieces(int reg_type, const char *addr_text, int reg_count) {
        PLC_driver.once_read_list.clear();
        RW_VAR var = once_var(reg_type, addr_text, reg_count);
        const int size = AddListOnceReadVar(&var, 0);
        EXPECT_EQ(size, PLC_driver.once_read_list.size());
        return spans(PLC_driver.once_read_list);
    }

    // Fills the queue up to `count` entries that no test registers, by the pass-through path.
    static void fill_up_to(int count) {
        RW_VAR var = make_var(10, 0, 1, 200);
        while (PLC_driver.once_read_list.size() < count) {
            ++var.reg_addr;
            AddListOnceReadVar(&var, 1);
        }
    }
};

std::string groups(int total, int limit, int reg_addr, int reg_count = 999) {
    RW_VAR var = make_var(7, reg_addr, reg_count);
    QList<RW_VAR> out;
    WhetherGroup(total, limit, &var, &out);
    return spans(out);
}

// ---- the cyclic list

TEST_F(ReadQueue, AppendsAnUnchangedCopyAndReturnsTheSize) {
    RW_VAR var = full_var();
    EXPECT_EQ(AddListReadVar(&var), 1);
    EXPECT_EQ(AddListReadVar(&var), 2);
    EXPECT_EQ(describe(PLC_driver.read_list.at(0)), describe(full_var()));
    EXPECT_EQ(describe(PLC_driver.read_list.at(1)), describe(full_var()));
    EXPECT_EQ(describe(var), describe(full_var()));
}

// The caller gives a class and an address; parsing the text here would overwrite both.
TEST_F(ReadQueue, NeitherParsesNorFoldsNorCutsNorDropsDuplicates) {
    RW_VAR var = make_var(12, -5, 5000, 9);
    var.addr_text = QString::fromLatin1("not an address");
    AddListReadVar(&var);
    AddListReadVar(&var);
    EXPECT_EQ(support::blocks(PLC_driver.read_list), "9/12(-5,5000) 9/12(-5,5000)");
}

TEST_F(ReadQueue, HasNoLimit) {
    RW_VAR var = make_var(7, 0, 1);
    for (int size = 1; size <= 1500; ++size)
        ASSERT_EQ(AddListReadVar(&var), size);
}

// A lock here would block a host that adds a variable from one of its callbacks.
TEST_F(ReadQueue, TakesNoLock) {
    RW_VAR var = make_var(7, 10, 1);
    const auto add = [&var] {
        AddListReadVar(&var);
    };
    EXPECT_TRUE(support::takes_only({}, add));
}

// ---- the write queue

TEST_F(WriteQueue, AppendsAnUnchangedCopyAndReturnsTheSize) {
    RW_VAR var = full_var();
    EXPECT_EQ(AddListWriteVar(&var), 1);
    EXPECT_EQ(AddListWriteVar(&var), 2);
    EXPECT_EQ(describe(PLC_driver.write_list.at(0)), describe(full_var()));
    EXPECT_EQ(describe(PLC_driver.write_list.at(1)), describe(full_var()));
    EXPECT_EQ(describe(var), describe(full_var()));
}

TEST_F(WriteQueue, TakesListMutexAndNoOther) {
    RW_VAR var = make_var(7, 10, 1);
    const auto add = [&var] {
        AddListWriteVar(&var);
    };
    EXPECT_TRUE(support::takes_only({&PLC_driver.list_mutex}, add));
    EXPECT_EQ(PLC_driver.write_list.size(), 3);
}

// The sizes that two threads get back from `add`, all together.
std::multiset<int> sizes_seen_by_two_threads(int calls, const std::function<int()> &add) {
    std::atomic<int> ready(0);
    std::vector<int> seen[2];
    const auto work = [&](std::vector<int> &sizes) {
        ++ready;
        while (ready < 2)
            std::this_thread::yield();
        for (int i = 0; i < calls; ++i)
            sizes.push_back(add());
    };
    std::thread other([&] { work(seen[1]); });
    work(seen[0]);
    other.join();
    std::multiset<int> sizes(seen[0].begin(), seen[0].end());
    sizes.insert(seen[1].begin(), seen[1].end());
    return sizes;
}

std::multiset<int> each_up_to(int count) {
    std::multiset<int> numbers;
    for (int number = 1; number <= count; ++number)
        numbers.insert(number);
    return numbers;
}

// The size is read before the lock is released, so no two calls can get the same one.
TEST_F(WriteQueue, EachOfTwoThreadsGetsTheSizeThatItsOwnWriteMade) {
    const auto add = [] {
        RW_VAR var = make_var(7, 10, 1);
        return AddListWriteVar(&var);
    };
    EXPECT_EQ(sizes_seen_by_two_threads(500, add), each_up_to(1000));
}

TEST_F(ReadQueue, EachOfTwoThreadsGetsTheSizeOfItsOwnRebuild) {
    const auto rebuild_often = [](int blocks) {
        QList<HOST_VAR> polled;
        for (int i = 0; i < blocks; ++i)
            polled.append(support::host_var(7, 1, std::to_string(1000 * i).c_str(), 1));
        for (int i = 0; i < 300; ++i)
            EXPECT_EQ(ReCreatReadVarList(&polled), blocks);
    };
    std::thread other([&] { rebuild_often(1); });
    rebuild_often(4);
    other.join();
}

// ---- the once-read queue, pass-through

TEST_F(OnceReadQueue, Mode1AppendsAnUnchangedCopyAndReturnsTheSize) {
    RW_VAR var = full_var();
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 1);
    EXPECT_EQ(AddListOnceReadVar(&var, 1), 2);
    EXPECT_EQ(describe(PLC_driver.once_read_list.at(0)), describe(full_var()));
    EXPECT_EQ(describe(PLC_driver.once_read_list.at(1)), describe(full_var()));
    EXPECT_EQ(describe(var), describe(full_var()));
}

TEST_F(OnceReadQueue, Mode1NeitherParsesNorCutsNorRejectsACount) {
    for (int count : {250, 0, -1, int_max, int_min}) {
        RW_VAR var = make_var(13, -9, count);
        var.addr_text = QString::fromLatin1("no address");
        AddListOnceReadVar(&var, 1);
    }
    EXPECT_EQ(spans(PLC_driver.once_read_list), "(-9,250) (-9,0) (-9,-1) (-9,2147483647) (-9,-2147483648)");
}

// ---- the once-read queue, parsing

TEST_F(OnceReadQueue, EveryClassIsCutByMaxCountAlone) {
    info.max_count = 60;
    for (int type : {2, 3, 4, 5, 6, 7, 8, 9, 10, 11})
        EXPECT_EQ(pieces(type, "8", 100), "(8,60) (68,40)") << "type " << type;
    EXPECT_EQ(pieces(0, "10", 100), "(8,60) (68,40)");
    EXPECT_EQ(pieces(12, "8", 99), "(8,60) (68,40)");
    EXPECT_EQ(pieces(13, "208", 200), "(8,60) (68,40)");
    EXPECT_EQ(pieces(14, "8", 99), "(8,60) (68,40)");
    EXPECT_EQ(pieces(15, "0.8", 100), "(8,60) (68,40)");
    EXPECT_EQ(pieces(18, "8", 100), "(8,60) (68,40)");
    EXPECT_EQ(pieces(-1, "8", 100), "(8,60) (68,40)");
}

TEST_F(OnceReadQueue, EachPieceCarriesTheWholeRecord) {
    info.default_station = 44;
    RW_VAR var = full_var();
    var.reg_type = 12;
    var.addr_text = QString::fromLatin1("0020");
    var.reg_count = 101;
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 2);
    const std::string expected = "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\n"
                                 "ret_value 106\naux_text aux 107\naddr_text 0020\nreg_type 7\nreg_addr 20\n"
                                 "station_no 44\nreg_count 100\nstore_mode 0\naux_word 0\nvalue_bytes 01 02 03";
    EXPECT_EQ(describe(PLC_driver.once_read_list.at(0)), expected);
    EXPECT_EQ(spans(PLC_driver.once_read_list), "(20,100) (120,2)");
}

TEST_F(OnceReadQueue, TheCallersRecordKeepsWhatTheLastPieceLeft) {
    info.default_station = 44;
    info.max_count = 2;
    RW_VAR var = full_var();
    var.reg_type = 13;
    var.addr_text = QString::fromLatin1("210");
    var.reg_count = 5;
    AddListOnceReadVar(&var, 0);
    EXPECT_EQ(describe(var), "var_group 101\nvar_id 102\nhost_ref2 103\nhost_ref3 104\narea_no 105\n"
                             "ret_value 106\naux_text aux 107\naddr_text 210\nreg_type 13\nreg_addr 13\n"
                             "station_no 44\nreg_count 1\nstore_mode 0\naux_word 0\nvalue_bytes 01 02 03");
}

TEST_F(OnceReadQueue, AnUnparsableAddressLeavesTheCallersRecord) {
    fill_up_to(3);
    for (const char *text : {"", "abc", "-1", "-2147483648", "2147483648"}) {
        RW_VAR var = full_var();
        var.reg_type = 7;
        var.addr_text = QString::fromLatin1(text);
        const std::string before = describe(var);
        EXPECT_EQ(AddListOnceReadVar(&var, 0), 0) << text;
        EXPECT_EQ(describe(var), before) << text;
    }
    RW_VAR low = once_var(13, "199", 1);
    EXPECT_EQ(AddListOnceReadVar(&low, 0), 0);
    EXPECT_EQ(PLC_driver.once_read_list.size(), 3);
}

TEST_F(OnceReadQueue, AnyModeExcept1Parses) {
    int size = 0;
    for (int mode : {0, 2, -1, 256, int_max, int_min}) {
        RW_VAR var = once_var(7, "10", 1);
        var.var_id = mode;
        EXPECT_EQ(AddListOnceReadVar(&var, mode), ++size) << "mode " << mode;
        EXPECT_EQ(PLC_driver.once_read_list.last().reg_addr, 10) << "mode " << mode;
    }
}

TEST_F(OnceReadQueue, WithMultiStationSetTheRecordKeepsItsStation) {
    info.default_station = 44;
    for (int multi_station : {1, 2, -1}) {
        info.multi_station = multi_station;
        PLC_driver.once_read_list.clear();
        RW_VAR var = once_var(7, "10", 1);
        var.station_no = 9;
        AddListOnceReadVar(&var, 0);
        ASSERT_EQ(PLC_driver.once_read_list.size(), 1);
        EXPECT_EQ(PLC_driver.once_read_list.first().station_no, 9) << "multi_station " << multi_station;
        EXPECT_EQ(var.station_no, 9);
    }
}

TEST_F(OnceReadQueue, APieceIsTheSameOnlyIfAllSevenFieldsAre) {
    info.multi_station = 1;
    RW_VAR base = once_var(7, "10", 4);
    AddListOnceReadVar(&base, 0);

    std::vector<std::function<void(RW_VAR &)>> changes = {
        [](RW_VAR &var) { var.var_group = 1; },
        [](RW_VAR &var) { var.var_id = 1; },
        [](RW_VAR &var) { var.station_no = 2; },
        [](RW_VAR &var) { var.reg_type = 8; },
        [](RW_VAR &var) { var.addr_text = QString::fromLatin1("11"); },
        [](RW_VAR &var) { var.reg_count = 5; },
        [](RW_VAR &var) { var.area_no = 1; },
    };
    int size = 1;
    for (const auto &change : changes) {
        RW_VAR var = once_var(7, "10", 4);
        change(var);
        RW_VAR again = var;
        ++size;
        EXPECT_EQ(AddListOnceReadVar(&var, 0), size);
        EXPECT_EQ(AddListOnceReadVar(&again, 0), size);
    }
}

TEST_F(OnceReadQueue, TheTextsTheDataBytesAndTheOtherFieldsAreNotCompared) {
    RW_VAR base = once_var(7, "10", 4);
    AddListOnceReadVar(&base, 0);
    RW_VAR var = once_var(7, "0010", 4);
    var.host_ref2 = 1;
    var.host_ref3 = 2;
    var.ret_value = 3;
    var.store_mode = 4;
    var.aux_word = 5;
    var.aux_text = QString::fromLatin1("other");
    var.value_bytes = support::bytes("01");
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1);
}

TEST_F(OnceReadQueue, OnlyThePiecesThatAreNotYetThereAreAdded) {
    RW_VAR shorter = once_var(7, "1000", 200);
    AddListOnceReadVar(&shorter, 0);
    RW_VAR longer = once_var(7, "1000", 250);
    EXPECT_EQ(AddListOnceReadVar(&longer, 0), 3);
    EXPECT_EQ(spans(PLC_driver.once_read_list), "(1000,100) (1100,100) (1200,50)");
}

TEST_F(OnceReadQueue, APieceThatPassedThroughUnparsedCountsAsQueued) {
    RW_VAR passed = make_var(7, 1000, 100);
    AddListOnceReadVar(&passed, 1);
    RW_VAR var = once_var(7, "1000", 100);
    EXPECT_EQ(AddListOnceReadVar(&var, 0), 1);
}

TEST_F(OnceReadQueue, ACountOf0OrLessQueuesNothing) {
    fill_up_to(2);
    for (int count : {0, -1, -100, int_min}) {
        RW_VAR var = once_var(7, "10", count);
        EXPECT_EQ(AddListOnceReadVar(&var, 0), 2) << "count " << count;
        EXPECT_EQ(var.reg_addr, 10);
        EXPECT_EQ(var.reg_count, count);
    }
    RW_VAR pairs = once_var(14, "10", -1);
    EXPECT_EQ(AddListOnceReadVar(&pairs, 0), 2);
    EXPECT_EQ(pairs.reg_type, 8);
    EXPECT_EQ(pairs.reg_count, 0);
}

// A host may raise max_count after SetComInfo has lowered it.
TEST_F(OnceReadQueue, AHugeMaxCountLeavesAHugeCountWhole) {
    info.max_count = int_max;
    EXPECT_EQ(pieces(7, "0", int_max), "(0,2147483647)");
    EXPECT_EQ(pieces(13, "200", int_max), "(0,1073741824)");
    info.max_count = 1 << 30;
    EXPECT_EQ(pieces(7, "0", int_max), "(0,1073741824) (1073741824,1073741823)");
}

TEST_F(OnceReadQueue, AddressesContinueBeyond2To31AsTheirLow32Bits) {
    info.max_count = 1;
    EXPECT_EQ(pieces(7, "2147483646", 4), "(2147483646,1) (2147483647,1) (-2147483648,1) (-2147483647,1)");
    RW_VAR var = once_var(7, "2147483647", 1);
    AddListOnceReadVar(&var, 0);
    EXPECT_EQ(var.reg_addr, int_min);
}

TEST_F(OnceReadQueue, BothPathsTakeListMutexAndNoOther) {
    for (int mode : {0, 1}) {
        const auto add = [mode] {
            RW_VAR var = once_var(7, "10", 1);
            AddListOnceReadVar(&var, mode);
        };
        EXPECT_TRUE(support::takes_only({&PLC_driver.list_mutex}, add)) << "mode " << mode;
    }
}

TEST_F(OnceReadQueue, AnUnparsableAddressTakesNoLock) {
    EXPECT_TRUE(support::does_not_wait_for(PLC_driver.list_mutex, [] {
        RW_VAR var = once_var(7, "abc", 1);
        EXPECT_EQ(AddListOnceReadVar(&var, 0), 0);
    }));
}

TEST_F(OnceReadQueue, EachOfTwoThreadsGetsTheSizeThatItsOwnOnceReadMade) {
    std::atomic<int> next(0);
    const auto parsed = [&next] {
        RW_VAR var = once_var(7, "10", 1);
        var.var_id = ++next;
        return AddListOnceReadVar(&var, 0);
    };
    EXPECT_EQ(sizes_seen_by_two_threads(200, parsed), each_up_to(400));

    PLC_driver.once_read_list.clear();
    const auto passed = [] {
        RW_VAR var = make_var(7, 10, 1);
        return AddListOnceReadVar(&var, 1);
    };
    EXPECT_EQ(sizes_seen_by_two_threads(500, passed), each_up_to(1000));
}

// ---- cutting into a list of the caller's

TEST(CutIntoPieces, ATotalAboveTheLimitGivesARemainderAtTheEnd) {
    EXPECT_EQ(groups(25, 10, 100), "(100,10) (110,10) (120,5)");
}

// Up to the limit nothing is cut, so the record keeps its own count, with any total.
TEST(CutIntoPieces, ATotalUpToTheLimitGivesTheRecordUnchanged) {
    EXPECT_EQ(groups(10, 10, 100), "(100,999)");
    EXPECT_EQ(groups(9, 10, 100), "(100,999)");
    EXPECT_EQ(groups(0, 10, 100), "(100,999)");
    EXPECT_EQ(groups(-3, 10, 100), "(100,999)");
    EXPECT_EQ(groups(int_min, 10, 100), "(100,999)");
}

TEST(CutIntoPieces, OneMoreThanTheLimitCutsOneUnitOff) {
    EXPECT_EQ(groups(11, 10, 100), "(100,10) (110,1)");
}

TEST(CutIntoPieces, EveryPieceIsACopyOfTheRecordAndTheRecordKeepsTheLast) {
    RW_VAR var = full_var();
    QList<RW_VAR> out;
    out.append(make_var(7, 1, 1));
    WhetherGroup(25, 10, &var, &out);
    ASSERT_EQ(out.size(), 4);
    EXPECT_EQ(spans(out), "(1,1) (110,10) (120,10) (130,5)");
    RW_VAR expected = full_var();
    expected.reg_addr = 120;
    expected.reg_count = 10;
    EXPECT_EQ(describe(out.at(2)), describe(expected));
    expected.reg_addr = 130;
    expected.reg_count = 5;
    EXPECT_EQ(describe(out.at(3)), describe(expected));
    EXPECT_EQ(describe(var), describe(expected));
}

TEST(CutIntoPieces, WithoutCuttingTheRecordIsUnchanged) {
    RW_VAR var = full_var();
    QList<RW_VAR> out;
    WhetherGroup(3, 10, &var, &out);
    EXPECT_EQ(describe(var), describe(full_var()));
    EXPECT_EQ(describe(out.first()), describe(full_var()));
}

TEST(CutIntoPieces, ALimitBelow1CountsAs1) {
    for (int limit : {1, 0, -1, int_min}) {
        EXPECT_EQ(groups(3, limit, 100), "(100,1) (101,1) (102,1)") << "limit " << limit;
        EXPECT_EQ(groups(1, limit, 100), "(100,999)") << "limit " << limit;
        EXPECT_EQ(groups(-3, limit, 100), "(100,999)") << "limit " << limit;
    }
}

TEST(CutIntoPieces, TheLargestTotalsAndAddressesKeepTheirLow32Bits) {
    EXPECT_EQ(groups(int_max, int_max, 5), "(5,999)");
    EXPECT_EQ(groups(int_max, int_max - 1, 0), "(0,2147483646) (2147483646,1)");
    EXPECT_EQ(groups(int_max, 1 << 30, 0), "(0,1073741824) (1073741824,1073741823)");
    EXPECT_EQ(groups(20, 10, int_max), "(2147483647,10) (-2147483639,10)");
    EXPECT_EQ(groups(20, 10, int_min), "(-2147483648,10) (-2147483638,10)");
}

TEST(CutIntoPieces, TakesNoLock) {
    const auto cut = [] {
        groups(25, 10, 100);
    };
    EXPECT_TRUE(support::takes_only({}, cut));
}

}  // namespace
