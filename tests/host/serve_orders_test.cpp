#include "host/serve/answer_book.h"
#include "host/serve/payloads.h"
#include "host/serve/service_manager.h"
#include "host/serve/set_request.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using namespace kelpo;
using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(SetRequest, TakesAValueOrAnObject) {
    struct Case {
        const char *payload, *typed, *id;
    };
    const Case cases[] = {
        {"350", "350", ""},
        {" 21.5\n", "21.5", ""},
        {"on", "on", ""},
        {"0x1F", "0x1F", ""},
        {"\"0b11\"", "0b11", ""},
        {"[1,true,\"off\"]", "1 true off", ""},
        {"{\"v\":350.0}", "350", ""},
        {"{\"v\":-1.25e2,\"id\":7}", "-125", "7"},
        {"{\"v\":0.1,\"id\":\"a b\"}", "0.1", "a b"},
        {"{\"v\":9223372036854775807}", "9223372036854775807", ""},
    };
    for (const Case &one : cases) {
        const SetRequest request = set_request_from(one.payload);
        EXPECT_EQ(request.mistake, "") << one.payload;
        EXPECT_EQ(request.typed, one.typed);
        EXPECT_EQ(request.id, one.id);
        EXPECT_FALSE(request.within);
    }
    EXPECT_EQ(set_request_from("{\"v\":1,\"within-ms\":250}").within, 250ms);
}

TEST(SetRequest, SaysWhatIsWrongAndKeepsTheId) {
    struct Case {
        std::string payload, mistake, id;
    };
    const Case cases[] = {
        {"", "empty", ""},
        {" \n", "empty", ""},
        {"\xff", "not UTF-8", ""},
        {"{\"v\":1", "not JSON", ""},
        {"[1,]", "not JSON", ""},
        {"{\"v\":1} x", "not JSON", ""},
        {"{\"id\":\"x\"}", "no v", "x"},
        {"{\"v\":{},\"id\":\"x\"}", "not a number", "x"},
        {"{\"v\":null}", "not a number", ""},
        {"{\"v\":1,\"w\":2,\"id\":\"x\"}", "unknown member \"w\"", "x"},
        {"{\"v\":1,\"within-ms\":\"5\"}", "within-ms", ""},
        {"{\"v\":1,\"within-ms\":1.5}", "within-ms", ""},
        {"{\"v\":1,\"within-ms\":86400001}", "within-ms", ""},
        {"{\"v\":1,\"id\":[]}", "id is not", ""},
        {"{\"v\":1,\"id\":\"" + std::string(129, 'x') + "\"}", "id is not", ""},
        {std::string(10000, '['), "not JSON", ""},
    };
    for (const Case &one : cases) {
        const SetRequest request = set_request_from(one.payload);
        EXPECT_THAT(request.mistake, HasSubstr(one.mistake)) << one.payload;
        EXPECT_EQ(request.id, one.id);
    }
}

TEST(SetRequest, KnowsWhatIsBeyondTheView) {
    const auto beyond = [](View view, const char *typed) {
        return beyond_limits({"v", 1, 7, "0", 1, view}, typed);
    };
    EXPECT_EQ(beyond(View::unsigned_words, "0 65535"), "");
    EXPECT_EQ(beyond(View::unsigned_words, "65536"), "65536 is out of limits, 0 to 65535");
    EXPECT_EQ(beyond(View::unsigned_words, "1 -1"), "-1 is out of limits, 0 to 65535");
    EXPECT_EQ(beyond(View::signed_words, "-32768"), "");
    EXPECT_EQ(beyond(View::signed_words, "40000"), "40000 is out of limits, -32768 to 32767");
    EXPECT_EQ(beyond(View::signed_words, "0xFFFF"), "") << "the bits";
    EXPECT_EQ(beyond(View::unsigned_longs, "4294967295"), "");
    EXPECT_EQ(beyond(View::signed_longs, "2147483648"), "2147483648 is out of limits, -2147483648 to 2147483647");
    EXPECT_EQ(beyond({View::Unit::word_pair, View::Reading::real}, "1e30"), "");
    EXPECT_EQ(beyond({View::Unit::word_pair, View::Reading::real}, "NaN"), "\"NaN\" is not a number");
    EXPECT_EQ(beyond({View::Unit::word_pair, View::Reading::real}, "-inf"), "\"-inf\" is not a number");
    EXPECT_EQ(beyond(View::bits, "10110110"), "") << "bits in a row";
}

TEST(AnswerBook, GivesTheFirstAnswerEachTimeThatAWriteCame) {
    AnswerBook book;
    EXPECT_EQ(book.note("a"), AnswerBook::State::is_new);
    EXPECT_EQ(book.note("a"), AnswerBook::State::waits);
    EXPECT_EQ(book.note("b"), AnswerBook::State::is_new);
    EXPECT_EQ(book.set_answer("a", "done"), 2);
    EXPECT_EQ(book.note("a"), AnswerBook::State::answered);
    EXPECT_EQ(book.answer("a"), "done");
    EXPECT_EQ(book.note("b"), AnswerBook::State::waits);
}

TEST(AnswerBook, RemembersTheLast) {
    AnswerBook book(2);
    for (const char *key : {"a", "b", "c"}) {
        book.note(key);
        book.set_answer(key, "done");
    }
    EXPECT_EQ(book.note("b"), AnswerBook::State::answered);
    EXPECT_EQ(book.note("c"), AnswerBook::State::answered);
    EXPECT_EQ(book.note("a"), AnswerBook::State::is_new);
    book.note("d");
    book.note("e");
    EXPECT_EQ(book.set_answer("a", "late"), 1) << "forgotten, and to be answered all the same";
}

TEST(Payloads, ShowValuesThatJsonHasNoNumberFor) {
    VariableState state;
    const View view{View::Unit::word_pair, View::Reading::real};
    state.bytes = bytes_of(view, {0x7F800000});
    state.quality = Quality::stale;
    state.wall_time = ReadValue::WallTime(std::chrono::milliseconds(1500));
    EXPECT_EQ(value_payload({"v", 1, 13, "0", 2, view}, state),
              R"({"v":null,"text":"inf","q":"stale","t":"1970-01-01T00:00:01.500Z"})");
    EXPECT_NE(fingerprint_of("a"), fingerprint_of("b"));
    EXPECT_EQ(fingerprint_of("").size(), 16U);
}

TEST(ServiceManager, SendsOneDatagram) {
    const std::string path = testing::TempDir() + "notify." + std::to_string(getpid());
    const int receiver = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(receiver, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    setenv("WATCHDOG_USEC", "30000000", 1);
    setenv("WATCHDOG_PID", "1", 1);
    EXPECT_FALSE(ServiceManager().watchdog()) << "meant for another process";
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    EXPECT_EQ(ServiceManager().watchdog(), 30s);
    ServiceManager().notify("READY=1\nSTATUS=line open");
    char text[100];
    const ssize_t length = recv(receiver, text, sizeof text, 0);
    EXPECT_EQ(std::string(text, static_cast<std::size_t>(length)), "READY=1\nSTATUS=line open");
    for (const char *name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"})
        unsetenv(name);
    EXPECT_FALSE(ServiceManager().watchdog());
    ServiceManager().notify("nobody hears this");
    close(receiver);
    unlink(path.c_str());
}

}  // namespace
