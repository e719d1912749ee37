/* Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT */  /// \file
/// What a host needs in addition to the driver: loading it, and small functions that each avoid a trap.
///
/// Everything is in this header. It compiles as C++98 and up, with Qt 4.8 to 6, needs only Qt core and the C
/// library, and adds nothing to the driver's exports. docs/host-guide.md names the traps; `man ozna_kelpo_host`
/// is the short form of this file. Linux only: programs that are linked with a C library before glibc 2.34 need -ldl.
#ifndef OZNA_KELPO_HOST_H
#define OZNA_KELPO_HOST_H

#include "ozna_kelpo_port.h"

#include <QtCore/QFile>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace ozna_kelpo {

/// Holds a mutex of the driver from here to the end of the block. None of them is recursive.
class Held {
public:
    explicit Held(QMutex &mutex) : mutex_(mutex) {
        mutex_.lock();
    }
    ~Held() {
        mutex_.unlock();
    }

private:
    Held(const Held &);
    Held &operator=(const Held &);

    QMutex &mutex_;
};

/// \name Places. They need no driver.
/// @{

/// A place of the controller, all fields set: type, address text in the syntax of the type, number of units (for types
/// 12 to 14 in 16-bit registers), and station, which is used while ComInfo::multi_station is not 0. A HOST_VAR that is
/// declared without this, or without `= HOST_VAR()`, holds what was in the memory.
inline HOST_VAR place(int reg_type, const QString &address, int units, int station_no) {
    HOST_VAR var = HOST_VAR();
    var.reg_type = static_cast<unsigned char>(reg_type);
    var.station_no = static_cast<unsigned char>(station_no);
    var.addr_text = address;
    var.reg_count = units;
    return var;
}

/// The register class of `reg_type`: the type whose addresses and whose cache it shares.
inline int class_of(int reg_type) {
    switch (reg_type) {
    case pairs_of_7:
    case bits_of_7:
        return words_7;
    case pairs_of_8:
    case bits_of_8:
        return words_8;
    case bits_of_11:
        return words_11;
    default:
        return reg_type;
    }
}

/// True for types 15 to 17.
inline bool is_bit_of_word(int reg_type) {
    return reg_type >= bits_of_7 && reg_type <= bits_of_11;
}

/// True for types 12 to 14, whose counts are in 16-bit registers: 1 and 2 are one value.
inline bool is_32_bit(int reg_type) {
    return reg_type >= pairs_of_7 && reg_type <= pairs_of_8;
}

/// Bytes that GetRegisterData gives for `units` of `reg_type`, and that SetRegisterData should be given. Less than that
/// is filled up with bytes 0x30; with types 12 and 14 one byte is also lost. 0 for a type that does not exist.
inline int data_size(int reg_type, int units) {
    if (units <= 0 || reg_type < 0 || reg_type >= register_types)
        return 0;
    if (is_32_bit(reg_type))
        return (units + 1) / 2 * 4;
    return class_of(reg_type) == reg_type && reg_type >= words_7 ? 2 * units : units;
}

/// @}

/// What the queueing calls below return.
enum Answer {
    queued,         ///< the whole request waits in its queue
    no_room,        ///< the queue has no room for all of it: nothing was queued, try again
    bad_place,      ///< the address text does not parse, or there is no such type, or the count is below 1
    not_writable,   ///< type 0
    wrong_size,     ///< `data` does not hold data_size() bytes
    station_is_off  ///< the driver would drop it without a report
};

/// The answer in words. Never null.
inline const char *words_of(Answer answer) {
    switch (answer) {
    case queued:
        return "queued";
    case no_room:
        return "no room in the queue";
    case bad_place:
        return "no such place";
    case not_writable:
        return "the type cannot be written";
    case wrong_size:
        return "the value has the wrong size";
    case station_is_off:
        break;
    }
    return "the station is off";
}

/// The two queues of requests.
enum Queue { write_queue, once_read_queue };

