#include "link/replies.h"

#include "arithmetic.h"
#include "frames/reply_check.h"
#include "link/request_kind.h"
#include "ozna_kelpo_port.h"
#include "store/reply_storage.h"

#include <QtCore/QMutexLocker>

namespace {

enum ReplyKind { GoodReply = 0, LocalCheckFailed = 1, LocalNoReply = 2, LocalWrongLength = 3 };

const int good_code = 1;
const int resend_code = 0;
const int special_code = 1000;
const int unknown_kind_code = 200;

enum LengthJudgement { LengthIsRight, NothingCame, LengthIsWrong };

LengthJudgement judge_length(int expected, int length) {
    if (length == 0 && expected != 0)
        return NothingCame;
    return expected == length || expected == -1 ? LengthIsRight : LengthIsWrong;
}

// The controller's own word for "not now": the host decides what to do, the driver counts nothing.
bool is_special_short_reply(const QByteArray *reply) {
    return reply != 0 && reply->size() == 5 && reply->at(1) == '\x6A' && reply->at(2) == '\x8B';
}

// Ends the pass one read after its last entry's, so that every entry has certainly been served.
void count_completed_read() {
    ComInfo &com_info = *PLC_driver.com_info;
    if (com_info.finish_flag != 0)
        return;
    if (PLC_driver.read_pass_count < PLC_driver.read_list.size()) {
        ++PLC_driver.read_pass_count;
        return;
    }
    PLC_driver.read_pass_count = 0;
    com_info.finish_flag = 1;
}

// Takes the answered frame out of flight. True when its request needs no further reply.
bool retire_frame() {
    ComInfo &com_info = *PLC_driver.com_info;
    PLC_driver.comm_failed = false;
    const qint64 good_replies = qint64(com_info.success_count) + 1;
    com_info.success_count = low_32_bits(good_replies);
    const bool complete = good_replies >= com_info.success_limit;
    if (complete)
        count_completed_read();
    PLC_driver.frame_list.removeFirst();
    return complete;
}

// False while the frame is to be sent again. Failures of different frames add up, since only a give-up clears the
// count: a line that loses every second reply is reported, although each frame gets through.
bool give_up_frame() {
    ComInfo &com_info = *PLC_driver.com_info;
    const qint64 failures = qint64(com_info.retry_count) + 1;
    com_info.retry_count = low_32_bits(failures);
    if (failures <= com_info.retry_times)
        return false;
    PLC_driver.comm_failed = true;
    PLC_driver.read_pass_count = 0;
    com_info.finish_flag = 0;
    com_info.retry_count = 0;
    PLC_driver.fail_var = PLC_driver.frame_list.first().var;
    PLC_driver.frame_list.clear();
    return true;
}

// The result record always names the variable given up last, also after a good reply: the host then looks at
// ret_value alone.
void advance_read_list() {
    QList<RW_VAR> &list = PLC_driver.read_list;
    if (list.isEmpty())
        return;
    passRetValue(PLC_driver.fail_var, PLC_driver.ret_var);
    list.append(list.takeFirst());
}

void report_give_up() {
    QList<RW_VAR> for_the_host;
    PLC_driver.comm_error_cb(&for_the_host, PLC_driver.ret_var.var_group, 1);
}

}  // namespace

int SwitchErrorReturn(int base) {
    int offset = 0;
    if (!PLC_driver.frame_list.isEmpty()) {
        const int var_group = PLC_driver.frame_list.first().var.var_group;
        if (var_group >= 0 && var_group <= 11)
            offset = var_group;
    }
    return low_32_bits(qint64(base) + 1 + offset);
}

int GetDriverReturnValue(int kind) {
    switch (kind) {
    case GoodReply:
        return good_code;
    case LocalCheckFailed:
        return SwitchErrorReturn(10);
    case LocalNoReply:
        return SwitchErrorReturn(40);
    case LocalWrongLength:
        return SwitchErrorReturn(70);
    default:
        return unknown_kind_code;
    }
}

int DealDataOfLocalArea(QByteArray *reply, int length) {
    if (PLC_driver.frame_list.isEmpty())
        return GetDriverReturnValue(LocalCheckFailed);
    switch (judge_length(PLC_driver.frame_list.first().reply_len, length)) {
    case NothingCame:
        return GetDriverReturnValue(LocalNoReply);
    case LengthIsWrong:
        return GetDriverReturnValue(LocalWrongLength);
    case LengthIsRight:
        break;
    }
    switch (CheckGetData(reply, length)) {
    case ValidWithData: {
        const QMutexLocker locked(&PLC_driver.cache_mutex);
        SaveToLocalDataErea(reply);
        return GetDriverReturnValue(GoodReply);
    }
    case ValidNothingToStore:
        return GetDriverReturnValue(GoodReply);
    default:
        return GetDriverReturnValue(LocalCheckFailed);
    }
}

void passRetValue(const RW_VAR &from, RW_VAR &to) {
    to = from;
    to.value_bytes.clear();
}

RW_VAR *DataCom(QByteArray *reply, int length) {
    RW_VAR &result = PLC_driver.ret_var;
    result.ret_value = good_code;
    if (PLC_driver.frame_list.isEmpty())
        return &result;
    if (is_special_short_reply(reply)) {
        result.ret_value = special_code;
        return &result;
    }
    const int code = DealDataOfLocalArea(reply, length);

    const QMutexLocker locked(&PLC_driver.list_mutex);
    if (code == good_code) {
        if (!retire_frame()) {
            result.ret_value = code;
            return &result;
        }
    } else if (!give_up_frame()) {
        result.ret_value = resend_code;
        return &result;
    }
    if (PLC_driver.last_op == CyclicRead)
        advance_read_list();
    if (PLC_driver.comm_failed)
        report_give_up();
    result.ret_value = code;
    return &result;
}
