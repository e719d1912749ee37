#include "comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace model {

namespace {

const std::size_t shown_bytes = 48;

static_assert(sizeof(DriverBlock) == sizeof(HostBlock), "the host blocks must have the same words");

Bytes from_driver(const QByteArray &array) {
    return Bytes(array.constData(), array.constData() + array.size());
}

std::string place(const char *list, int index) {
    return std::string(list) + '[' + std::to_string(index) + ']';
}

void compare_frames(Difference &difference, const std::deque<Frame> &expected, const QList<Protocol> &actual) {
    difference.numbers("frame_list size", static_cast<int>(expected.size()), actual.size());
    for (int i = 0; i < actual.size() && !difference.found(); ++i) {
        const Frame &model_frame = expected[static_cast<std::size_t>(i)];
        const Protocol &frame = actual.at(i);
        Difference inner;
        inner.bytes("frame", model_frame.frame, frame.frame);
        inner.numbers("send_len", model_frame.send_len, frame.send_len);
        inner.numbers("reply_len", model_frame.reply_len, frame.reply_len);
        inner.numbers("data_offset", model_frame.data_offset, frame.data_offset);
        inner.numbers("data_len", model_frame.data_len, frame.data_len);
        inner.vars("var", model_frame.var, frame.var);
        if (inner.found())
            difference.inside(place("frame_list", i), inner);
    }
}

template <class Expected, class Actual>
void compare_cache(Difference &difference, const char *field, const Expected &expected, const Actual &actual) {
    for (auto entry = actual.constBegin(); entry != actual.constEnd() && !difference.found(); ++entry) {
        const auto model_entry = expected.find(entry.key());
        if (model_entry != expected.end() && model_entry->second == entry.value())
            continue;
        std::ostringstream key;
        key << field << "[0x" << std::hex << entry.key() << "]";
        Difference inner;
        inner.numbers("value", model_entry != expected.end() ? static_cast<long long>(model_entry->second) : -1,
                      entry.value());
        difference.inside(key.str(), inner);
    }
    difference.numbers((std::string(field) + " size").c_str(), static_cast<long long>(expected.size()), actual.size());
}

bool is_free(QMutex &mutex) {
    const bool locked = mutex.tryLock();
    if (locked)
        mutex.unlock();
    return locked;
}

}  // namespace

void Difference::set(const std::string &field, const std::string &expected, const std::string &actual) {
    words = field + ": expected " + expected + ", found " + actual;
}

void Difference::inside(const std::string &field, const Difference &other) {
    if (!found())
        words = field + "." + other.text();
}

void Difference::numbers(const char *field, long long expected, long long actual) {
    if (!found() && expected != actual)
        set(field, std::to_string(expected), std::to_string(actual));
}

void Difference::bytes(const char *field, const Bytes &expected, const QByteArray &actual) {
    if (found())
        return;
    const Bytes found_bytes = from_driver(actual);
    if (expected != found_bytes)
        set(field, in_words(expected), in_words(found_bytes));
}

void Difference::texts(const char *field, const std::string &expected, const QString &actual) {
    if (!found() && actual != QString::fromLatin1(expected.data(), static_cast<int>(expected.size())))
        set(field, in_words(expected), in_words(std::string(actual.toLatin1().constData())));
}

void Difference::vars(const char *field, const Var &expected, const RW_VAR &actual) {
    if (found())
        return;
    Difference inner;
    inner.numbers("var_group", expected.var_group, actual.var_group);
    inner.numbers("var_id", expected.var_id, actual.var_id);
    inner.numbers("host_ref2", expected.host_ref2, actual.host_ref2);
    inner.numbers("host_ref3", expected.host_ref3, actual.host_ref3);
    inner.numbers("area_no", expected.area_no, actual.area_no);
    inner.numbers("ret_value", expected.ret_value, actual.ret_value);
    inner.texts("aux_text", expected.aux_text, actual.aux_text);
    inner.texts("addr_text", expected.addr_text, actual.addr_text);
    inner.numbers("reg_type", expected.reg_type, actual.reg_type);
    inner.numbers("reg_addr", expected.reg_addr, actual.reg_addr);
    inner.numbers("station_no", expected.station_no, actual.station_no);
    inner.numbers("reg_count", expected.reg_count, actual.reg_count);
    inner.numbers("store_mode", expected.store_mode, actual.store_mode);
    inner.numbers("aux_word", expected.aux_word, actual.aux_word);
    inner.bytes("value_bytes", expected.value_bytes, actual.value_bytes);
    if (inner.found())
        inside(field, inner);
}

void Difference::var_lists(const char *field, const std::deque<Var> &expected, const QList<RW_VAR> &actual) {
    numbers((std::string(field) + " size").c_str(), static_cast<long long>(expected.size()), actual.size());
    for (int i = 0; i < actual.size() && !found(); ++i) {
        Difference inner;
        inner.vars("entry", expected[static_cast<std::size_t>(i)], actual.at(i));
        if (inner.found())
            inside(place(field, i), inner);
    }
}

