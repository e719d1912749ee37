/// \file
/// Fuzz target: address texts and the address map, through the driver's exported functions.
///
/// Input: type, station, count, then the text: bytes as Latin-1, or with the count's top bit set as UTF-16, low byte
/// first. Judged by the model's rules. The model knows only plain characters; with others, both functions must agree
/// and the value must be zeros.
#include "input.h"
#include "model.h"
#include "ozna_kelpo_port.h"
#include "require.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

using fuzz::require;

bool is_plain(const std::string &text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return (character >= ' ' && character <= '~') || (character >= '\t' && character <= '\r');
    });
}

void judge_map(int type, int address, int count) {
    require(PLC_driver.get_plc_reg(type) == model::get_plc_reg(type), "the class is that of the type");

    RW_VAR var;
    var.reg_type = type;
    var.reg_count = count;
    PLC_driver.update_info(&var);
    model::Var expected;
    expected.reg_type = type;
    expected.reg_count = count;
    model::update_info(expected);
    require(var.reg_type == expected.reg_type && var.reg_count == expected.reg_count,
            "the record has the class and its count");

    const int place = type >= 15 && type <= 17 ? address / 16 : address;
    int offset = place;
    PLC_driver.get_offset_address(type, offset);
    require(offset == model::get_offset_address(type, place), "the Modbus address is that of the map");
}

// Nothing was ever read: each value is zeros.
void judge_value(int type, const QString &text, const std::string &plain, int station, int count) {
    QByteArray out("what was there before");
    const int taken = GetRegisterData(QString(), type, text, station, out, count);
    require(out.count('\0') == out.size(), "a value that was never read is zeros");
    if (!is_plain(plain))
        return;
    model::HostBlock block{};
    model::Driver driver;
    driver.set_com_info(&block);
    model::Bytes expected;
    require(taken == driver.get_register_data(type, plain, station, expected, count),
            "there is a value only for an address");
    require(static_cast<std::size_t>(out.size()) == expected.size(), "the value has the right length");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::Input input(data, size);
    const int type = static_cast<signed char>(input.byte());
    const int station = input.byte();
    const int choice = input.byte();
    const bool wide = (choice & 0x80) != 0;
    const int count = choice & 0x7F;
    static ComInfo block = {};
    SetComInfo(&block);
    QString text;
    std::string plain;
    while (!input.ended()) {
        const std::uint16_t character = wide ? input.word() : input.byte();
        text += QChar(character);
        plain += character < 0x80 ? static_cast<char>(character) : '\x7F';
    }

    const int address = PLCAddressChangeIntef(type, text);
    require(address == StringAddressToInt(type, text), "both functions give the same address");
    if (is_plain(plain))
        require(address == model::string_address_to_int(type, plain), "the address is the one that the text names");
    judge_value(type, text, plain, station, count);
    judge_map(type, address, count);
    return 0;
}
