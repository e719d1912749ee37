/// \file
/// What the operations of a session use: addresses, counts, records, words of the host's block.
#include "session.h"

#include "support/int_limits.h"

#include <algorithm>

namespace model {

namespace {

using support::int_max;
using support::int_min;

std::size_t host_bytes(int type, int count) {
    const std::size_t n = static_cast<std::size_t>(std::max(count, 0));
    if (type <= 6 || type >= 15)
        return n;
    if (type >= 12)
        return (n + 1) / 2 * 4;
    return 2 * n;
}

}  // namespace

int Session::any_int() {
    switch (choices.next(4)) {
    case 0:
        return choices.one_of({int_max, int_min, int_max - 1, -1, 0, 1});
    case 1:
        return choices.one_of({255, 256, 65535, 65536, 1 << 24, 1 << 30, 0x12345678, 1024});
    case 2:
        return choices.between(-20, 20);
    default:
        return static_cast<int>(choices.next(0x10000) * 0x10000u + choices.next(0x10000));
    }
}

// A number that a host would use, or any other.
int Session::or_any(int usual) {
    return choices.chance(behaviour->wild_values) ? any_int() : usual;
}

int Session::some_station() {
    return choices.chance(3) ? choices.one_of({3, 256, -1}) : or_any(choices.one_of(stations));
}

int Session::some_type() {
    return choices.chance(5) ? static_cast<int>(choices.next(18)) : choices.one_of(types);
}

int Session::some_address(int type) {
    if (choices.chance(1))
        return choices.one_of({65530, 65536, int_max - 3, int_max});
    if (type >= 15 && type <= 17)
        return choices.one_of(clusters) * 16 + choices.between(0, 40);
    const int boundary = type == 2 ? 2048 : type == 7 || type == 12 ? 8000 : 256;
    if (choices.chance(15))
        return boundary - choices.between(-2, 12);
    return choices.one_of(clusters) + choices.between(0, 25);
}

std::string Session::some_text() {
    return choices.one_of({"", "", "motor", "a.1", "caf\xE9"});
}

std::string Session::address_text(int type, int address) {
    std::ostringstream text;
    if (type == 0 || type == 1)
        text << std::oct << address;
    else if (type == 13)
        text << static_cast<long long>(address) + 200;
    else if (type >= 15 && type <= 17 && address >= 20 && choices.chance(10))
        text << (address - 20) / 16 << "." << (address - 20) % 16 + 20;
    else if (type >= 15 && type <= 17)
        text << address / 16 << "." << address % 16;
    else
        text << address;
    return text.str();
}

std::string Session::some_address_text(int type) {
    if (choices.chance(4))
        return choices.one_of(
            {"",        "abc",        "8",           "-5",          "199",         "200",  "1.",
             ".3",      "1.2.3",      "1,5",         "0x10",        "1e3",         "-1.3", "+7",
             "- 7",     "2147483648", "2147483647",  "-2147483648", "99999999999", "5 5",  "268435456.5",
             "caf\xE9", "7.-3",       "134217728.0", ".",           "1..2",        "+",    "-0"});
    const std::string text = address_text(type, some_address(type));
    if (choices.chance(behaviour->wild_values)) {
        const Bytes any = some_bytes(choices.next(13));
        return std::string(any.begin(), any.end());
    }
    if (choices.chance(3))
        return choices.one_of({" ", "0", "+", "\t"}) + text;
    if (choices.chance(2))
        return text + choices.one_of({" ", "\n", "  "});
    return text;
}

int Session::some_count() {
    const unsigned drawn = choices.next(100);
    if (drawn < 35)
        return 1;
    if (drawn < 75)
        return choices.between(2, 12);
    if (drawn < 90)
        return choices.between(13, 60);
    if (drawn < 96)
        return choices.between(61, 300);
    return choices.one_of({0, -1, -2, -7, 0});
}

Bytes Session::some_bytes(std::size_t size) {
    Bytes bytes(size);
    for (std::uint8_t &byte : bytes)
        byte = static_cast<std::uint8_t>(choices.next(256));
    return bytes;
}

Bytes Session::some_host_data(int type, int count) {
    std::size_t size = host_bytes(type, count);
    if (choices.chance(15))
        size = choices.next(static_cast<unsigned>(size) + 6);
    Bytes data = some_bytes(size);
    if ((type <= 6 || type >= 15) && choices.chance(85))
        for (std::uint8_t &byte : data)
            byte &= 1;
    return data;
}

Var Session::read_record() {
    Var var;
    var.var_group = choices.between(-1, 13);
    var.var_id = choices.between(0, 4);
    var.host_ref3 = expected.info->at(remote_mode);
    var.area_no = choices.chance(90) ? expected.info->at(local_area_no) : choices.between(0, 2);
    var.aux_text = some_text();
    const int type = some_type();
    var.reg_type = get_plc_reg(type);
    var.reg_addr = some_address(type);
    var.addr_text = address_text(type, var.reg_addr);
    var.station_no = some_station();
    var.reg_count = choices.chance(97) ? choices.between(1, 60) : some_count();
    return var;
}

Var Session::write_record() {
    Var var = read_record();
    var.host_ref2 = 1;
    var.reg_type = some_type();
    var.reg_addr = some_address(var.reg_type);
    if (var.reg_type >= 15 || var.reg_type == 2 || var.reg_type == 3)
        var.reg_count = 1;
    if (var.reg_type <= 6)
        var.value_bytes = some_bytes((static_cast<std::size_t>(std::max(var.reg_count, 1)) + 7) / 8);
    else
        var.value_bytes = some_bytes(host_bytes(var.reg_type == 13 ? 9 : var.reg_type, var.reg_count));
    if (var.reg_type == 12 || var.reg_type == 13 || var.reg_type == 14) {
        var.reg_count = 2 * choices.between(1, 10);
        var.value_bytes = some_bytes(static_cast<std::size_t>(var.reg_count) * (var.reg_type == 13 ? 4 : 2));
    }
    return var;
}

void Session::make_odd(Var &var) {
    for (unsigned i = 1 + choices.next(2); i > 0; --i) {
        switch (choices.next(13)) {
        case 0:
            var.reg_type = choices.chance(70) ? choices.between(-1, 18) : any_int();
            break;
        case 1:
            var.reg_addr = any_int();
            break;
        case 2:
            var.reg_count = choices.chance(30) ? -3 : choices.chance(60) ? choices.between(-60, 3) : any_int();
            // A larger reply would fill the caches and make every later step slow.
            if (var.reg_count > 2000 && var.reg_count < 100000)
                var.reg_count = 2000;
            break;
        case 3:
            var.station_no = any_int();
            break;
        case 4:
            var.store_mode = choices.one_of({-1, -1, 1});
            break;
        case 5:
            var.host_ref2 = choices.one_of({0, 1, -1});
            break;
        case 6:
            var.aux_word = any_int();
            break;
        case 7:
            var.value_bytes = some_bytes(choices.chance(80) ? choices.next(9) : 230 + choices.next(8));
            break;
        case 8:
            // About as long as a frame can be.
            var.reg_type = choices.one_of({1, 8, 12, 13});
            var.reg_count = 2;
            var.value_bytes = some_bytes(1009 + choices.next(9));
            break;
        case 9:
            var.area_no = choices.between(0, 2);
            break;
        case 10:
            var.reg_type = choices.one_of({7, 8, 12, 14});
            var.reg_addr = (var.reg_type == 7 || var.reg_type == 12 ? 8000 : 256) - choices.one_of({1, 250, 507, 508});
            var.reg_count = choices.one_of({300, 508, 509, 510, 757, 758, 1014, 1015});
            break;
        case 11:
            // Two frames of another area; the first completes the second.
            var.reg_type = 8;
            var.reg_addr = 250;
            var.reg_count = 12;
            var.store_mode = -1;
            var.host_ref2 = 0;
            var.area_no = expected.info->at(local_area_no) ^ 1;
            break;
        default:
            var.var_group = any_int();
            var.ret_value = any_int();
            break;
        }
    }
}

}  // namespace model
