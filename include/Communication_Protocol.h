/* Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT */  /// \file
/// The records that pass between the host and the driver, and the one object that holds all of the driver's state.
///
/// The layout of every record here is part of the binary interface: the order, the types and the names of the fields do
/// not change. `int` is 32 bits wide on every platform the driver is built for. The header compiles as C++98, so that a
/// host built with an old tool chain can use it.
#ifndef COMMUNICATION_PROTOCOL_H
#define COMMUNICATION_PROTOCOL_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMutex>
#include <QtCore/QString>

/// One PLC variable that is to be read or written.
///
/// The host builds it and passes it by pointer or reference; the driver keeps copies. Copies made by assignment carry
/// all fifteen fields.
struct RW_VAR {
    int var_group;  ///< first half of the host's identity of the variable; 0 to 11 also shifts the driver's error codes
    int var_id;     ///< second half of the host's identity; -1 in the entries of the rebuilt read list
    int host_ref2;  ///< write marker: 1 in write records, 0 in read entries
    int host_ref3;  ///< carried unchanged; ComInfo::remote_mode in records that the driver creates
    int area_no;    ///< area (link) number; a number other than ComInfo::local_area_no marks a remote area
    int ret_value;  ///< driver return code, in the record that DataCom returns; 0 elsewhere
    QString aux_text;        ///< a second text of the host's description, carried unchanged and never parsed
    QString addr_text;       ///< the PLC address as text, in the syntax of `reg_type`
    int reg_type;            ///< register type code 0 to 17, or the register class once the driver has folded it
    int reg_addr;            ///< first address within the type, unmapped; register x 16 + bit for types 15 to 17
    int station_no;          ///< PLC station number, byte 0 of a Modbus RTU frame
    int reg_count;           ///< number of units (bits, 16-bit or 32-bit registers, as the type has it)
    int store_mode;          ///< -1 marks the read half of a bit-in-register write, 0 everything else
    int aux_word;            ///< carried unchanged; 0 in records that the driver creates
    QByteArray value_bytes;  ///< the value to write; empty in read entries

    /// All ints 0, texts and bytes empty.
    RW_VAR()
        : var_group(0), var_id(0), host_ref2(0), host_ref3(0), area_no(0), ret_value(0), reg_type(0), reg_addr(0),
          station_no(0), reg_count(0), store_mode(0), aux_word(0) {}
};

/// One request frame that the driver has built and the host is to send.
///
/// Owned by the driver; a pointer to one stays valid until the DataCom call that removes the frame from those in
/// flight.
struct Protocol {
    QByteArray frame;  ///< the request, ready to send
    int send_len;      ///< number of bytes of `frame` to send
    int reply_len;     ///< bytes of the expected reply; -1 accepts any length, 0 means that no reply is expected
    int data_offset;   ///< index of the first data byte in the reply
    int data_len;      ///< number of data bytes in the reply
    RW_VAR var;        ///< a copy of the variable that the frame serves, reduced to the frame's part of it

    /// An empty frame that expects no reply.
    Protocol() : send_len(0), reply_len(0), data_offset(0), data_len(0) {}
};

/// An extension record. The driver keeps a list of them only for the host, and accesses it only at construction.
struct EXTENDVAR {
    int ext_a;
    int ext_b;
    int ext_c;
    QByteArray ext_data;

    /// All ints 0, no data.
    EXTENDVAR() : ext_a(0), ext_b(0), ext_c(0) {}
};

/// The host's configuration and status block of one link: an array of int words, each used at its word index.
///
/// The host allocates and owns it; it must outlive every later call of the driver. The driver keeps the pointer given
/// to SetComInfo, reads and writes the named words in place, and takes no lock for them. The block may be longer than
/// this; words without a name belong to the host and are never touched.
struct ComInfo {
    int host_words_0_to_3[4];
    int max_count;  ///< word 4: most units in one request; SetComInfo lowers it to 100, values below 1 count as 1
    int host_word_5;
    int default_station;  ///< word 6: station of every variable while `multi_station` is 0
    int retry_times;      ///< word 7: failed replies tolerated before a frame is given up
    int retry_count;      ///< word 8: failed replies so far, of all frames together; only a give-up sets it to 0
    int multi_station;    ///< word 9: not 0: each variable keeps its own station
    int state_a;          ///< word 10: set to 0 by SetComInfo
    int success_limit;    ///< word 11: good replies that complete the request in flight
    int success_count;    ///< word 12: good replies of the request in flight
    int state_b;          ///< word 13: set to 0 by SetComInfo
    int remote_mode;      ///< word 14: not 0: requests are remote-station frames instead of Modbus RTU
    int local_area_no;    ///< word 15: this link's own area number
    int write_mode;       ///< word 16: 2: SetRegisterData sends writes to the PLC; else it fills the cache only
    /// word 17: becomes 1 when there is nothing to send, and with the good reply that exceeds the number of blocks of
    /// the read list. Writes and once-reads of this area count too, replies of another area do not; a give-up sets it
    /// to 0 and restarts the count. So it may be set while blocks are unread, or never: it does not prove that
    /// everything was read. Stays 1 until a rebuild, a give-up, or the host sets it to 0; the driver changes it with
    /// `list_mutex` held.
    int finish_flag;
    int channel_id;  ///< word 18: first argument of the write-result callback
};

