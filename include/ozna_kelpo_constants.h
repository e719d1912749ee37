/* Copyright 2026 the ozna kelpo port authors. SPDX-License-Identifier: MIT */  /// \file
/// A name for every number that has a meaning in the driver's interface. Plain C++98; needs nothing, not even Qt.
///
/// The records and the functions keep their `int`s: use an enumerator where the number was.
#ifndef OZNA_KELPO_CONSTANTS_H
#define OZNA_KELPO_CONSTANTS_H

#include "ozna_kelpo_version.h"

namespace ozna_kelpo {

/// Register type codes: RW_VAR::reg_type, HOST_VAR::reg_type, and the calls that take a type. docs/address-map.md has
/// their address texts and their places in the controller. A register class is the type whose addresses it shares.
enum RegisterType {
    bits_0 = 0,            ///< coils, octal addresses; can be read but not written
    bits_1 = 1,            ///< coils, octal addresses
    bits_2 = 2,            ///< coils, written one by one
    bits_3 = 3,            ///< coils, written one by one
    bits_4 = 4,            ///< coils
    bits_5 = 5,            ///< coils
    bits_6 = 6,            ///< coils
    words_7 = 7,           ///< 16-bit registers
    words_8 = 8,           ///< 16-bit registers
    words_9 = 9,           ///< 16-bit registers
    words_10 = 10,         ///< 16-bit registers
    words_11 = 11,         ///< 16-bit registers
    pairs_of_7 = 12,       ///< 32-bit values in two registers of type 7, high half first
    double_words_13 = 13,  ///< 32-bit registers, addresses from 200
    pairs_of_8 = 14,       ///< 32-bit values in two registers of type 8, high half first
    bits_of_7 = 15,        ///< bits "word.bit" in registers of type 7
    bits_of_8 = 16,        ///< bits "word.bit" in registers of type 8
    bits_of_11 = 17,       ///< bits "word.bit" in registers of type 11
    register_types = 18    ///< how many there are
};

/// What PLCAddressChangeIntef and StringAddressToInt return for a text that is not an address. Other negative numbers
/// are not addresses either.
enum { no_address = -1 };

/// ComInfo::write_mode: where SetRegisterData writes to. Every number but 2 means the cache.
enum WriteMode { write_to_cache = 0, write_to_controller = 2 };

/// Second argument of EnableEthernet and EnCommStation. Other numbers do nothing.
enum StationMode {
    station_off = 0,  ///< disables the station
    station_on = 1,   ///< enables it
    any_mode = 7      ///< says that the mode does not matter, together with `all_stations`
};

/// First argument of EnableEthernet and EnCommStation that enables every station, with any mode. So does every number
/// below 0.
enum { all_stations = -1 };

/// Second argument of AddListOnceReadVar. Every number but 1 parses the address text.
enum OnceReadMode {
    parse_and_cut = 0,  ///< the address text is parsed, the variable cut into pieces, the queue kept to its size
    queue_as_it_is = 1  ///< the record unchanged, without a limit to how many wait
};

/// Fourth argument of the write-result callback.
enum RequestStatus { request_done = 1, request_failed = 2 };

/// Third argument of the communication-error callback.
enum { given_up_flag = 1 };

/// How much the driver holds and sends.
enum Limit {
    most_queued = 1024,  ///< entries of the write queue, and of the once-read queue (except for `queue_as_it_is`)
    most_units_per_request = 100,  ///< what SetComInfo lowers ComInfo::max_count to
    most_bits_per_block = 160,     ///< of a polled block
    most_double_words = 50,        ///< 32-bit values in one polled block of type 13, and in one write of types 12 to 14
    most_double_words_modbus = 62,  ///< 32-bit values that one Modbus request can read: it has 125 registers
    most_in_a_row = 5               ///< writes, or once-reads, before a polled block has its turn
};

/// Protocol::reply_len where it is not a length.
enum ReplyLength {
    any_length = -1,  ///< collect until the line is silent
    no_reply = 0      ///< no reply is expected
};

/// RW_VAR::var_group and RW_VAR::var_id of a polled block.
enum { polled_group = 0, polled_id = -1 };

/// RW_VAR::store_mode.
enum StoreMode {
    stored = 0,         ///< the reply fills the cache
    completes_bit = -1  ///< the read half of a write of types 15 to 17: the reply completes the next frame
};

/// RW_VAR::host_ref2.
enum RecordKind { read_record = 0, write_record = 1 };

/// Communication_Protocol::last_op: the request that was built last.
enum LastOperation { cyclic_read_built = 0, write_built = 1, once_read_built = 2, nothing_built = 100 };

/// What is used for value bytes that a write was not given.
enum { missing_byte = 0x30 };

/// Driver return codes: RW_VAR::ret_value of what DataCom returns. The code of a request that was given up is the first
/// of its range plus the `var_group` of its variable, when that is 0 to 11; else the first of its range.
enum ReturnCode {
    code_sent_again = 0,  ///< the reply failed; ComCommunication returns the same frame again
    code_good = 1,        ///< a good reply, or nothing was in flight
    code_check_failed_first = 11,
    code_check_failed_last = 22,
    code_no_reply_first = 41,
    code_no_reply_last = 52,
    code_wrong_length_first = 71,
    code_wrong_length_last = 82,
    code_remote_good = 100,  ///< a good reply of another area; nothing is stored
    code_remote_check_failed_first = 111,
    code_remote_check_failed_last = 122,
    code_remote_no_reply_first = 141,
    code_remote_no_reply_last = 152,
    code_remote_wrong_length_first = 171,
    code_remote_wrong_length_last = 182,
    code_no_outcome = 200,  ///< GetDriverReturnValue returns it for an unknown kind, DataCom never
    code_not_now = 1000     ///< the five bytes with which a controller asks to wait; the frame stays in flight
};

/// Number of groups that have return codes of their own: 0 to 11.
enum { groups_told_apart = 12 };

/// What a driver return code says.
enum Outcome {
    sent_again,    ///< the reply failed, the frame is not given up yet
    good,          ///< the reply was accepted
    check_failed,  ///< given up: station, function or CRC were not right
    silent,        ///< given up: no reply
    wrong_length,  ///< given up: a reply of the wrong length, exceptions included
    not_now,       ///< the controller asked to wait; the frame stays in flight
    unknown_code   ///< not a code of DataCom
};

/// What `ret_value` says, for requests of this area and of another alike.
inline Outcome classify(int ret_value) {
    const int other_area = code_remote_check_failed_first - code_check_failed_first;
    int code = ret_value;
    if (code >= code_remote_check_failed_first && code <= code_remote_wrong_length_last)
        code -= other_area;
    if (code == code_sent_again)
        return sent_again;
    if (code == code_good || code == code_remote_good)
        return good;
    if (code >= code_check_failed_first && code <= code_check_failed_last)
        return check_failed;
    if (code >= code_no_reply_first && code <= code_no_reply_last)
        return silent;
    if (code >= code_wrong_length_first && code <= code_wrong_length_last)
        return wrong_length;
    return code == code_not_now ? not_now : unknown_code;
}

/// True for the three outcomes that end a request without success.
inline bool is_given_up(Outcome outcome) {
    return outcome == check_failed || outcome == silent || outcome == wrong_length;
}

/// True for a code of the remote area: RW_VAR::area_no was not ComInfo::local_area_no.
inline bool is_of_other_area(int ret_value) {
    return ret_value == code_remote_good ||
           (ret_value >= code_remote_check_failed_first && is_given_up(classify(ret_value)));
}

/// The outcome in words, for a log or a status line. Never null.
inline const char *words_of(Outcome outcome) {
    switch (outcome) {
    case sent_again:
        return "the reply failed, the request is sent again";
    case good:
        return "good reply";
    case check_failed:
        return "given up: the check of the reply failed";
    case silent:
        return "given up: no reply";
    case wrong_length:
        return "given up: a reply of the wrong length, or an exception";
    case not_now:
        return "the controller asks to wait";
    case unknown_code:
        break;
    }
    return "not a code of the driver";
}

}  // namespace ozna_kelpo

#endif
