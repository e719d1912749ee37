// The driver as the host header loads it, and several of them in one process.
#include "memory_controller.h"

#include <gtest/gtest.h>
#include <ozna_kelpo_host.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace ozna_kelpo;

const char driver_file[] = DRIVER_FILE;

void ended(int, int, int, int) {}
void given_up(QList<RW_VAR> *, int, int) {}

void configure(const Driver &driver, ComInfo &info) {
    info = ComInfo();
    info.max_count = 100;
    info.multi_station = 1;
    info.write_mode = write_to_controller;
    driver.SetComInfo(&info);
    driver.RegistCallBackFuncIntf(ended, given_up);
}

bool is_in_memory() {
    void *handle = dlopen(driver_file, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

class Folder {
public:
    Folder() {
        char name[] = "/tmp/kit_loading_XXXXXX";
        path_ = mkdtemp(name);
    }
    ~Folder() {
        for (const std::string &file : files_)
            unlink(file.c_str());
        rmdir(path_.c_str());
    }
    std::string copy_of_driver(const std::string &name) {
        const std::string path = path_ + "/" + name;
        std::ifstream from(driver_file, std::ios::binary);
        std::ofstream(path, std::ios::binary) << from.rdbuf();
        files_.push_back(path);
        return path;
    }
    std::string link_to_driver(const std::string &name) {
        const std::string path = path_ + "/" + name;
        EXPECT_EQ(symlink(driver_file, path.c_str()), 0);
        files_.push_back(path);
        return path;
    }
    std::string path(const std::string &name) const {
        return path_ + "/" + name;
    }

private:
    std::string path_;
    std::vector<std::string> files_;
};

TEST(Loading, ALoadedDriverWorks) {
    ASSERT_FALSE(is_in_memory());
    {
        LoadedDriver driver;
        EXPECT_FALSE(driver.is_loaded());
        ASSERT_TRUE(driver.load(driver_file)) << driver.error().constData();
        EXPECT_TRUE(driver.is_loaded());
        EXPECT_TRUE(driver.error().isEmpty());
        ComInfo info;
        configure(driver, info);
        EXPECT_EQ(driver.PLC_driver->com_info, &info);
        EXPECT_TRUE(is_in_memory());
    }
    EXPECT_FALSE(is_in_memory());
}

TEST(Loading, TheFileAndItsVersionsAreKnown) {
    LoadedDriver driver;
    ASSERT_TRUE(driver.load(driver_file)) << driver.error().constData();
    const QByteArray end = "/libozna_kelpo_port_2.so." PROJECT_VERSION;
    EXPECT_TRUE(driver.file().endsWith(end)) << driver.file().constData();
    EXPECT_TRUE(driver.file().startsWith('/'));
    EXPECT_EQ(driver.version(), QByteArray(PROJECT_VERSION));
    EXPECT_EQ(driver.qt_version(), QByteArray(qVersion()));
}

TEST(Loading, AFileThatDoesNotExistIsNamed) {
    LoadedDriver driver;
    EXPECT_FALSE(driver.load("/nowhere/libdriver.so"));
    EXPECT_TRUE(driver.error().startsWith("cannot load the driver: /nowhere/libdriver.so: "));
    EXPECT_FALSE(driver.load_copy("/nowhere/libdriver.so"));
    EXPECT_TRUE(driver.error().startsWith("cannot load the driver: /nowhere/libdriver.so: "));
    EXPECT_FALSE(driver.is_loaded());
}

TEST(Loading, AFileThatIsNoDriverIsNamed) {
    LoadedDriver driver;
    EXPECT_FALSE(driver.load("libm.so.6"));
    EXPECT_EQ(driver.error(), QByteArray("libm.so.6: is not a driver: it has no symbol SetComInfo"));
    EXPECT_FALSE(driver.load("/etc/passwd"));
    EXPECT_TRUE(driver.error().contains("/etc/passwd")) << driver.error().constData();
}

TEST(Loading, AFileWithoutAVersionInItsNameIsTaken) {
    Folder folder;
    LoadedDriver driver;
    ASSERT_TRUE(driver.load(folder.copy_of_driver("driver.so").c_str())) << driver.error().constData();
    EXPECT_TRUE(driver.version().isEmpty());
}

TEST(Loading, AFileOfAnotherVersionIsRefused) {
    Folder folder;
    LoadedDriver driver;
    for (const char *version : {"2", "2.0.0", "0.9.9"}) {
        const std::string file = folder.copy_of_driver(std::string("libozna_kelpo_port_2.so.") + version);
        EXPECT_FALSE(driver.load(file.c_str())) << version;
        EXPECT_EQ(driver.error(), QByteArray(file.c_str()) + ": is version " + version + ", this host was built for " +
                                      PROJECT_VERSION);
        EXPECT_FALSE(driver.is_loaded());
    }
    for (const char *version : {"1", "1.99", "1.99.0"}) {
        const std::string file = folder.copy_of_driver(std::string("libozna_kelpo_port_2.so.") + version);
        EXPECT_TRUE(driver.load(file.c_str())) << driver.error().constData();
    }
}

// It is refused before it is loaded: with two Qts in one process, code that runs at loading may crash it.
TEST(Loading, ADriverOfAnotherQtIsRefused) {
    const QByteArray of_host = qVersion();
    if (of_host.at(0) == '4')
        GTEST_SKIP() << "the names of this Qt's libraries are of another length";
    const QByteArray other = of_host.at(0) == '5' ? "6" : "5";
    Folder folder;
    const std::string file = folder.copy_of_driver("driver.so");
    QFile library(file.c_str());
    ASSERT_TRUE(library.open(QIODevice::ReadWrite));
    QByteArray content = library.readAll();
    content.replace("libQt" + of_host.left(1) + "Core.so." + of_host.left(1), "libQt" + other + "Core.so." + other);
    library.seek(0);
    library.write(content);
    library.close();
    LoadedDriver driver;
    for (const bool copy : {false, true}) {
        EXPECT_FALSE(copy ? driver.load_copy(file.c_str()) : driver.load(file.c_str()));
        EXPECT_EQ(driver.error(),
                  QByteArray(file.c_str()) + ": was built for Qt " + other + ", this host uses Qt " + of_host);
    }
}

TEST(Loading, TheStateAndTheLogAreFoundByName) {
    void *handle = dlopen(driver_file, RTLD_NOW | RTLD_LOCAL);
    for (const char *name : {"PLC_driver", "LB", "LW", "RWI", "_Z20customMessageHandler9QtMsgTypePKc"})
        EXPECT_NE(dlsym(handle, name), nullptr) << name;
    dlclose(handle);
}

TEST(Loading, StartOverGivesAnEmptyDriver) {
    for (const bool copy : {false, true}) {
        LoadedDriver driver;
        ASSERT_TRUE(copy ? driver.load_copy(driver_file) : driver.load(driver_file));
        ComInfo info;
        configure(driver, info);
        driver.EnableEthernet(9, station_off);
        driver.write(place(words_7, "1", 1, 1), QByteArray(2, '\1'), 1, 1);
        info.write_mode = write_to_cache;
        driver.SetRegisterData(QString(), words_7, "1", 1, QByteArray(2, '\1'), 1, 1, 1);
        ASSERT_TRUE(driver.was_read(place(words_7, "1", 1, 1)));
        ASSERT_TRUE(driver.start_over()) << driver.error().constData();
        EXPECT_EQ(driver.PLC_driver->com_info, nullptr);
        configure(driver, info);
        EXPECT_FALSE(driver.was_read(place(words_7, "1", 1, 1)));
        EXPECT_FALSE(driver.is_waiting(1, 1));
        EXPECT_FALSE(driver.is_off(9));
    }
}

TEST(Loading, StartOverSaysWhenSomethingElseKeepsTheDriver) {
    LoadedDriver driver;
    ASSERT_TRUE(driver.load(driver_file));
    void *other = dlopen(driver_file, RTLD_NOW | RTLD_LOCAL);
    EXPECT_FALSE(driver.start_over());
    EXPECT_TRUE(driver.error().contains("this process has it already")) << driver.error().constData();
    dlclose(other);
    EXPECT_TRUE(driver.load(driver_file));
}

// The next tests are the rows of the guide's table of several lines in one process.

TEST(SeveralLines, TheSameFileIsOneDriver) {
    void *one = dlopen(driver_file, RTLD_NOW | RTLD_LOCAL);
    void *other = dlopen(driver_file, RTLD_NOW | RTLD_LOCAL);
    EXPECT_EQ(dlsym(one, "PLC_driver"), dlsym(other, "PLC_driver"));
    dlclose(one);
    dlclose(other);
    LoadedDriver first, second;
    ASSERT_TRUE(first.load(driver_file));
    EXPECT_FALSE(second.load(driver_file));
    EXPECT_EQ(second.error(), QByteArray(driver_file) + ": this process has it already, and one driver serves one "
                                                        "line; load a copy of it");
}

TEST(SeveralLines, ALinkToTheFileIsOneDriver) {
    Folder folder;
    const std::string file = folder.link_to_driver("other.so");
    LoadedDriver first, second;
    ASSERT_TRUE(first.load(driver_file));
    EXPECT_FALSE(second.load(file.c_str()));
    EXPECT_TRUE(second.error().contains("this process has it already"));
}

TEST(SeveralLines, ACopiedFileIsADriverOfItsOwn) {
    Folder folder;
    LoadedDriver first, second;
    ASSERT_TRUE(first.load(driver_file));
    ASSERT_TRUE(second.load(folder.copy_of_driver("other.so").c_str())) << second.error().constData();
    ComInfo one, other;
    configure(first, one);
    configure(second, other);
    EXPECT_EQ(first.PLC_driver->com_info, &one);
    EXPECT_EQ(second.PLC_driver->com_info, &other);
}

TEST(SeveralLines, CopiesOfAGlobalOneAreStillDistinguished) {
    // In a process of its own: a driver in the global scope stays for good.
    const auto in_child = [] {
        void *global = dlopen(driver_file, RTLD_NOW | RTLD_GLOBAL);
        LoadedDriver driver;
        const bool alone = driver.load(driver_file);
        Folder folder;
        const bool other_file = driver.load(folder.copy_of_driver("other.so").c_str());
        const QByteArray why = driver.error();
        const bool copy = driver.load_copy(driver_file);
        ComInfo info;
        if (copy)
            configure(driver, info);
        auto *state = static_cast<Communication_Protocol *>(dlsym(global, "PLC_driver"));
        const bool shared = state->com_info != nullptr;
        const bool refused = !alone && !other_file && why.contains("a driver that all its libraries see");
        _exit(refused && copy && !shared ? 0 : 1);
    };
#if defined(NO_DEEP_BINDING)
    GTEST_SKIP() << "the address sanitizer does not let a library be loaded with RTLD_DEEPBIND";
#endif
    EXPECT_EXIT(in_child(), ::testing::ExitedWithCode(0), "");
}

TEST(SeveralLines, TwoGlobalCopiesShareOneState) {
    Folder folder;
    const std::string one = folder.copy_of_driver("one.so"), other = folder.copy_of_driver("other.so");
    const auto in_child = [&] {
        void *first = dlopen(one.c_str(), RTLD_NOW | RTLD_GLOBAL);
        void *second = dlopen(other.c_str(), RTLD_NOW | RTLD_GLOBAL);
        void (*set_com_info)(ComInfo *) = nullptr;
        void *const symbol = dlsym(second, "SetComInfo");
        std::memcpy(&set_com_info, &symbol, sizeof symbol);
        ComInfo info = ComInfo();
        set_com_info(&info);
        auto *state_of_first = static_cast<Communication_Protocol *>(dlsym(first, "PLC_driver"));
        _exit(state_of_first->com_info == &info ? 0 : 1);
    };
    EXPECT_EXIT(in_child(), ::testing::ExitedWithCode(0), "");
}

TEST(SeveralLines, PrivateCopiesAreFoundByTheNameAloneToo) {
    LoadedDriver first, second, third;
    ASSERT_TRUE(first.load_copy(driver_file)) << first.error().constData();
    // The loader takes the copy for the library of this name, since that is what it calls itself.
    ASSERT_TRUE(second.load_copy(OZNA_KELPO_LIBRARY)) << second.error().constData();
    EXPECT_EQ(second.version(), QByteArray(PROJECT_VERSION));
    ASSERT_TRUE(third.load_copy(OZNA_KELPO_LIBRARY)) << third.error().constData();
    EXPECT_NE(first.PLC_driver, second.PLC_driver);
    EXPECT_NE(second.PLC_driver, third.PLC_driver);
}

TEST(SeveralLines, PrivateCopiesLeaveNoFile) {
    const auto open_files = [] {
        int number = 0;
        for (int file = 0; file < 256; ++file)
            number += fcntl(file, F_GETFD) != -1 ? 1 : 0;
        return number;
    };
    const int before = open_files();
    {
        LoadedDriver driver;
        ASSERT_TRUE(driver.load_copy(driver_file));
        EXPECT_EQ(open_files(), before + 1);
    }
    EXPECT_EQ(open_files(), before);
}

// One line: a driver, its controller, and the thread that carries between them.
class Line {
public:
    explicit Line(int number) : number_(number) {}

    void load() {
        ASSERT_TRUE(driver_.load_copy(driver_file)) << driver_.error().constData();
        configure(driver_, info_);
        QList<HOST_VAR> polled;
        polled << place(words_7, "10", 5, 1) << place(bits_4, "3", 9, 1);
        ASSERT_EQ(driver_.ReCreatReadVarList(&polled), 2);
    }

    void start(std::atomic<bool> &stop) {
        thread_ = std::thread([this, &stop] {
            while (!stop) {
                const Protocol *request = driver_.ComCommunication();
                if (request == nullptr)
                    continue;
                QByteArray reply = controller_.answer(request->frame);
                good_ += driver_.DataCom(&reply, static_cast<int>(reply.size()))->ret_value == code_good ? 1 : 0;
                ++exchanges_;
            }
        });
    }

    // This line writes values of its own: 1000 x its number and more.
    void write(int round) {
        QByteArray value;
        const int number = 1000 * number_ + round % 1000;
        value.append(static_cast<char>(number & 0xFF));
        value.append(static_cast<char>(number >> 8));
        while (driver_.write(place(words_7, "12", 1, 1), value, number_, round) != queued)
            std::this_thread::yield();
        while (driver_.is_waiting(number_, round))
            std::this_thread::yield();
    }

    void look() {
        QByteArray value;
        driver_.GetRegisterData(QString(), words_7, "12", 1, value, 1);
        const int number = static_cast<unsigned char>(value.at(0)) | static_cast<unsigned char>(value.at(1)) << 8;
        foreign_ += number != 0 && number / 1000 != number_ ? 1 : 0;
        seen_ += number != 0 ? 1 : 0;
    }

    void join() {
        thread_.join();
    }

    void judge() const {
        EXPECT_EQ(foreign_, 0) << "line " << number_ << " showed another line's value";
        EXPECT_GT(seen_, 0);
        EXPECT_EQ(good_, exchanges_);
        EXPECT_EQ(controller_.holding_register(1, 12) / 1000, number_);
    }

private:
    const int number_;
    LoadedDriver driver_;
    ComInfo info_;
    MemoryController controller_;
    std::thread thread_;
    std::atomic<int> good_{0}, exchanges_{0};
    int foreign_ = 0, seen_ = 0;
};

TEST(SeveralLines, ThreeLinesInOneProcessNeverMixTheirValues) {
    Line lines[] = {Line(1), Line(2), Line(3)};
    std::atomic<bool> stop{false};
    for (Line &line : lines)
        line.load();
    for (Line &line : lines)
        line.start(stop);
    std::vector<std::thread> screens;
    for (Line &line : lines)
        screens.emplace_back([&line] {
            for (int round = 0; round < 60; ++round) {
                line.write(round);
                line.look();
            }
        });
    for (std::thread &screen : screens)
        screen.join();
    stop = true;
    for (Line &line : lines)
        line.join();
    for (const Line &line : lines)
        line.judge();
}

}  // namespace
