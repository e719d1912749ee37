#include "link/replies.h"

#include "arithmetic.h"
#include "frame_layout.h"
#include "frames/reply_check.h"
#include "link/request_kind.h"
#include "link/rotation.h"
#include "ozna_kelpo_port.h"
#include "planning/queues.h"
#include "shared_words.h"
#include "store/reply_storage.h"

#include <new>

namespace {

enum ReplyKind {
    GoodReply = 0,
    LocalCheckFailed = 1,
    LocalNoReply = 2,
    LocalWrongLength = 3,
    RemoteNotStored = 4,
    RemoteCheckFailed = 5,
    RemoteNoReply = 6,
    RemoteWrongLength = 7
};

const int good_code = 1;
const int remote_good_code = 100;
const int resend_code = 0;
const int special_code = 1000;
const int unknown_kind_code = 200;

enum LengthJudgement { LengthIsRight, NothingCame, LengthIsWrong };

// Judges the length of a reply to the frame in flight. With nothing in flight any length is right: the check then
// rejects the reply.
LengthJudgement judge_length(int length) {
    if (PLC_driver.frame_list.isEmpty())
        return LengthIsRight;
    const int expected = PLC_driver.frame_list.at(0).reply_len;
    if (length == 0 && expected != 0)
        return NothingCame;
    return expected == length || expected == -1 ? LengthIsRight : LengthIsWrong;
}

// The controller's own reply for "not now": the host decides what to do, the driver counts nothing.
bool is_special_short_reply(const QByteArray *reply) {
    return reply != 0 && reply->size() == shortest_reply && reply->at(function_at) == '\x6A' &&
           reply->at(function_at + 1) == '\x8B';
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

// Removes the answered frame from those in flight. True when its request needs no further reply.
bool retire_frame(bool remote) {
    ComInfo &com_info = *PLC_driver.com_info;
    set_link_failed(false);
    const qint64 good_replies = qint64(com_info.success_count) + 1;
    com_info.success_count = low_32_bits(good_replies);
    const bool complete = good_replies >= com_info.success_limit;
    if (complete && !remote)
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
    set_link_failed(true);
    PLC_driver.read_pass_count = 0;
    com_info.finish_flag = 0;
    com_info.retry_count = 0;
    PLC_driver.fail_var = PLC_driver.frame_list.at(0).var;
    PLC_driver.frame_list.clear();
    return true;
}

// False when there is no memory for a value that the cache does not hold yet.
bool stored_in_cache(QByteArray *reply) {
    const QMutexLocker locked(&PLC_driver.cache_mutex);
    try {
        SaveToLocalDataErea(reply);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

bool same_variable(const RW_VAR &left, const RW_VAR &right) {
    return left.var_group == right.var_group && left.var_id == right.var_id;
}

// Whether a later request of the head's variable waits in this link's queue: its end will then be the variable's.
bool later_request_waits(const QList<RW_VAR> &queue) {
    const RW_VAR &head = queue.first();
    for (int i = 1; i < queue.size(); ++i)
        if (same_variable(queue.at(i), head) && queue.at(i).area_no == PLC_driver.com_info->local_area_no)
            return true;
    return false;
}

// A failure is always reported, success once for all queued requests of the variable.
void report_head(const QList<RW_VAR> &queue) {
    const RW_VAR &head = queue.first();
    const bool failed = link_has_failed();
    if (failed || !later_request_waits(queue))
        PLC_driver.write_result_cb(PLC_driver.com_info->channel_id, head.var_group, head.var_id,
                                   failed ? ozna_kelpo::request_failed : ozna_kelpo::request_done);
}

// Done after each exchange, and seldom with another text than before: a text that is shared already is not assigned.
void take_text(const QString &from, QString &to) {
    if (from.constData() != to.constData() || from.size() != to.size())
        to = from;
}

// The result record always names the variable given up last, also after a good reply: the host then uses only
// ret_value.
void copy_fail_var() {
    passRetValue(PLC_driver.fail_var, PLC_driver.ret_var);
}

void advance_queue(QList<RW_VAR> &queue, bool report) {
    if (queue.isEmpty())
        return;
    if (report)
        report_head(queue);
    copy_fail_var();
    drop_head(queue);
}

void advance_read_list() {
    QList<RW_VAR> &list = PLC_driver.read_list;
    if (list.isEmpty())
        return;
    copy_fail_var();
    rotate(list);
}

void advance_served_queue(bool remote) {
    switch (PLC_driver.last_op) {
    case WriteRequest:
        advance_queue(PLC_driver.write_list, true);
        break;
    case OnceRead:
        advance_queue(PLC_driver.once_read_list, !remote);
        break;
    case CyclicRead:
        advance_read_list();
        break;
    }
}

// Removes the other requests for the variable for which the controller did not answer: for any station, unless the host
// uses several.
void purge(QList<RW_VAR> &queue) {
    const RW_VAR &failed = PLC_driver.ret_var;
    const bool any_station = PLC_driver.com_info->multi_station == 0;
    for (int i = static_cast<int>(queue.size()) - 1; i >= 0; --i) {
        const RW_VAR &var = queue.at(i);
        if (same_variable(var, failed) && (any_station || var.station_no == failed.station_no))
            queue.removeAt(i);
    }
    note_write_list_size();
}

void report_give_up() {
    QList<RW_VAR> for_the_host;
    PLC_driver.comm_error_cb(&for_the_host, PLC_driver.ret_var.var_group, 1);
    if (PLC_driver.last_op == WriteRequest)
        purge(PLC_driver.write_list);
    else if (PLC_driver.last_op == OnceRead)
        purge(PLC_driver.once_read_list);
}

}  // namespace

int SwitchErrorReturn(int base) {
    int offset = 0;
    if (!PLC_driver.frame_list.isEmpty()) {
        const int var_group = PLC_driver.frame_list.at(0).var.var_group;
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
    case RemoteNotStored:
        return remote_good_code;
    case RemoteCheckFailed:
        return SwitchErrorReturn(110);
    case RemoteNoReply:
        return SwitchErrorReturn(140);
    case RemoteWrongLength:
        return SwitchErrorReturn(170);
    default:
        return unknown_kind_code;
    }
}

int DealDataOfLocalArea(QByteArray *reply, int length) {
    switch (judge_length(length)) {
    case NothingCame:
        return GetDriverReturnValue(LocalNoReply);
    case LengthIsWrong:
        return GetDriverReturnValue(LocalWrongLength);
    case LengthIsRight:
        break;
    }
    const int check = CheckGetData(reply, length);
    if (check == Rejected)
        return GetDriverReturnValue(LocalCheckFailed);
    if (check == ValidWithData && !stored_in_cache(reply))
        return GetDriverReturnValue(LocalCheckFailed);
    return GetDriverReturnValue(GoodReply);
}

int DealDataOfRemoteArea(QByteArray *reply, int length) {
    switch (judge_length(length)) {
    case NothingCame:
        return GetDriverReturnValue(RemoteNoReply);
    case LengthIsWrong:
        return GetDriverReturnValue(RemoteWrongLength);
    case LengthIsRight:
        break;
    }
    if (CheckGetData(reply, length) == Rejected)
        return GetDriverReturnValue(RemoteCheckFailed);
    if (PLC_driver.frame_list.at(0).var.store_mode != read_half_of_bit_write)
        return GetDriverReturnValue(RemoteNotStored);
    // Completes the write half in the frame list; the cache is not touched, so its lock is not taken.
    SaveToLocalDataErea(reply);
    return GetDriverReturnValue(PLC_driver.com_info->success_count == 1 ? RemoteNotStored : GoodReply);
}

void passRetValue(const RW_VAR &from, RW_VAR &to) {
    to.var_group = from.var_group;
    to.var_id = from.var_id;
    to.host_ref2 = from.host_ref2;
    to.host_ref3 = from.host_ref3;
    to.area_no = from.area_no;
    to.ret_value = from.ret_value;
    take_text(from.aux_text, to.aux_text);
    take_text(from.addr_text, to.addr_text);
    to.reg_type = from.reg_type;
    to.reg_addr = from.reg_addr;
    to.station_no = from.station_no;
    to.reg_count = from.reg_count;
    to.store_mode = from.store_mode;
    to.aux_word = from.aux_word;
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
    const bool remote = PLC_driver.frame_list.at(0).var.area_no != PLC_driver.com_info->local_area_no;
    const int code = remote ? DealDataOfRemoteArea(reply, length) : DealDataOfLocalArea(reply, length);

    const QMutexLocker locked(&PLC_driver.list_mutex);
    if (code == good_code || code == remote_good_code) {
        if (!retire_frame(remote)) {
            result.ret_value = code;
            return &result;
        }
    } else if (!give_up_frame()) {
        result.ret_value = resend_code;
        return &result;
    }
    advance_served_queue(remote);
    if (link_has_failed())
        report_give_up();
    result.ret_value = code;
    return &result;
}
