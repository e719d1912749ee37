"""Reads the same blocks of several stations again and again with another library, as a simple program does: one read
after the other, with the time-out and the number of tries that the library has by default.
    peer_loops.py libmodbus|pymodbus LINE REGISTERS STATION,... BLOCK,..."""
import ctypes
import ctypes.util
import logging
import sys

SPEED = 19200


def libmodbus_reader(path, registers):
    library = ctypes.CDLL(ctypes.util.find_library("modbus"))
    library.modbus_new_rtu.restype = ctypes.c_void_p
    library.modbus_new_rtu.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.c_char, ctypes.c_int, ctypes.c_int]
    for name in ("modbus_connect", "modbus_flush"):
        getattr(library, name).argtypes = [ctypes.c_void_p]
    library.modbus_set_slave.argtypes = [ctypes.c_void_p, ctypes.c_int]
    library.modbus_read_registers.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_int, ctypes.c_void_p]
    context = library.modbus_new_rtu(path.encode(), SPEED, b"N", 8, 1)
    library.modbus_set_slave(context, 1)
    if not context or library.modbus_connect(context) != 0:
        sys.exit(f"{path}: libmodbus cannot open the line")
    values = (ctypes.c_uint16 * registers)()

    def read(station, block):
        library.modbus_set_slave(context, station)
        if library.modbus_read_registers(context, block, registers, values) != registers:
            library.modbus_flush(context)
    return read


def pymodbus_reader(path, registers):
    from pymodbus.client import ModbusSerialClient
    logging.getLogger("pymodbus").setLevel(logging.CRITICAL + 1)
    client = ModbusSerialClient(path, baudrate=SPEED, parity="N", stopbits=1)
    if not client.connect():
        sys.exit(f"{path}: pymodbus cannot open the line")

    def read(station, block):
        client.read_holding_registers(block, registers, station)
    return read


def main():
    which, path, registers, stations, blocks = sys.argv[1:]
    read = {"libmodbus": libmodbus_reader, "pymodbus": pymodbus_reader}[which](path, int(registers))
    places = [(int(station), int(block)) for station in stations.split(",") for block in blocks.split(",")]
    while True:
        for station, block in places:
            read(station, block)


if __name__ == "__main__":
    main()
