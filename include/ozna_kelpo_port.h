/* Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT */  /// \file
/// The functions of libozna_kelpo_port_2.so.1 that a host calls.
///
/// Those in the extern "C" block are exported under their bare names and meant for lookup by name (dlsym); the others
/// are exported under C++ names. Value bytes are low byte first, 16-bit and 32-bit values alike, in every call here.
/// Nothing throws: what gets no memory is not done, and the results say so (docs/decisions.md). docs/host-guide.md says
/// what calls with extreme counts cost. Pointers must be valid; SetComInfo and RegistCallBackFuncIntf come before
/// everything else.
#ifndef OZNA_KELPO_PORT_H
#define OZNA_KELPO_PORT_H

#include "Communication_Protocol.h"
#include "ozna_kelpo_constants.h"

#include <QtCore/QtGlobal>

/// The host's record of one polled variable, as ReCreatReadVarList reads it. The host declares and owns it; the driver
/// only reads it, so its memory layout is part of the binary interface.
struct HOST_VAR {
    signed char host_byte_0;   ///< the host's own
    unsigned char reg_type;    ///< register type code 0 to 17
    unsigned char station_no;  ///< station, used while ComInfo::multi_station is not 0
    signed char host_byte_3;   ///< the host's own
    int host_word_4;           ///< the host's own
    QString addr_text;         ///< the PLC address, in the syntax of its register type
    QString aux_text;          ///< a second text, carried into the read entry unparsed
    int reg_count;             ///< number of units to read
};