/// One driver: its calls under their own names, its state, and functions that look at the state with the lock that
/// guards it. A LoadedDriver is one; linked_driver() is the one of a host that is linked against the library. Copies
/// name the same driver. Functions that are not const-looking calls of the driver itself must not be called from the
/// two callbacks, which run with `list_mutex` held.
struct Driver {
    void (*SetComInfo)(ComInfo *);
    void (*RegistCallBackFuncIntf)(write_result_fn, comm_error_fn);
    void (*FlashLocalRegister)(void *, void *, void *);
    int (*QueryFinishFlag)();
    void (*EnableEthernet)(int, int);
    void (*EnCommStation)(int, int);
    Protocol *(*ComCommunication)();
    RW_VAR *(*DataCom)(QByteArray *, int);
    int (*PLCAddressChangeIntef)(int, QString);
    int (*AddListReadVar)(RW_VAR *);
    int (*AddListWriteVar)(RW_VAR *);
    int (*AddListOnceReadVar)(RW_VAR *, int);
    int (*ReCreatReadVarList)(QList<HOST_VAR> *);
    int (*GetRegisterData)(QString, int, QString, int, QByteArray &, int);
    int (*SetRegisterData)(QString, int, QString, int, QByteArray, int, int, int);
    Communication_Protocol *PLC_driver;  ///< the state; see Communication_Protocol for the locks

    /// \name Queues. They take `list_mutex`.
    /// @{

    /// True when `requests` more fit into the queue now. What does not fit is dropped by the driver without a report,
    /// and the size that the call returns is 1024 both for the last one accepted and for one that was dropped. If
    /// several threads queue, they need a lock of the host around this and the call that queues.
    bool room_for(Queue queue, int requests) const {
        const Held held(PLC_driver->list_mutex);
        const QList<RW_VAR> &list = queue == write_queue ? PLC_driver->write_list : PLC_driver->once_read_list;
        return requests <= most_queued - static_cast<int>(list.size());
    }

    /// True while a part of the write or once-read of this group and id waits or is in flight. The driver cuts some
    /// requests into several, and a link that is quicker than the call that queues them reports what is done so far:
    /// a report of the write-result callback is the last one when nothing waits any more.
    bool is_waiting(int group, int id) const {
        const Held held(PLC_driver->list_mutex);
        return holds(PLC_driver->write_list, group, id) || holds(PLC_driver->once_read_list, group, id);
    }

    /// How many entries of the write queue a write of `units` takes. 0 for what the driver does not write.
    int requests_of_write(int reg_type, int units) const {
        if (units <= 0 || reg_type <= bits_0 || reg_type >= register_types)
            return 0;
        if (is_32_bit(reg_type))
            return rounded_up((units + 1) / 2, least(most_units(), most_double_words));
        if (class_of(reg_type) == reg_type && reg_type >= words_7)
            return rounded_up(units, most_units());
        const bool one_by_one = reg_type == bits_2 || reg_type == bits_3 || is_bit_of_word(reg_type);
        return one_by_one ? units : rounded_up(units, 8 * most_units());
    }

    /// Queues a write of the whole of `where`, when there is room for all of it, and says so otherwise. The end is
    /// reported by the write-result callback with `group` and `id`, for a write in several requests perhaps more than
    /// once; see is_waiting(). Only while ComInfo::write_mode is 2. For one thread at a time.
    Answer write(const HOST_VAR &where, const QByteArray &data, int group, int id) const {
        if (where.reg_type == bits_0)
            return not_writable;
        const int requests = requests_of_write(where.reg_type, where.reg_count);
        if (requests == 0 || PLCAddressChangeIntef(where.reg_type, where.addr_text) < 0)
            return bad_place;
        if (data.size() != data_size(where.reg_type, where.reg_count))
            return wrong_size;
        if (is_off(station_of(where)))
            return station_is_off;
        if (!room_for(write_queue, requests))
            return no_room;
        SetRegisterData(QString(), where.reg_type, where.addr_text, where.station_no, data, where.reg_count, group, id);
        return queued;
    }

