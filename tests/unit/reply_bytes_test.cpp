// The bytes of replies: never copied, and never read past their end.
#include "reply_exchange.h"

#include <random>

using support::bytes;
using support::int_max;
using support::int_min;
using support::make_var;
using support::other_area;
using support::own_area;
using support::ReplyTest;
using support::write_var;

namespace {

class ReplyBytes : public ReplyTest {};

// A host that keeps the bytes it received, for a trace, hands them over without a copy.
TEST_F(ReplyBytes, NoExchangeCopiesAReply) {
    const auto answer_shared = [](const QByteArray &kept) {
        QByteArray reply = kept;
        const int code = DataCom(&reply, static_cast<int>(reply.size()))->ret_value;
        EXPECT_EQ(reply.constData(), kept.constData());
        EXPECT_FALSE(reply.isDetached());
        return code;
    };
    const RW_VAR reads[] = {make_var(0, 10, 20), make_var(7, 10, 20), make_var(13, 10, 20)};
    for (RW_VAR var : reads) {
        var.area_no = own_area;
        queue_once_read(var);
    }
    const RW_VAR writes[] = {write_var(2, 10, 1, "01"), write_var(4, 10, 9, "01 01"), write_var(7, 10, 1, "34 12"),
                             write_var(15, 0x23, 1, "01")};
    for (int area : {own_area, other_area})
        for (RW_VAR var : writes) {
            var.area_no = area;
            queue_write(var);
        }
    int answered = 0;
    for (int turn = 0; turn < 20; ++turn) {
        if (ComCommunication() == nullptr)
            continue;  // after five writes and all once-reads
        ++answered;
        const Protocol &request = PLC_driver.frame_list.first();
        const bool stored = request.var.area_no == own_area || request.var.store_mode == -1;
        EXPECT_EQ(answer_shared(support::good_reply(request)), stored ? 1 : 100);
    }
    EXPECT_EQ(answered, 3 + 2 * 5);

    queue_once_read(reads[1]);
    ASSERT_NE(ComCommunication(), nullptr);
    EXPECT_EQ(answer_shared(bytes("01 83 02 C0 F1")), 171);
}

// ---- anything that the line delivers

class AnyReply : public ReplyTest, public ::testing::WithParamInterface<int> {
protected:
    // Puts a read of class GetParam() in flight, `count` units from `address`.
    void put_in_flight(int address, int count) {
        PLC_driver.read_list.clear();
        PLC_driver.frame_list.clear();
        RW_VAR var = make_var(GetParam(), address, count);
        var.area_no = own_area;
        AddListReadVar(&var);
        ASSERT_NE(ComCommunication(), nullptr);
    }

    // Hands in `reply` and checks what must be true for any reply.
    void hand_in(const QByteArray &reply, int length) {
        const support::TightBytes block_of_reply(reply);
        QByteArray tight = block_of_reply.borrowed();
        support::clear_caches();
        RW_VAR *const result = DataCom(&tight, length);
        ASSERT_EQ(result, &PLC_driver.ret_var);
        const int code = result->ret_value;
        const int stored = static_cast<int>(PLC_driver.bit_cache.size() + PLC_driver.word_cache.size() +
                                            PLC_driver.dword_cache.size());
        ASSERT_TRUE(code == 1 || code == 0 || code == 11 || code == 41 || code == 71 || code == 1000) << code;
        if (code != 1) {
            ASSERT_EQ(stored, 0);
        }
        ASSERT_LE(stored, static_cast<int>(reply.size()) * 8);
        ASSERT_TRUE(support::is_free(PLC_driver.list_mutex));
        ASSERT_TRUE(support::is_free(PLC_driver.cache_mutex));
    }
};

INSTANTIATE_TEST_SUITE_P(Classes, AnyReply, ::testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13),
                         [](const ::testing::TestParamInfo<int> &row) { return "Class" + std::to_string(row.param); });

TEST_P(AnyReply, IsNeverReadPastItsEnd) {
    std::mt19937 random(static_cast<unsigned>(1000 + GetParam()));
    info.retry_times = 1;
    for (int size = 0; size <= 300; ++size) {
        QByteArray noise;
        for (int i = 0; i < size; ++i)
            noise.append(static_cast<char>(random() & 0xFF));
        QByteArray plausible = noise;
        if (size > 1) {
            plausible[0] = 0x01;
            plausible[1] = GetParam() <= 6 ? 0x01 : 0x03;
        }
        if (size > 2)
            plausible = support::with_crc(plausible.left(size - 2));

        for (const QByteArray &reply : {noise, plausible}) {
            const int expected = GetParam() <= 6 ? 15 : (GetParam() == 13 ? 45 : 25);
            for (int length : {size, size + 1, size - 1, expected, 0, -1, int_max, int_min}) {
                put_in_flight(5, GetParam() <= 6 ? 80 : 10);
                hand_in(reply, length);
                if (HasFatalFailure())
                    return;
            }
        }
    }
}

}  // namespace
