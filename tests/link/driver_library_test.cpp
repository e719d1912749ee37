#include "host/driver/driver_library.h"

#include "host/driver/raw_calls.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using kelpo::DriverLibrary;
using kelpo::DriverLibraryError;
using kelpo::View;

std::string message_of(const std::string &file) {
    try {
        DriverLibrary library(file);
    } catch (const DriverLibraryError &error) {
        return error.what();
    }
    return "no DriverLibraryError";
}

TEST(DriverLibrary, NamesTheFileThatDoesNotExist) {
    EXPECT_NE(message_of("/nowhere/libdriver.so").find("/nowhere/libdriver.so"), std::string::npos);
}

TEST(DriverLibrary, SaysWhereItLookedForANameAndWhatToDo) {
    const std::string problem = message_of("libno_such_driver.so.1");
    EXPECT_EQ(problem.find("cannot load the driver: libno_such_driver.so.1: "), 0U) << problem;
    EXPECT_NE(problem.find("; looked for /"), std::string::npos) << problem;
    EXPECT_NE(problem.find("/libno_such_driver.so.1, and in /"), std::string::npos) << problem;
    EXPECT_NE(problem.find(" /lib"), std::string::npos) << problem;
    EXPECT_NE(problem.find("; name its file with --driver"), std::string::npos) << problem;
}

TEST(DriverLibrary, NamesTheFileThatIsNoLibrary) {
    EXPECT_NE(message_of("/etc/passwd").find("/etc/passwd"), std::string::npos);
}

TEST(DriverLibrary, NamesTheSymbolThatALibraryLacks) {
    EXPECT_EQ(message_of("libm.so.6"), "libm.so.6: not a usable driver: it has no symbol SetComInfo");
}

TEST(DriverLibrary, FindsTheEntryPointsOfTheDriver) {
    ComInfo info{};
    info.max_count = 250;
    DriverLibrary library(DRIVER_FILE);
    library.entry().SetComInfo(&info);
    EXPECT_EQ(info.max_count, 100);
    EXPECT_EQ(library.entry().PLC_driver->com_info, &info);
}

TEST(DriverLibrary, CopiesTheBlocksThatTheDriverReads) {
    ComInfo info{};
    info.max_count = 100;
    info.multi_station = 1;
    DriverLibrary library(DRIVER_FILE);
    library.entry().SetComInfo(&info);
    QList<HOST_VAR> variables = kelpo::polled({{"a", 2, 7, "10", 1, View::unsigned_words},
                                               {"b", 2, 7, "20", 2, View::unsigned_words},
                                               {"c", 1, 0, "17", 1, View::bits}});
    EXPECT_EQ(library.entry().ReCreatReadVarList(&variables), 2);

    const std::vector<RW_VAR> blocks = library.read_blocks();
    ASSERT_EQ(blocks.size(), 2U);
    EXPECT_EQ(blocks[0].station_no, 1);
    EXPECT_EQ(blocks[0].reg_addr, 15);
    EXPECT_EQ(blocks[1].station_no, 2);
    EXPECT_EQ(blocks[1].reg_addr, 10);
    EXPECT_EQ(blocks[1].reg_count, 12);
}

TEST(DriverLibrary, CountsTheRequestsThatWait) {
    ComInfo info{};
    info.max_count = 100;
    info.multi_station = 1;
    info.write_mode = 2;
    DriverLibrary library(DRIVER_FILE);
    library.entry().SetComInfo(&info);
    EXPECT_EQ(library.requests_waiting(), 0);
    library.entry().SetRegisterData(QString(), 2, "100", 1, QByteArray("\x01\x01\x01", 3), 3, 1, 1);
    EXPECT_EQ(library.requests_waiting(), 3);
    EXPECT_TRUE(library.is_waiting(1, 1));
    EXPECT_FALSE(library.is_waiting(1, 2));
    EXPECT_FALSE(library.is_waiting(2, 1));
    RW_VAR var;
    var.reg_type = 7;
    var.addr_text = "100";
    var.reg_count = 1;
    library.entry().AddListOnceReadVar(&var, 0);
    EXPECT_EQ(library.requests_waiting(), 4);
    EXPECT_TRUE(library.is_waiting(var.var_group, var.var_id));
}

TEST(DriverLibrary, StartsAfreshWhenItIsLoadedAgain) {
    ComInfo info{};
    {
        DriverLibrary library(DRIVER_FILE);
        library.entry().SetComInfo(&info);
    }
    DriverLibrary library(DRIVER_FILE);
    EXPECT_EQ(library.entry().PLC_driver->com_info, nullptr);
}

}  // namespace