    /// Queues `where` to be read once, in polled_form() and in pieces that Modbus allows, when there is room for all of
    /// it. Each piece ends with a call of the write-result callback with `group` and `id`. A piece that is queued
    /// already is not queued again. For one thread at a time.
    Answer read_once(const HOST_VAR &where, int group, int id) const {
        HOST_VAR rest = polled_form(where);
        const int address = PLCAddressChangeIntef(rest.reg_type, rest.addr_text);
        if (address < 0 || rest.reg_count <= 0 || rest.reg_type >= register_types)
            return bad_place;
        if (is_off(station_of(rest)))
            return station_is_off;
        const bool double_words = rest.reg_type == double_words_13;
        const int units = is_32_bit(rest.reg_type) ? (rest.reg_count + 1) / 2 * 2 : rest.reg_count;
        const int cut = double_words ? 2 * least(most_units(), most_double_words_modbus) : most_units();
        if (!room_for(once_read_queue, rounded_up(units, cut)))
            return no_room;
        if (!double_words) {
            queue_once_read(rest, group, id);
            return queued;
        }
        for (int done = 0; done < units; done += cut) {
            rest.addr_text = QString::number(address + 200 + done / 2);
            rest.reg_count = least(units - done, cut);
            queue_once_read(rest, group, id);
        }
        return queued;
    }

    /// @}
    /// \name Screens
    /// @{

    /// True when the cache holds a value for every unit of `where`: it was read, or written by this host, since the
    /// driver was loaded. GetRegisterData returns 0 for what it does not hold. For a polled bit in a register, its
    /// register counts. This, and not ComInfo::finish_flag, says when a new screen can be shown. Takes `cache_mutex`.
    bool was_read(const HOST_VAR &where) const {
        const int address = PLCAddressChangeIntef(where.reg_type, where.addr_text);
        if (address < 0 || where.reg_count <= 0)
            return false;
        const int type = where.reg_type;
        const bool double_words = type == double_words_13;
        const int first = is_bit_of_word(type) ? address / 16 : address;
        int entries = where.reg_count;
        if (is_bit_of_word(type))
            entries = (address + where.reg_count - 1) / 16 - first + 1;
        else if (is_32_bit(type))
            entries = (where.reg_count + 1) / 2 * (double_words ? 1 : 2);
        const unsigned int key = static_cast<unsigned int>(station_of(where)) << 24 |
                                 static_cast<unsigned int>(class_of(type)) << 16 | static_cast<unsigned int>(first);
        const Held held(PLC_driver->cache_mutex);
        for (int i = 0; i < entries; ++i)
            if (!is_cached(type, key + static_cast<unsigned int>(i)))
                return false;
        return true;
    }

    /// The place to poll so that the value is updated: for a bit in a register (types 15 to 17) the registers that hold
    /// it, since the driver would ask for register word x 16 + bit; everything else unchanged. GetRegisterData is still
    /// called with the bit's own address. A bit whose address does not parse is returned unchanged.
    HOST_VAR polled_form(const HOST_VAR &variable) const {
        const int address = is_bit_of_word(variable.reg_type)
                                ? PLCAddressChangeIntef(variable.reg_type, variable.addr_text)
                                : static_cast<int>(no_address);
        if (address < 0 || variable.reg_count <= 0)
            return variable;
        HOST_VAR registers = variable;
        registers.reg_type = static_cast<unsigned char>(class_of(variable.reg_type));
        registers.addr_text = QString::number(address / 16);
        registers.reg_count = (address + variable.reg_count - 1) / 16 - address / 16 + 1;
        return registers;
    }

