#include "bench/driver_link.h"

#include <QtCore/QString>

#include <random>

namespace bench {

namespace {

// Wider than any request, so that no two variables share one.
constexpr int variable_distance = 200;

constexpr unsigned seed = 20240229;

void ignore_result(int /*channel*/, int /*var_group*/, int /*var_id*/, int /*status*/) {}

void ignore_error(QList<RW_VAR> * /*list*/, int /*var_group*/, int /*flag*/) {}

unsigned crc_bit_by_bit(const QByteArray &frame) {
    unsigned crc = 0xFFFF;
    for (const char byte : frame) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1) ^ 0xA001U : crc >> 1;
    }
    return crc;
}

}  // namespace

ComInfo &configure_driver() {
    static ComInfo block;
    block = ComInfo();
    block.max_count = 100;
    block.default_station = station;
    block.retry_times = 2;
    block.write_mode = 2;
    SetComInfo(&block);
    PLC_driver.write_list.clear();
    PLC_driver.frame_list.clear();
    RegistCallBackFuncIntf(ignore_result, ignore_error);
    return block;
}

HOST_VAR host_variable(int reg_type, const QString &address, int count) {
    HOST_VAR variable{};
    variable.reg_type = static_cast<unsigned char>(reg_type);
    variable.station_no = station;
    variable.addr_text = address;
    variable.reg_count = count;
    return variable;
}

QList<HOST_VAR> separate_variables(int reg_type, int count, int blocks) {
    QList<HOST_VAR> variables;
    for (int i = 0; i < blocks; ++i)
        variables.append(host_variable(reg_type, QString::number(i * variable_distance), count));
    return variables;
}

QList<HOST_VAR> mixed_variables(int count, int addresses) {
    constexpr int types[] = {7, 7, 7, 8, 9, 10, 4, 5, 13, 15};
    std::mt19937 random(seed);
    QList<HOST_VAR> variables;
    variables.reserve(count);
    for (int i = 0; i < count; ++i) {
        const int type = types[random() % 10];
        const int address = static_cast<int>(random() % static_cast<unsigned>(addresses));
        const QString text = type == 15
                                 ? QString::number(address / 16) + QLatin1Char('.') + QString::number(address % 16)
                             : type == 13 ? QString::number(address + 200)
                                          : QString::number(address);
        variables.append(host_variable(type, text, 1 + static_cast<int>(random() % 4U)));
    }
    return variables;
}

QByteArray right_reply(int reg_type, int count, int station_no) {
    const int size = reg_type == bits ? (count + 7) / 8 : 2 * count;
    QByteArray reply;
    reply.append(static_cast<char>(station_no));
    reply.append(reg_type == bits ? '\x01' : '\x03');
    reply.append(static_cast<char>(size));
    for (int i = 0; i < size; ++i)
        reply.append(static_cast<char>(i * 37 + 11));
    const unsigned crc = crc_bit_by_bit(reply);
    reply.append(static_cast<char>(crc & 0xFFU));
    reply.append(static_cast<char>(crc >> 8));
    return reply;
}

QByteArray reply_to(const QByteArray &request) {
    const auto byte = [&request](int index) {
        return static_cast<unsigned char>(request.at(index));
    };
    return right_reply(byte(1) == 1 ? bits : registers, byte(4) << 8 | byte(5), byte(0));
}

}  // namespace bench
