/// \file
/// Where the fields of Modbus RTU frames are, and how long frames are, each defined once.
#ifndef FRAME_LAYOUT_H
#define FRAME_LAYOUT_H

/// \name Every frame begins with these and ends with a CRC.
/// @{
const int station_at = 0;
const int function_at = 1;
const int crc_length = 2;
/// @}

/// \name Requests
/// @{
const int address_at = 2;
const int quantity_at = 4;  ///< number of units, or the value of a single write
const int byte_count_at = 6;
const int write_data_at = 7;
/// @}

/// \name Single writes: a coil or a register
/// @{
const int single_value_at = quantity_at;
const int single_write_crc_at = 6;
const int single_write_length = single_write_crc_at + crc_length;
/// @}

/// \name Replies
/// @{
const int reply_data_at = 3;                                 ///< after station, function and byte count
const int read_reply_overhead = reply_data_at + crc_length;  ///< all but the data
const int write_reply_length = 8;                            ///< station, function, address, quantity or value, CRC
const int shortest_reply = 5;
/// @}

#endif