    /// The variables of `list`, by their position in it, that hold a 32-bit value (types 12 and 14) whose two registers
    /// the driver reads in two requests: because a block ends between them, or because the address map splits there
    /// (registers 7999 and 8000 of type 12, 255 and 256 of type 14). For one exchange such a value can be half old and
    /// half new. Call it with the list that ReCreatReadVarList was given last. Another ComInfo::max_count moves the
    /// ends of blocks. Takes `list_mutex`.
    QList<int> torn_values(const QList<HOST_VAR> &list) const {
        QList<RW_VAR> blocks;
        {
            const Held held(PLC_driver->list_mutex);
            blocks = PLC_driver->read_list;
        }
        QList<int> torn;
        for (int i = 0; i < static_cast<int>(list.size()); ++i)
            if (is_torn(list.at(i), blocks))
                torn.append(i);
        return torn;
    }

    /// True when ComInfo::finish_flag was 1; sets it to 0, so that the driver can raise it again. Takes `list_mutex`,
    /// with which the driver changes it. It does not prove that everything was read: see docs/host-guide.md.
    bool take_finish_flag() const {
        const Held held(PLC_driver->list_mutex);
        const bool raised = PLC_driver->com_info->finish_flag != 0;
        PLC_driver->com_info->finish_flag = 0;
        return raised;
    }

    /// @}
    /// \name Stations
    /// @{

    /// True while the station is disabled, as Ethernetcontains. Takes `station_mutex`.
    bool is_off(int station_no) const {
        const Held held(PLC_driver->station_mutex);
        return PLC_driver->disabled_stations.contains(station_no);
    }

    /// The station that the driver uses for `where`.
    int station_of(const HOST_VAR &where) const {
        const ComInfo &info = *PLC_driver->com_info;
        return info.multi_station != 0 ? where.station_no : info.default_station;
    }

    /// @}

protected:
    static int least(int one, int other) {
        return one < other ? one : other;
    }

    static int rounded_up(int units, int per_request) {
        return (units + per_request - 1) / per_request;
    }

    int most_units() const {
        const int units = PLC_driver->com_info->max_count;
        return units < 1 ? 1 : units;
    }

    static bool holds(const QList<RW_VAR> &list, int group, int id) {
        for (int i = 0; i < static_cast<int>(list.size()); ++i)
            if (list.at(i).var_group == group && list.at(i).var_id == id)
                return true;
        return false;
    }

    void queue_once_read(const HOST_VAR &where, int group, int id) const {
        RW_VAR record;
        record.var_group = group;
        record.var_id = id;
        record.area_no = PLC_driver->com_info->local_area_no;
        record.host_ref3 = PLC_driver->com_info->remote_mode;
        record.reg_type = where.reg_type;
        record.addr_text = where.addr_text;
        record.station_no = where.station_no;
        record.reg_count = where.reg_count;
        AddListOnceReadVar(&record, parse_and_cut);
    }

    bool is_cached(int reg_type, unsigned int key) const {
        const int register_class = class_of(reg_type);
        if (register_class < words_7)
            return PLC_driver->bit_cache.contains(key);
        return register_class == double_words_13 ? PLC_driver->dword_cache.contains(key)
                                                 : PLC_driver->word_cache.contains(key);
    }

    static bool is_in(const RW_VAR &block, int address) {
        return address >= block.reg_addr && address - block.reg_addr < block.reg_count;
    }

    bool is_torn(const HOST_VAR &variable, const QList<RW_VAR> &blocks) const {
        if (variable.reg_type != pairs_of_7 && variable.reg_type != pairs_of_8)
            return false;
        const int address = PLCAddressChangeIntef(variable.reg_type, variable.addr_text);
        const int split = variable.reg_type == pairs_of_7 ? 8000 : 256;
        for (int high = address; address >= 0 && high < address + variable.reg_count; high += 2) {
            bool polled = false, whole = false;
            for (int i = 0; i < static_cast<int>(blocks.size()); ++i) {
                const RW_VAR &block = blocks.at(i);
                if (block.station_no != station_of(variable) || block.reg_type != class_of(variable.reg_type))
                    continue;
                polled = polled || is_in(block, high) || is_in(block, high + 1);
                whole = whole || (is_in(block, high) && is_in(block, high + 1) && high + 1 != split);
            }
            if (polled && !whole)
                return true;
        }
        return false;
    }
};

