#include "host/plan/address_report.h"

#include "host/driver/register_types.h"
#include "host/text/hex.h"
#include "host/text/quantities.h"
#include "host/text/words.h"

#include <fmt/format.h>

namespace kelpo {
namespace {

constexpr std::int64_t places = 65536;  // that a frame can name

void print_row(std::ostream &out, const char *what, const std::string &text) {
    out << fmt::format("{:<10} {}\n", what, printable(text));
}

std::string table_name(bool coils, bool several) {
    return std::string(coils ? "coil" : "holding register") + (several ? "s" : "");
}

// "holding register 100 (counted from 1: 101; 40101)"
std::string modbus_place(bool coils, int address, int count) {
    constexpr int last_of_five_digits = 9998, register_block = 4;
    std::string text = table_name(coils, count > 1) + " " + range_text(address, count) +
                       " (counted from 1: " + range_text(address + 1, count);
    if (!coils) {
        const int digits = address > last_of_five_digits ? 100000 : 10000;
        text += "; " + range_text(register_block * digits + address + 1, count);
    }
    return text + ")";
}

// Where the addresses up to the boundary are, and those from it on.
void print_range(const ClassMap &map, int address, std::ostream &out) {
    const auto place = [&map](int first) {
        return std::to_string(map.modbus_address(first));
    };
    if (!map.high_start) {
        print_row(out, "range",
                  "numbers from 0 on are at " + place(0) + " and up" + (map.width > 1 ? ", two registers each" : ""));
        return;
    }
    const int boundary = *map.high_start;
    print_row(out, "range",
              "numbers 0 to " + std::to_string(boundary - 1) + " are at " + place(0) + " and up, from " +
                  std::to_string(boundary) + " on at " + place(boundary) + " and up");
    if (address == boundary - 1)
        print_row(out, "remark", "the next number is elsewhere: a read of both takes two requests");
}

void print_remarks(const AddressReport &report, std::ostream &out) {
    const std::int64_t last = std::int64_t{report.use.read.first} + report.use.read.count - 1;
    const std::int64_t place = report.map.modbus_address(last) + report.map.width - 1;
    if (last >= places)
        print_row(out, "remark", "above 65535 values are mixed up with those of the next register class");
    if (place >= places)
        print_row(out, "remark",
                  "it would be at Modbus address " + std::to_string(place) +
                      ", above 65535: a frame asks for another place");
    if (!report.bit_of_word)
        return;
    const auto [word, bit] = *report.bit_of_word;
    const std::string plain = std::to_string(word) + "." + std::to_string(bit);
    if (plain != report.text)
        print_row(out, "remark", report.text + " is " + plain + ": 16 bits are the next word");
    if (report.use.read.first != word)
        print_row(out, "remark",
                  "polled, it asks for number " + std::to_string(report.use.read.first) +
                      ", not for its word: to see it move, poll type " + std::to_string(report.use.register_class) +
                      ", address " + std::to_string(word));
}

}  // namespace

AddressReport report_address(int type, const std::string &text, const Driver &driver) {
    DryRun dry_run(driver);
    AddressReport report{type, text, 0, dry_run.use_of(type, text), {}, {}};
    report.number = driver.number_of(type, text).value_or(0);
    report.map = dry_run.map_of(report.use.register_class);
    if (register_type(type).is_bit_of_register)
        report.bit_of_word = {report.number / bits_in_register, report.number % bits_in_register};
    return report;
}

void print_address(const AddressReport &report, std::ostream &out) {
    const PlannedRequest &read = report.use.read;
    print_row(out, "address",
              report.text + " of type " + std::to_string(report.type) + " is number " + std::to_string(report.number) +
                  (report.bit_of_word ? ": word " + std::to_string(report.bit_of_word->word) + ", bit " +
                                            std::to_string(report.bit_of_word->bit)
                                      : ""));
    print_row(out, "class", std::to_string(report.use.register_class));
    print_row(out, "polled", modbus_place(report.map.coils, read.modbus_address(), read.quantity()));
    if (!report.use.write)
        print_row(out, "written", "never: this type is read-only");
    else if (report.bit_of_word)
        print_row(out, "written",
                  modbus_place(false, report.use.write->modbus_address(), 1) + ", bit " +
                      std::to_string(report.bit_of_word->bit) + ": read, and written back changed");
    else
        print_row(out, "written", "there, with function " + std::to_string(report.use.write->function()));
    print_row(out, "request",
              hex_text(read.bytes) + " (to station " + std::to_string(read.bytes[0]) + "), answered by " +
                  counted(read.reply_length, "byte"));
    print_range(report.map, read.first, out);
    print_remarks(report, out);
}

}  // namespace kelpo