void compare_state(Difference &difference, const Driver &expected) {
    const Communication_Protocol &actual = PLC_driver;
    difference.var_lists("read_list", expected.read_list, actual.read_list);
    difference.var_lists("write_list", expected.write_list, actual.write_list);
    difference.var_lists("once_read_list", expected.once_read_list, actual.once_read_list);
    difference.numbers("read_source_list size", 0, actual.read_source_list.size());
    difference.numbers("extend_list size", 0, actual.extend_list.size());
    compare_frames(difference, expected.frame_list, actual.frame_list);
    difference.numbers("disabled_stations size", static_cast<long long>(expected.disabled_stations.size()),
                       actual.disabled_stations.size());
    for (int station : expected.disabled_stations)
        difference.numbers("value of a disabled station", 0, actual.disabled_stations.value(station, -1));
    difference.vars("ret_var", expected.ret_var, actual.ret_var);
    difference.numbers("last_op", expected.last_op, actual.last_op);
    difference.numbers("write_tries", expected.write_tries, actual.write_tries);
    difference.numbers("once_read_tries", expected.once_read_tries, actual.once_read_tries);
    difference.numbers("read_pass_count", expected.read_pass_count, actual.read_pass_count);
    difference.numbers("comm_failed", expected.comm_failed, actual.comm_failed);
    difference.numbers("spare_flag", 0, actual.spare_flag);
    difference.vars("fail_var", expected.fail_var, actual.fail_var);
    compare_cache(difference, "bit_cache", expected.bit_cache, actual.bit_cache);
    compare_cache(difference, "word_cache", expected.word_cache, actual.word_cache);
    compare_cache(difference, "dword_cache", expected.dword_cache, actual.dword_cache);
    difference.numbers("list_mutex free", 1, is_free(PLC_driver.list_mutex));
    difference.numbers("cache_mutex free", 1, is_free(PLC_driver.cache_mutex));
    difference.numbers("station_mutex free", 1, is_free(PLC_driver.station_mutex));
}

void compare_block(Difference &difference, const char *field, const HostBlock &expected, const DriverBlock &actual) {
    for (std::size_t i = 0; i < expected.size() && !difference.found(); ++i) {
        Difference inner;
        inner.numbers("word", expected[i], read_word(actual, i));
        if (inner.found())
            difference.inside(place(field, static_cast<int>(i)), inner);
    }
}

RW_VAR to_driver(const Var &var) {
    RW_VAR copy;
    copy.var_group = var.var_group;
    copy.var_id = var.var_id;
    copy.host_ref2 = var.host_ref2;
    copy.host_ref3 = var.host_ref3;
    copy.area_no = var.area_no;
    copy.ret_value = var.ret_value;
    copy.aux_text = to_driver(var.aux_text);
    copy.addr_text = to_driver(var.addr_text);
    copy.reg_type = var.reg_type;
    copy.reg_addr = var.reg_addr;
    copy.station_no = var.station_no;
    copy.reg_count = var.reg_count;
    copy.store_mode = var.store_mode;
    copy.aux_word = var.aux_word;
    copy.value_bytes = to_driver(var.value_bytes);
    return copy;
}

QList<RW_VAR> to_driver(const std::deque<Var> &vars) {
    QList<RW_VAR> list;
    for (const Var &var : vars)
        list.append(to_driver(var));
    return list;
}

QByteArray to_driver(const Bytes &bytes) {
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()));
}

QString to_driver(const std::string &latin1) {
    return QString::fromLatin1(latin1.data(), static_cast<int>(latin1.size()));
}

int read_word(const DriverBlock &block, std::size_t index) {
    int value = 0;
    std::memcpy(&value, reinterpret_cast<const char *>(&block) + index * sizeof value, sizeof value);
    return value;
}

void write_word(DriverBlock &block, std::size_t index, int value) {
    std::memcpy(reinterpret_cast<char *>(&block) + index * sizeof value, &value, sizeof value);
}

std::string in_words(const std::string &latin1) {
    std::ostringstream text;
    text << '"';
    for (const char character : latin1) {
        const unsigned code = static_cast<unsigned char>(character);
        if (code >= 0x20 && code < 0x7F)
            text << character;
        else
            text << '<' << std::hex << code << '>';
    }
    text << '"';
    return text.str();
}

std::string in_words(const Bytes &bytes) {
    std::ostringstream text;
    text << bytes.size() << " bytes";
    for (std::size_t i = 0; i < std::min(bytes.size(), shown_bytes); ++i) {
        char pair[4];
        std::snprintf(pair, sizeof pair, " %02X", static_cast<unsigned>(bytes[i]));
        text << pair;
    }
    if (bytes.size() > shown_bytes)
        text << " ...";
    return text.str();
}

std::string in_words(const Var &var) {
    std::ostringstream text;
    text << "{group " << var.var_group << ", id " << var.var_id << ", type " << var.reg_type << ", address "
         << var.reg_addr << " " << in_words(var.addr_text) << ", station " << var.station_no << ", count "
         << var.reg_count << ", area " << var.area_no << ", ref2 " << var.host_ref2 << ", ref3 " << var.host_ref3
         << ", ret " << var.ret_value << ", store_mode " << var.store_mode << ", aux " << var.aux_word << " "
         << in_words(var.aux_text) << ", value " << in_words(var.value_bytes) << "}";
    return text.str();
}

}  // namespace model
