/// \file
/// The driver's helpers without state, called directly and compared with the model's.
#include "session.h"

#include "checksums.h"
#include "link/replies.h"
#include "planning/read_list.h"
#include "support/int_limits.h"

#include <algorithm>

namespace model {

using support::int_max;
using support::int_min;

void Session::helper() {
    void (Session::*const helpers[])() = {&Session::help_checks, &Session::help_types, &Session::help_addresses,
                                          &Session::help_group,  &Session::help_merge, &Session::help_merge,
                                          &Session::help_sort,   &Session::help_pass,  &Session::help_characters};
    (this->*helpers[choices.next(sizeof helpers / sizeof helpers[0])])();
}

void Session::help_checks() {
    const std::size_t size = choices.chance(3) ? 65535 : choices.next(300);
    Bytes data = some_bytes(size);
    if (choices.chance(10))
        std::fill(data.begin(), data.end(), std::uint8_t{0xFF});
    if (size > 0 && choices.chance(20))
        data.back() = static_cast<std::uint8_t>(data.back() - cal_sum(data) % 256);
    remember("CalSUM, CalCRC, CalLRC, CalXOR of " + in_words(data));
    const unsigned short len = static_cast<unsigned short>(data.size());
    Bytes at_least_one = data;
    if (data.empty())
        at_least_one.push_back(static_cast<std::uint8_t>(choices.next(256)));
    unsigned char *const bytes = at_least_one.data();
    difference.numbers("CalSUM result", cal_sum(data), CalSUM(bytes, len));
    difference.numbers("CalCRC result", cal_crc(data, data.size()), CalCRC(bytes, len));
    difference.numbers("CalLRC result", cal_lrc(data), CalLRC(bytes, len));
    difference.numbers("CalXOR result", cal_xor(at_least_one, data.size()), CalXOR(bytes, len));
}

void Session::help_characters() {
    const int value = choices.chance(20) ? any_int() : choices.between(-3, 130);
    remember("DigitalToASCII, ASCIIToDigital of " + std::to_string(value));
    difference.numbers("DigitalToASCII result", digital_to_ascii(value), DigitalToASCII(value));
    difference.numbers("ASCIIToDigital result", ascii_to_digital(value), ASCIIToDigital(value));
}

void Session::help_types() {
    const int type = choices.chance(10) ? any_int() : choices.between(-2, 19);
    Var var;
    var.reg_type = type;
    var.reg_count = choices.chance(30) ? any_int() : choices.between(-5, 20);
    RW_VAR record = to_driver(var);
    remember("get_plc_reg, update_info of " + in_words(var));
    difference.numbers("get_plc_reg result", get_plc_reg(type), PLC_driver.get_plc_reg(type));
    update_info(var);
    PLC_driver.update_info(&record);
    difference.vars("record after update_info", var, record);

    const int kind = choices.chance(10) ? any_int() : choices.between(-1, 9);
    difference.numbers("GetDriverReturnValue result", expected.get_driver_return_value(kind),
                       GetDriverReturnValue(kind));
    const int base = choices.one_of({0, 10, 40, 170, -1, 1000});
    difference.numbers("SwitchErrorReturn result", expected.switch_error_return(base), SwitchErrorReturn(base));
}

void Session::help_addresses() {
    const int type = choices.chance(10) ? any_int() : choices.between(-2, 19);
    const int address = choices.chance(30)   ? any_int()
                        : choices.chance(50) ? some_address(std::clamp(type, 0, 17))
                                             : choices.one_of({255, 256, 2047, 2048, 7999, 8000, -1, -2048});
    const std::string text = choices.chance(50) ? some_address_text(type) : address_text(type, address);
    remember("get_offset_address(" + std::to_string(type) + ", " + std::to_string(address) + "), StringAddressToInt " +
             in_words(text));
    int mapped = address;
    PLC_driver.get_offset_address(type, mapped);
    difference.numbers("get_offset_address result", get_offset_address(type, address), mapped);
    difference.numbers("StringAddressToInt result", string_address_to_int(type, text),
                       StringAddressToInt(type, to_driver(text)));
    difference.numbers("PLCAddressChangeIntef result", string_address_to_int(type, text),
                       PLCAddressChangeIntef(type, to_driver(text)));
}

void Session::help_group() {
    Var var = read_record();
    if (choices.chance(10))
        var.reg_addr = choices.one_of({int_max - 5, int_min, -3});
    const int total = choices.chance(10) ? choices.one_of({int_min, -1, 0}) : choices.between(-3, 300);
    const int limit = choices.chance(10) ? choices.one_of({int_max, int_min, 0, -1}) : choices.between(1, 60);
    remember("WhetherGroup(" + std::to_string(total) + ", " + std::to_string(limit) + ", " + in_words(var) + ")");
    std::deque<Var> out = {var};
    QList<RW_VAR> found_out = to_driver(out);
    RW_VAR record = to_driver(var);
    whether_group(total, limit, var, out);
    WhetherGroup(total, limit, &record, &found_out);
    difference.vars("record after WhetherGroup", var, record);
    difference.var_lists("pieces", out, found_out);
}

void Session::help_merge() {
    std::deque<Var> group;
    const Var common = read_record();
    const int base = choices.chance(8) ? int_max - 40 : 0;
    for (unsigned i = choices.next(20); i > 0; --i) {
        Var var = common;
        var.addr_text = "v" + std::to_string(i);
        var.reg_addr = base + choices.between(0, 40);
        var.reg_count = choices.chance(5) ? choices.between(30, 200) : choices.between(-1, 7);
        group.push_back(var);
    }
    bubble_sort(group);
    const int limit = choices.one_of({1, 1, 2, 8, 10, 10, 16, 50, 160, 0, -4});
    std::ostringstream words;
    words << "merge with limit " << limit << " of";
    for (const Var &var : group)
        words << " (" << var.reg_addr << "," << var.reg_count << ")";
    QList<RW_VAR> list = to_driver(group);
    if (choices.chance(30)) {
        words << " by BitVarReCreat";
        expected.merge(group, limit, expected.read_list);
        BitVarReCreat(&list, limit);
    } else {
        words << " by BitVarReCreat_2";
        std::deque<Var> out;
        for (unsigned i = choices.next(3); i > 0; --i) {
            out.push_back(read_record());
            if (choices.chance(50))
                out.back().reg_addr = choices.between(0, 20);
            if (choices.chance(10))
                out.back().reg_count = choices.between(-20, 0);
        }
        QList<RW_VAR> found_out = to_driver(out);
        expected.merge(group, limit, out);
        BitVarReCreat_2(&list, limit, found_out);
        difference.var_lists("blocks", out, found_out);
    }
    remember(words.str());
}

void Session::help_sort() {
    std::deque<Var> vars;
    for (unsigned i = choices.next(40); i > 0; --i) {
        Var var;
        var.var_id = static_cast<int>(i);
        var.reg_addr = choices.chance(10) ? any_int() : choices.between(-3, 12);
        vars.push_back(var);
    }
    remember("Bubble_Sort of " + std::to_string(vars.size()) + " entries");
    QList<RW_VAR> list = to_driver(vars);
    bubble_sort(vars);
    Bubble_Sort(&list);
    difference.var_lists("sorted", vars, list);
}

void Session::help_pass() {
    Var from = write_record();
    make_odd(from);
    Var to = write_record();
    remember("passRetValue(" + in_words(from) + ")");
    RW_VAR found_to = to_driver(to);
    pass_ret_value(from, to);
    passRetValue(to_driver(from), found_to);
    difference.vars("result record", to, found_to);
}

}  // namespace model