/// The reply that no controller gives to a broadcast: a request to station 0 is carried out by all and answered by
/// none, and so would be given up. A host that sends a write to station 0 waits for the controllers' turnaround and
/// passes this to DataCom instead of nothing. Empty for what cannot be broadcast: reads, and bits in registers (types
/// 15 to 17), which begin with a read; for those pass no reply.
inline QByteArray broadcast_reply(const Protocol &request) {
    const QByteArray &frame = request.frame;
    if (request.var.station_no != 0 || frame.size() < 8 || request.reply_len != 8)
        return QByteArray();
    const int function = static_cast<unsigned char>(frame.at(1));
    if (function != 5 && function != 15 && function != 16)
        return QByteArray();
    QByteArray reply = frame.left(6);
    unsigned int crc = 0xFFFF;
    for (int i = 0; i < 6; ++i) {
        crc ^= static_cast<unsigned char>(reply.at(i));
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0xA001U : crc >> 1;
    }
    reply.append(static_cast<char>(crc & 0xFFU));
    reply.append(static_cast<char>(crc >> 8));
    return reply;
}

#ifdef OZNA_KELPO_LINKED
/// The driver of a host that is linked against the library. Such a host defines OZNA_KELPO_LINKED before it includes
/// this header; one that loads the driver does not.
inline Driver linked_driver() {
    Driver driver;
    driver.SetComInfo = ::SetComInfo;
    driver.RegistCallBackFuncIntf = ::RegistCallBackFuncIntf;
    driver.FlashLocalRegister = ::FlashLocalRegister;
    driver.QueryFinishFlag = ::QueryFinishFlag;
    driver.EnableEthernet = ::EnableEthernet;
    driver.EnCommStation = ::EnCommStation;
    driver.ComCommunication = ::ComCommunication;
    driver.DataCom = ::DataCom;
    driver.PLCAddressChangeIntef = ::PLCAddressChangeIntef;
    driver.AddListReadVar = ::AddListReadVar;
    driver.AddListWriteVar = ::AddListWriteVar;
    driver.AddListOnceReadVar = ::AddListOnceReadVar;
    driver.ReCreatReadVarList = ::ReCreatReadVarList;
    driver.GetRegisterData = ::GetRegisterData;
    driver.SetRegisterData = ::SetRegisterData;
    driver.PLC_driver = &::PLC_driver;
    return driver;
}
#endif

/// The driver, loaded while the host runs, as a panel loads it. Nothing here takes a lock: load and unload from one
/// thread, while no other uses the driver.
class LoadedDriver : public Driver {
public:
    LoadedDriver() : Driver(), handle_(0), copy_(-1), is_copy_(false) {}

    /// Unloads the driver. No other thread may be inside it, and no record of it may be used afterwards.
    ~LoadedDriver() {
        unload();
    }

    /// Loads `file`: a path, or a name without a slash, which is searched where the dynamic loader searches. One file
    /// gives one driver, and one driver serves one line: false, with error() set, when this process has loaded it
    /// already. Also false when it cannot be loaded, is not a driver, uses another major version of Qt than this host,
    /// or is of another major version than these headers or older than they are.
    bool load(const QByteArray &file = OZNA_KELPO_LIBRARY) {
        unload();
        is_copy_ = false;
        asked_for_ = file;
        return is_alone() && open_library(file, 0) && look_up_all();
    }

    /// As load(), but loads a private copy of the file, kept in memory or in a temporary file that has no name any
    /// more: a second line in this process is a second LoadedDriver with load_copy(). Works together with a driver that
    /// was loaded by load(), and with other copies.
    bool load_copy(const QByteArray &file = OZNA_KELPO_LIBRARY) {
        unload();
        is_copy_ = true;
        asked_for_ = file;
        if (!open_library(file, 0))
            return false;
        copy_ = copied(loaded_from_, file_.mid(file_.lastIndexOf('/') + 1));
        dlclose(handle_);
        handle_ = 0;
        if (copy_ < 0)
            return give_up(file_ + ": cannot be copied: " + text(std::strerror(errno)));
        // The name of an open file is its own as long as the file is open: the loader takes no other file for it.
        return open_library("/proc/self/fd/" + QByteArray::number(copy_), flags_of_copy()) && look_up_all();
    }

