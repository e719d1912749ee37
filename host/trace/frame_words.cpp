#include "host/trace/frame_words.h"

#include "host/trace/mapped_places.h"
#include "host/trace/rtu_frame.h"

#include <algorithm>
#include <cstdio>

namespace kelpo {
namespace {

struct Named {
    int code;
    const char *name;
};

constexpr Named functions[] = {{1, "read coils"},
                               {2, "read discrete inputs"},
                               {3, "read holding registers"},
                               {4, "read input registers"},
                               {5, "write single coil"},
                               {6, "write single register"},
                               {7, "read exception status"},
                               {8, "diagnostics"},
                               {11, "get event counter"},
                               {12, "get event log"},
                               {15, "write coils"},
                               {16, "write registers"},
                               {17, "report server id"},
                               {20, "read file record"},
                               {21, "write file record"},
                               {22, "mask write register"},
                               {23, "read and write registers"},
                               {24, "read FIFO queue"},
                               {43, "encapsulated transport"}};

constexpr Named exceptions[] = {{1, "illegal function"},          {2, "illegal data address"},
                                {3, "illegal data value"},        {4, "server device failure"},
                                {5, "acknowledged, takes long"},  {6, "server device busy"},
                                {7, "negative acknowledge"},      {8, "memory parity error"},
                                {10, "gateway path unavailable"}, {11, "gateway target device failed to respond"}};

template <std::size_t size> const char *name_in(const Named (&table)[size], int code) {
    const auto *const found =
        std::find_if(std::begin(table), std::end(table), [code](const Named &row) { return row.code == code; });
    return found == std::end(table) ? nullptr : found->name;
}

template <typename... Values> std::string format(const char *pattern, Values... values) {
    char text[160];
    std::snprintf(text, sizeof text, pattern, values...);
    return text;
}

std::string counted(std::size_t number, const char *unit) {
    return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

// For frames of at least two bytes.
std::string wrong_crc(const FrameBytes &frame) {
    const std::uint16_t crc = crc_of(frame);
    return format("CRC %02X %02X is wrong, %02X %02X would be right", frame[frame.size() - 2], frame[frame.size() - 1],
                  crc & 0xFF, crc >> 8);
}

std::string station_name(int station) {
    return station == 0 ? "all stations" : "station " + std::to_string(station);
}

std::string function_text(int function) {
    const char *name = name_in(functions, function);
    return format("function %d", function) + (name == nullptr ? "" : format(" (%s)", name));
}

// The table that a function works on, and where.
std::string range_words(int function, int address, int count, const std::optional<TraceContext> &context) {
    const char *unit = "holding register";
    if (function == modbus::read_discrete_inputs)
        unit = "discrete input";
    else if (function == modbus::read_input_registers)
        unit = "input register";
    else if (works_on_bits(function))
        unit = "coil";

    std::string text;
    if (count == 0)
        return format("no %ss at %d", unit, address);
    if (count == 1)
        text = format("%s %d", unit, address);
    else
        text = format("%ss %d..%d", unit, address, address + count - 1);
    if (function != modbus::read_discrete_inputs && function != modbus::read_input_registers) {
        const auto table = works_on_bits(function) ? MappedTable::coils : MappedTable::holding_registers;
        const std::string places = mapped_places(table, address, count, context);
        if (!places.empty())
            text += " (" + places + ")";
    }
    if (address + count > 65536)
        text += ", beyond 65535";
    return text;
}

bool of_double_words(const std::optional<TraceContext> &context) {
    return context && context->type >= 12 && context->type <= 14;
}

// Registers, high byte first, as hexadecimal and decimal numbers; 32-bit ones, high half first, where the type has
// them.
std::string register_values(const FrameBytes &data, const std::optional<TraceContext> &context) {
    constexpr std::size_t shown = 16;
    const std::size_t width = of_double_words(context) && data.size() % 4 == 0 ? 4 : 2;
    const std::size_t values = data.size() / width;
    std::string hexadecimal, decimal;
    for (std::size_t i = 0; i < std::min(values, shown); ++i) {
        auto value = static_cast<std::uint32_t>(u16_at(data, i * width));
        if (width == 4)
            value = value << 16 | static_cast<std::uint32_t>(u16_at(data, i * width + 2));
        const char *blank = i == 0 ? "" : " ";
        hexadecimal += format(width == 4 ? "%s0x%08X" : "%s0x%04X", blank, value);
        decimal += format("%s%u", blank, value);
    }
    std::string text = values == 0 ? "half a register" : hexadecimal + " (" + decimal + ")";
    if (values > shown)
        text += format(" and %u more", static_cast<unsigned>(values - shown));
    return text;
}

// Bits as a row, the first leftmost.
std::string bit_values(const FrameBytes &data, std::size_t count) {
    constexpr std::size_t shown = 64;
    const std::size_t bits = std::min(count, data.size() * 8);
    std::string text;
    for (std::size_t i = 0; i < std::min(bits, shown); ++i)
        text += (data[i / 8] >> i % 8 & 1) != 0 ? '1' : '0';
    if (bits > shown)
        text += format(" and %u more", static_cast<unsigned>(bits - shown));
    return text;
}

std::string values_words(int function, const FrameBytes &data, int count, const std::optional<TraceContext> &context) {
    if (data.empty())
        return "nothing";
    return works_on_bits(function) ? bit_values(data, static_cast<std::size_t>(count)) : register_values(data, context);
}

std::string coil_state(int state) {
    if (state == 0xFF00)
        return "1";
    return state == 0 ? "0" : format("0x%04X, which is neither 1 (FF00) nor 0", state);
}

std::string single_value(int function, int value) {
    return function == modbus::write_coil ? coil_state(value) : format("0x%04X (%d)", value, value);
}

std::string request_words(const RtuRequest &request, const FrameBytes &frame,
                          const std::optional<TraceContext> &context) {
    const std::string who = station_name(request.station);
    if (!request.known)
        return format("%s %s, %u bytes of data", who.c_str(), function_text(request.function).c_str(),
                      static_cast<unsigned>(frame.size() - modbus::shortest_frame));

    const std::string where = range_words(request.function, request.address, request.count, context);
    std::string text = who + (is_read(request.function) ? " read " : " write ") + where;
    switch (request.function) {
    case modbus::write_coil:
    case modbus::write_register:
        text += " = " + single_value(request.function, request.value);
        break;
    case modbus::write_coils:
    case modbus::write_registers:
        text += " = " + values_words(request.function, request.data, request.count, context);
        if (!request.counts_agree)
            text += format("; byte count %d, quantity and %s of data do not agree", frame[6],
                           counted(request.data.size(), "byte").c_str());
        break;
    default:
        break;
    }
    return text;
}

FrameMeaning remote_meaning(const FrameBytes &frame) {
    const std::uint32_t address =
        static_cast<std::uint32_t>(u16_at(frame, 7)) << 16 | static_cast<std::uint32_t>(u16_at(frame, 9));
    const bool write = frame[2] != 0;
    std::string words = format("remote station's request: station %d %s type %d address %u, %d units", frame[4],
                               write ? "write" : "read", u16_at(frame, 5), address, u16_at(frame, 11));
    if (write)
        words += format(", %s of values", counted(frame.size() - remote_header - 1, "byte").c_str());
    return {words, false, frame[4], {}};
}

std::string with_function(int function, const std::string &text) {
    const char *name = name_in(functions, function);
    return name == nullptr ? text : text + " (" + name + ")";
}

// The words for a reply whose check, station and function are right and whose function is understood.
FrameMeaning answer_meaning(const FrameBytes &reply, const FrameBytes &request_bytes,
                            const std::optional<TraceContext> &context) {
    const int station = reply[0], function = reply[1];
    const std::string who = station_name(station) + ": ";
    const RtuRequest request = parse_request(request_bytes);
    const bool comparable = request.known && request.function == function;
    FrameMeaning meaning{{}, true, station, function};

    if (is_read(function)) {
        const std::size_t data_size = reply.size() - modbus::exception_size;
        if (reply[2] != data_size) {
            meaning.words = who + format("byte count %d, but %s of data", reply[2], counted(data_size, "byte").c_str());
            return meaning;
        }
        if (!works_on_bits(function) && data_size % 2 != 0) {
            meaning.words = who + format("byte count %d, which is no number of registers", reply[2]);
            return meaning;
        }
        const FrameBytes data = part_of(reply, 3, data_size);
        if (!comparable) {
            const int bits = static_cast<int>(data_size) * 8;
            meaning.words = who + values_words(function, data, bits, context);
        } else if (reply.size() != request.reply_size) {
            meaning.words = who + format("%u bytes of data, %u are due", static_cast<unsigned>(data_size),
                                         static_cast<unsigned>(request.reply_size - modbus::exception_size));
            return meaning;
        } else {
            meaning.words = who + range_words(function, request.address, request.count, context) + " = " +
                            values_words(function, data, request.count, context);
        }
        meaning.failed = false;
        return meaning;
    }

    const int address = u16_at(reply, 2), second = u16_at(reply, 4);
    const bool single = function == modbus::write_coil || function == modbus::write_register;
    const std::string where = range_words(function, address, single ? 1 : second, context);
    const std::string value = single ? " = " + single_value(function, second) : std::string();
    if (comparable && (address != request.address || second != (single ? request.value : request.count))) {
        meaning.words = who + "confirms " + where + value + ", which is not what was written";
        return meaning;
    }
    meaning.words = who + "written, " + where + value;
    meaning.failed = false;
    return meaning;
}

// The words for a reply whose check is right.
FrameMeaning checked_meaning(const FrameBytes &reply, const FrameBytes &request, const DueReply &due,
                             const std::optional<TraceContext> &context) {
    const int station = reply[0], function = reply[1] & ~modbus::exception_bit;
    const bool exception = (reply[1] & modbus::exception_bit) != 0;
    FrameMeaning meaning{{}, true, station, function};
    if (due.station >= 0 && station != due.station) {
        meaning.words =
            format("%s answers, %s was asked", station_name(station).c_str(), station_name(due.station).c_str());
        return meaning;
    }
    if (due.function >= 0 && function != due.function) {
        meaning.words = format("%s answers %s, asked was %s", station_name(station).c_str(),
                               function_text(function).c_str(), function_text(due.function).c_str());
        return meaning;
    }
    if (exception && reply.size() == modbus::exception_size) {
        meaning.words = format("%s refuses: %s (exception %d)", station_name(station).c_str(),
                               exception_words(reply[2]).c_str(), reply[2]);
        return meaning;
    }
    const std::size_t size = reply_size_at(reply, 0);
    if (exception || (size != 0 && size != reply.size() && !is_read(function))) {
        meaning.words =
            format("%s: %s %s, %u are due", station_name(station).c_str(), counted(reply.size(), "byte").c_str(),
                   exception ? "of exception" : "came", static_cast<unsigned>(size));
        return meaning;
    }
    if (size == 0 || reply.size() < modbus::exception_size) {
        meaning.words =
            with_function(function, format("%s answers function %d, %s of data", station_name(station).c_str(),
                                           function, counted(reply.size() - modbus::shortest_frame, "byte").c_str()));
        meaning.failed = reply.size() < modbus::exception_size && is_read(function);
        return meaning;
    }
    return answer_meaning(reply, request, context);
}

// The words for bytes in which no whole reply is found.
std::string broken_words(const FrameBytes &reply, const DueReply &due) {
    const bool right_station = due.station < 0 || reply[0] == due.station;
    const bool right_function =
        due.function < 0 || reply.size() < 2 || (reply[1] & ~modbus::exception_bit) == due.function;
    const std::size_t own = reply_size_at(reply, 0);
    const bool exception = reply.size() >= 2 && (reply[1] & modbus::exception_bit) != 0;
    const std::size_t size = due.size == 0 || exception ? own : due.size;
    const std::string came = counted(reply.size(), "byte");
    if (right_station && right_function && due.known) {
        if (reply.size() < modbus::shortest_frame || reply.size() < size)
            return size == 0 ? format("too short: %s", came.c_str())
                             : format("cut short: %u of %s", static_cast<unsigned>(reply.size()),
                                      counted(size, "byte").c_str());
        if (size != 0 && reply.size() > size)
            return format("too long: %s, %u are due; ", came.c_str(), static_cast<unsigned>(size)) + wrong_crc(reply);
        return wrong_crc(reply);
    }
    if (reply.size() < modbus::shortest_frame)
        return format("noise, %s: too short for a reply", came.c_str());
    if (!due.known)
        return wrong_crc(reply);
    const char *wrong = right_station ? "function" : right_function ? "station" : "station, function";
    return format("noise or a garbled reply, %s: %s and CRC are wrong", came.c_str(), wrong);
}

}  // namespace

std::string exception_words(int code) {
    const char *name = name_in(exceptions, code);
    return name == nullptr ? "not in the standard" : name;
}

std::string function_name(int function) {
    const char *name = name_in(functions, function);
    return name == nullptr ? "" : name;
}

FrameMeaning request_meaning(const FrameBytes &request, const std::optional<TraceContext> &context) {
    if (request.size() < modbus::shortest_frame)
        return {request.empty() ? "nothing was sent"
                                : format("too short for a request: %s", counted(request.size(), "byte").c_str()),
                true,
                {},
                {}};
    const bool right = crc_right(request);
    if (!right && is_remote_request(request))
        return remote_meaning(request);
    const RtuRequest parsed = parse_request(request);
    FrameMeaning meaning{request_words(parsed, request, context), !right || !parsed.counts_agree, parsed.station,
                         parsed.function};
    if (!right)
        meaning.words += "; " + wrong_crc(request);
    return meaning;
}

FrameMeaning reply_meaning(const FrameBytes &reply, const FrameBytes &request,
                           const std::optional<TraceContext> &context) {
    const DueReply due = due_after(request);
    const auto asked = due.station >= 0 ? std::optional<int>(due.station) : std::nullopt;
    const auto function = due.function >= 0 ? std::optional<int>(due.function) : std::nullopt;
    if (reply.empty()) {
        const bool broadcast = due.station == 0;
        return {broadcast ? "no reply, none is due to all stations" : "no reply", !broadcast, asked, function};
    }
    if (reply.size() == modbus::exception_size && reply[1] == 0x6A && reply[2] == 0x8B)
        return {station_name(reply[0]) + ": special reply 6A 8B, the request stays in flight", true, reply[0],
                function};
    if (crc_right(reply))
        return checked_meaning(reply, request, due, context);

    const FoundReply found = find_reply(reply, due);
    if (found.size == 0)
        return {broken_words(reply, due), true, asked, function};
    FrameMeaning meaning = checked_meaning(part_of(reply, found.at, found.size), request, due, context);
    const std::size_t behind = reply.size() - found.at - found.size;
    std::string around;
    if (found.at > 0)
        around = format("%s of noise before ", counted(found.at, "byte").c_str());
    if (behind > 0)
        around += format("%s%s too many behind ", around.empty() ? "" : "and ", counted(behind, "byte").c_str());
    meaning.words = around + "a whole reply; " + meaning.words;
    meaning.failed = true;
    return meaning;
}

FrameMeaning discarded_meaning(const FrameBytes &bytes) {
    const std::string size = counted(bytes.size(), "byte");
    const FoundReply found = find_reply(bytes, DueReply());
    if (found.size == 0)
        return {"thrown away: " + size + " that nobody waited for", true, {}, {}};
    const int station = bytes[found.at], function = bytes[found.at + 1] & ~modbus::exception_bit;
    return {format("thrown away: %s with a whole reply of %s to %s, too late", size.c_str(),
                   station_name(station).c_str(), function_text(function).c_str()),
            true, station, function};
}

}  // namespace kelpo
