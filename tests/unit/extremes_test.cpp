// Every call that takes counts, texts or lists, at its extremes, in a process of its own with little memory and little
// of the processor's time: it returns, or drops what does not fit, and leaves the driver usable.
#include "exchange.h"
#include "sanitizers.h"

#include <fstream>
#include <functional>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using support::DriverTest;
using support::host_var;
using support::int_max;
using support::int_min;
using support::make_var;

// Sanitizers and emulators use memory and time in their own way.
#if !WITH_ADDRESS_SANITIZER && !defined(__SANITIZE_THREAD__) && !defined(__arm__)
namespace {

constexpr rlim_t most_seconds = 30;  // many times what the slowest takes
// Beyond what the tests before have taken. Each text in a list takes 8 bytes in Qt 5 and 24 in Qt 6.
constexpr rlim_t most_bytes = rlim_t(QT_VERSION < 0x060000 ? 400 : 1200) << 20;

rlim_t taken_bytes() {
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

class Extremes : public DriverTest {
protected:
    Extremes() {
        info.max_count = 100;
        info.write_mode = 2;
    }

    // How a process that makes the call ends: 0 when the call returned and the driver still polls.
    static int outcome_of(const std::function<void()> &call) {
        const pid_t child = fork();
        if (child == 0) {
            limit(RLIMIT_CPU, most_seconds);
            limit(RLIMIT_AS, taken_bytes() + most_bytes);
            call();
            _exit(is_usable() ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }

    void call_all(int type, int count, int max_count, int write_mode) {
        info.max_count = max_count;
        info.write_mode = write_mode;
        const char *const text = type >= 15 && type <= 17 ? "20.1" : "200";
        QList<HOST_VAR> list;
        list.append(host_var(type, 1, text, count));
        ReCreatReadVarList(&list);
        QByteArray out;
        GetRegisterData(QString(), type, QLatin1String(text), 1, out, count);
        SetRegisterData(QString(), type, QLatin1String(text), 1, QByteArray(200, '1'), count, 0, 0);
        RW_VAR once = make_var(type, 0, count);
        once.addr_text = QLatin1String(text);
        AddListOnceReadVar(&once, 0);
        AddListOnceReadVar(&once, 1);
        for (int i = 0; i < 3; ++i)
            if (ComCommunication() != nullptr)
                support::answer_nothing();
    }

private:
    static void limit(decltype(RLIMIT_CPU) resource, rlim_t most) {
        const rlimit value{most, most};
        setrlimit(resource, &value);
    }

    static bool is_usable() {
        PLC_driver.com_info->max_count = 100;
        QList<HOST_VAR> list;
        list.append(host_var(7, 1, "10", 3));
        return ReCreatReadVarList(&list) == 1 && support::is_free(PLC_driver.list_mutex) &&
               support::is_free(PLC_driver.cache_mutex) && support::is_free(PLC_driver.station_mutex);
    }
};

TEST_F(Extremes, OfTheLargestCountsAreRefusedByTheMemoryAndNotByTheHost) {
    EXPECT_EQ(outcome_of([] {
                  QList<HOST_VAR> list;
                  list.append(host_var(7, 1, "0", int_max));
                  _exit(ReCreatReadVarList(&list));
              }),
              0);
    EXPECT_EQ(outcome_of([] {
                  QByteArray out;
                  GetRegisterData(QString(), 7, QLatin1String("0"), 1, out, int_max);
              }),
              0);
    EXPECT_EQ(outcome_of([] {
                  RW_VAR once = make_var(7, 0, int_max);
                  once.addr_text = QLatin1String("0");
                  AddListOnceReadVar(&once, 0);
              }),
              0);
}

// 65536 units are as many as a class of registers has.
TEST_F(Extremes, OfEveryTypeAreCarriedOut) {
    for (int type = -1; type <= 18; ++type)
        EXPECT_EQ(outcome_of([this, type] {
                      for (const int count : {65536, 1, 0, -1, int_min})
                          for (const int max_count : {100, 1, 0, int_min, int_max})
                              for (const int write_mode : {2, 0})
                                  call_all(type, count, max_count, write_mode);
                  }),
                  0)
            << type;
}

TEST_F(Extremes, OfTextsAndBytesAreRefused) {
    EXPECT_EQ(outcome_of([] {
                  const int length = 16 << 20;
                  for (const char letter : {'9', '7', '.', '-', ' ', 'x'})
                      for (const int type : {1, 7, 13, 15})
                          if (StringAddressToInt(type, QString(length, QLatin1Char(letter))) >= 0)
                              _exit(2);
                  QByteArray reply(length, '\1');
                  RW_VAR var = make_var(7, 10, 1);
                  AddListReadVar(&var);
                  ComCommunication();
                  for (const int said : {length, int_max, 0, -1, int_min})
                      DataCom(&reply, said);
              }),
              0);
}

}  // namespace
#endif
