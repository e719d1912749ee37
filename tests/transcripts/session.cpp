#include "session.h"

#include "hex_text.h"

namespace transcripts {

namespace {

std::vector<std::string> unstated_callbacks;

std::string lock_remark() {
    return support::is_free(PLC_driver.list_mutex) ? " without list_mutex" : "";
}

void record_write_result(int channel_id, int var_group, int var_id, int status) {
    const std::string outcome = status == 1 ? "done" : (status == 2 ? "failed" : "status " + std::to_string(status));
    unstated_callbacks.push_back("write_result(channel " + std::to_string(channel_id) + ", group " +
                                 std::to_string(var_group) + ", id " + std::to_string(var_id) + ", " + outcome + ")" +
                                 lock_remark());
}

void record_comm_error(QList<RW_VAR> *list, int var_group, int flag) {
    const std::string kind = list == nullptr ? "no list" : (list->isEmpty() ? "empty list" : "filled list");
    unstated_callbacks.push_back("comm_error(" + kind + ", group " + std::to_string(var_group) + ", flag " +
                                 std::to_string(flag) + ")" + lock_remark());
}

}  // namespace

Session::Session()
    : block(), complaints(), connected(false), poll_open(false), polled(), unstated_result(), in_flight(nullptr),
      result(nullptr) {
    support::reset_driver();
    unstated_callbacks.clear();
}

Session::~Session() {
    support::reset_driver();
}

void Session::connect(int line) {
    if (connected)
        complain(line, "the host block is handed over only once");
    connected = true;
    SetComInfo(&block.info);
    RegistCallBackFuncIntf(record_write_result, record_comm_error);
}

void Session::begin_statement(int line) {
    if (!connected)
        throw Malformed(line, "the first statement must be \"host\"");
    if (poll_open)
        throw Malformed(line, "\"blocks\" must follow \"poll\"");
}

void Session::begin_action(int line) {
    begin_statement(line);
    if (unstated_result)
        complain(line, "before this line: returned and not stated: " + std::to_string(*unstated_result));
    unstated_result.reset();
    for (const std::string &callback : take_callbacks())
        complain(line, "before this line: called and not stated: " + callback);
}

void Session::keep_result(int value) {
    unstated_result = value;
}

void Session::poll(int line, const HOST_VAR &var) {
    if (!poll_open)
        begin_action(line);
    poll_open = true;
    polled.append(var);
}

void Session::poll_nothing(int line) {
    begin_action(line);
    poll_open = true;
}

int Session::rebuild(int line) {
    if (!poll_open)
        throw Malformed(line, "\"poll\" must come before \"blocks\"");
    poll_open = false;
    const int blocks = ReCreatReadVarList(&polled);
    polled.clear();
    return blocks;
}

const Protocol *Session::next_frame(int line) {
    begin_action(line);
    if (in_flight != nullptr)
        complain(line, "the frame in flight is not retired: a repetition is called \"same frame\"");
    in_flight = ComCommunication();
    return in_flight;
}

const Protocol *Session::same_frame(int line) {
    begin_action(line);
    const Protocol *const frame = ComCommunication();
    if (in_flight == nullptr)
        complain(line, "nothing is in flight that could be repeated");
    else if (frame != in_flight)
        complain(line, "the driver returned another record than the one in flight");
    in_flight = frame;
    return frame;
}

void Session::reply(int line, const QByteArray &data) {
    begin_action(line);
    const support::TightBytes received(data);
    QByteArray borrowed = received.borrowed();
    answer(&borrowed, static_cast<int>(data.size()));
}

void Session::null_reply(int line) {
    begin_action(line);
    answer(nullptr, 0);
}

void Session::answer(QByteArray *data, int length) {
    const auto frames = PLC_driver.frame_list.size();
    result = DataCom(data, length);
    keep_result(result->ret_value);
    if (PLC_driver.frame_list.size() < frames)
        in_flight = nullptr;
}

void Session::compare(int line, const std::string &what, const std::string &expected, const std::string &found) {
    if (expected != found)
        complain(line, what + "\n  expected: " + expected + "\n  found:    " + found);
}

void Session::returns(int line, int expected) {
    if (!unstated_result)
        throw Malformed(line, "nothing was returned");
    compare(line, "returns", std::to_string(expected), std::to_string(*unstated_result));
    unstated_result.reset();
}

std::vector<std::string> Session::take_callbacks() {
    std::vector<std::string> calls;
    calls.swap(unstated_callbacks);
    return calls;
}

void Session::end(int line) {
    begin_action(line);
    for (int i = in_flight == nullptr ? 0 : 1; i < static_cast<int>(PLC_driver.frame_list.size()); ++i)
        complain(line, "built and not stated: " + support::hex(PLC_driver.frame_list.at(i).frame));
    if (!block.other_words_unchanged())
        complain(line, "a word of the host's block was changed that is not the driver's");
    if (!support::is_free(PLC_driver.list_mutex) || !support::is_free(PLC_driver.cache_mutex) ||
        !support::is_free(PLC_driver.station_mutex))
        complain(line, "a mutex is still held");
}

void Session::complain(int line, const std::string &text) {
    complaints.push_back({line, text});
}

}  // namespace transcripts