/// Host callback: a write or a once-read has ended.
/// Arguments: ComInfo::channel_id, RW_VAR::var_group, RW_VAR::var_id, status (1 = done, 2 = failed).
typedef void (*write_result_fn)(int, int, int, int);

/// Host callback: a frame was given up.
/// Arguments: an empty list made for the call and never read back, RW_VAR::var_group of the variable given up, 1.
typedef void (*comm_error_fn)(QList<RW_VAR> *, int, int);

/// The driver's whole state. The library holds the only instance, PLC_driver; there is no handle and no second one.
///
/// Locks: `list_mutex` guards the variable lists, the building of frames, `last_op` and the counters; `cache_mutex` the
/// three caches; `station_mutex` the set of disabled stations. If two are held, `list_mutex` is taken first. None is
/// recursive. The host may look at the members, but must hold the lock that guards what it looks at while other
/// threads use the driver.
class Communication_Protocol {
public:
    /// Empty lists, caches and station set; `last_op` 100; counters and flags 0; `send_buf` all 0; null pointers.
    Communication_Protocol();

    /// The register class that shares one address space with `type`: 12 and 15 belong to 7, 14 and 16 to 8, 17 to 11;
    /// every other value, including those outside 0 to 17, is its own class. Uses no state.
    int get_plc_reg(int type);

    /// Replaces `reg_type` of `var` by its class and adjusts `reg_count` to the units of that class: rounded up to an
    /// even number for types 12 and 14, halved (rounding up) for type 13. Not idempotent for type 13: a record must
    /// pass through here exactly once. Uses no state.
    void update_info(RW_VAR *var);

    /// Replaces `address` of register type `type` by the Modbus address that it means (see docs/address-map.md). A type
    /// outside 0 to 17 leaves it unchanged. For types 15 to 17 the caller passes the register, not register x 16 + bit.
    /// Plain 32-bit addition, never an error. Uses no state.
    void get_offset_address(int type, int &address);

    ComInfo *com_info;                 ///< the host's block; null until SetComInfo
    QList<RW_VAR> read_list;           ///< cyclic read list; the head is served, then moved to the end
    QList<RW_VAR> write_list;          ///< write queue, first in first out, at most 1024 entries
    QList<RW_VAR> once_read_list;      ///< variables to be read once
    QList<RW_VAR> read_source_list;    ///< empty; the driver neither fills nor reads it
    QList<Protocol> frame_list;        ///< frames in flight; the head is the one being sent
    QList<EXTENDVAR> extend_list;      ///< empty; the driver neither fills nor reads it
    write_result_fn write_result_cb;   ///< null until RegistCallBackFuncIntf
    comm_error_fn comm_error_cb;       ///< null until RegistCallBackFuncIntf
    QMutex list_mutex;                 ///< see above; taken before the other two
    QMutex cache_mutex;                ///< see above
    QMutex station_mutex;              ///< see above
    QMap<int, int> disabled_stations;  ///< key: a disabled station; value: always 0
    RW_VAR ret_var;                    ///< result record of DataCom
    int last_op;                       ///< request built last: 1 write, 2 once-read, 0 cyclic read, 100 none yet
    int write_tries;                   ///< write requests built in a row
    int once_read_tries;               ///< once-read requests built in a row
    int read_pass_count;               ///< cyclic reads completed in this pass over `read_list`
    bool comm_failed;                  ///< true from a give-up to the next good reply
    bool spare_flag;                   ///< false; no use
    RW_VAR fail_var;                   ///< variable of the frame given up last
    unsigned char send_buf[1024];      ///< scratch in which Modbus RTU requests are composed; under `list_mutex`
    QHash<unsigned int, unsigned char> bit_cache;    ///< bits (0 or 1) by (station << 24 | class << 16 | address)
    QHash<unsigned int, unsigned short> word_cache;  ///< 16-bit registers, same key
    QHash<unsigned int, unsigned int> dword_cache;   ///< 32-bit registers, same key
};

/// The driver's state, built when the library is loaded and destroyed when it is unloaded.
extern Communication_Protocol PLC_driver;

/// The host's local bit memory, local word memory and third area, as passed to FlashLocalRegister; owned by the host
/// and never accessed by the driver. Null until then.
extern void *LB;
extern void *LW;
extern void *RWI;

#endif
