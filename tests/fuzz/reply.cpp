/// \file
/// Fuzz target: replies of any bytes and any length to every kind of request.
///
/// The input decides what the host asks for and what comes back. After each reply a judge, which knows what was asked
/// for from the bytes of the request, decides what the driver may have done: a reply is accepted only when length,
/// station, function code and CRC are right, and then the cache holds its values, in the registers asked for and
/// nowhere else; the retry counter, the queues, the host's block and the callbacks follow from the verdict on the
/// reply. Anything else ends the program with the history of the exchange.
#include "ozna_kelpo_port.h"

#include "choices.h"
#include "comparison.h"
#include "controller.h"
#include "require.h"
#include "session.h"
#include "support/crc.h"
#include "support/int_limits.h"
#include "support/reset_driver.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

using model::Bytes;
using model::StreamChoices;

// ---------------------------------------------------------------------------------------------------------------------
// The history
// ---------------------------------------------------------------------------------------------------------------------

std::vector<std::string> history;

[[noreturn]] void fail_with_history(const std::string &what_is_wrong) {
    for (const std::string &line : history)
        std::cerr << line << "\n";
    fuzz::fail(what_is_wrong);
}

void must_hold(bool holds, const char *what) {
    if (!holds)
        fail_with_history(what);
}

Bytes bytes_of(const QByteArray &array) {
    return Bytes(array.constData(), array.constData() + array.size());
}

// ---------------------------------------------------------------------------------------------------------------------
// What a request asks for
// ---------------------------------------------------------------------------------------------------------------------

using support::int_max;
using support::int_min;

const unsigned read_coils = 1;
const unsigned read_registers = 3;
const unsigned write_register = 6;

unsigned word_at(const Bytes &bytes, std::size_t index) {
    return bytes[index] * 256u + bytes[index + 1];
}

bool has_right_crc(const Bytes &bytes) {
    return support::crc16(bytes) == 0;
}

// What the first request asks for, as far as its bytes say. They do not name the register class; that is in the record,
// and must agree with them.
struct Asked {
    Bytes request;
    int station = 0;
    int type = 0;
    unsigned address = 0;
    unsigned units = 0;
    bool is_write = false;
    bool is_read_half = false;  // of the write of one bit in a register
    int reply_length = 0;
};

Asked asked_locally(const Protocol &frame) {
    Asked asked;
    asked.request = bytes_of(frame.frame);
    must_hold(asked.request.size() >= 8, "a request has at least 8 bytes");
    asked.station = frame.var.station_no;
    asked.type = frame.var.reg_type;
    asked.address = static_cast<unsigned>(frame.var.reg_addr);
    must_hold(asked.request[0] == (asked.station & 0xFF), "the request names its record's station");
    const unsigned function = asked.request[1];
    const unsigned quantity = word_at(asked.request, 4);
    asked.is_write = function != read_coils && function != read_registers;
    asked.is_read_half = function == read_registers && asked.type >= 15;
    asked.units = asked.type == 13 ? quantity / 2 : quantity;
    asked.reply_length = 8;
    if (function == read_coils)
        asked.reply_length = static_cast<int>(5 + (quantity + 7) / 8);
    if (function == read_registers)
        asked.reply_length = static_cast<int>(5 + 2 * quantity);
    must_hold(has_right_crc(asked.request), "the request has a right CRC");
    if (!asked.is_write) {
        must_hold(asked.request.size() == 8, "a read request has 8 bytes");
        must_hold(function == (asked.type <= 6 ? read_coils : read_registers),
                  "the read's function is that of its class");
        const int place = asked.is_read_half ? frame.var.reg_addr / 16 : frame.var.reg_addr;
        const unsigned mapped = static_cast<unsigned>(model::get_offset_address(asked.type, place)) & 0xFFFFU;
        must_hold(word_at(asked.request, 2) == mapped, "the read names the address of its record");
        must_hold(asked.units == (asked.is_read_half ? 1u : static_cast<unsigned>(frame.var.reg_count)),
                  "the read asks for as many units as its record");
    }
    return asked;
}

