#include "bench/exchanges.h"

#include "bench/memory_line.h"

#include <modbus.h>

#include <stdexcept>

namespace bench {

namespace {

modbus_t *opened(void *context) {
    return static_cast<modbus_t *>(context);
}

}  // namespace

const std::vector<ReadSubject> read_subjects = {
    {"1 register", registers, 1},      {"10 registers", registers, 10}, {"60 registers", registers, 60},
    {"100 registers", registers, 100}, {"160 bits", bits, 160},
};

DriverExchange::DriverExchange(const ReadSubject &subject) : reply_(right_reply(subject.reg_type, subject.count)) {
    configure_driver();
    QList<HOST_VAR> variables = separate_variables(subject.reg_type, subject.count, requests_in_turn);
    if (ReCreatReadVarList(&variables) != requests_in_turn)
        throw std::logic_error("the variables do not make a request each");
    answer_with(reply_);
}

bool DriverExchange::once() {
    const Protocol *request = ComCommunication();
    if (request == nullptr)
        return false;
    send_request(request->frame.constData(), request->send_len);
    const int received = receive_reply(reply_.data(), static_cast<int>(reply_.size()));
    return DataCom(&reply_, received)->ret_value == 1;
}

PeerExchange::PeerExchange(const ReadSubject &subject)
    : context_(modbus_new_rtu("/dev/null", 115200, 'N', 8, 1)), subject_(subject),
      bit_values_(static_cast<std::size_t>(subject.count)), register_values_(static_cast<std::size_t>(subject.count)) {
    if (context_ == nullptr || modbus_set_slave(opened(context_), station) != 0 ||
        modbus_set_socket(opened(context_), memory_line_fd) != 0)
        throw std::runtime_error("libmodbus cannot be set up");
    answer_with(right_reply(subject.reg_type, subject.count));
}

PeerExchange::~PeerExchange() {
    modbus_free(opened(context_));
}

bool PeerExchange::once() {
    const int address = turn_ * 200;
    turn_ = (turn_ + 1) % requests_in_turn;
    if (subject_.reg_type == bits)
        return modbus_read_bits(opened(context_), address, subject_.count, bit_values_.data()) == subject_.count;
    return modbus_read_registers(opened(context_), address, subject_.count, register_values_.data()) == subject_.count;
}

}  // namespace bench
