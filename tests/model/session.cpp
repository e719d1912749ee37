#include "session.h"

#include "frames/reply_check.h"
#include "link/replies.h"
#include "store/register_cache.h"
#include "store/reply_storage.h"
#include "support/crc.h"
#include "support/int_limits.h"
#include "support/reset_driver.h"

#include <algorithm>

namespace model {

namespace {

using support::int_max;
using support::int_min;

const std::size_t remembered_operations = 15;

const Word named_words[] = {max_count,     default_station, retry_times,   retry_count, multi_station,
                            state_a,       success_limit,   success_count, state_b,     remote_mode,
                            local_area_no, write_mode,      finish_flag,   channel_id};

struct FoundCall {
    HostCall call;
    bool list_mutex_held;
};

std::vector<FoundCall> found_calls;

bool is_held(QMutex &mutex) {
    if (!mutex.tryLock())
        return true;
    mutex.unlock();
    return false;
}

void record_call(HostCall call) {
    call.writes = static_cast<std::size_t>(PLC_driver.write_list.size());
    call.once_reads = static_cast<std::size_t>(PLC_driver.once_read_list.size());
    call.frames = static_cast<std::size_t>(PLC_driver.frame_list.size());
    found_calls.push_back({call, is_held(PLC_driver.list_mutex)});
}

void on_write_result(int channel, int var_group, int var_id, int status) {
    HostCall call;
    call.kind = HostCall::write_result;
    call.arguments = {channel, var_group, var_id, status};
    record_call(call);
}

void on_comm_error(QList<RW_VAR> *list, int var_group, int flag) {
    HostCall call;
    call.kind = HostCall::comm_error;
    call.arguments = {list != nullptr && list->isEmpty() ? 1 : 0, var_group, flag, 0};
    record_call(call);
}

const Protocol *head_of_driver() {
    const QList<Protocol> &frames = PLC_driver.frame_list;
    return frames.isEmpty() ? nullptr : &frames.at(0);
}

bool is_single_bit_write(int type) {
    return type == 2 || type == 3 || type >= 15;
}

}  // namespace

// Weights: link, write, read, once-read, rebuild, hand-made, station, config, query, helper, unusual_call.
const std::vector<Session::Behaviour> Session::behaviours = {
    {"calm", 98, 0, 0, 900, 25, 25, 10, 6, 4, 2, 8, 10, 10, 0},
    {"busy", 95, 10, 0, 550, 150, 80, 60, 25, 15, 20, 30, 15, 30, 2},
    {"faulty line", 55, 2, 0, 800, 50, 10, 40, 10, 15, 8, 25, 10, 5, 2},
    {"everything odd", 55, 75, 4, 450, 90, 40, 60, 35, 110, 40, 70, 20, 80, 15},
};

Session::Session(Choices &source)
    : choices(source), behaviour(&behaviours[0]), model_blocks(2), driver_blocks(new std::vector<DriverBlock>(2)) {
    support::reset_driver();
    found_calls.clear();
    RegistCallBackFuncIntf(on_write_result, on_comm_error);

    const std::vector<int> all_stations = {1, 2, 17, 255, 0, 128};
    for (unsigned i = choices.next(4) + 1; i > 0; --i)
        stations.push_back(choices.one_of(all_stations));
    for (unsigned i = choices.next(5) + 2; i > 0; --i)
        types.push_back(static_cast<int>(choices.next(18)));
    clusters = {0, choices.one_of({40, 100, 1000, 4000})};

    for (std::size_t block = 0; block < model_blocks.size(); ++block) {
        installed = block;
        for (std::size_t i = 0; i < model_blocks[block].size(); ++i)
            set_both(i, 0x5A5A0000 + static_cast<int>(100 * block + i));
        for (Word word : named_words)
            set_both(word, config_value(word));
    }
    install_block(0);
}

Session::~Session() {
    support::reset_driver();
    found_calls.clear();
}

std::string Session::history() const {
    std::string text;
    for (const std::string &line : done)
        text += "  " + line + "\n";
    return text;
}

std::string Session::step() {
    if (behaviour_steps_left == 0) {
        new_behaviour();
    } else {
        --behaviour_steps_left;
        struct Weighted {
            unsigned weight;
            void (Session::*operation)();
        };
        const Weighted operations[] = {{behaviour->link, &Session::link},
                                       {behaviour->host_write, &Session::host_write},
                                       {behaviour->host_read, &Session::host_read},
                                       {behaviour->once_read, &Session::once_read},
                                       {behaviour->rebuild, &Session::rebuild},
                                       {behaviour->hand_made, &Session::hand_made},
                                       {behaviour->station, &Session::station},
                                       {behaviour->config, &Session::config},
                                       {behaviour->query, &Session::query},
                                       {behaviour->helper, &Session::helper},
                                       {behaviour->unusual_call, &Session::unusual_call},
                                       {1, &Session::large_operation}};
        unsigned sum = 0;
        for (const Weighted &entry : operations)
            sum += entry.weight;
        unsigned drawn = choices.next(sum);
        for (const Weighted &entry : operations) {
            if (drawn < entry.weight) {
                (this->*entry.operation)();
                break;
            }
            drawn -= entry.weight;
        }
    }
    compare();
    return difference.text();
}

void Session::remember(const std::string &words) {
    done.push_back(words);
    if (done.size() > remembered_operations)
        done.pop_front();
}

void Session::compare() {
    compare_calls();
    compare_block(difference, "host block 0", model_blocks[0], (*driver_blocks)[0]);
    compare_block(difference, "host block 1", model_blocks[1], (*driver_blocks)[1]);
    difference.numbers("com_info is the host's block", 1,
                       PLC_driver.com_info == &(*driver_blocks)[installed].info ? 1 : 0);
    compare_state(difference, expected);
}

void Session::compare_calls() {
    difference.numbers("number of callbacks", static_cast<long long>(expected.calls.size()),
                       static_cast<long long>(found_calls.size()));
    for (std::size_t i = 0; i < found_calls.size() && !difference.found(); ++i) {
        const HostCall &wanted = expected.calls[i];
        const HostCall &found = found_calls[i].call;
        Difference inner;
        inner.numbers("kind", wanted.kind, found.kind);
        for (std::size_t k = 0; k < wanted.arguments.size(); ++k)
            inner.numbers(("argument " + std::to_string(k)).c_str(), wanted.arguments[k], found.arguments[k]);
        inner.numbers("list_mutex held", 1, found_calls[i].list_mutex_held);
        if (wanted.queues_are_settled) {
            inner.numbers("writes queued", static_cast<long long>(wanted.writes), static_cast<long long>(found.writes));
            inner.numbers("once-reads queued", static_cast<long long>(wanted.once_reads),
                          static_cast<long long>(found.once_reads));
            inner.numbers("frames in flight", static_cast<long long>(wanted.frames),
                          static_cast<long long>(found.frames));
        }
        if (inner.found())
            difference.inside("callback " + std::to_string(i), inner);
    }
    expected.calls.clear();
    found_calls.clear();
}

void Session::set_both(std::size_t word, int value) {
    model_blocks[installed][word] = value;
    write_word((*driver_blocks)[installed], word, value);
}

void Session::install_block(std::size_t index) {
    installed = index;
    expected.set_com_info(&model_blocks[index]);
    SetComInfo(&(*driver_blocks)[index].info);
}

// ---------------------------------------------------------------------------------------------------------------------
// The link
// ---------------------------------------------------------------------------------------------------------------------

void Session::link() {
    const bool waiting = !expected.frame_list.empty();
    if (choices.chance(waiting ? 92 : 3))
        data_com();
    else
        com_communication();
}

void Session::com_communication() {
    const bool again = !expected.frame_list.empty();
    const Frame *wanted = expected.com_communication();
    const Protocol *found = ComCommunication();
    std::ostringstream words;
    words << "ComCommunication() -> "
          << (wanted != nullptr ? in_words(wanted->frame) + " for " + in_words(wanted->var) : "null");
    remember(words.str());

    difference.numbers("ComCommunication returned a frame", wanted != nullptr, found != nullptr);
    if (found != nullptr && wanted != nullptr) {
        difference.numbers("ComCommunication returned the head of frame_list", 1, found == head_of_driver());
        if (again && in_flight != nullptr)
            difference.numbers("ComCommunication returned the same record again", 1, found == in_flight);
    }
    in_flight = found;
}

Session::Reply Session::good_reply() {
    const Frame &head = expected.frame_list.front();
    Reply reply;
    reply.bytes = controller.answer(head.frame);
    reply.length = static_cast<int>(reply.bytes.size());
    reply.words = "the controller's answer";
    return reply;
}

Session::Reply Session::bad_reply() {
    Reply reply = good_reply();
    Bytes &bytes = reply.bytes;
    const Frame &head = expected.frame_list.front();
    const std::uint8_t station = static_cast<std::uint8_t>(head.var.station_no & 0xFF);
    const std::uint8_t function = head.frame.at(1);
    const auto renew_crc = [&bytes] {
        bytes.resize(bytes.size() - 2);
        bytes = support::with_crc(bytes);
    };
    const auto set_length = [&reply] {
        reply.length = static_cast<int>(reply.bytes.size());
    };
    if (bytes.size() < 5) {
        bytes = support::with_crc(Bytes{station, function, 2, 0, 0});
        set_length();
    }
    switch (choices.next(18)) {
    case 0:
        reply.words = "a reply with a wrong CRC";
        bytes[choices.next(static_cast<unsigned>(bytes.size()))] ^= static_cast<std::uint8_t>(1 + choices.next(255));
        break;
    case 1:
        reply.words = "a reply of another station";
        bytes[0] = static_cast<std::uint8_t>(bytes[0] + 1 + choices.next(255));
        renew_crc();
        break;
    case 2:
        reply.words = "a reply with another function code";
        bytes[1] = static_cast<std::uint8_t>(bytes[1] + 1 + choices.next(255));
        renew_crc();
        break;
    case 3:
        reply.words = "an exception reply";
        bytes = support::with_crc(Bytes{station, static_cast<std::uint8_t>(function | 0x80), 2});
        set_length();
        break;
    case 4:
        reply.words = "the beginning of a reply";
        bytes.resize(choices.next(static_cast<unsigned>(bytes.size())));
        set_length();
        break;
    case 5: {
        reply.words = "a reply that is too long";
        const Bytes more = some_bytes(1 + choices.next(4));
        bytes.insert(bytes.end(), more.begin(), more.end());
        set_length();
        break;
    }
    case 6:
    case 7:
        reply.words = "no reply";
        bytes.clear();
        set_length();
        break;
    case 8:
        reply.words = "no byte array and length 0";
        reply.null = true;
        reply.length = 0;
        break;
    case 9:
        reply.words = "no byte array and the right length";
        reply.null = true;
        reply.length = head.reply_len;
        break;
    case 10:
        reply.words = "the special short reply";
        bytes = {station, 0x6A, 0x8B, static_cast<std::uint8_t>(choices.next(256)), 0};
        set_length();
        break;
    case 11:
        reply.words = "the special short reply, one byte off";
        bytes = {station, 0x6A, 0x8B, 0, 0};
        bytes.resize(choices.one_of({std::size_t{4}, std::size_t{6}}));
        set_length();
        break;
    case 12:
        reply.words = "noise of the right length";
        bytes = some_bytes(static_cast<std::size_t>(std::clamp(head.reply_len, 0, 300)));
        set_length();
        break;
    case 13:
        reply.words = "the controller's answer with a wrong length";
        reply.length = or_any(choices.one_of({0, 1, -1, reply.length - 1, reply.length + 1, int_max, int_min}));
        break;
    case 14:
        reply.words = "a reply with a right CRC that is shorter than its length says";
        bytes = {station, function};
        for (std::uint8_t byte : some_bytes(1 + choices.next(12)))
            bytes.push_back(byte);
        bytes = support::with_crc(bytes);
        reply.length = head.reply_len;
        break;
    case 15:
        reply.words = "the reply before this one again";
        bytes = previous_reply;
        set_length();
        break;
    case 16:
        reply.words = "a reply with its CRC bytes swapped";
        std::swap(bytes[bytes.size() - 1], bytes[bytes.size() - 2]);
        break;
    default:
        reply.words = "an empty byte array and the right length";
        bytes.clear();
        reply.length = head.reply_len;
        break;
    }
    return reply;
}

Session::Reply Session::some_reply() {
    if (expected.frame_list.empty()) {
        Reply reply;
        reply.null = choices.chance(20);
        reply.bytes = some_bytes(choices.next(9));
        reply.length = static_cast<int>(reply.bytes.size());
        reply.words = "a reply that nobody expects";
        return reply;
    }
    return choices.chance(behaviour->good_replies) ? good_reply() : bad_reply();
}

void Session::data_com() {
    const Reply reply = some_reply();
    const int code = expected.data_com(reply.null ? nullptr : &reply.bytes, reply.length);

    // Borrowed bytes have no zero after them, so that a sanitizer sees a read past the end.
    QByteArray array = QByteArray::fromRawData(reinterpret_cast<const char *>(reply.bytes.data()),
                                               static_cast<int>(reply.bytes.size()));
    const RW_VAR *found = DataCom(reply.null ? nullptr : &array, reply.length);
    std::ostringstream words;
    words << "DataCom(" << (reply.null ? "null" : in_words(reply.bytes)) << ", " << reply.length << ") [" << reply.words
          << "] -> " << code;
    remember(words.str());

    difference.numbers("DataCom returned ret_var", 1, found == &PLC_driver.ret_var);
    difference.numbers("DataCom ret_value", code, found->ret_value);
    difference.bytes("reply after DataCom", reply.bytes, array);
    if (expected.frame_list.empty() || head_of_driver() != in_flight)
        in_flight = nullptr;
    if (!reply.null && !reply.bytes.empty())
        previous_reply = reply.bytes;
}

// ---------------------------------------------------------------------------------------------------------------------
// The host's operations
// ---------------------------------------------------------------------------------------------------------------------

void Session::host_write() {
    const int type = behaviour->wild_records > 10 && choices.chance(5) ? choices.one_of({0, 18, -1, 255, int_min})
                                                                       : or_any(some_type());
    int count = some_count();
    if (is_single_bit_write(type))
        count = std::min(count, 12);
    const std::string text = some_text();
    const std::string address = some_address_text(type);
    const int station = some_station();
    const Bytes data = some_host_data(type, count);
    const int group = or_any(choices.between(-1, 13));
    const int id = or_any(choices.between(0, 4));

    const int wanted = expected.set_register_data(text, type, address, station, data, count, group, id);
    const int found =
        SetRegisterData(to_driver(text), type, to_driver(address), station, to_driver(data), count, group, id);
    std::ostringstream words;
    words << "SetRegisterData(" << in_words(text) << ", type " << type << ", " << in_words(address) << ", station "
          << station << ", " << in_words(data) << ", count " << count << ", group " << group << ", id " << id << ") -> "
          << wanted;
    remember(words.str());
    difference.numbers("SetRegisterData result", wanted, found);
}

void Session::host_read() {
    const int type = choices.chance(4) ? choices.one_of({18, -1, 255, int_max, int_min}) : some_type();
    // Counts between these and 2^30 would only measure the memory of the machine.
    const int count = choices.chance(3) ? choices.one_of({int_max, 1 << 30, -1, -2, int_min}) : some_count();
    const std::string address = some_address_text(type);
    const int station = some_station();
    Bytes out;
    QByteArray found_out("left from before");
    const int wanted = expected.get_register_data(type, address, station, out, count);
    const int found = GetRegisterData(to_driver(some_text()), type, to_driver(address), station, found_out, count);
    std::ostringstream words;
    words << "GetRegisterData(type " << type << ", " << in_words(address) << ", station " << station << ", count "
          << count << ") -> " << wanted << ", " << in_words(out);
    remember(words.str());
    difference.numbers("GetRegisterData result", wanted, found);
    difference.bytes("GetRegisterData out", out, found_out);
}

void Session::once_read() {
    if (!choices.chance(30)) {
        previous_once_read = read_record();
        previous_once_read.reg_type = some_type();
        previous_once_read.addr_text = some_address_text(previous_once_read.reg_type);
        previous_once_read.reg_count = some_count();
        previous_once_read.store_mode = choices.one_of({0, 7});
        previous_once_read.aux_word = choices.one_of({0, 9});
    }
    Var var = previous_once_read;
    const int mode = or_any(choices.one_of({0, 0, 0, 2, -1}));
    RW_VAR record = to_driver(var);
    std::ostringstream words;
    words << "AddListOnceReadVar(" << in_words(var) << ", " << mode << ")";
    const int wanted = expected.add_list_once_read_var(var, mode);
    const int found = AddListOnceReadVar(&record, mode);
    words << " -> " << wanted;
    remember(words.str());
    difference.numbers("AddListOnceReadVar result", wanted, found);
    difference.vars("record after AddListOnceReadVar", var, record);
}

void Session::rebuild() {
    std::vector<PolledVar> vars;
    QList<HOST_VAR> list;
    const unsigned size = choices.chance(5) ? 0 : choices.chance(60) ? 1 + choices.next(4) : 5 + choices.next(36);
    for (unsigned i = 0; i < size; ++i) {
        PolledVar var;
        var.reg_type = choices.chance(2) ? choices.one_of({18, 200, 255}) : some_type();
        var.station_no = some_station() & 0xFF;
        var.addr_text = some_address_text(var.reg_type);
        var.aux_text = some_text();
        var.reg_count = choices.chance(85) ? choices.between(1, 12) : some_count();
        if (choices.chance(8))
            var.reg_count = choices.between(-2, 0);
        HOST_VAR item;
        item.host_byte_0 = 1;
        item.reg_type = static_cast<unsigned char>(var.reg_type);
        item.station_no = static_cast<unsigned char>(var.station_no);
        item.host_byte_3 = 2;
        item.host_word_4 = 3;
        item.addr_text = to_driver(var.addr_text);
        item.aux_text = to_driver(var.aux_text);
        item.reg_count = var.reg_count;
        vars.push_back(var);
        list.append(item);
    }
    const int wanted = expected.recreat_read_var_list(vars);
    const int found = ReCreatReadVarList(&list);
    std::ostringstream words;
    words << "ReCreatReadVarList(";
    for (const PolledVar &var : vars)
        words << " {type " << var.reg_type << " " << in_words(var.addr_text) << " station " << var.station_no
              << " count " << var.reg_count << "}";
    words << " ) -> " << wanted;
    remember(words.str());
    difference.numbers("ReCreatReadVarList result", wanted, found);
}

// Records that the host makes itself, without the operations that make them.
void Session::hand_made() {
    const unsigned kind = choices.next(5);
    Var var = kind < 3 ? read_record() : write_record();
    if (choices.chance(behaviour->wild_records))
        make_odd(var);
    RW_VAR record = to_driver(var);
    int wanted = 0;
    int found = 0;
    std::ostringstream words;
    switch (kind) {
    case 0:
    case 1:
        words << "AddListOnceReadVar(" << in_words(var) << ", 1)";
        wanted = expected.add_list_once_read_var(var, 1);
        found = AddListOnceReadVar(&record, 1);
        break;
    case 2:
        words << "AddListReadVar(" << in_words(var) << ")";
        wanted = expected.add_list_read_var(var);
        found = AddListReadVar(&record);
        break;
    case 3:
        words << "AddListWriteVar(" << in_words(var) << ")";
        wanted = expected.add_list_write_var(var);
        found = AddListWriteVar(&record);
        break;
    default:
        words << "WriteDataToLocal(" << in_words(var) << ")";
        expected.write_data_to_local(var);
        WriteDataToLocal(record);
        break;
    }
    words << " -> " << wanted;
    remember(words.str());
    difference.numbers("size of the queue", wanted, found);
    difference.vars("record after it was queued", var, record);
}

void Session::station() {
    const int station = choices.chance(25) ? choices.one_of({-1, -7, int_min, 3, 256}) : some_station();
    const int mode = or_any(choices.one_of({0, 0, 1, 1, 1, 2, -1}));
    std::ostringstream words;
    if (choices.chance(50)) {
        words << "EnableEthernet(";
        EnableEthernet(station, mode);
    } else {
        words << "EnCommStation(";
        EnCommStation(station, mode);
    }
    expected.enable_ethernet(station, mode);
    words << station << ", " << mode << ")";
    remember(words.str());
}

int Session::config_value(Word word) {
    switch (word) {
    case max_count:
        return choices.one_of({1, 1, 2, 5, 10, 16, 20, 21, 25, 49, 50, 51, 60, 100, 100, 101, 125, 0, -3});
    case default_station:
        return choices.chance(4) ? choices.one_of({256, -1, 3}) : choices.one_of(stations);
    case retry_times:
        return choices.between(0, 3);
    case retry_count:
        return choices.between(0, 2);
    case multi_station:
        return choices.one_of({0, 1, 1, -1});
    case state_a:
    case state_b:
        return choices.between(0, 2);
    case success_limit:
        return choices.between(0, 2);
    case success_count:
        return choices.between(0, 1);
    case remote_mode:
        return choices.one_of({0, 0, 0, 0, 0, 0, 1, 2});
    case local_area_no:
        return choices.one_of({0, 0, 0, 0, 0, 1});
    case write_mode:
        return choices.one_of({2, 2, 2, 2, 2, 0, 1, 3});
    case finish_flag:
        return choices.one_of({0, 0, 0, 1});
    case channel_id:
        return any_int();
    }
    return 0;
}

void Session::config() {
    if (choices.chance(8)) {
        const std::size_t block = choices.next(2);
        remember("SetComInfo(block " + std::to_string(block) + ")");
        install_block(block);
        return;
    }
    const Word word = choices.one_of({max_count, max_count, default_station, retry_times, multi_station, remote_mode,
                                      local_area_no, write_mode, finish_flag, finish_flag, finish_flag, channel_id});
    std::size_t index = word;
    int value = or_any(config_value(word));
    if (choices.chance(4)) {
        index = choices.one_of({std::size_t{0}, std::size_t{5}, std::size_t{19}, std::size_t{31}});
        value = any_int();
    }
    set_both(index, value);
    remember("the host sets word " + std::to_string(index) + " to " + std::to_string(value));
}

void Session::new_behaviour() {
    behaviour = &choices.one_of(behaviours);
    behaviour_steps_left = 60 + choices.next(200);
    std::ostringstream words;
    words << "from now on, " << behaviour->name << ":";
    for (Word word : {retry_times, multi_station, remote_mode, local_area_no, write_mode, finish_flag, max_count}) {
        if (!choices.chance(60))
            continue;
        const int value = config_value(word);
        set_both(word, value);
        words << " word " << word << " = " << value;
    }
    if (choices.chance(70)) {
        EnableEthernet(-1, 0);
        expected.enable_ethernet(-1, 0);
        words << " EnableEthernet(-1, 0)";
    }
    remember(words.str());
}

// Calls that change nothing.
void Session::query() {
    switch (choices.next(4)) {
    case 0: {
        const int station = choices.chance(30) ? any_int() : some_station();
        remember("Ethernetcontains(" + std::to_string(station) + ")");
        difference.numbers("Ethernetcontains result", expected.ethernet_contains(station), Ethernetcontains(station));
        break;
    }
    case 1:
        remember("QueryFinishFlag()");
        difference.numbers("QueryFinishFlag result", 1, QueryFinishFlag());
        break;
    case 2: {
        int memories[3] = {0, 0, 0};
        remember("FlashLocalRegister(...)");
        FlashLocalRegister(&memories[0], &memories[1], &memories[2]);
        difference.numbers("LB, LW and RWI are the three memories", 1,
                           LB == &memories[0] && LW == &memories[1] && RWI == &memories[2]);
        FlashLocalRegister(nullptr, nullptr, nullptr);
        break;
    }
    default: {
        const Reply reply = some_reply();
        remember("CheckGetData(" + (reply.null ? "null" : in_words(reply.bytes)) + ")");
        QByteArray array = to_driver(reply.bytes);
        difference.numbers("CheckGetData result", expected.check_get_data(reply.null ? nullptr : &reply.bytes),
                           CheckGetData(reply.null ? nullptr : &array, reply.length));
        break;
    }
    }
}

// What a host may do, although a sensible one does not.
void Session::unusual_call() {
    switch (choices.next(6)) {
    case 0:
        remember("the host empties the write queue");
        expected.write_list.clear();
        PLC_driver.write_list.clear();
        break;
    case 1:
        remember("the host empties the once-read queue");
        expected.once_read_list.clear();
        PLC_driver.once_read_list.clear();
        break;
    case 2: {
        const Reply reply = some_reply();
        QByteArray array = to_driver(reply.bytes);
        const bool local = choices.chance(50);
        remember(std::string(local ? "DealDataOfLocalArea(" : "DealDataOfRemoteArea(") +
                 (reply.null ? "null" : in_words(reply.bytes)) + ", " + std::to_string(reply.length) + ") [" +
                 reply.words + "]");
        const Bytes *bytes = reply.null ? nullptr : &reply.bytes;
        QByteArray *found_bytes = reply.null ? nullptr : &array;
        if (local)
            difference.numbers("DealDataOfLocalArea result", expected.deal_data_of_local_area(bytes, reply.length),
                               DealDataOfLocalArea(found_bytes, reply.length));
        else
            difference.numbers("DealDataOfRemoteArea result", expected.deal_data_of_remote_area(bytes, reply.length),
                               DealDataOfRemoteArea(found_bytes, reply.length));
        break;
    }
    case 3: {
        const Reply reply = some_reply();
        remember("SaveToLocalDataErea(" + (reply.null ? "null" : in_words(reply.bytes)) + ")");
        if (expected.frame_list.empty())
            break;
        QByteArray array = to_driver(reply.bytes);
        expected.save_to_local_data_area(reply.null ? nullptr : &reply.bytes);
        SaveToLocalDataErea(reply.null ? nullptr : &array);
        break;
    }
    case 4: {
        const Word word = choices.one_of({success_count, success_limit, retry_count});
        const int value = or_any(config_value(word));
        set_both(word, value);
        remember("the host sets word " + std::to_string(word) + " to " + std::to_string(value));
        break;
    }
    default:
        remember("the host empties the read list");
        expected.read_list.clear();
        PLC_driver.read_list.clear();
        break;
    }
}

// Something large.
void Session::large_operation() {
    const std::string address = "10";
    const int station = some_station();
    switch (choices.next(4)) {
    case 0: {
        remember("very many single-bit writes");
        const Bytes data = some_bytes(1100);
        difference.numbers("SetRegisterData result",
                           expected.set_register_data("", 2, address, station, data, 1100, 1, 1),
                           SetRegisterData(QString(), 2, to_driver(address), station, to_driver(data), 1100, 1, 1));
        break;
    }
    case 1: {
        remember("very many once-reads");
        set_both(max_count, 1);
        Var var = read_record();
        var.reg_type = 8;
        var.addr_text = address;
        var.reg_count = 1100;
        RW_VAR record = to_driver(var);
        const int wanted = expected.add_list_once_read_var(var, 0);
        difference.numbers("AddListOnceReadVar result", wanted, AddListOnceReadVar(&record, 0));
        break;
    }
    case 2: {
        // Queued, compared and removed at once: 65535 cache entries would make every later step slow.
        remember("a write larger than a record can be");
        if (expected.comm_failed)
            break;
        set_both(max_count, 70000);
        set_both(write_mode, 2);
        const int type = choices.one_of({7, 4});
        difference.numbers("SetRegisterData result",
                           expected.set_register_data("", type, address, station, Bytes(), 66000, 2, 2),
                           SetRegisterData(QString(), type, to_driver(address), station, QByteArray(), 66000, 2, 2));
        difference.var_lists("write_list", expected.write_list, PLC_driver.write_list);
        expected.write_list.clear();
        PLC_driver.write_list.clear();
        set_both(max_count, 100);
        break;
    }
    default:
        remember("the host empties the queues");
        expected.write_list.clear();
        PLC_driver.write_list.clear();
        expected.once_read_list.clear();
        PLC_driver.once_read_list.clear();
        break;
    }
}

}  // namespace model