Asked asked_remotely(const Protocol &frame) {
    Asked asked;
    asked.request = bytes_of(frame.frame);
    must_hold(asked.request.size() >= 22, "a remote-station request has at least 22 bytes");
    asked.station = frame.var.station_no;
    must_hold(asked.request[4] == (asked.station & 0xFF), "the request names its record's station");
    asked.is_write = asked.request[2] != 0;
    asked.type = static_cast<int>(word_at(asked.request, 5));
    asked.address = word_at(asked.request, 7) * 65536 + word_at(asked.request, 9);
    asked.units = word_at(asked.request, 11);
    if (asked.is_write)
        asked.reply_length = asked.station == 0 ? 0 : 8;
    else if (asked.type <= 6)
        asked.reply_length = static_cast<int>(5 + (asked.units + 7) / 8);
    else
        asked.reply_length = static_cast<int>(5 + asked.units * (asked.type == 13 ? 4 : 2));
    return asked;
}

// ---------------------------------------------------------------------------------------------------------------------
// What the host can see of the driver
// ---------------------------------------------------------------------------------------------------------------------

struct HostCall {
    bool write_result;
    int arguments[4];

    bool operator==(const HostCall &other) const {
        return write_result == other.write_result && std::equal(arguments, arguments + 4, other.arguments);
    }
};

std::vector<HostCall> calls;

void on_write_result(int channel, int var_group, int var_id, int status) {
    calls.push_back({true, {channel, var_group, var_id, status}});
}

void on_comm_error(QList<RW_VAR> *list, int var_group, int flag) {
    calls.push_back({false, {list != nullptr && list->isEmpty() ? 1 : 0, var_group, flag, 0}});
}

model::DriverBlock block;

struct State {
    QList<RW_VAR> reads, writes, once_reads;
    std::vector<Protocol> frames;
    QHash<unsigned int, unsigned char> bits;
    QHash<unsigned int, unsigned short> words;
    QHash<unsigned int, unsigned int> double_words;
    RW_VAR fail_var, ret_var;
    int last_op, read_pass_count;
    bool comm_failed;
    model::DriverBlock host_block;
    std::vector<HostCall> host_calls;

    static State now() {
        const Communication_Protocol &driver = PLC_driver;
        State state = {driver.read_list,
                       driver.write_list,
                       driver.once_read_list,
                       {},
                       driver.bit_cache,
                       driver.word_cache,
                       driver.dword_cache,
                       driver.fail_var,
                       driver.ret_var,
                       driver.last_op,
                       driver.read_pass_count,
                       driver.comm_failed,
                       block,
                       calls};
        // One by one: a shared list would move its entries with the next change, and the host holds a pointer to one.
        for (const Protocol &frame : driver.frame_list)
            state.frames.push_back(frame);
        return state;
    }
};

bool same(const RW_VAR &a, const RW_VAR &b) {
    return a.var_group == b.var_group && a.var_id == b.var_id && a.host_ref2 == b.host_ref2 &&
           a.host_ref3 == b.host_ref3 && a.area_no == b.area_no && a.ret_value == b.ret_value &&
           a.aux_text == b.aux_text && a.addr_text == b.addr_text && a.reg_type == b.reg_type &&
           a.reg_addr == b.reg_addr && a.station_no == b.station_no && a.reg_count == b.reg_count &&
           a.store_mode == b.store_mode && a.aux_word == b.aux_word && a.value_bytes == b.value_bytes;
}

bool same(const QList<RW_VAR> &a, const QList<RW_VAR> &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const RW_VAR &left, const RW_VAR &right) { return same(left, right); });
}

bool same(const Protocol &a, const Protocol &b) {
    return a.frame == b.frame && a.send_len == b.send_len && a.reply_len == b.reply_len &&
           a.data_offset == b.data_offset && a.data_len == b.data_len && same(a.var, b.var);
}

