#include "ozna_kelpo_port.h"

#include <gtest/gtest.h>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#    include <QtCore/QTextCodec>
#endif

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

// The clock of the whole process, Qt included: the functions below replace those of the C library.
namespace {

bool clock_is_set = false;
time_t set_seconds = 0;
long set_milliseconds = 0;

// The real time, not that of the functions in this file.
timespec real_time(clockid_t id) {
    timespec now = {};
    syscall(SYS_clock_gettime, id, &now);
    return now;
}

timespec wall_clock() {
    timespec now = real_time(CLOCK_REALTIME);
    if (clock_is_set) {
        now.tv_sec = set_seconds;
        now.tv_nsec = set_milliseconds * 1000000;
    }
    return now;
}

}  // namespace

extern "C" int clock_gettime(clockid_t id, timespec *now) noexcept {
    *now = id == CLOCK_REALTIME || id == CLOCK_REALTIME_COARSE ? wall_clock() : real_time(id);
    return 0;
}

extern "C" int gettimeofday(timeval *__restrict now, void *__restrict) noexcept {
    const timespec clock = wall_clock();
    now->tv_sec = clock.tv_sec;
    now->tv_usec = clock.tv_nsec / 1000;
    return 0;
}

extern "C" time_t time(time_t *now) noexcept {
    const time_t seconds = wall_clock().tv_sec;
    if (now != nullptr)
        *now = seconds;
    return seconds;
}

