// What the calls do when an allocation fails: nothing is half done, nothing that was there is lost, and no exception
// leaves them.
#include "exchange.h"
#include "sanitizers.h"

#include <cstdlib>
#include <new>

#include <sys/resource.h>

using support::DriverTest;
using support::host_var;
using support::is_free;
using support::make_var;
using support::spans;
using support::write_var;

namespace {

// Allocations by `new` that still succeed, in the library too; below 0: all.
long allocations_left = -1;

}  // namespace

void *operator new(std::size_t size) {
    if (allocations_left == 0)
        throw std::bad_alloc();
    if (allocations_left > 0)
        --allocations_left;
    void *const memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void operator delete(void *memory) noexcept {
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

class NoMemory : public DriverTest {
protected:
    NoMemory() {
        info.write_mode = 2;
        // Qt 4.8 allocates with `new` when it reads the first number.
        StringAddressToInt(7, QLatin1String("1"));
    }

    ~NoMemory() override {
        allocations_left = -1;
    }

    // What `call` returns while only `count` allocations by `new` succeed.
    template <class Call> static auto with_allocations(long count, const Call &call) -> decltype(call()) {
        allocations_left = count;
        const auto result = call();
        allocations_left = -1;
        return result;
    }
};

}  // namespace

// Qt 6 keeps the records of a list in one block, which it takes from malloc and not from `new` above.
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
#    define SKIP_WHERE_LISTS_DO_NOT_USE_NEW() GTEST_SKIP() << "lists of Qt 6 do not allocate with new"
#else
#    define SKIP_WHERE_LISTS_DO_NOT_USE_NEW() (void)0
#endif

TEST_F(NoMemory, ARebuildGivesAnEmptyListAndTheNextOneACompleteList) {
    SKIP_WHERE_LISTS_DO_NOT_USE_NEW();
    QList<HOST_VAR> huge;
    huge.append(host_var(7, 1, "0", 1000000));
    QList<HOST_VAR> small;
    small.append(host_var(7, 1, "10", 3));
    ReCreatReadVarList(&small);
    for (long count : {0L, 1L, 2L, 100L}) {
        EXPECT_EQ(with_allocations(count, [&huge] { return ReCreatReadVarList(&huge); }), 0) << count;
        EXPECT_TRUE(PLC_driver.read_list.isEmpty()) << count;
        EXPECT_TRUE(is_free(PLC_driver.list_mutex)) << count;
    }
    EXPECT_EQ(ReCreatReadVarList(&small), 1);
    EXPECT_EQ(spans(PLC_driver.read_list), "(10,3)");
}

TEST_F(NoMemory, AQueueDropsWhatItCannotHold) {
    SKIP_WHERE_LISTS_DO_NOT_USE_NEW();
    RW_VAR write = write_var(7, 10, 1, "34 12");
    RW_VAR once = make_var(7, 20, 1);
    once.addr_text = QLatin1String("20");
    EXPECT_EQ(AddListWriteVar(&write), 1);
    EXPECT_EQ(with_allocations(0, [&write] { return AddListWriteVar(&write); }), 1);
    EXPECT_EQ(with_allocations(0, [&once] { return AddListOnceReadVar(&once, 1); }), 0);
    EXPECT_EQ(with_allocations(0, [&once] { return AddListOnceReadVar(&once, 0); }), 0);
    EXPECT_EQ(AddListOnceReadVar(&once, 1), 1);
    EXPECT_EQ(spans(PLC_driver.write_list), "(10,1)");
    EXPECT_TRUE(is_free(PLC_driver.list_mutex));
}

TEST_F(NoMemory, ARequestThatCannotBeBuiltWholeIsBuiltLater) {
    SKIP_WHERE_LISTS_DO_NOT_USE_NEW();
    RW_VAR split = make_var(8, 250, 10);  // two frames
    AddListReadVar(&split);
    for (long count = 0; count < 2; ++count) {
        EXPECT_EQ(with_allocations(count, [] { return ComCommunication(); }), nullptr) << count;
        EXPECT_TRUE(PLC_driver.frame_list.isEmpty()) << count;
        EXPECT_TRUE(is_free(PLC_driver.list_mutex)) << count;
    }
    EXPECT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(PLC_driver.frame_list.size(), 2);
}

TEST_F(NoMemory, GivingUpNeedsNoMemory) {
    info.retry_times = 0;
    for (int i = 0; i < 5; ++i) {
        RW_VAR write = write_var(7, 10 + i, 1, "34 12");
        write.var_id = i % 2;
        AddListWriteVar(&write);
    }
    ASSERT_NE(ComCommunication(), nullptr);
    PLC_driver.comm_error_cb = [](QList<RW_VAR> *, int, int) {
    };
    PLC_driver.write_result_cb = [](int, int, int, int) {
    };
    EXPECT_EQ(with_allocations(0, [] { return support::answer_nothing(); }), 41);
    EXPECT_EQ(spans(PLC_driver.write_list), "(11,1) (13,1)");
}

TEST_F(NoMemory, ALongListRotatesWithoutAllocating) {
    for (int i = 0; i < 300; ++i) {
        RW_VAR var = make_var(7, i, 1);
        AddListReadVar(&var);
    }
    ASSERT_NE(ComCommunication(), nullptr);
    const QByteArray reply = support::good_reply(PLC_driver.frame_list.first());
    PLC_driver.word_cache.insert(0x01070000, 0);
    EXPECT_EQ(with_allocations(0, [&reply] { return support::answer(reply); }), 1);
    EXPECT_EQ(PLC_driver.read_list.size(), 300);
    EXPECT_EQ(PLC_driver.read_list.first().reg_addr, 1);
    EXPECT_EQ(PLC_driver.read_list.last().reg_addr, 0);
}

// Sanitizers and emulators use the address space in their own way.
#if !WITH_ADDRESS_SANITIZER && !defined(__arm__)
namespace {

// While it exists, the process can use no more than `bytes` of address space.
class TightAddressSpace {
public:
    explicit TightAddressSpace(rlim_t bytes) {
        getrlimit(RLIMIT_AS, &m_before);
        rlimit tight = m_before;
        tight.rlim_cur = bytes;
        setrlimit(RLIMIT_AS, &tight);
    }

    ~TightAddressSpace() {
        setrlimit(RLIMIT_AS, &m_before);
    }

    TightAddressSpace(const TightAddressSpace &) = delete;
    TightAddressSpace &operator=(const TightAddressSpace &) = delete;

private:
    rlimit m_before{};
};

// While it exists, malloc has no memory left. Each block that it took points to the one before.
class NothingLeft {
public:
    NothingLeft() : m_space(1) {
        for (const std::size_t size : {1U << 20, 1U << 16, 4096U, 1024U, 512U, 256U, 128U, 96U, 64U, 48U, 32U, 24U})
            while (void *const block = std::malloc(size)) {
                *static_cast<void **>(block) = m_first;
                m_first = block;
            }
    }

    ~NothingLeft() {
        while (m_first != nullptr) {
            void *const block = m_first;
            m_first = *static_cast<void **>(block);
            std::free(block);
        }
    }

    NothingLeft(const NothingLeft &) = delete;
    NothingLeft &operator=(const NothingLeft &) = delete;

private:
    TightAddressSpace m_space;
    void *m_first = nullptr;
};

}  // namespace

TEST_F(NoMemory, AValueThatIsTooLargeIsEmpty) {
    QByteArray out("what was there before");
    QByteArray unparsed("what was there before");
    int results[2] = {-1, -1};
    {
        const TightAddressSpace tight(rlim_t(256) << 20);
        results[0] = GetRegisterData(QString(), 4, QLatin1String("0"), 1, out, 1 << 29);
        results[1] = GetRegisterData(QString(), 4, QLatin1String("abc"), 1, unparsed, 1 << 28);
    }
    EXPECT_EQ(results[0], 1);
    EXPECT_EQ(results[1], 0);
    EXPECT_TRUE(out.isEmpty());
    EXPECT_TRUE(unparsed.isEmpty());
    EXPECT_TRUE(is_free(PLC_driver.cache_mutex));
}

TEST_F(NoMemory, AReplyWithoutMemoryForItsValuesIsAskedForAgain) {
    RW_VAR var = make_var(7, 10, 1);
    AddListReadVar(&var);
    ASSERT_NE(ComCommunication(), nullptr);
    QByteArray reply = support::bytes("01 03 02 12 34 B5 33");
    int code = -1;
    {
        const NothingLeft nothing;
        code = DataCom(&reply, 7)->ret_value;
    }
    EXPECT_EQ(code, 0);
    EXPECT_EQ(PLC_driver.frame_list.size(), 1);
    EXPECT_TRUE(is_free(PLC_driver.cache_mutex));
    EXPECT_TRUE(is_free(PLC_driver.list_mutex));
    EXPECT_EQ(DataCom(&reply, 7)->ret_value, 1);
    EXPECT_EQ(support::entries(PLC_driver.word_cache), "0107000A=1234");
}
#endif
