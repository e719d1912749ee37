/// \file
/// What the three panels of this folder have in common: the variables that they poll, and the figures that they print.
/// Each polls the same variables over the same line, and repeats a request without a good reply up to twice:
/// driver_panel.cpp with the driver, libmodbus_panel.cpp with libmodbus, qmodbus_panel.cpp with Qt's QModbusClient.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// One variable, with its address for the driver and its Modbus address.
struct PanelVariable {
    int type;            ///< type 4: bits, 7: 16-bit registers, 12: 32-bit values in two registers
    int address;         ///< within the type
    int units;           ///< bits or 16-bit registers
    bool coils;          ///< coils, else holding registers
    int modbus_address;  ///< first coil or register
};

/// Thirty variables of station 1. `name` is "groups" (four groups of neighbours, as screens have them) or "scattered"
/// (over 5,000 registers). Throws std::runtime_error for any other name.
std::vector<PanelVariable> panel_variables(const std::string &name);

/// Arguments of the three programs: LINE LIST PASSES, and for the driver's LONGEST. `line` is a tty; its speed is 19200
/// baud, 8 data bits, no parity.
struct PanelTask {
    std::string line;
    std::vector<PanelVariable> variables;
    int passes;   ///< passes over the list that are measured; one more comes before them
    int longest;  ///< most registers in one request
};

/// Throws std::runtime_error for wrong arguments.
PanelTask panel_task(int argc, char **argv);

/// Measures from the end of the first pass to the end of the last.
class PanelStopwatch {
public:
    /// To be called at the end of the first pass.
    void start();

    /// To be called at the end of the last pass: prints the milliseconds and the processor time in microseconds of one
    /// pass, and the resident size of the process in kilobytes, then the values, which hold one number for each bit
    /// and register of the list, in its order.
    void print(int passes, const std::vector<int> &values) const;

private:
    std::chrono::steady_clock::time_point began_;
    double processor_began_ = 0;
};

}  // namespace bench