namespace {

const char log_path[] = "/tmp/debug.log";

// 5 January 2024, 09:07:03 UTC.
const time_t nine_o_seven = 1704445623;

std::string log_content() {
    std::ifstream file(log_path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// During a test, a log that was there before has another name.
class DebugLog : public ::testing::Test {
protected:
    void SetUp() override {
        struct stat status = {};
        was_there = lstat(log_path, &status) == 0;
        if (was_there) {
            std::ostringstream name;
            name << log_path << ".kept-by-test-" << getpid();
            ASSERT_EQ(std::rename(log_path, name.str().c_str()), 0) << "cannot set " << log_path << " aside";
            kept_path = name.str();
        }
        is_ours = true;
        set_time(nine_o_seven, 45);
        set_zone("UTC0");
    }

    void TearDown() override {
        clock_is_set = false;
        if (is_ours)
            std::remove(log_path);
        if (!kept_path.empty()) {
            EXPECT_EQ(std::rename(kept_path.c_str(), log_path), 0);
        }
    }

    static void set_time(time_t seconds, long milliseconds) {
        clock_is_set = true;
        set_seconds = seconds;
        set_milliseconds = milliseconds;
    }

    static void set_zone(const char *zone) {
        setenv("TZ", zone, 1);
        tzset();
    }

    static std::string line_at(long milliseconds) {
        std::remove(log_path);
        set_time(nine_o_seven, milliseconds);
        customMessageHandler(QtDebugMsg, "hello");
        return log_content();
    }

    bool was_there = false;
    bool is_ours = false;
    std::string kept_path;
};

}  // namespace

TEST_F(DebugLog, ALineHasTheDateTheTimeAndTheMessage) {
    customMessageHandler(QtDebugMsg, "hello");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:hello\n");
}

// The milliseconds have no leading zeros, and no trailing ones are added or cut, whatever format the Qt version uses.
TEST_F(DebugLog, MillisecondsHaveNoLeadingZeros) {
    EXPECT_EQ(line_at(0), "2024.01.05.09:07:03.0:hello\n");
    EXPECT_EQ(line_at(5), "2024.01.05.09:07:03.5:hello\n");
    EXPECT_EQ(line_at(45), "2024.01.05.09:07:03.45:hello\n");
    EXPECT_EQ(line_at(50), "2024.01.05.09:07:03.50:hello\n");
    EXPECT_EQ(line_at(100), "2024.01.05.09:07:03.100:hello\n");
    EXPECT_EQ(line_at(120), "2024.01.05.09:07:03.120:hello\n");
    EXPECT_EQ(line_at(405), "2024.01.05.09:07:03.405:hello\n");
    EXPECT_EQ(line_at(999), "2024.01.05.09:07:03.999:hello\n");
}

TEST_F(DebugLog, HoursRunFrom00To23AndEveryOtherFieldIsPadded) {
    set_time(nine_o_seven + 12 * 3600, 45);
    customMessageHandler(QtDebugMsg, "evening");
    set_time(1709164800, 7);
    customMessageHandler(QtDebugMsg, "leap day");
    set_time(1735689599, 999);
    customMessageHandler(QtDebugMsg, "last second");
    EXPECT_EQ(log_content(), "2024.01.05.21:07:03.45:evening\n"
                             "2024.02.29.00:00:00.7:leap day\n"
                             "2024.12.31.23:59:59.999:last second\n");
}

TEST_F(DebugLog, TheTimeIsLocalTime) {
    set_zone("XST-3");
    customMessageHandler(QtDebugMsg, "east");
    set_zone("XST+10");
    customMessageHandler(QtDebugMsg, "west");
    EXPECT_EQ(log_content(), "2024.01.05.12:07:03.45:east\n2024.01.04.23:07:03.45:west\n");
}

TEST_F(DebugLog, LinesAccumulateAfterWhatTheFileHeld) {
    std::ofstream(log_path, std::ios::binary) << "from an earlier run\r\nwithout an end";
    customMessageHandler(QtDebugMsg, "one");
    customMessageHandler(QtDebugMsg, "two");
    EXPECT_EQ(log_content(), "from an earlier run\r\nwithout an end"
                             "2024.01.05.09:07:03.45:one\n"
                             "2024.01.05.09:07:03.45:two\n");
}

TEST_F(DebugLog, EveryMessageTypeGivesTheSameLine) {
    customMessageHandler(QtDebugMsg, "m");
    customMessageHandler(QtWarningMsg, "m");
    customMessageHandler(QtCriticalMsg, "m");
    customMessageHandler(QtFatalMsg, "m");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:m\n2024.01.05.09:07:03.45:m\n"
                             "2024.01.05.09:07:03.45:m\n2024.01.05.09:07:03.45:m\n");
}

TEST_F(DebugLog, AnEmptyMessageGivesALineThatEndsInAColon) {
    customMessageHandler(QtDebugMsg, "");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:\n");
}

TEST_F(DebugLog, LineEndsAndPercentSignsInAMessageStayAsTheyAre) {
    customMessageHandler(QtDebugMsg, "a\nb\r\n%1 %s %n");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:a\nb\r\n%1 %s %n\n");
}

TEST_F(DebugLog, ALongMessageIsWrittenWhole) {
    const std::string text(100000, 'x');
    customMessageHandler(QtDebugMsg, text.c_str());
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:" + text + "\n");
}

// Message bytes are Latin-1, the file is UTF-8, on every Qt version and in every locale.
TEST_F(DebugLog, ALatin1MessageBecomesUtf8) {
    customMessageHandler(QtDebugMsg, "caf\xE9 \xA0\xFF");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:caf\xC3\xA9 \xC2\xA0\xC3\xBF\n");
}

TEST_F(DebugLog, AMessageThatLooksLikeUtf8IsStillLatin1) {
    customMessageHandler(QtDebugMsg, "\xC3\xA9");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:\xC3\x83\xC2\xA9\n");
}

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
TEST_F(DebugLog, TheLocalesCodecDoesNotMatter) {
    for (const char *name : {"ISO-8859-1", "UTF-8", "ISO-8859-15", "Shift-JIS"}) {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
        std::remove(log_path);
        customMessageHandler(QtDebugMsg, "\xE9\xA4");
        EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:\xC3\xA9\xC2\xA4\n") << name;
    }
    QTextCodec::setCodecForLocale(nullptr);
}
#endif

// A folder in its place is also how a panel turns the log off.
TEST_F(DebugLog, WhileTheFileCannotBeOpenedNothingIsLogged) {
    if (was_there)
        GTEST_SKIP() << log_path << " belongs to somebody else";
    ASSERT_EQ(mkdir(log_path, 0700), 0);
    customMessageHandler(QtDebugMsg, "into nothing");

    ASSERT_EQ(rmdir(log_path), 0) << "something was created in the folder";
    customMessageHandler(QtDebugMsg, "back again");
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:back again\n");
}

namespace {

int qt_messages = 0;

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
void count_message(QtMsgType, const QMessageLogContext &, const QString &) {
    ++qt_messages;
}

void install_counter() {
    qInstallMessageHandler(count_message);
}

void restore_handler() {
    qInstallMessageHandler(nullptr);
}
#else
void count_message(QtMsgType, const char *) {
    ++qt_messages;
}

void install_counter() {
    qInstallMsgHandler(count_message);
}

void restore_handler() {
    qInstallMsgHandler(nullptr);
}
#endif

}  // namespace

// When a host installs this function as its Qt message handler, every warning of Qt comes back to it: a warning about
// the file that cannot be opened would cause the next one, without end.
TEST_F(DebugLog, AFileThatCannotBeOpenedMakesQtWriteNoMessage) {
    if (was_there)
        GTEST_SKIP() << log_path << " belongs to somebody else";
    ASSERT_EQ(mkdir(log_path, 0700), 0);
    qt_messages = 0;
    install_counter();
    customMessageHandler(QtDebugMsg, "into nothing");
    restore_handler();
    EXPECT_EQ(qt_messages, 0);
}

TEST_F(DebugLog, WithoutAFreeDescriptorTheLineIsLostAndQtWritesNoMessage) {
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    // Qt 4.8 looks for ICU when it first compares texts, and writes a message if that cannot be opened.
    QString::localeAwareCompare(QLatin1String("a"), QLatin1String("b"));
    qt_messages = 0;
    install_counter();
    setrlimit(RLIMIT_NOFILE, &none);
    customMessageHandler(QtDebugMsg, "into nothing");
    setrlimit(RLIMIT_NOFILE, &before);
    restore_handler();
    EXPECT_EQ(qt_messages, 0);
    EXPECT_FALSE(std::ifstream(log_path).is_open());
}

// Without a reader the pipe would block the thread that logs for ever; with a reader it would get the line.
TEST_F(DebugLog, APipeInItsPlaceGetsNothing) {
    ASSERT_EQ(mkfifo(log_path, 0600), 0);
    const int reader = open(log_path, O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    customMessageHandler(QtDebugMsg, "hello");
    char byte = 0;
    EXPECT_LE(read(reader, &byte, 1), 0);
    close(reader);
    customMessageHandler(QtDebugMsg, "hello");  // would wait for a reader
}

TEST_F(DebugLog, ALinkInItsPlaceIsNotFollowed) {
    const std::string target = std::string(log_path) + ".target-" + std::to_string(getpid());
    std::ofstream(target) << "as it was\n";
    ASSERT_EQ(symlink(target.c_str(), log_path), 0);
    customMessageHandler(QtDebugMsg, "hello");
    EXPECT_EQ(log_content(), "as it was\n");

    ASSERT_EQ(std::remove(target.c_str()), 0);
    customMessageHandler(QtDebugMsg, "hello");
    EXPECT_FALSE(std::ifstream(target).is_open()) << "a link without a target created a file";
    std::remove(target.c_str());
}

TEST_F(DebugLog, NeedsNoBlockAndTakesNoLock) {
    ASSERT_EQ(PLC_driver.com_info, nullptr);
    PLC_driver.list_mutex.lock();
    PLC_driver.cache_mutex.lock();
    PLC_driver.station_mutex.lock();
    customMessageHandler(QtDebugMsg, "from a callback");
    PLC_driver.station_mutex.unlock();
    PLC_driver.cache_mutex.unlock();
    PLC_driver.list_mutex.unlock();
    EXPECT_EQ(log_content(), "2024.01.05.09:07:03.45:from a callback\n");
}