    /// Unloads the driver and loads it again as it was: SetComInfo clears nothing, so this is the way to begin with
    /// empty queues, an empty cache and all stations on. The link must be idle; afterwards everything must be set up
    /// again, from SetComInfo on. False, with error() set, when the file cannot be loaded any more, or when something
    /// else in the process keeps it loaded.
    bool start_over() {
        const QByteArray file = asked_for_;
        return is_copy_ ? load_copy(file) : load(file);
    }

    /// Unloads the driver, if one is loaded.
    void unload() {
        if (handle_ != 0)
            dlclose(handle_);
        if (copy_ >= 0)
            close(copy_);
        handle_ = 0;
        copy_ = -1;
        error_.clear();
        static_cast<Driver &>(*this) = Driver();
    }

    bool is_loaded() const {
        return handle_ != 0;
    }

    /// Why the last load failed, with the file, and what was wrong where. Empty when it did not.
    const QByteArray &error() const {
        return error_;
    }

    /// Path of the file that was loaded, or from which the copy was made, without links.
    const QByteArray &file() const {
        return file_;
    }

    /// Version of the library, from the name of its file: "1.0.0"; shorter if the name says less; empty if it says
    /// nothing.
    const QByteArray &version() const {
        return version_;
    }

    /// Version of the Qt that the library uses: "5.15.8".
    const QByteArray &qt_version() const {
        return qt_version_;
    }

private:
    LoadedDriver(const LoadedDriver &);
    LoadedDriver &operator=(const LoadedDriver &);

    bool give_up(const QByteArray &why) {
        unload();
        error_ = why;
        return false;
    }

    bool is_alone() {
        void *const other = dlopen(asked_for_.constData(), RTLD_NOW | RTLD_NOLOAD);
        const bool is_driver = other != 0 && dlsym(other, "SetComInfo") != 0;
        if (other != 0)
            dlclose(other);
        if (!is_driver)
            return dlsym(RTLD_DEFAULT, "PLC_driver") == 0 || give_up(asked_for_ + ": " + in_global_scope());
        return give_up(asked_for_ + ": this process has it already, and one driver serves one line; load a copy of it");
    }

    static QByteArray text(const char *words) {
        return words != 0 ? QByteArray(words) : QByteArray("no reason is given");
    }

    static QByteArray in_global_scope() {
        return "this process has a driver that all its libraries see (linked, or loaded with RTLD_GLOBAL)";
    }

    // If a driver is visible to all libraries, a copy would use its state.
    static int flags_of_copy() {
#ifdef RTLD_DEEPBIND
        return dlsym(RTLD_DEFAULT, "PLC_driver") != 0 ? RTLD_DEEPBIND : 0;
#else
        return 0;
#endif
    }

    // Into handle_; reads what the file says about itself.
    bool open_library(const QByteArray &file, int flags) {
        if (!names_qt_of_host(file))
            return false;
        handle_ = dlopen(file.constData(), RTLD_NOW | RTLD_LOCAL | flags);
        if (handle_ == 0)
            return give_up("cannot load the driver: " + text(dlerror()));
        void *const known = dlsym(handle_, "SetComInfo");
        Dl_info where;
        if (known == 0 || dladdr(known, &where) == 0 || where.dli_fname == 0)
            return give_up(file + ": is not a driver: it has no symbol SetComInfo");
        if (copy_ < 0) {
            loaded_from_ = where.dli_fname;
            file_ = without_links(loaded_from_);
            version_ = version_in(file_);
        }
        return fits_qt() && fits_version();
    }

