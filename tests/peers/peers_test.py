"""kelpo agrees with other programs: it reads and writes every register type of servers that others wrote, and another
master reads from the simulated controller what kelpo reads.

Run by the build with the programs in the environment: KELPO, KELPO_PLC, DRIVER, LIBMODBUS_SERVER.
"""
import asyncio
import logging
import os
import pty
import select
import subprocess
import tempfile
import threading
import tty
import unittest

from pymodbus.datastore import ModbusSequentialDataBlock, ModbusServerContext, ModbusSlaveContext

try:
    from pymodbus.server import ModbusSerialServer
except ImportError:  # pymodbus 3.0
    from pymodbus.server.async_io import ModbusSerialServer

# A server that is asked to stop reports that as an error.
logging.getLogger("pymodbus").setLevel(logging.CRITICAL)

STATION = 7
COILS, REGISTERS = "coil", "register"

# register type, address text, table, Modbus address, the server's values, what kelpo shows
READS = [
    (0, "17", COILS, 1215, [1], "1"),
    (1, "17", COILS, 15, [1], "1"),
    (2, "100", COILS, 2100, [1], "1"),
    (2, "2048", COILS, 12000, [1], "1"),
    (3, "10", COILS, 4410, [1], "1"),
    (3, "256", COILS, 30000, [1], "1"),
    (4, "5", COILS, 6005, [1], "1"),
    (5, "5", COILS, 8005, [1], "1"),
    (6, "5", COILS, 9205, [1], "1"),
    (7, "100", REGISTERS, 100, [4711], "4711"),
    (7, "8000", REGISTERS, 50000, [65535], "65535"),
    (8, "10", REGISTERS, 8010, [815], "815"),
    (8, "256", REGISTERS, 12000, [816], "816"),
    (9, "8", REGISTERS, 9008, [817], "817"),
    (10, "8", REGISTERS, 9508, [818], "818"),
    (11, "9", REGISTERS, 8509, [819], "819"),
    (12, "40", REGISTERS, 40, [0x0001, 0x0002], "65538"),
    (13, "204", REGISTERS, 9708, [0xFFFF, 0xFFFE], "4294967294"),
    (14, "20", REGISTERS, 8020, [0x1234, 0x5678], "305419896"),
    (15, "5.3", REGISTERS, 5, [0x0008], "1"),
    (16, "6.12", REGISTERS, 8006, [0x1000], "1"),
    (17, "7.0", REGISTERS, 8507, [0x0001], "1"),
]

# register type, address text, value, table, Modbus address, values before, values after; the neighbours do not change
WRITES = [
    (1, "27", "1", COILS, 23, [0], [1]),
    (2, "110", "1", COILS, 2110, [0], [1]),
    (2, "2050", "1", COILS, 12002, [0], [1]),
    (3, "20", "1", COILS, 4420, [0], [1]),
    (3, "260", "1", COILS, 30004, [0], [1]),
    (4, "15", "1", COILS, 6015, [0], [1]),
    (5, "15", "1", COILS, 8015, [0], [1]),
    (6, "15", "0", COILS, 9215, [1], [0]),
    (7, "200", "4660", REGISTERS, 200, [1], [0x1234]),
    (7, "8010", "1", REGISTERS, 50010, [2], [1]),
    (8, "20", "-1", REGISTERS, 8020, [3], [65535]),
    (8, "260", "77", REGISTERS, 12004, [4], [77]),
    (9, "18", "78", REGISTERS, 9018, [5], [78]),
    (10, "18", "79", REGISTERS, 9518, [6], [79]),
    (11, "19", "80", REGISTERS, 8519, [7], [80]),
    (12, "50", "65538", REGISTERS, 50, [0, 0], [1, 2]),
    (13, "214", "4294967294", REGISTERS, 9728, [0, 0], [0xFFFF, 0xFFFE]),
    (14, "30", "305419896", REGISTERS, 8030, [0, 0], [0x1234, 0x5678]),
    (15, "15.3", "1", REGISTERS, 15, [0xA000], [0xA008]),
    (16, "16.12", "0", REGISTERS, 8016, [0xFFFF], [0xEFFF]),
    (17, "17.0", "1", REGISTERS, 8517, [0x8000], [0x8001]),
]


class Wire:
    """Two connected terminals: what is written to one is read from the other."""

    def __init__(self):
        (self.one_end, one), (self.other_end, other) = pty.openpty(), pty.openpty()
        self.open_ends = [self.one_end, one, self.other_end, other]
        for terminal in (one, other):
            tty.setraw(terminal)
        self.one, self.other = os.ttyname(one), os.ttyname(other)
        self.stop_reading, self.stop_writing = os.pipe()
        self.thread = threading.Thread(target=self.carry)
        self.thread.start()

    def carry(self):
        to = {self.one_end: self.other_end, self.other_end: self.one_end}
        while True:
            ready, _, _ = select.select([*to, self.stop_reading], [], [])
            if self.stop_reading in ready:
                return
            for end in ready:
                os.write(to[end], os.read(end, 4096))

    def close(self):
        os.write(self.stop_writing, b"x")
        self.thread.join()
        for end in (*self.open_ends, self.stop_reading, self.stop_writing):
            os.close(end)


