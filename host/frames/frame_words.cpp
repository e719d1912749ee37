#include "host/frames/frame_words.h"

#include "host/frames/mapped_places.h"
#include "host/frames/rtu_frame.h"
#include "host/line/modbus.h"
#include "host/text/quantities.h"

#include <fmt/format.h>

#include <algorithm>

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

std::string bytes_counted(std::size_t number) {
    return counted(static_cast<std::int64_t>(number), "byte");
}

// For frames of at least two bytes.
std::string wrong_crc(const FrameBytes &frame) {
    const std::uint16_t crc = crc_of(frame);
    return fmt::format("CRC {:02X} {:02X} is wrong, {:02X} {:02X} would be right", frame[frame.size() - 2],
                       frame[frame.size() - 1], crc & 0xFF, crc >> 8);
}

std::string station_name(int station) {
    return station == 0 ? "all stations" : "station " + std::to_string(station);
}

std::string function_text(int function) {
    const char *name = name_in(functions, function);
    return fmt::format("function {}", function) + (name == nullptr ? "" : fmt::format(" ({})", name));
}

// The table that a function works on, and where.
std::string range_words(int function, int address, int count, const std::optional<TraceContext> &context) {
    const char *unit = "holding register";
    if (function == modbus::read_discrete_inputs)
        unit = "discrete input";
    else if (function == modbus::read_input_registers)
        unit = "input register";
    else if (modbus::works_on_bits(function))
        unit = "coil";

    std::string text;
    if (count == 0)
        return fmt::format("no {}s at {}", unit, address);
    if (count == 1)
        text = fmt::format("{} {}", unit, address);
    else
        text = fmt::format("{}s {}..{}", unit, address, address + count - 1);
    if (function != modbus::read_discrete_inputs && function != modbus::read_input_registers) {
        const auto table = modbus::works_on_bits(function) ? ModbusTable::coils : ModbusTable::holding_registers;
        const std::string places = mapped_places(table, address, count, context);
        if (!places.empty())
            text += " (" + places + ")";
    }
    if (address + count > 65536)
        text += ", beyond 65535";
    return text;
}

bool of_double_words(const std::optional<TraceContext> &context) {
    return context && register_type(context->type).unit == RegisterType::Unit::double_word;
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
        hexadecimal += fmt::format(width == 4 ? "{}0x{:08X}" : "{}0x{:04X}", blank, value);
        decimal += fmt::format("{}{}", blank, value);
    }
    std::string text = values == 0 ? "half a register" : hexadecimal + " (" + decimal + ")";
    if (values > shown)
        text += fmt::format(" and {} more", values - shown);
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
        text += fmt::format(" and {} more", bits - shown);
    return text;
}

std::string values_words(int function, const FrameBytes &data, int count, const std::optional<TraceContext> &context) {
    if (data.empty())
        return "nothing";
    return modbus::works_on_bits(function) ? bit_values(data, static_cast<std::size_t>(count))
                                           : register_values(data, context);
}

std::string coil_state(int state) {
    if (state == 0xFF00)
        return "1";
    return state == 0 ? "0" : fmt::format("0x{:04X}, which is neither 1 (FF00) nor 0", state);
}

std::string single_value(int function, int value) {
    return function == modbus::write_coil ? coil_state(value) : fmt::format("0x{:04X} ({})", value, value);
}

