/// \file
/// What every Modbus RTU request shares: its first four bytes, its CRC, and its place in the frame list.
///
/// A request is composed in PLC_driver.send_buf, header first; the caller holds `list_mutex`.
#ifndef FRAMES_RTU_REQUEST_H
#define FRAMES_RTU_REQUEST_H

#include "Communication_Protocol.h"

/// Modbus function codes that the driver uses.
enum RtuFunction {
    ReadCoils = 1,
    ReadHoldingRegisters = 3,
    WriteSingleCoil = 5,
    WriteSingleRegister = 6,
    WriteMultipleCoils = 15,
    WriteMultipleRegisters = 16
};

/// Writes the header: the low 8 bits of `station_no`, `function`, and the Modbus address of `address` in `type`, high
/// byte first.
void begin_rtu_request(int station_no, RtuFunction function, int type, int address);

/// Ends the `length` bytes composed so far with their CRC, low byte first. Returns the frame as a copy of its own.
QByteArray end_rtu_request(int length);

/// Appends `frame`, sent whole, to the frame list.
void queue_frame(QByteArray frame, int reply_len, int data_offset, int data_len, const RW_VAR &var);

/// Tells the host's block that the request now queued is complete after `good_replies` good replies.
void expect_good_replies(int good_replies);

#endif