class PymodbusServer:
    """One station, served by pymodbus in a thread of this process."""

    def __init__(self, terminal):
        # Blocks number their values from 1.
        self.memory = ModbusSlaveContext(
            co=ModbusSequentialDataBlock(1, [0] * 65536), hr=ModbusSequentialDataBlock(1, [0] * 65536))
        self.ready = threading.Event()
        self.thread = threading.Thread(target=lambda: asyncio.run(self.serve(terminal)))
        self.thread.start()
        if not self.ready.wait(60):
            raise RuntimeError("pymodbus does not start")

    async def serve(self, terminal):
        self.loop = asyncio.get_running_loop()
        self.stopped = asyncio.Event()
        server = ModbusSerialServer(
            ModbusServerContext(slaves={STATION: self.memory}, single=False), port=terminal, baudrate=115200)
        if hasattr(server, "start"):  # pymodbus 3.0
            await server.start()
        else:
            await server.serve_forever(background=True)
        self.ready.set()
        await self.stopped.wait()
        await server.shutdown()

    FUNCTIONS = {COILS: 1, REGISTERS: 3}

    def set(self, table, address, values):
        self.memory.setValues(self.FUNCTIONS[table], address, values)

    def get(self, table, address, count):
        return [int(value) for value in self.memory.getValues(self.FUNCTIONS[table], address, count)]

    def close(self):
        self.loop.call_soon_threadsafe(self.stopped.set)
        self.thread.join()


class LibmodbusServer:
    """One station, served by libmodbus in a process of its own."""

    def __init__(self, terminal):
        self.process = subprocess.Popen([os.environ["LIBMODBUS_SERVER"], terminal, str(STATION)], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline() != "ready\n":
            raise RuntimeError("the server does not start")

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        return self.process.stdout.readline().strip()

    def set(self, table, address, values):
        for i, value in enumerate(values):
            if self.ask(f"set {table} {address + i} {value}") != "ok":
                raise RuntimeError("the server refuses to set a value")

    def get(self, table, address, count):
        return [int(self.ask(f"get {table} {address + i}")) for i in range(count)]

    def close(self):
        self.process.stdin.close()
        self.process.wait(60)
        self.process.stdout.close()


def kelpo(command, line, *arguments):
    """What kelpo prints; fails unless it ends with exit code 0."""
    done = subprocess.run(
        [os.environ["KELPO"], command, "--driver", os.environ["DRIVER"], "--line", line, "--reply-timeout", "5000",
         "--character-timeout", "500", *arguments], capture_output=True, text=True, timeout=240, check=False)
    if done.returncode != 0:
        raise AssertionError(f"kelpo {command} {arguments} ended with {done.returncode}: {done.stdout}{done.stderr}")
    return done.stdout


def variable(register_type, address, station=STATION):
    return f"{station}:{register_type}:{address}"


class Agreement:
    """The tests of every server; Server is its class."""

    def setUp(self):
        self.wire = Wire()
        self.addCleanup(self.wire.close)
        self.server = self.Server(self.wire.other)
        self.addCleanup(self.server.close)

    def test_reads_every_register_type_as_the_server_holds_it(self):
        for _, _, table, address, values, _ in READS:
            self.server.set(table, address, values)
        shown = kelpo("read", self.wire.one, *(variable(row[0], row[1]) for row in READS))
        self.assertEqual(shown.splitlines(), [f"{variable(row[0], row[1])} = {row[5]}" for row in READS])

    def test_writes_every_writable_type_and_nothing_else(self):
        for _, _, _, table, address, before, _ in WRITES:
            self.server.set(table, address, before)
        kelpo("write", self.wire.one, *(f"{variable(row[0], row[1])}={row[2]}" for row in WRITES))
        for register_type, text, _, table, address, before, after in WRITES:
            held = self.server.get(table, address - 1, len(before) + 2)
            self.assertEqual(held, [0, *after, 0], f"type {register_type}, address {text}")

    def test_reads_back_what_it_wrote_across_a_boundary(self):
        values = [str(1000 + i) for i in range(20)]
        kelpo("write", self.wire.one, f"{variable(7, '7990')}x20={','.join(values)}")
        self.assertEqual(self.server.get(REGISTERS, 7990, 10), list(range(1000, 1010)))
        self.assertEqual(self.server.get(REGISTERS, 50000, 10), list(range(1010, 1020)))
        shown = kelpo("read", self.wire.one, f"{variable(7, '7990')}x20")
        self.assertEqual(shown.split("=")[1].split(), values)


class WithPymodbus(Agreement, unittest.TestCase):
    Server = PymodbusServer


class WithLibmodbus(Agreement, unittest.TestCase):
    Server = LibmodbusServer


class Mbpoll(unittest.TestCase):
    """Another master, with the simulated controller."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.line = folder.name + "/line"
        controller = subprocess.Popen(
            [os.environ["KELPO_PLC"], "--stations", "3", "--moment", "0", "--link", self.line],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(controller.stdout.close)
        self.addCleanup(controller.wait, 60)
        self.addCleanup(controller.terminate)
        self.assertTrue(controller.stdout.readline().startswith("line "))

    def mbpoll(self, kind, address, count):
        done = subprocess.run(
            ["mbpoll", "-m", "rtu", "-a", "3", "-b", "115200", "-P", "none", "-t", kind, "-0", "-r", str(address), "-c",
             str(count), "-1", "-o", "5", "-q", self.line], capture_output=True, text=True, timeout=240, check=True)
        # "[9008]:" and the value, followed by a second form if it is negative.
        return [line.split()[1] for line in done.stdout.splitlines() if line.startswith("[")]

    def test_reads_from_the_simulated_controller_the_registers_that_kelpo_reads(self):
        shown = kelpo("read", self.line, "3:9:0x8").split("=")[1].split()
        # The moving values at their start: one that contains its address, and the others at moment 0.
        self.assertEqual(shown[3], "3303")
        self.assertEqual(self.mbpoll("4", 9000, 8), shown)

    def test_reads_from_the_simulated_controller_the_coils_that_kelpo_reads(self):
        shown = kelpo("read", self.line, "3:4:0x16").split("=")[1].strip()
        self.assertIn("1", shown)
        self.assertEqual("".join(self.mbpoll("0", 6000, 16)), shown)


if __name__ == "__main__":
    unittest.main()
