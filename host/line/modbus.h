#ifndef MODBUS_H
#define MODBUS_H

#include <cstddef>

/// Function codes and sizes of Modbus RTU.
namespace kelpo::modbus {

constexpr int read_coils = 1;
constexpr int read_discrete_inputs = 2;
constexpr int read_holding_registers = 3;
constexpr int read_input_registers = 4;
constexpr int write_coil = 5;
constexpr int write_register = 6;
constexpr int write_coils = 15;
constexpr int write_registers = 16;

/// Set in the function code of an exception.
constexpr int exception_bit = 0x80;

/// Sizes in bytes.
constexpr std::size_t crc_size = 2;
constexpr std::size_t shortest_frame = 4;        ///< station, function, CRC
constexpr std::size_t exception_size = 5;        ///< a good read reply has as many bytes, and its data
constexpr std::size_t read_request_size = 8;     ///< as of a write of one coil or register
constexpr std::size_t acknowledgement_size = 8;  ///< of any write

constexpr bool is_read(int function) {
    return function >= read_coils && function <= read_input_registers;
}

/// Of one coil or register: the acknowledgement is the request, byte for byte.
constexpr bool is_single_write(int function) {
    return function == write_coil || function == write_register;
}

constexpr bool is_write(int function) {
    return is_single_write(function) || function == write_coils || function == write_registers;
}

/// Coils or discrete inputs.
constexpr bool works_on_bits(int function) {
    return function == read_coils || function == read_discrete_inputs || function == write_coil ||
           function == write_coils;
}

}  // namespace kelpo::modbus

#endif