extern "C" {

/// \name Configuration, while the link is idle; no lock is taken
/// @{

/// Keeps `info` as long as the driver is loaded, sets its state_a and state_b to 0 and lowers max_count to 100 when it
/// is larger (values of 100 and below, including negative ones, stay). The host keeps ownership.
void SetComInfo(ComInfo *info);

/// Keeps the host's two callbacks. Both are called with `list_mutex` held: they must not call anything that takes it.
void RegistCallBackFuncIntf(write_result_fn write_result, comm_error_fn comm_error);

/// Stores the host's memories in LB, LW and RWI, in that order. The host keeps ownership.
void FlashLocalRegister(void *local_bits, void *local_words, void *third_area);

/// Always 1. The driver's own flag is ComInfo::finish_flag, which this deliberately does not read.
int QueryFinishFlag();

/// @}
/// \name Stations, from any thread; takes `station_mutex`
/// @{

/// Changes the set of disabled stations: `station` below 0 empties it with any `mode`; `mode` 0 disables the station, 1
/// enables it, any other does nothing. Writes and once-reads of a disabled station are dropped, its cyclic reads are
/// skipped; a frame already in flight is not affected.
void EnableEthernet(int station, int mode);

/// The same operation as EnableEthernet, under a second name.
void EnCommStation(int station, int mode);

/// @}
/// \name The link loop, from one thread
/// @{

/// The frame to send next: the one in flight while there is one, otherwise one newly built. Send `send_len` bytes of
/// its `frame`, then call DataCom. Null when there is nothing to send. The record is the driver's and stays valid until
/// DataCom removes it from those in flight. Takes `list_mutex` when nothing is in flight. Must not run at the same time
/// as DataCom.
Protocol *ComCommunication();

/// Judges the reply to the frame in flight. `reply` holds the received bytes, `length` is their number, 0 when nothing
/// came. Returns the driver's result record, overwritten by the next call, whose `ret_value` is the driver return code
/// (docs/host-guide.md lists them). Only `ret_value` counts after a good reply. Takes `list_mutex` and `cache_mutex`.
RW_VAR *DataCom(QByteArray *reply, int length);

/// @}
/// \name Variables
/// @{

/// The address that `text` names in register type `type`, or a negative value (-1 when it does not parse). Registers
/// nothing; from any thread.
int PLCAddressChangeIntef(int type, QString text);

/// Appends a copy of `var` to the cyclic read list and returns the list's size. Takes no lock: must not run at the same
/// time as ReCreatReadVarList or the link loop. Nothing is parsed; `reg_type` is a class and `reg_addr` an address, as
/// in the entries of ReCreatReadVarList, whose next call discards this one.
int AddListReadVar(RW_VAR *var);

/// Queues a copy of the write record `var` as it is, unless 1024 writes wait already, and returns the size of the write
/// queue. A full queue drops the write without a report. SetRegisterData makes such records. Takes `list_mutex`.
int AddListWriteVar(RW_VAR *var);

/// Queues `var` to be read once and returns the size of the once-read queue. With `mode` 1 a copy of the record is
/// queued as it is. With any other `mode` its `addr_text` is parsed and the variable cut into pieces of at most
/// max_count units, each queued unless an equal one, or 1024 requests, wait already; `var` is then left with its class,
/// the parsed station, and the count of the last piece and the address after it. Returns 0, with `var` unchanged, when
/// the address does not parse. The end of each piece is reported to the write-result callback. Takes `list_mutex`.
int AddListOnceReadVar(RW_VAR *var, int mode);

/// Replaces the cyclic read list by block reads that cover `vars`. Returns the number of blocks. An item whose address
/// does not parse is skipped. From any thread; takes `list_mutex`. `vars` is only read.
int ReCreatReadVarList(QList<HOST_VAR> *vars);

/// @}
/// \name Values, from any thread
/// @{

/// Replaces `out` by the cached value of `count` units at `address` and returns 1, or by 2 x `count` zero bytes and
/// returns 0 when the address text does not parse. Layout of `out`: one byte (0 or 1) per bit for types 0 to 6 and 15
/// to 17; two bytes per register for 7 to 11; four bytes per value, (count + 1) / 2 values, for 12 to 14. A value that
/// was never read or written is 0. Never waits for the line. `text` is not used. Takes `cache_mutex`.
int GetRegisterData(QString text, int reg_type, QString address, int station_no, QByteArray &out, int count);

/// Writes `count` units of `data`, laid out as GetRegisterData gives them, at `address`, and returns the size of the
/// write queue, or 0 when the address text does not parse. With ComInfo::write_mode 2 the writes are queued for the
/// PLC, cut to what one request may carry; with any other mode they only fill the cache. Queued writes reach the cache
/// when their request is built, or at once while the link has failed. Values for which `data` has no bytes are written
/// as bytes 0x30. Type 0 is not writable; with it, and with a type outside 0 to 17, nothing is written. A full queue
/// drops what does not fit without a report. `text` is kept in the records' `aux_text`; `var_group` and `var_id` are
/// passed to the callbacks. Takes `list_mutex` and `cache_mutex`, one after the other; with a `write_mode` other than 2
/// only `cache_mutex`. If nothing was queued, the size is the present one, or, while another call holds `list_mutex`,
/// that after the queue's last change: the call does not wait for the size, so a callback may make it with such a
/// `write_mode`.
int SetRegisterData(QString text, int reg_type, QString address, int station_no, QByteArray data, int count,
                    int var_group, int var_id);

/// @}
}

/// True while the station is disabled. Takes `station_mutex`; from any thread.
bool Ethernetcontains(int station);

/// Appends "yyyy.MM.dd.hh:mm:ss.z:msg" (local time, milliseconds without leading zeros) and a line end to
/// /tmp/debug.log. `msg` is Latin-1 and zero-terminated, the file is UTF-8. The driver never calls it; a host may
/// install it as, or call it from, its Qt message handler. Calls are not serialised. If the file cannot be opened, or
/// is not a regular file (a link, a pipe), the message is dropped without a report.
void customMessageHandler(QtMsgType type, const char *msg);

/// The address that `text` names in register type `type`: octal for types 0 and 1; decimal less 200 (at least 200) for
/// 13; "word.bit" as word x 16 + bit for 15 to 17; decimal for every other value. -1 when the text does not parse;
/// negative numbers are returned unchanged and refused by every caller. No state, any thread.
int StringAddressToInt(int type, QString text);

/// Appends `var` to `out`, cut into pieces of at most `limit` units when `total`, its number of units, is larger than
/// that; a `limit` below 1 counts as 1. `var` keeps the address and count of the last piece. Touches only its
/// arguments.
void WhetherGroup(int total, int limit, RW_VAR *var, QList<RW_VAR> *out);

#endif