    // The loader may take a copy for the library that is requested by name alone. A copy has no path, but its link
    // holds the name of the file that it was made of.
    static QByteArray without_links(const QByteArray &path) {
        char *const resolved = realpath(path.constData(), 0);
        if (resolved != 0) {
            const QByteArray result(resolved);
            std::free(resolved);
            return result;
        }
        char link[256];
        const ssize_t length = readlink(path.constData(), link, sizeof link);
        if (length <= 0)
            return path;
        QByteArray name(link, static_cast<int>(length));
        name.replace("/memfd:", "").replace(" (deleted)", "");
        return name;
    }

    static QByteArray version_in(const QByteArray &file) {
        const int end = static_cast<int>(file.lastIndexOf(".so."));
        return end < 0 ? QByteArray() : file.mid(end + 4);
    }

    // Loading a driver of another Qt can crash the process, if the two Qts have symbols of the same names. So the
    // library's own list of what it needs is checked before, if the file is found.
    bool names_qt_of_host(const QByteArray &file) {
        static const char *const names[] = {"libQtCore.so.4", "libQt5Core.so.5", "libQt6Core.so.6"};
        const int first = 4, majors = 3;
        const QByteArray path = path_of(file);
        QFile library(QFile::decodeName(path));
        if (path.isEmpty() || !library.open(QIODevice::ReadOnly))
            return true;
        const QByteArray content = library.readAll();
        const QByteArray of_host = qVersion();
        for (int i = 0; i < majors; ++i)
            if (content.contains(names[i]) && of_host.at(0) != '0' + first + i)
                return give_up(path + ": was built for Qt " + QByteArray::number(first + i) + ", this host uses Qt " +
                               of_host);
        return true;
    }

    // Where the dynamic loader finds `file`. Empty when it is in none of the loader's folders.
    static QByteArray path_of(const QByteArray &file) {
        if (file.contains('/'))
            return file;
        QByteArray path;
#if defined __GLIBC__ && !defined __UCLIBC__
        Dl_serinfo size;
        void *const program = dlopen(0, RTLD_LAZY);
        if (program == 0 || dlinfo(program, RTLD_DI_SERINFOSIZE, &size) != 0)
            return path;
        Dl_serinfo *const folders = static_cast<Dl_serinfo *>(std::malloc(size.dls_size));
        if (folders != 0 && dlinfo(program, RTLD_DI_SERINFOSIZE, folders) == 0 &&
            dlinfo(program, RTLD_DI_SERINFO, folders) == 0)
            for (unsigned int i = 0; i < folders->dls_cnt && path.isEmpty(); ++i) {
                path = QByteArray(folders->dls_serpath[i].dls_name) + '/' + file;
                if (access(path.constData(), R_OK) != 0)
                    path.clear();
            }
        std::free(folders);
        dlclose(program);
#endif
        return path;
    }

    bool fits_qt() {
        const char *(*qt_of_library)() = 0;
        if (!look_up("qVersion", qt_of_library) && !look_up("_Z8qVersionv", qt_of_library))  // of Qt 4
            return give_up(file_ + ": is not a driver for this host: it does not use Qt's shared core library");
        qt_version_ = qt_of_library();
        const QByteArray of_host = qVersion();
        if (qt_version_.left(qt_version_.indexOf('.')) == of_host.left(of_host.indexOf('.')))
            return true;
        return give_up(file_ + ": was built for Qt " + qt_version_ + ", this host uses Qt " + of_host);
    }

    bool fits_version() {
        const QList<QByteArray> numbers = version_.split('.');
        bool is_number = false;
        const int major = numbers.at(0).toInt(&is_number);
        if (!is_number)
            return true;
        const int minor = numbers.size() > 1 ? numbers.at(1).toInt() : static_cast<int>(OZNA_KELPO_VERSION_MINOR);
        if (major == OZNA_KELPO_VERSION_MAJOR && minor >= OZNA_KELPO_VERSION_MINOR)
            return true;
        return give_up(file_ + ": is version " + version_ + ", this host was built for " +
                       QByteArray::number(OZNA_KELPO_VERSION_MAJOR) + '.' +
                       QByteArray::number(OZNA_KELPO_VERSION_MINOR) + '.' +
                       QByteArray::number(OZNA_KELPO_VERSION_PATCH));
    }