void must_be(const State &expected) {
    const State found = State::now();
    must_hold(same(expected.reads, found.reads), "the cyclic list is as the reply leaves it");
    must_hold(same(expected.writes, found.writes), "the write queue is as the reply leaves it");
    must_hold(same(expected.once_reads, found.once_reads), "the once-read queue is as the reply leaves it");
    must_hold(std::equal(expected.frames.begin(), expected.frames.end(), found.frames.begin(), found.frames.end(),
                         [](const Protocol &left, const Protocol &right) { return same(left, right); }),
              "the frames in flight are as the reply leaves them");
    must_hold(expected.bits == found.bits, "the cached bits are those asked for, with the reply's values");
    must_hold(expected.words == found.words, "the cached registers are those asked for, with the reply's values");
    must_hold(expected.double_words == found.double_words,
              "the cached 32-bit values are those asked for, with the reply's values");
    must_hold(same(expected.fail_var, found.fail_var), "fail_var is the variable given up last");
    must_hold(same(expected.ret_var, found.ret_var), "the result record is as the reply leaves it");
    must_hold(expected.last_op == found.last_op, "last_op is as before");
    must_hold(expected.read_pass_count == found.read_pass_count, "the pass is counted");
    must_hold(expected.comm_failed == found.comm_failed, "comm_failed is as the reply leaves it");
    for (std::size_t word = 0; word < sizeof block / sizeof(int); ++word)
        if (model::read_word(expected.host_block, word) != model::read_word(found.host_block, word))
            fail_with_history("word " + std::to_string(word) + " of the host's block is " +
                              std::to_string(model::read_word(found.host_block, word)) + " and not " +
                              std::to_string(model::read_word(expected.host_block, word)));
    must_hold(expected.host_calls == found.host_calls, "the callbacks are those that the reply calls for");
    for (QMutex *mutex : {&PLC_driver.list_mutex, &PLC_driver.cache_mutex, &PLC_driver.station_mutex}) {
        must_hold(mutex->tryLock(), "no lock is left locked");
        mutex->unlock();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// What a reply does
// ---------------------------------------------------------------------------------------------------------------------

struct Reply {
    bool null = false;
    Bytes bytes;
    int length = 0;  // as the host gives it
};

enum Verdict { Good, CheckFailed, NoReply, WrongLength, SpecialReply };

Verdict judge(const Asked &asked, const Reply &reply) {
    const Bytes &bytes = reply.bytes;
    if (!reply.null && bytes.size() == 5 && bytes[1] == 0x6A && bytes[2] == 0x8B)
        return SpecialReply;
    if (reply.length == 0 && asked.reply_length != 0)
        return NoReply;
    if (reply.length != asked.reply_length)
        return WrongLength;
    if (reply.null || bytes.size() < 5 || bytes[0] != asked.station)
        return CheckFailed;
    if (block.info.remote_mode == 0 && (asked.request[0] != asked.station || bytes[1] != asked.request[1]))
        return CheckFailed;
    return has_right_crc(bytes) ? Good : CheckFailed;
}

// A host that gave a wrong length gets the values for which the reply has bytes.
void store(const Asked &asked, const Bytes &reply, State &state) {
    const unsigned first =
        (static_cast<unsigned>(asked.station) << 24) | (static_cast<unsigned>(asked.type) << 16) | asked.address;
    const std::size_t present = reply.size() - 3;
    for (unsigned i = 0; i < asked.units; ++i) {
        const unsigned key = first + i;
        if (asked.type <= 6) {
            if (i / 8 < present)
                state.bits[key] = (reply[3 + i / 8] >> (i % 8)) & 1;
        } else if (asked.type == 13) {
            if (4 * i + 4 <= present)
                state.double_words[key] = word_at(reply, 3 + 4 * i) * 65536 + word_at(reply, 5 + 4 * i);
        } else if (2 * i + 2 <= present) {
            state.words[key] = static_cast<unsigned short>(word_at(reply, 3 + 2 * i));
        }
    }
}

// The write half carries the register as the reply has it, with the one bit changed.
void complete_write_half(const Asked &asked, const Bytes &reply, State &state) {
    must_hold(state.frames.size() == 2, "the read half of a bit write is followed by its write half");
    const RW_VAR &var = state.frames[0].var;
    const unsigned bit = 1u << (var.reg_addr % 16);
    const unsigned value = var.value_bytes.at(0) != 0 ? word_at(reply, 3) | bit : word_at(reply, 3) & ~bit;
    Bytes write = {asked.request[0],
                   write_register,
                   asked.request[2],
                   asked.request[3],
                   static_cast<std::uint8_t>(value >> 8),
                   static_cast<std::uint8_t>(value & 0xFF)};
    write = support::with_crc(write);
    state.frames[1].frame = model::to_driver(write);
}

void report(const QList<RW_VAR> &queue, State &state) {
    const RW_VAR &head = queue.at(0);
    bool later_waits = false;
    for (int i = 1; i < queue.size(); ++i)
        later_waits = later_waits || (queue.at(i).var_group == head.var_group && queue.at(i).var_id == head.var_id &&
                                      queue.at(i).area_no == block.info.local_area_no);
    if (state.comm_failed || !later_waits)
        state.host_calls.push_back(
            {true, {block.info.channel_id, head.var_group, head.var_id, state.comm_failed ? 2 : 1}});
}

void purge(QList<RW_VAR> &queue, const RW_VAR &failed) {
    QList<RW_VAR> kept;
    for (const RW_VAR &var : queue)
        if (var.var_group != failed.var_group || var.var_id != failed.var_id ||
            (block.info.multi_station != 0 && var.station_no != failed.station_no))
            kept.append(var);
    queue = kept;
}

void advance(State &state, bool remote_area) {
    QList<RW_VAR> *const queues[] = {&state.reads, &state.writes, &state.once_reads};
    if (state.last_op > 2)
        return;
    QList<RW_VAR> &queue = *queues[state.last_op];
    if (queue.isEmpty())
        return;
    if (state.last_op == 1 || (state.last_op == 2 && !remote_area))
        report(queue, state);
    const RW_VAR head = queue.takeFirst();
    if (state.last_op == 0)
        queue.append(head);
    state.ret_var = state.fail_var;
    state.ret_var.value_bytes.clear();
}

// The driver return code of a frame's failures: `base` + 1, shifted by the variable's group.
int code_of(int base, const RW_VAR &var) {
    return base + 1 + (var.var_group >= 0 && var.var_group <= 11 ? var.var_group : 0);
}

void answer(const Asked &asked, const Reply &reply, State &state) {
    const Verdict verdict = judge(asked, reply);
    if (verdict == SpecialReply) {
        state.ret_var.ret_value = 1000;
        return;
    }
    const RW_VAR var = state.frames[0].var;
    const bool remote_area = var.area_no != block.info.local_area_no;
    ComInfo &info = state.host_block.info;
    int code = 0;
    if (verdict == Good) {
        code = !remote_area || (asked.is_read_half && info.success_count != 1) ? 1 : 100;
        if (asked.is_read_half)
            complete_write_half(asked, reply.bytes, state);
        else if (!remote_area && !asked.is_write)
            store(asked, reply.bytes, state);
        state.comm_failed = false;
        ++info.success_count;
        const bool complete = info.success_count >= info.success_limit;
        if (complete && info.finish_flag == 0 && !remote_area && ++state.read_pass_count > state.reads.size()) {
            state.read_pass_count = 0;
            info.finish_flag = 1;
        }
        state.frames.erase(state.frames.begin());
        if (!complete) {
            state.ret_var.ret_value = code;
            return;
        }
    } else {
        const int base = verdict == CheckFailed ? 10 : verdict == NoReply ? 40 : 70;
        code = code_of(remote_area ? base + 100 : base, var);
        if (++info.retry_count <= info.retry_times) {
            state.ret_var.ret_value = 0;
            return;
        }
        state.comm_failed = true;
        state.read_pass_count = 0;
        info.finish_flag = 0;
        info.retry_count = 0;
        state.fail_var = var;
        state.frames.clear();
    }
    // An empty queue leaves the result record as it is, with the code that DataCom starts from.
    state.ret_var.ret_value = 1;
    advance(state, remote_area);
    if (state.comm_failed) {
        state.host_calls.push_back({false, {1, state.ret_var.var_group, 1, 0}});
        if (state.last_op == 1)
            purge(state.writes, state.ret_var);
        if (state.last_op == 2)
            purge(state.once_reads, state.ret_var);
    }
    state.ret_var.ret_value = code;
}

// ---------------------------------------------------------------------------------------------------------------------
// The host and the line
// ---------------------------------------------------------------------------------------------------------------------

class Host {
public:
    explicit Host(StreamChoices &source) : choices(source) {
        history.clear();
        calls.clear();
        support::reset_driver();
        block = model::DriverBlock();
        block.info.max_count = choices.one_of({100, 16, 1});
        block.info.default_station = some_station();
        block.info.retry_times = static_cast<int>(choices.next(3));
        block.info.multi_station = static_cast<int>(choices.next(2));
        block.info.remote_mode = static_cast<int>(choices.next(2));
        block.info.finish_flag = static_cast<int>(choices.next(2));
        block.info.write_mode = 2;
        block.info.channel_id = 77;
        SetComInfo(&block.info);
        RegistCallBackFuncIntf(on_write_result, on_comm_error);
        std::ostringstream words;
        words << "max_count " << block.info.max_count << ", default_station " << block.info.default_station
              << ", retry_times " << block.info.retry_times << ", multi_station " << block.info.multi_station
              << ", remote_mode " << block.info.remote_mode << ", finish_flag " << block.info.finish_flag;
        history.push_back(words.str());
    }

    ~Host() {
        support::reset_driver();
    }

    void run() {
        ask();
        for (int turn = 0; turn < most_turns && !choices.ended(); ++turn) {
            if (choices.chance(15))
                ask();
            else
                exchange();
        }
    }

private:
    static const int most_turns = 100;

    int some_station() {
        return choices.one_of({1, 2, 0, 255, static_cast<int>(choices.next(256))});
    }

    int some_count() {
        return choices.one_of({1, 2, 0, 7, 8, 9, 16, 17, 100, static_cast<int>(choices.next(256))});
    }

    // Near the ends of ranges in the address map and in the cache's keys.
    int some_address() {
        return choices.one_of({0, 100, 250, 2040, 7990, 65530}) + static_cast<int>(choices.next(16));
    }

    static QString address_text(int type, int address) {
        if (type <= 1)
            return QString::number(address, 8);
        if (type == 13)
            return QString::number(address + 200);
        if (type >= 15)
            return QString::number(address / 16) + QLatin1Char('.') + QString::number(address % 16);
        return QString::number(address);
    }

    QByteArray some_bytes(std::size_t size) {
        Bytes bytes(size);
        for (std::uint8_t &byte : bytes)
            byte = static_cast<std::uint8_t>(choices.next(256));
        return model::to_driver(bytes);
    }

    // A record that the host makes itself, for its own link or for another.
    RW_VAR some_record(int type) {
        RW_VAR var;
        var.var_group = static_cast<int>(choices.next(14)) - 1;
        var.var_id = static_cast<int>(choices.next(3));
        var.area_no = static_cast<int>(choices.next(2));
        var.reg_type = type;
        var.reg_addr = some_address();
        var.station_no = choices.one_of({some_station(), 256, -1});
        var.reg_count = some_count();
        return var;
    }

    void ask() {
        std::ostringstream words;
        switch (choices.next(6)) {
        case 0: {
            QList<HOST_VAR> vars;
            words << "ReCreatReadVarList:";
            for (unsigned i = choices.next(3) + 1; i > 0; --i) {
                HOST_VAR var = HOST_VAR();
                var.reg_type = static_cast<unsigned char>(choices.next(18));
                var.station_no = static_cast<unsigned char>(some_station());
                var.addr_text = address_text(var.reg_type, some_address());
                var.reg_count = some_count();
                words << " type " << int(var.reg_type) << " " << var.addr_text.toStdString() << " station "
                      << int(var.station_no) << " count " << var.reg_count << ";";
                vars.append(var);
            }
            ReCreatReadVarList(&vars);
            break;
        }
        case 1: {
            RW_VAR var = some_record(some_class());
            words << "AddListReadVar: " << record_in_words(var);
            AddListReadVar(&var);
            break;
        }
        case 2: {
            RW_VAR var = some_record(static_cast<int>(choices.next(18)));
            var.area_no = 0;
            var.addr_text = address_text(var.reg_type, var.reg_addr);
            words << "AddListOnceReadVar: " << record_in_words(var);
            AddListOnceReadVar(&var, 0);
            break;
        }
        case 3: {
            RW_VAR var = some_record(some_class());
            words << "AddListOnceReadVar, as it is: " << record_in_words(var);
            AddListOnceReadVar(&var, 1);
            break;
        }
        case 4: {
            const int type = static_cast<int>(choices.next(17)) + 1;
            const QString text = address_text(type, some_address());
            const int station = some_station();
            const int count = some_count();
            const int group = static_cast<int>(choices.next(14)) - 1;
            const int id = static_cast<int>(choices.next(3));
            words << "SetRegisterData: type " << type << " " << text.toStdString() << " station " << station
                  << " count " << count << " group " << group << " id " << id;
            SetRegisterData(QString(), type, text, station, some_bytes(choices.next(9)), count, group, id);
            break;
        }
        default: {
            RW_VAR var = some_record(static_cast<int>(choices.next(18)));
            var.host_ref2 = 1;
            var.value_bytes = some_bytes(choices.next(9) + 1);
            words << "AddListWriteVar: " << record_in_words(var);
            AddListWriteVar(&var);
            break;
        }
        }
        history.push_back(words.str());
    }

    int some_class() {
        return choices.one_of({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13});
    }

    static std::string record_in_words(const RW_VAR &var) {
        std::ostringstream words;
        words << "type " << var.reg_type << " address " << var.reg_addr << " station " << var.station_no << " count "
              << var.reg_count << " area " << var.area_no << " group " << var.var_group << " id " << var.var_id
              << " bytes " << model::in_words(bytes_of(var.value_bytes));
        return words.str();
    }

    void exchange() {
        const bool again = !PLC_driver.frame_list.isEmpty();
        const State before = State::now();
        const Protocol *const frame = ComCommunication();
        if (frame == nullptr)
            return ask();
        if (again) {
            must_hold(frame == in_flight || in_flight == nullptr, "the frame in flight is returned again");
            must_be(before);
        } else {
            built_remotely = block.info.remote_mode != 0;
        }
        const Asked asked = built_remotely ? asked_remotely(*frame) : asked_locally(*frame);
        must_hold(frame->reply_len == asked.reply_length, "reply_len is the length of the reply to the request");

        const Reply reply = some_reply(asked);
        history.push_back("request " + model::in_words(asked.request));
        history.push_back("reply " + (reply.null ? "null" : model::in_words(reply.bytes)) + ", length " +
                          std::to_string(reply.length));
        State expected = State::now();
        const std::size_t waiting = expected.frames.size();
        answer(asked, reply, expected);
        deliver(reply);
        history.push_back("  code " + std::to_string(PLC_driver.ret_var.ret_value) + ", expected " +
                          std::to_string(expected.ret_var.ret_value));
        must_be(expected);
        in_flight = expected.frames.size() == waiting ? frame : nullptr;
    }

    // Bytes of the input, made similar to the right reply as far as the input says.
    Reply some_reply(const Asked &asked) {
        Reply reply;
        const unsigned kind = choices.next(32);
        reply.null = kind == 1;
        if (kind == 2)
            reply.bytes = {static_cast<std::uint8_t>(asked.station & 0xFF), 0x6A, 0x8B, 0, 0};
        const unsigned repairs = choices.next(256);
        const bool whole = (repairs & 1) != 0;
        if (kind > 2) {
            for (unsigned i = choices.next(whole ? 8 : 256); i > 0; --i)
                reply.bytes.push_back(static_cast<std::uint8_t>(choices.next(256)));
            if (whole)
                make_whole(reply.bytes, asked);
            if ((repairs & 2) != 0 && !reply.bytes.empty())
                reply.bytes[0] = static_cast<std::uint8_t>(asked.station & 0xFF);
            if ((repairs & 4) != 0 && reply.bytes.size() > 1)
                reply.bytes[1] = asked.request[1];
            if ((repairs & 8) != 0 && reply.bytes.size() > 2) {
                reply.bytes.resize(reply.bytes.size() - 2);
                reply.bytes = support::with_crc(reply.bytes);
            }
        }
        reply.length = static_cast<int>(reply.bytes.size());
        if ((repairs & 0x30) == 0x30)
            reply.length = choices.one_of(
                {asked.reply_length, asked.reply_length, 0, -1, int_max, int_min, static_cast<int>(choices.next(300))});
        if ((repairs & 0xC0) == 0xC0)
            change_settings(asked);
        return reply;
    }

    // Values that differ from place to place, up to the length that the request's reply has.
    void make_whole(Bytes &bytes, const Asked &asked) {
        const unsigned step = choices.next(256);
        while (bytes.size() < static_cast<std::size_t>(asked.reply_length))
            bytes.push_back(static_cast<std::uint8_t>((bytes.size() * (step | 1) + step) & 0xFF));
        bytes.resize(static_cast<std::size_t>(asked.reply_length));
    }

    // The host may set its words and switch a station at any time, also between a request and its reply.
    void change_settings(const Asked &asked) {
        if (choices.chance(20)) {
            const int mode = static_cast<int>(choices.next(2));
            EnableEthernet(asked.station, mode);
            history.push_back("EnableEthernet(" + std::to_string(asked.station) + ", " + std::to_string(mode) + ")");
            return;
        }
        const struct {
            const char *name;
            int &word;
        } words[] = {{"remote_mode", block.info.remote_mode},     {"local_area_no", block.info.local_area_no},
                     {"retry_times", block.info.retry_times},     {"finish_flag", block.info.finish_flag},
                     {"multi_station", block.info.multi_station}, {"success_count", block.info.success_count}};
        const auto &chosen = words[choices.next(sizeof words / sizeof words[0])];
        chosen.word = static_cast<int>(choices.next(2));
        history.push_back("the host sets " + std::string(chosen.name) + " to " + std::to_string(chosen.word));
    }

    // In a buffer that ends where the reply ends, so that a sanitizer sees a read past it.
    static void deliver(const Reply &reply) {
        const std::unique_ptr<char[]> buffer(new char[reply.bytes.size()]);
        std::copy(reply.bytes.begin(), reply.bytes.end(), buffer.get());
        QByteArray array = QByteArray::fromRawData(buffer.get(), static_cast<int>(reply.bytes.size()));
        const RW_VAR *const result = DataCom(reply.null ? nullptr : &array, reply.length);
        must_hold(result == &PLC_driver.ret_var, "DataCom returns the result record");
        must_hold(bytes_of(array) == reply.bytes, "the host's reply is unchanged");
    }

    StreamChoices &choices;
    const Protocol *in_flight = nullptr;
    bool built_remotely = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    StreamChoices choices(data, size);
    Host(choices).run();
    return 0;
}
