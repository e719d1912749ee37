#include "model.h"

#include "support/crc.h"

#include <algorithm>
#include <limits>

namespace model {

namespace {

const std::size_t queue_limit = 1024;

// Rounded down, also below 0.
long long divided_down(long long value, long long by) {
    const long long quotient = value / by;
    return value % by < 0 ? quotient - 1 : quotient;
}

std::uint8_t low8(long long value) {
    return static_cast<std::uint8_t>(value & 0xFF);
}

void append_u16(Bytes &bytes, long long value) {
    bytes.push_back(low8(value >> 8));
    bytes.push_back(low8(value));
}

void append_u32(Bytes &bytes, int value) {
    append_u16(bytes, value >> 16);
    append_u16(bytes, value);
}

// Station, function and mapped start address.
Bytes header(int station_no, int function, int type, int address) {
    Bytes frame;
    frame.push_back(low8(station_no));
    frame.push_back(low8(function));
    append_u16(frame, get_offset_address(type, address));
    return frame;
}

bool is_bit_type(int type) {
    return type >= 0 && type <= 6;
}

bool is_word_type(int type) {
    return type >= 7 && type <= 11;
}

bool is_bit_of_word(int type) {
    return type >= 15 && type <= 17;
}

// (station << 24) | (class << 16) | address, nothing masked.
std::uint32_t cache_key(int station, int storage_class, std::uint32_t address) {
    return (static_cast<std::uint32_t>(station) << 24) | (static_cast<std::uint32_t>(storage_class) << 16) | address;
}

// Byte `index` of the bytes, 0 where there is none.
int byte_or_zero(const Bytes &bytes, std::size_t index) {
    return index < bytes.size() ? bytes[index] : 0;
}

std::size_t rounded_up(std::size_t value, std::size_t to) {
    return (value + to - 1) / to * to;
}

// The first address of the high range of a type's map; none for types that have one range.
std::optional<int> boundary(int type) {
    if (type == 2)
        return 2048;
    if (type == 3 || type == 8 || type == 14 || type == 16)
        return 256;
    if (type == 7 || type == 12 || type == 15)
        return 8000;
    return std::nullopt;
}

bool crosses(const Var &var, int split) {
    return var.reg_addr<split &&static_cast<long long>(var.reg_addr) + var.reg_count> split;
}

bool same_identity(const Var &one, const Var &other) {
    return one.var_group == other.var_group && one.var_id == other.var_id;
}

bool same_request(const Var &one, const Var &other) {
    return same_identity(one, other) && one.station_no == other.station_no && one.reg_type == other.reg_type &&
           one.reg_addr == other.reg_addr && one.reg_count == other.reg_count && one.area_no == other.area_no;
}

// What fits into a request frame of 1024 bytes with 7 bytes of header and 2 of CRC.
bool fits_a_frame(long long data_bytes) {
    return data_bytes <= 1015;
}

// "min" as the merge computes it.
long long piece_of(long long rest, long long limit) {
    return rest < limit ? rest % limit : limit;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Rules without state
// ---------------------------------------------------------------------------------------------------------------------

int low32(long long value) {
    return static_cast<int>(static_cast<std::uint32_t>(value & 0xFFFFFFFFLL));
}

std::optional<int> number_from(const std::string &text, int base) {
    const std::string blanks = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return std::nullopt;
    std::string digits = text.substr(first, text.find_last_not_of(blanks) - first + 1);
    bool negative = false;
    if (digits[0] == '+' || digits[0] == '-') {
        negative = digits[0] == '-';
        digits.erase(0, 1);
    }
    if (digits.empty())
        return std::nullopt;
    long long value = 0;
    for (char digit : digits) {
        if (digit < '0' || digit >= '0' + base)
            return std::nullopt;
        value = value * base + (digit - '0');
        if (value > 0x80000000LL)
            return std::nullopt;
    }
    if (negative)
        value = -value;
    if (value > std::numeric_limits<int>::max())
        return std::nullopt;
    return static_cast<int>(value);
}

int string_address_to_int(int type, const std::string &text) {
    if (type == 0 || type == 1)
        return number_from(text, 8).value_or(-1);
    if (type == 13) {
        const std::optional<int> value = number_from(text, 10);
        if (!value || *value <= 199)
            return -1;
        return *value - 200;
    }
    if (is_bit_of_word(type)) {
        const std::size_t point = text.find('.');
        if (point == std::string::npos || text.find('.', point + 1) != std::string::npos)
            return -1;
        const std::optional<int> word = number_from(text.substr(0, point), 10);
        const std::optional<int> bit = number_from(text.substr(point + 1), 10);
        if (!word || !bit)
            return -1;
        return low32(static_cast<long long>(*word) * 16 + *bit);
    }
    return number_from(text, 10).value_or(-1);
}

int get_plc_reg(int type) {
    switch (type) {
    case 7:
    case 12:
    case 15:
        return 7;
    case 8:
    case 14:
    case 16:
        return 8;
    case 11:
    case 17:
        return 11;
    default:
        return type;
    }
}

void update_info(Var &var) {
    const long long count = var.reg_count;
    if (var.reg_type == 13)
        var.reg_count = low32(divided_down(count + 1, 2));
    if (var.reg_type == 12 || var.reg_type == 14)
        var.reg_count = low32((count + 1) & ~1LL);
    var.reg_type = get_plc_reg(var.reg_type);
}

int get_offset_address(int type, int address) {
    const long long a = address;
    switch (type) {
    case 0:
        return low32(a + 1200);
    case 2:
        return a < 2048 ? low32(a + 2000) : low32(a + 9952);
    case 3:
        return a <= 255 ? low32(a + 4400) : low32(a + 29744);
    case 4:
        return low32(a + 6000);
    case 5:
        return low32(a + 8000);
    case 6:
        return low32(a + 9200);
    case 7:
    case 12:
    case 15:
        return a < 8000 ? address : low32(a + 42000);
    case 8:
    case 14:
    case 16:
        return a <= 255 ? low32(a + 8000) : low32(a + 11744);
    case 9:
        return low32(a + 9000);
    case 10:
        return low32(a + 9500);
    case 11:
    case 17:
        return low32(a + 8500);
    case 13:
        return low32((a + 4850) * 2);
    default:
        return address;
    }
}

int cal_sum(const Bytes &data) {
    int sum = 0;
    for (int byte : data)
        sum = (sum + byte) % 65536;
    return sum;
}

int cal_crc(const Bytes &data, std::size_t length) {
    return static_cast<int>(support::crc16(data.data(), data.data() + length));
}

int cal_lrc(const Bytes &data) {
    return 0xFF - cal_sum(data) % 256 + 1;
}

int cal_xor(const Bytes &data, std::size_t length) {
    int result = data[0];
    for (std::size_t i = 1; i < length; ++i)
        result ^= data[i];
    return result;
}

int digital_to_ascii(int digit) {
    return digit <= 9 ? low32(static_cast<long long>(digit) + 0x30) : low32(static_cast<long long>(digit) + 0x37);
}

int ascii_to_digital(int ch) {
    if (ch <= 0x2F)
        return 0;
    if (ch <= 0x3F)
        return ch - 0x30;
    if (ch == 0x40)
        return 0;
    return ch - 0x37;
}

void bubble_sort(std::deque<Var> &vars) {
    for (std::size_t i = 1; i < vars.size(); ++i)
        for (std::size_t j = vars.size() - 1; j >= i; --j)
            if (vars[j].reg_addr < vars[j - 1].reg_addr)
                std::swap(vars[j], vars[j - 1]);
}

void whether_group(int total, int limit, Var &var, std::deque<Var> &out) {
    limit = std::max(limit, 1);
    if (total <= limit) {
        out.push_back(var);
        return;
    }
    const int rest = total % limit;
    const int pieces = total / limit + (rest != 0 ? 1 : 0);
    const long long start = var.reg_addr;
    for (int i = 0; i < pieces; ++i) {
        var.reg_addr = low32(start + static_cast<long long>(i) * limit);
        var.reg_count = i == pieces - 1 && rest != 0 ? rest : limit;
        out.push_back(var);
    }
}

void pass_ret_value(const Var &from, Var &to) {
    to = from;
    to.value_bytes.clear();
}

// ---------------------------------------------------------------------------------------------------------------------
// What several operations share
// ---------------------------------------------------------------------------------------------------------------------

int Driver::word(Word index) const {
    return info->at(index);
}

void Driver::set_word(Word index, int value) {
    info->at(index) = value;
}

void Driver::note(const char *what) {
    ++happened[what];
}

int Driver::units_per_request() const {
    return std::max(word(max_count), 1);
}

int Driver::station_for(int wanted) const {
    return word(multi_station) != 0 ? wanted : word(default_station);
}

void Driver::call_write_result(const Var &var, int status, bool queues_are_settled) {
    HostCall call;
    call.kind = HostCall::write_result;
    call.arguments = {word(channel_id), var.var_group, var.var_id, status};
    call.writes = write_list.size();
    call.once_reads = once_read_list.size();
    call.frames = frame_list.size();
    call.queues_are_settled = queues_are_settled;
    calls.push_back(call);
}

void Driver::call_comm_error(int var_group) {
    HostCall call;
    call.kind = HostCall::comm_error;
    call.arguments = {1, var_group, 1, 0};
    call.writes = write_list.size();
    call.once_reads = once_read_list.size();
    call.frames = frame_list.size();
    call.queues_are_settled = true;
    calls.push_back(call);
}

// ---------------------------------------------------------------------------------------------------------------------
// Configuration
// ---------------------------------------------------------------------------------------------------------------------

void Driver::set_com_info(HostBlock *block) {
    info = block;
    set_word(state_b, 0);
    set_word(state_a, 0);
    if (word(max_count) > 100) {
        note("max_count lowered to 100");
        set_word(max_count, 100);
    }
}

void Driver::enable_ethernet(int station, int mode) {
    if (station < 0) {
        note("all stations enabled");
        disabled_stations.clear();
    } else if (mode == 0) {
        note("station disabled");
        disabled_stations.insert(station);
    } else if (mode == 1) {
        note("station enabled");
        disabled_stations.erase(station);
    } else {
        note("station mode without a meaning");
    }
}

bool Driver::ethernet_contains(int station) const {
    return disabled_stations.count(station) != 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// Registration and planning
// ---------------------------------------------------------------------------------------------------------------------

int Driver::add_list_read_var(const Var &var) {
    read_list.push_back(var);
    return static_cast<int>(read_list.size());
}

int Driver::add_list_write_var(const Var &var) {
    if (write_list.size() < queue_limit)
        write_list.push_back(var);
    else
        note("write dropped, queue full");
    return static_cast<int>(write_list.size());
}

int Driver::add_list_once_read_var(Var &var, int mode) {
    if (mode == 1) {
        if (once_read_list.size() >= queue_limit)
            note("once-read passed through beyond the limit");
        once_read_list.push_back(var);
        return static_cast<int>(once_read_list.size());
    }

    const int address = string_address_to_int(var.reg_type, var.addr_text);
    if (address < 0) {
        note("once-read with a bad address");
        return 0;
    }
    var.station_no = station_for(var.station_no);
    var.store_mode = 0;
    var.aux_word = 0;
    var.reg_addr = address;
    update_info(var);
    int rest = var.reg_count;
    const int limit = units_per_request();
    int pieces = 0;
    while (rest > 0) {
        const int piece = std::min(rest, limit);
        var.reg_count = piece;
        bool queued_already = false;
        for (const Var &entry : once_read_list)
            if (same_request(entry, var))
                queued_already = true;
        if (queued_already)
            note("once-read queued already");
        else if (once_read_list.size() < queue_limit)
            once_read_list.push_back(var);
        else
            note("once-read dropped, queue full");
        rest -= piece;
        var.reg_addr = low32(static_cast<long long>(var.reg_addr) + piece);
        if (++pieces == 2)
            note("once-read cut into pieces");
    }
    return static_cast<int>(once_read_list.size());
}

int Driver::recreat_read_var_list(const std::vector<PolledVar> &vars) {
    read_list.clear();
    if (vars.empty()) {
        note("empty read list");
        return 0;
    }
    read_pass_count = 0;
    set_word(finish_flag, 0);
    const int word_limit = units_per_request();
    const int bit_limit = word_limit <= 20 ? 8 * word_limit : 160;
    const int dword_limit = word_limit < 50 ? word_limit : 50;

    std::map<int, std::map<int, std::deque<Var>>> groups;
    for (const PolledVar &item : vars) {
        const int address = string_address_to_int(item.reg_type, item.addr_text);
        if (address < 0) {
            note("polled variable with a bad address");
            continue;
        }
        Var entry;
        entry.var_group = 0;
        entry.var_id = -1;
        entry.host_ref2 = 0;
        entry.host_ref3 = word(remote_mode);
        entry.area_no = word(local_area_no);
        entry.ret_value = 0;
        entry.aux_text = item.aux_text;
        entry.addr_text = item.addr_text;
        entry.reg_type = item.reg_type;
        entry.reg_addr = address;
        entry.station_no = station_for(item.station_no);
        entry.reg_count = item.reg_count;
        entry.store_mode = 0;
        entry.aux_word = 0;
        update_info(entry);
        groups[entry.station_no][entry.reg_type].push_back(entry);
    }
    for (const auto &[station, classes] : groups) {
        for (const auto &[storage_class, group] : classes) {
            std::deque<Var> sorted = group;
            bubble_sort(sorted);
            int limit = word_limit;
            if (is_bit_type(storage_class))
                limit = bit_limit;
            if (storage_class == 13)
                limit = dword_limit;
            merge(sorted, limit, read_list);
        }
    }
    return static_cast<int>(read_list.size());
}

void Driver::merge(const std::deque<Var> &vars, int limit, std::deque<Var> &output) {
    if (vars.empty())
        return;
    limit = std::max(limit, 1);

    if (limit == 1) {
        note("limit-1 mode");
        output.push_back(vars[0]);
        int largest = vars[0].reg_count;
        for (std::size_t k = 1; k < vars.size(); ++k) {
            if (vars[k].reg_addr != vars[k - 1].reg_addr) {
                output.push_back(vars[k]);
                largest = vars[k].reg_count;
            } else if (vars[k].reg_count > largest) {
                note("limit-1 mode: larger count at the same address");
                output.back().reg_count = vars[k].reg_count;
                largest = vars[k].reg_count;
            } else {
                note("limit-1 mode: dropped");
            }
        }
        return;
    }

    long long start = 0;
    long long length = 0;
    for (std::size_t k = 0; k < vars.size(); ++k) {
        const Var &var = vars[k];
        const long long end = static_cast<long long>(var.reg_addr) + var.reg_count;
        if (k == 0 || var.reg_addr >= start + limit || output.empty()) {
            if (k != 0 && output.empty())
                note("block opened after counts of 0 in an empty list");
            if (var.reg_count <= 0)
                note("first count of 0 or less");
            long long address = var.reg_addr;
            long long rest = var.reg_count;
            while (rest > 0) {
                const long long piece = piece_of(rest, limit);
                Var block = var;
                block.reg_addr = low32(address);
                block.reg_count = low32(piece);
                output.push_back(block);
                if (address != var.reg_addr)
                    note("long variable cut");
                address += piece;
                rest -= piece;
            }
        } else if (end <= start + length) {
            note("covered by the block");
        } else {
            const Var last = output.back();
            if (last.station_no != var.station_no || last.reg_type != var.reg_type)
                note("extends a block of another group");
            note(is_bit_type(var.reg_type) ? "bit merge" : "register merge");
            const long long total = end - start;
            long long piece = piece_of(total, limit);
            output.back().reg_count = low32(piece);
            long long rest = total - piece;
            long long address = start;
            while (rest > 0) {
                note("continuation piece");
                address += limit;
                piece = piece_of(rest, limit);
                Var block = last;
                block.reg_addr = low32(address);
                block.reg_count = low32(piece);
                output.push_back(block);
                rest -= piece;
            }
        }
        if (!output.empty()) {
            start = output.back().reg_addr;
            length = output.back().reg_count;
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Values
// ---------------------------------------------------------------------------------------------------------------------

void Driver::write_data_to_local(const Var &var) {
    const Bytes &d = var.value_bytes;
    const int storage_class = get_plc_reg(var.reg_type);
    const std::uint32_t key = cache_key(var.station_no, storage_class, static_cast<std::uint32_t>(var.reg_addr));
    if (is_bit_type(var.reg_type)) {
        const std::uint32_t count = static_cast<std::uint32_t>(var.reg_count);
        for (std::uint32_t i = 0; i < count && i / 8 < d.size(); ++i)
            bit_cache[key + i] = (d[i / 8] >> (i % 8)) & 1;
    } else if (is_word_type(var.reg_type)) {
        for (std::uint32_t j = 0; j < d.size() / 2; ++j)
            word_cache[key + j] = static_cast<std::uint16_t>(d[2 * j] + d[2 * j + 1] * 256);
    } else if (var.reg_type == 12 || var.reg_type == 14) {
        for (std::uint32_t j = 0; j < d.size() / 2; ++j)
            word_cache[key + j] = static_cast<std::uint16_t>(d[2 * j] * 256 + d[2 * j + 1]);
    } else if (var.reg_type == 13) {
        for (std::uint32_t j = 0; j < d.size() / 4; ++j)
            dword_cache[key + j] =
                d[4 * j] + d[4 * j + 1] * 0x100u + d[4 * j + 2] * 0x10000u + d[4 * j + 3] * 0x1000000u;
    } else if (is_bit_of_word(var.reg_type)) {
        const std::uint32_t address = static_cast<std::uint32_t>(var.reg_addr);
        std::uint16_t &reg = word_cache[cache_key(var.station_no, storage_class, address / 16)];
        const int mask = 1 << (address % 16);
        reg = static_cast<std::uint16_t>(byte_or_zero(d, 0) != 0 ? reg | mask : reg & ~mask);
    } else {
        note("type without a cache");
    }
}

int Driver::get_register_data(int reg_type, const std::string &address, int station_no, Bytes &out, int count) {
    const int first = string_address_to_int(reg_type, address);

    // The length of `out`; 0 if no byte array can be that long.
    long long size = 2LL * count;
    if (first >= 0 && (is_bit_type(reg_type) || is_bit_of_word(reg_type)))
        size = count;
    if (first >= 0 && (reg_type == 12 || reg_type == 13 || reg_type == 14))
        size = (static_cast<long long>(count) + 1) / 2 * 4;
    if (count < 0 || size >= (1LL << 30)) {
        note("value of an impossible length");
        size = 0;
    }
    out.assign(static_cast<std::size_t>(size), 0);
    if (first < 0)
        return 0;

    const int station = station_for(station_no);
    const int storage_class = get_plc_reg(reg_type);
    const std::uint32_t key = cache_key(station, storage_class, static_cast<std::uint32_t>(first));
    const auto word_at = [this](std::uint32_t at) -> int {
        const auto found = word_cache.find(at);
        return found != word_cache.end() ? found->second : 0;
    };
    if (is_bit_type(reg_type)) {
        for (std::uint32_t i = 0; i < out.size(); ++i) {
            const auto found = bit_cache.find(key + i);
            if (found != bit_cache.end() && found->second != 0)
                out[i] = 1;
        }
    } else if (is_word_type(reg_type)) {
        for (std::uint32_t j = 0; j < out.size() / 2; ++j) {
            out[2 * j] = low8(word_at(key + j));
            out[2 * j + 1] = low8(word_at(key + j) >> 8);
        }
    } else if (reg_type == 12 || reg_type == 14) {
        for (std::uint32_t j = 0; j < out.size() / 4; ++j) {
            out[4 * j] = low8(word_at(key + 2 * j + 1));
            out[4 * j + 1] = low8(word_at(key + 2 * j + 1) >> 8);
            out[4 * j + 2] = low8(word_at(key + 2 * j));
            out[4 * j + 3] = low8(word_at(key + 2 * j) >> 8);
        }
    } else if (reg_type == 13) {
        for (std::uint32_t j = 0; j < out.size() / 4; ++j) {
            const auto found = dword_cache.find(key + j);
            if (found != dword_cache.end())
                for (std::uint32_t byte = 0; byte < 4; ++byte)
                    out[4 * j + byte] = low8(found->second >> (8 * byte));
        }
    } else if (is_bit_of_word(reg_type)) {
        for (std::uint32_t i = 0; i < out.size(); ++i) {
            const std::uint32_t bit_address = static_cast<std::uint32_t>(first) + i;
            const int reg = word_at(cache_key(station, storage_class, bit_address / 16));
            out[i] = (reg >> (bit_address % 16)) & 1;
        }
    }
    return 1;
}

void Driver::submit(const Var &var) {
    if (word(write_mode) == 2) {
        add_list_write_var(var);
        if (comm_failed) {
            note("queued write put into the cache at once");
            write_data_to_local(var);
        }
    } else {
        note("write into the cache only");
        write_data_to_local(var);
    }
}

int Driver::set_register_data(const std::string &text, int reg_type, const std::string &address, int station_no,
                              const Bytes &data, int count, int var_group, int var_id) {
    const int first = string_address_to_int(reg_type, address);
    if (first < 0) {
        note("host write with a bad address");
        return 0;
    }
    Var var;
    var.var_group = var_group;
    var.var_id = var_id;
    var.host_ref2 = 1;
    var.host_ref3 = word(remote_mode);
    var.area_no = word(local_area_no);
    var.aux_text = text;
    var.addr_text = address;
    var.reg_type = reg_type;
    var.reg_addr = first;
    var.station_no = station_for(station_no);
    var.reg_count = 1;

    const long long units = units_per_request();
    const auto advance = [&var](long long by) {
        var.reg_addr = low32(var.reg_addr + by);
    };
    std::size_t next = 0;  // first byte of `data` that is not used yet
    if (reg_type == 1 || reg_type == 4 || reg_type == 5 || reg_type == 6) {
        if (count == 1) {
            var.value_bytes = {byte_or_zero(data, 0) != 0 ? std::uint8_t{1} : std::uint8_t{0}};
            submit(var);
        } else {
            bool cut = false;
            while (count > 0) {
                const int n = static_cast<int>(std::min({static_cast<long long>(count), units * 8, 65535LL}));
                var.reg_count = n;
                var.value_bytes.assign((static_cast<std::size_t>(n) + 7) / 8, 0);
                for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i, ++next) {
                    const int host_byte = byte_or_zero(data, next);
                    const bool in_whole_group = i / 8 < static_cast<std::size_t>(n) / 8;
                    const int bit = in_whole_group ? host_byte : (host_byte != 0 ? 1 : 0);
                    if (in_whole_group && host_byte > 1)
                        note("host byte spills into neighbouring bits");
                    var.value_bytes[i / 8] = low8(var.value_bytes[i / 8] | (bit << (i % 8)));
                }
                submit(var);
                if (cut)
                    note("bit write cut into chunks");
                cut = true;
                count -= n;
                advance(n);
            }
        }
    } else if (reg_type == 2 || reg_type == 3 || is_bit_of_word(reg_type)) {
        for (; count > 0; --count, ++next) {
            var.value_bytes = {byte_or_zero(data, next) != 0 ? std::uint8_t{1} : std::uint8_t{0}};
            submit(var);
            advance(1);
        }
    } else if (is_word_type(reg_type)) {
        bool cut = false;
        while (count > 0) {
            const int n = static_cast<int>(std::min({static_cast<long long>(count), units, 65535LL}));
            var.reg_count = n;
            var.value_bytes.assign(2 * static_cast<std::size_t>(n), 0x30);
            for (std::size_t i = 0; i < var.value_bytes.size(); ++i, ++next)
                if (next < data.size())
                    var.value_bytes[i] = data[next];
            if (next > data.size())
                note("register write filled up with 0x30");
            submit(var);
            if (cut)
                note("register write cut into chunks");
            cut = true;
            count -= n;
            advance(n);
        }
    } else if (reg_type == 12 || reg_type == 14) {
        long long values = (static_cast<long long>(count) + 1) / 2;
        while (values > 0) {
            const long long n = std::min({values, units, 50LL});
            var.reg_count = static_cast<int>(2 * n);
            var.value_bytes.assign(4 * static_cast<std::size_t>(n), 0x30);
            for (std::size_t start = 0; start < var.value_bytes.size(); start += 4) {
                const std::size_t left = data.size() - next;
                if (left >= 4) {
                    for (std::size_t i = 0; i < 4; ++i)
                        var.value_bytes[start + 3 - i] = data[next + i];
                    next += 4;
                } else {
                    for (std::size_t i = 0; i < left; ++i) {
                        note("leftover bytes of a 32-bit value");
                        if (start + 4 - i < var.value_bytes.size())
                            var.value_bytes[start + 4 - i] = data[next + i];
                        else
                            note("leftover byte after the chunk dropped");
                    }
                    next += left;
                }
            }
            submit(var);
            values -= n;
            if (values > 0)
                note("32-bit write on registers cut into chunks");
            advance(2 * n);
        }
    } else if (reg_type == 13) {
        long long values = (static_cast<long long>(count) + 1) / 2;
        while (values > 0) {
            const long long n = std::min({values, units, 50LL});
            var.reg_count = static_cast<int>(n);
            var.value_bytes.assign(4 * static_cast<std::size_t>(n), 0x30);
            for (std::size_t i = 0; i < var.value_bytes.size(); ++i, ++next)
                if (next < data.size())
                    var.value_bytes[i] = data[next];
            submit(var);
            values -= n;
            if (values > 0)
                note("32-bit write cut into chunks");
            advance(n);
        }
    } else {
        note("type that is not writable");
    }
    return static_cast<int>(write_list.size());
}

// ---------------------------------------------------------------------------------------------------------------------
// Requests
// ---------------------------------------------------------------------------------------------------------------------

void Driver::queue_frame(const Bytes &frame, int reply_len, int data_offset, int data_len, const Var &var) {
    Frame queued;
    queued.frame = frame;
    queued.send_len = static_cast<int>(frame.size());
    queued.reply_len = reply_len;
    queued.data_offset = data_offset;
    queued.data_len = data_len;
    queued.var = var;
    frame_list.push_back(queued);
}

void Driver::expect_good_replies(int number) {
    set_word(success_count, 0);
    set_word(success_limit, number);
}

void Driver::read_register(const Var &var) {
    const int type = var.reg_type;
    if (!is_bit_type(type) && !is_word_type(type) && type != 13) {
        note("read without a frame refused");
        return;
    }
    const std::optional<int> split = boundary(type);
    if (split && crosses(var, *split)) {
        note(is_bit_type(type) ? "split bit read" : "split register read");
        read_analog_2(var, *split);
    } else {
        read_analog(var);
    }
}

void Driver::read_analog(const Var &var) {
    const long long n = var.reg_count;
    int function = 3;
    long long quantity = n;
    long long b = 2 * n;
    if (is_bit_type(var.reg_type)) {
        function = 1;
        b = divided_down(n + 7, 8);
    }
    if (var.reg_type == 13) {
        quantity = 2 * n;
        b = 4 * n;
    }
    Bytes frame = header(var.station_no, function, var.reg_type, var.reg_addr);
    append_u16(frame, quantity);
    frame = support::with_crc(frame);
    queue_frame(frame, low32(b + 5), 3, low32(b), var);
    expect_good_replies(1);
}

void Driver::read_analog_2(const Var &var, int split) {
    const bool bits = is_bit_type(var.reg_type);
    Var low = var;
    low.reg_count = low32(static_cast<long long>(split) - var.reg_addr);
    Var high = var;
    high.reg_addr = split;
    high.reg_count = low32(static_cast<long long>(var.reg_addr) + var.reg_count - split);
    for (const Var &part : {low, high}) {
        const long long k = part.reg_count;
        const long long b = bits ? divided_down(k + 7, 8) : 2 * k;
        Bytes frame = header(part.station_no, bits ? 1 : 3, part.reg_type, part.reg_addr);
        append_u16(frame, k);
        frame = support::with_crc(frame);
        queue_frame(frame, low32(b + 5), 3, low32(b), part);
    }
    expect_good_replies(2);
}

void Driver::write_register(const Var &var) {
    const int type = var.reg_type;
    if (type < 0 || type > 17) {
        note("write of an unknown type refused");
        return;
    }
    const std::optional<int> split = boundary(type);
    if ((type == 7 || type == 8) && crosses(var, *split))
        write_analog_in_two(var, *split, true);
    else if ((type == 12 || type == 14) && crosses(var, *split))
        write_analog_in_two(var, *split, false);
    else if (is_bit_of_word(type))
        write_analog_bit(var);
    else
        write_analog(var);
    if (frame_list.empty())
        return;
    if (comm_failed)
        note("write while failed leaves the cache alone");
    else
        write_data_to_local(var);
}

void Driver::write_analog(const Var &var) {
    const Bytes &d = var.value_bytes;
    const int n = var.reg_count;
    const int type = var.reg_type;
    Bytes frame;
    if (is_bit_type(type) && n == 1) {
        note("single coil");
        frame = header(var.station_no, 5, type, var.reg_addr);
        frame.push_back(byte_or_zero(d, 0) != 0 ? 0xFF : 0x00);
        frame.push_back(0x00);
    } else {
        frame = header(var.station_no, is_bit_type(type) ? 15 : 16, type, var.reg_addr);
        append_u16(frame, type == 13 ? 2LL * n : n);
        frame.push_back(low8(static_cast<long long>(d.size())));
        std::size_t size = d.size();
        if (is_bit_type(type)) {
            frame.insert(frame.end(), d.begin(), d.end());
        } else if (is_word_type(type)) {
            size = rounded_up(size, 2);
            for (std::size_t i = 0; i < size; i += 2) {
                frame.push_back(low8(byte_or_zero(d, i + 1)));
                frame.push_back(low8(byte_or_zero(d, i)));
            }
        } else if (type == 13) {
            size = rounded_up(size, 4);
            for (std::size_t i = 0; i < size; i += 4)
                for (std::size_t byte = 4; byte > 0; --byte)
                    frame.push_back(low8(byte_or_zero(d, i + byte - 1)));
        } else {
            size = rounded_up(size, 2);
            for (std::size_t i = 0; i < size; ++i)
                frame.push_back(low8(byte_or_zero(d, i)));
        }
        if (size != d.size())
            note("odd value bytes completed with zeros");
        if (!fits_a_frame(static_cast<long long>(size))) {
            note("write too long for a frame refused");
            return;
        }
    }
    frame = support::with_crc(frame);
    queue_frame(frame, 8, 0, 0, var);
    expect_good_replies(1);
}

void Driver::write_analog_in_two(const Var &var, int split, bool swapped) {
    const long long below = static_cast<long long>(split) - var.reg_addr;
    const long long above = static_cast<long long>(var.reg_addr) + var.reg_count - split;
    if (!fits_a_frame(2 * below) || !fits_a_frame(2 * above)) {
        note("split write too long for a frame refused");
        return;
    }
    note(swapped ? "split write, low byte first" : "split write, high byte first");
    const Bytes &d = var.value_bytes;
    std::size_t next = 0;
    for (const bool first : {true, false}) {
        const long long k = first ? below : above;
        Bytes frame = header(var.station_no, 16, var.reg_type, first ? var.reg_addr : split);
        append_u16(frame, k);
        frame.push_back(low8(2 * k));
        for (long long pair = 0; pair < k; ++pair) {
            const int one = byte_or_zero(d, next);
            const int other = byte_or_zero(d, next + 1);
            frame.push_back(low8(swapped ? other : one));
            frame.push_back(low8(swapped ? one : other));
            next += 2;
        }
        frame = support::with_crc(frame);
        queue_frame(frame, 8, 0, 0, var);
    }
    expect_good_replies(2);
}

void Driver::write_analog_bit(const Var &var) {
    note("bit-in-register write");
    const int reg = low32(divided_down(var.reg_addr, 16));

    Bytes read = header(var.station_no, 3, var.reg_type, reg);
    append_u16(read, 1);
    read = support::with_crc(read);
    Var read_half = var;
    read_half.host_ref2 = 0;
    read_half.store_mode = -1;
    queue_frame(read, 7, 0, 0, read_half);

    Bytes write = header(var.station_no, 6, var.reg_type, reg);
    append_u32(write, 0);
    Var write_half = var;
    write_half.host_ref2 = 1;
    write_half.store_mode = 0;
    queue_frame(write, 8, 0, 0, write_half);

    expect_good_replies(2);
}

Bytes Driver::remote_frame_start(const Var &var) const {
    Bytes frame;
    frame.push_back(0);
    frame.push_back(low8(var.var_group));
    frame.push_back(low8(var.host_ref2));
    frame.push_back(low8(var.area_no));
    frame.push_back(low8(var.station_no));
    append_u16(frame, var.reg_type);
    append_u32(frame, var.reg_addr);
    append_u16(frame, var.reg_count);
    append_u32(frame, var.store_mode);
    append_u32(frame, var.aux_word);
    return frame;
}

void Driver::remote_read_var(const Var &var) {
    note("remote read");
    Bytes frame = remote_frame_start(var);
    frame[0] = 22;
    frame.push_back(low8(cal_sum(frame)));
    const long long n = var.reg_count;
    long long b = 2 * n;
    if (is_bit_type(var.reg_type))
        b = divided_down(n + 7, 8);
    if (var.reg_type == 13)
        b = 4 * n;
    queue_frame(frame, low32(b + 5), 3, low32(b), var);
    expect_good_replies(1);
}

void Driver::remote_write_var(const Var &var) {
    note(var.station_no != 0 ? "remote write" : "remote write to station 0");
    Bytes frame = remote_frame_start(var);
    frame.insert(frame.end(), var.value_bytes.begin(), var.value_bytes.end());
    frame[0] = low8(static_cast<long long>(frame.size()) + 1);
    if (frame.size() + 1 > 255)
        note("remote write longer than its length byte");
    frame.push_back(low8(cal_sum(frame)));
    queue_frame(frame, var.station_no != 0 ? 8 : 0, 0, 0, var);
    expect_good_replies(1);
    write_data_to_local(var);
}

// ---------------------------------------------------------------------------------------------------------------------
// The communication cycle
// ---------------------------------------------------------------------------------------------------------------------

void Driver::drop_disabled_heads(std::deque<Var> &queue) {
    while (!queue.empty() && ethernet_contains(queue.front().station_no)) {
        note("request of a disabled station dropped");
        queue.pop_front();
    }
}

const Frame *Driver::com_communication() {
    if (!frame_list.empty()) {
        note("frame in flight returned again");
        return &frame_list.front();
    }
    const bool remote = word(remote_mode) != 0;

    bool served = false;
    if (!write_list.empty() && write_tries > 4)
        note("writes skipped after five in a row");
    if (!write_list.empty() && write_tries <= 4) {
        drop_disabled_heads(write_list);
        if (!write_list.empty()) {
            const Var head = write_list.front();
            if (remote)
                remote_write_var(head);
            else
                write_register(head);
            last_op = 1;
            ++write_tries;
            served = true;
            if (frame_list.empty()) {
                write_list.pop_front();
                call_write_result(head, 2, false);
            }
        } else {
            note("write queue of disabled stations emptied");
        }
    }

    if (!served && !once_read_list.empty() && once_read_tries > 4)
        note("once-reads skipped after five in a row");
    if (!served && !once_read_list.empty() && once_read_tries <= 4) {
        drop_disabled_heads(once_read_list);
        if (!once_read_list.empty()) {
            const Var head = once_read_list.front();
            if (remote)
                remote_read_var(head);
            else
                read_register(head);
            last_op = 2;
            ++once_read_tries;
            served = true;
            if (frame_list.empty()) {
                note("once-read refused");
                once_read_list.pop_front();
                call_write_result(head, 2, false);
            }
        }
    }

    if (!served && !read_list.empty()) {
        std::size_t n = read_list.size();
        while (n > 0 && ethernet_contains(read_list.front().station_no)) {
            note("cyclic read of a disabled station skipped");
            read_list.push_back(read_list.front());
            read_list.pop_front();
            --n;
        }
        if (n == 0) {
            note("every cyclic read is on a disabled station");
        } else {
            const Var head = read_list.front();
            if (remote)
                remote_read_var(head);
            else
                read_register(head);
            last_op = 0;
            write_tries = 0;
            once_read_tries = 0;
            if (frame_list.empty()) {
                note("cyclic read refused");
                read_list.pop_front();
                read_list.push_back(head);
            }
        }
    }

    if (frame_list.empty()) {
        note("nothing to send");
        write_tries = 0;
        once_read_tries = 0;
        set_word(finish_flag, 1);
        return nullptr;
    }
    return &frame_list.front();
}

// ---------------------------------------------------------------------------------------------------------------------
// Replies
// ---------------------------------------------------------------------------------------------------------------------

int Driver::switch_error_return(int base) const {
    if (frame_list.empty())
        return base + 1;
    const int group = frame_list.front().var.var_group;
    if (group >= 0 && group <= 11)
        return base + 1 + group;
    return base + 1;
}

int Driver::get_driver_return_value(int kind) const {
    switch (kind) {
    case 0:
        return 1;
    case 1:
        return switch_error_return(10);
    case 2:
        return switch_error_return(40);
    case 3:
        return switch_error_return(70);
    case 4:
        return 100;
    case 5:
        return switch_error_return(110);
    case 6:
        return switch_error_return(140);
    case 7:
        return switch_error_return(170);
    default:
        return 200;
    }
}

int Driver::check_get_data(const Bytes *reply) const {
    if (reply == nullptr || reply->size() <= 4 || frame_list.empty())
        return 0;
    const Frame &head = frame_list.front();
    if (reply->at(0) != head.var.station_no)
        return 0;
    if (word(remote_mode) == 0) {
        if (head.frame.at(0) != head.var.station_no)
            return 0;
        if (reply->at(1) != head.frame.at(1))
            return 0;
    }
    const std::size_t covered = reply->size() - 2;
    if (cal_crc(*reply, covered % 65536) != reply->at(covered) + 256 * reply->at(covered + 1))
        return 0;
    return head.var.host_ref2 != 0 ? 2 : 1;
}

void Driver::special_register_save(const Bytes &reply) {
    if (reply.size() < 5 || frame_list.size() < 2) {
        note("bit write without a second frame");
        return;
    }
    const Var &var = frame_list.front().var;
    int value = reply[3] * 256 + reply[4];
    const int mask = 1 << (static_cast<std::uint32_t>(var.reg_addr) % 16);
    if (byte_or_zero(var.value_bytes, 0) != 0) {
        note("bit set in a register");
        value |= mask;
    } else {
        note("bit cleared in a register");
        value &= ~mask;
    }
    Bytes &frame = frame_list[1].frame;
    if (frame.size() < 8)
        frame.resize(8);
    frame[4] = low8(value >> 8);
    frame[5] = low8(value);
    const int crc = cal_crc(frame, 6);
    frame[6] = low8(crc);
    frame[7] = low8(crc >> 8);
}

void Driver::save_to_local_data_area(const Bytes *reply) {
    if (reply == nullptr || reply->empty())
        return;
    const Frame &head = frame_list.front();
    if (head.var.store_mode == -1) {
        special_register_save(*reply);
        return;
    }
    const std::uint32_t key =
        cache_key(head.var.station_no, head.var.reg_type, static_cast<std::uint32_t>(head.var.reg_addr));
    const std::size_t offset = static_cast<std::size_t>(head.data_offset);
    const auto payload = [&](std::size_t index) -> std::uint32_t {
        return reply->at(offset + index);
    };
    const auto is_inside = [&](std::size_t index) {
        return offset + index < reply->size();
    };
    const std::uint32_t data_len = static_cast<std::uint32_t>(std::max(head.data_len, 0));
    if (is_bit_type(head.var.reg_type)) {
        const std::uint32_t count = static_cast<std::uint32_t>(head.var.reg_count);
        std::uint32_t i = 0;
        for (; i < count && is_inside(i / 8); ++i)
            bit_cache[key + i] = (payload(i / 8) >> (i % 8)) & 1;
        note(i == count ? "bits stored" : "bits stored as far as the reply reaches");
    } else if (is_word_type(head.var.reg_type)) {
        std::uint32_t j = 0;
        for (; j < data_len / 2 && is_inside(2 * j + 1); ++j)
            word_cache[key + j] = static_cast<std::uint16_t>(payload(2 * j) * 256 + payload(2 * j + 1));
        note(j == data_len / 2 ? "registers stored" : "registers stored as far as the reply reaches");
    } else if (head.var.reg_type == 13) {
        std::uint32_t j = 0;
        for (; j < data_len / 4 && is_inside(4 * j + 3); ++j)
            dword_cache[key + j] = payload(4 * j) * 0x1000000u + payload(4 * j + 1) * 0x10000u +
                                   payload(4 * j + 2) * 0x100u + payload(4 * j + 3);
        note(j == data_len / 4 ? "32-bit values stored" : "32-bit values stored as far as the reply reaches");
    } else {
        note("reply of a class that is not stored");
    }
}

int Driver::deal_data_of_local_area(const Bytes *reply, int length) {
    if (frame_list.empty())
        return get_driver_return_value(1);
    const int reply_len = frame_list.front().reply_len;
    if (length == 0 && reply_len != 0) {
        note("local: no reply");
        return get_driver_return_value(2);
    }
    if (reply_len != length && reply_len != -1) {
        note("local: wrong length");
        return get_driver_return_value(3);
    }
    if (reply_len == -1)
        note("reply of any length");
    switch (check_get_data(reply)) {
    case 1:
        save_to_local_data_area(reply);
        return get_driver_return_value(0);
    case 2:
        note("local: write answered");
        return get_driver_return_value(0);
    default:
        note("local: failed check");
        return get_driver_return_value(1);
    }
}

int Driver::deal_data_of_remote_area(const Bytes *reply, int length) {
    if (frame_list.empty())
        return get_driver_return_value(5);
    const int reply_len = frame_list.front().reply_len;
    if (length == 0 && reply_len != 0) {
        note("remote: no reply");
        return get_driver_return_value(6);
    }
    if (reply_len != length && reply_len != -1) {
        note("remote: wrong length");
        return get_driver_return_value(7);
    }
    const int check = check_get_data(reply);
    if (check != 1 && check != 2) {
        note("remote: failed check");
        return get_driver_return_value(5);
    }
    if (frame_list.front().var.store_mode != -1) {
        note("remote: nothing stored");
        return get_driver_return_value(4);
    }
    save_to_local_data_area(reply);
    if (word(success_count) == 1) {
        note("remote: read half while success_count is 1");
        return get_driver_return_value(4);
    }
    note("remote: read half of a bit write");
    return get_driver_return_value(0);
}

void Driver::retire_head(std::deque<Var> &queue, bool report) {
    if (queue.empty()) {
        note("queue emptied in between");
        return;
    }
    const Var head = queue.front();
    bool later_one_waits = false;
    for (std::size_t i = 1; i < queue.size(); ++i)
        if (same_identity(queue[i], head) && queue[i].area_no == word(local_area_no))
            later_one_waits = true;
    if (report) {
        if (later_one_waits && comm_failed) {
            note("failure reported though a later one waits");
            call_write_result(head, 2, true);
        } else if (later_one_waits) {
            note("no report, a later one waits");
        } else {
            note(comm_failed ? "failure reported" : "success reported");
            call_write_result(head, comm_failed ? 2 : 1, true);
        }
    }
    pass_ret_value(fail_var, ret_var);
    queue.pop_front();
}

void Driver::advance_queue(bool remote_reply) {
    if (last_op == 1) {
        retire_head(write_list, true);
    } else if (last_op == 2) {
        if (remote_reply)
            note("once-read of a remote area ends without a report");
        retire_head(once_read_list, !remote_reply);
    } else if (last_op == 0) {
        if (!read_list.empty()) {
            pass_ret_value(fail_var, ret_var);
            read_list.push_back(read_list.front());
            read_list.pop_front();
        } else {
            note("read list emptied in between");
        }
    }
}

void Driver::purge(std::deque<Var> &queue) {
    std::deque<Var> kept;
    for (const Var &entry : queue) {
        const bool same_station = word(multi_station) == 0 || entry.station_no == ret_var.station_no;
        if (same_identity(entry, ret_var) && same_station)
            note("purged");
        else
            kept.push_back(entry);
        if (same_identity(entry, ret_var) && !same_station)
            note("not purged, of another station");
    }
    queue = kept;
}

int Driver::data_com(const Bytes *reply, int length) {
    ret_var.ret_value = 1;
    if (frame_list.empty()) {
        note("reply while nothing is in flight");
        return ret_var.ret_value;
    }
    if (reply != nullptr && reply->size() == 5 && reply->at(1) == 0x6A && reply->at(2) == 0x8B) {
        note("special short reply");
        ret_var.ret_value = 1000;
        return ret_var.ret_value;
    }
    const bool remote_reply = frame_list.front().var.area_no != word(local_area_no);
    const int code = remote_reply ? deal_data_of_remote_area(reply, length) : deal_data_of_local_area(reply, length);

    if (code == 1 || code == 100) {
        if (comm_failed)
            note("link works again");
        comm_failed = false;
        const long long good_replies = static_cast<long long>(word(success_count)) + 1;
        set_word(success_count, low32(good_replies));
        const bool complete = good_replies >= word(success_limit);
        if (complete && word(finish_flag) == 0 && !remote_reply) {
            ++read_pass_count;
            if (read_pass_count > static_cast<int>(read_list.size())) {
                note("pass over the read list done");
                read_pass_count = 0;
                set_word(finish_flag, 1);
            }
        }
        frame_list.pop_front();
        if (!complete) {
            note("first of two replies");
            ret_var.ret_value = code;
            return code;
        }
    } else {
        const long long failures = static_cast<long long>(word(retry_count)) + 1;
        set_word(retry_count, low32(failures));
        if (failures <= word(retry_times)) {
            note("sent again");
            ret_var.ret_value = 0;
            return 0;
        }
        note(last_op == 1 ? "write given up" : last_op == 2 ? "once-read given up" : "cyclic read given up");
        comm_failed = true;
        read_pass_count = 0;
        set_word(finish_flag, 0);
        set_word(retry_count, 0);
        fail_var = frame_list.front().var;
        if (frame_list.size() > 1)
            note("second frame given up with the first");
        frame_list.clear();
    }

    advance_queue(remote_reply);
    if (!comm_failed) {
        ret_var.ret_value = code;
        return code;
    }
    call_comm_error(ret_var.var_group);
    if (last_op == 1)
        purge(write_list);
    if (last_op == 2)
        purge(once_read_list);
    ret_var.ret_value = code;
    return code;
}

}  // namespace model