    // C++98 has no cast from a pointer to data to one to a function.
    template <typename Pointer> bool look_up(const char *name, Pointer &pointer) {
        void *const symbol = dlsym(handle_, name);
        std::memcpy(&pointer, &symbol, sizeof symbol);
        return symbol != 0;
    }

    template <typename Pointer> bool need(const char *name, Pointer &pointer) {
        return look_up(name, pointer) || give_up(file_ + ": is not a usable driver: it has no symbol " + name);
    }

    bool look_up_all() {
        return need("SetComInfo", SetComInfo) && need("RegistCallBackFuncIntf", RegistCallBackFuncIntf) &&
               need("FlashLocalRegister", FlashLocalRegister) && need("QueryFinishFlag", QueryFinishFlag) &&
               need("EnableEthernet", EnableEthernet) && need("EnCommStation", EnCommStation) &&
               need("ComCommunication", ComCommunication) && need("DataCom", DataCom) &&
               need("PLCAddressChangeIntef", PLCAddressChangeIntef) && need("AddListReadVar", AddListReadVar) &&
               need("AddListWriteVar", AddListWriteVar) && need("AddListOnceReadVar", AddListOnceReadVar) &&
               need("ReCreatReadVarList", ReCreatReadVarList) && need("GetRegisterData", GetRegisterData) &&
               need("SetRegisterData", SetRegisterData) && need("PLC_driver", PLC_driver) && is_fresh();
    }

    // True when the state that the calls work on is this library's own, and nobody has used it.
    bool is_fresh() {
        const int nobody = 0x7FFFFFFF;
        EnableEthernet(nobody, station_off);
        const bool is_own = is_off(nobody);
        EnableEthernet(nobody, station_on);
        if (!is_own)
            return give_up(file_ + ": its calls work on another driver's state: " + in_global_scope());
        return PLC_driver->com_info == 0 || give_up(file_ + ": something else in this process uses it");
    }

    // An open file with the bytes of `file`, known by `name`; below 0 when there is none, errno says why.
    static int copied(const QByteArray &file, const QByteArray &name) {
        const int from = open(file.constData(), O_RDONLY | O_CLOEXEC);
        if (from < 0)
            return -1;
        int to = memory_file(name.constData());
        if (to < 0)
            to = temporary_file();
        if (to >= 0 && !all_copied(from, to)) {
            const int why = errno;
            close(to);
            to = -1;
            errno = why;
        }
        close(from);
        return to;
    }

    static int memory_file(const char *name) {
#ifdef SYS_memfd_create
        const unsigned int close_on_exec = 1U;
        return static_cast<int>(syscall(SYS_memfd_create, name, close_on_exec));
#else
        static_cast<void>(name);
        return -1;
#endif
    }

    static int temporary_file() {
        const char *const folder = std::getenv("TMPDIR");
        QByteArray path = QByteArray(folder != 0 && *folder != '\0' ? folder : "/tmp") + "/ozna_kelpo_XXXXXX";
        const int file = mkstemp(path.data());
        if (file >= 0) {
            unlink(path.constData());
            fcntl(file, F_SETFD, FD_CLOEXEC);
        }
        return file;
    }

    static bool all_copied(int from, int to) {
        char buffer[16384];
        for (;;) {
            const ssize_t got = ::read(from, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return got == 0;
            for (ssize_t put = 0; put < got;) {
                const ssize_t written = ::write(to, buffer + put, static_cast<size_t>(got - put));
                if (written > 0)
                    put += written;
                else if (errno != EINTR)
                    return false;
            }
        }
    }

    void *handle_;
    int copy_;  // the open file that a copy was loaded from
    bool is_copy_;
    QByteArray asked_for_, loaded_from_, file_, version_, qt_version_, error_;
};

}  // namespace ozna_kelpo

#endif