std::string request_words(const RtuRequest &request, const FrameBytes &frame,
                          const std::optional<TraceContext> &context) {
    const std::string who = station_name(request.station);
    if (!request.known)
        return fmt::format("{} {}, {} bytes of data", who, function_text(request.function),
                           frame.size() - modbus::shortest_frame);

    const std::string where = range_words(request.function, request.address, request.count, context);
    std::string text = who + (modbus::is_read(request.function) ? " read " : " write ") + where;
    switch (request.function) {
    case modbus::write_coil:
    case modbus::write_register:
        text += " = " + single_value(request.function, request.value);
        break;
    case modbus::write_coils:
    case modbus::write_registers:
        text += " = " + values_words(request.function, request.data, request.count, context);
        if (!request.counts_agree)
            text += fmt::format("; byte count {}, quantity and {} of data do not agree", frame[6],
                                bytes_counted(request.data.size()));
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
    std::string words = fmt::format("remote station's request: station {} {} type {} address {}, {} units", frame[4],
                                    write ? "write" : "read", u16_at(frame, 5), address, u16_at(frame, 11));
    if (write)
        words += fmt::format(", {} of values", bytes_counted(frame.size() - remote_header - 1));
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

    if (modbus::is_read(function)) {
        const std::size_t data_size = reply.size() - modbus::exception_size;
        if (reply[2] != data_size) {
            meaning.words = who + fmt::format("byte count {}, but {} of data", reply[2], bytes_counted(data_size));
            return meaning;
        }
        if (!modbus::works_on_bits(function) && data_size % 2 != 0) {
            meaning.words = who + fmt::format("byte count {}, which is not a whole number of registers", reply[2]);
            return meaning;
        }
        const FrameBytes data = part_of(reply, 3, data_size);
        if (!comparable) {
            const int bits = static_cast<int>(data_size) * 8;
            meaning.words = who + values_words(function, data, bits, context);
        } else if (reply.size() != request.reply_size) {
            meaning.words = who + fmt::format("{} bytes of data, {} are expected", data_size,
                                              request.reply_size - modbus::exception_size);
            return meaning;
        } else {
            meaning.words = who + range_words(function, request.address, request.count, context) + " = " +
                            values_words(function, data, request.count, context);
        }
        meaning.failed = false;
        return meaning;
    }

    const int address = u16_at(reply, 2), second = u16_at(reply, 4);
    const bool single = modbus::is_single_write(function);
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
        meaning.words = fmt::format("{} answers, {} was asked", station_name(station), station_name(due.station));
        return meaning;
    }
    if (due.function >= 0 && function != due.function) {
        meaning.words = fmt::format("{} answers {}, {} was asked", station_name(station), function_text(function),
                                    function_text(due.function));
        return meaning;
    }
    if (exception && reply.size() == modbus::exception_size) {
        meaning.words =
            fmt::format("{} refuses: {} (exception {})", station_name(station), exception_words(reply[2]), reply[2]);
        return meaning;
    }
    const std::size_t size = reply_size_at(reply, 0);
    if (exception || (size != 0 && size != reply.size() && !modbus::is_read(function))) {
        meaning.words = fmt::format("{}: {} {}, {} are expected", station_name(station), bytes_counted(reply.size()),
                                    exception ? "of exception" : "came", size);
        return meaning;
    }
    if (size == 0 || reply.size() < modbus::exception_size) {
        meaning.words =
            with_function(function, fmt::format("{} answers function {}, {} of data", station_name(station), function,
                                                bytes_counted(reply.size() - modbus::shortest_frame)));
        meaning.failed = reply.size() < modbus::exception_size && modbus::is_read(function);
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
    const std::string came = bytes_counted(reply.size());
    if (right_station && right_function && due.known) {
        if (reply.size() < modbus::shortest_frame || reply.size() < size)
            return size == 0 ? fmt::format("too short: {}", came)
                             : fmt::format("cut short: {} of {}", reply.size(), bytes_counted(size));
        if (size != 0 && reply.size() > size)
            return fmt::format("too long: {}, {} are expected; ", came, size) + wrong_crc(reply);
        return wrong_crc(reply);
    }
    if (reply.size() < modbus::shortest_frame)
        return fmt::format("noise, {}: too short for a reply", came);
    if (!due.known)
        return wrong_crc(reply);
    const char *wrong = right_station ? "function" : right_function ? "station" : "station, function";
    return fmt::format("noise or a garbled reply, {}: {} and CRC are wrong", came, wrong);
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
                                : fmt::format("too short for a request: {}", bytes_counted(request.size())),
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
        return {broadcast ? "no reply, none is expected to a broadcast" : "no reply", !broadcast, asked, function};
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
    const std::size_t after = reply.size() - found.at - found.size;
    std::string around;
    if (found.at > 0)
        around = fmt::format("{} of noise before ", bytes_counted(found.at));
    if (after > 0)
        around += fmt::format("{}{} too many after ", around.empty() ? "" : "and ", bytes_counted(after));
    meaning.words = around + "a whole reply; " + meaning.words;
    meaning.failed = true;
    return meaning;
}

FrameMeaning discarded_meaning(const FrameBytes &bytes) {
    const std::string size = bytes_counted(bytes.size());
    const FoundReply found = find_reply(bytes, DueReply());
    if (found.size == 0)
        return {"thrown away: " + size + " not expected", true, {}, {}};
    const int station = bytes[found.at], function = bytes[found.at + 1] & ~modbus::exception_bit;
    return {fmt::format("thrown away: {} with a whole reply of {} to {}, too late", size, station_name(station),
                        function_text(function)),
            true, station, function};
}

}  // namespace kelpo
