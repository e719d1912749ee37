"""A protocol analyser that others wrote decodes what kelpo saves as a capture: `kelpo trace --pcap` and
`kelpo poll --trace FILE.pcap`.

Run by the build with the programs in the environment: KELPO, KELPO_PLC, DRIVER. Ends with 77 where there is no tshark.
"""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

FIELDS = ["ip.src", "ip.dst", "_ws.col.Protocol", "mbrtu.unit_id", "modbus.func_code", "modbus.reference_num",
          "modbus.word_cnt", "modbus.bit_cnt", "modbus.regnum16", "modbus.regval_uint16", "modbus.bitnum",
          "modbus.bitval", "modbus.exception_code", "mbrtu.crc16.status"]
HOST = "127.0.0.254"
EMERGENCY_S = 240  # ends a program that hangs; a busy machine may need much of it

# A saved trace: its lines, and after each what tshark decodes, in the order of FIELDS.
SAVED = [
    ("* line open", ";;note;;;;;;;;;;;"),
    ("> 01 01 04 B8 00 05 7D 1C | type=0 address=8 count=5 group=0 id=-1",
     "127.0.0.254;127.0.0.1;Modbus RTU;1;1;1208;;5;;;;;;1"),
    ("< | type=0 address=8 count=5 group=0 id=-1", ";;no reply;;;;;;;;;;;"),
    ("> 01 01 04 B8 00 05 7D 1C", "127.0.0.254;127.0.0.1;Modbus RTU;1;1;1208;;5;;;;;;1"),
    ("< 01 01 01 15 90 47",
     "127.0.0.1;127.0.0.254;Modbus RTU;1;1;;;;;;1208,1209,1210,1211,1212;1,0,1,0,1;;1"),
    ("> 02 03 00 64 00 02 85 E7", "127.0.0.254;127.0.0.2;Modbus RTU;2;3;100;2;;;;;;;1"),
    ("< 02 03 04 12 34 AB CD 33 20", "127.0.0.2;127.0.0.254;Modbus RTU;2;3;;;;100,101;4660,43981;;;;1"),
    ("> 01 10 1F 40 00 01 02 FF FE 86 21", "127.0.0.254;127.0.0.1;Modbus RTU;1;16;8000;1;;8000;65534;;;;1"),
    ("< 01 10 1F 40 00 01 07 C9", "127.0.0.1;127.0.0.254;Modbus RTU;1;16;8000;1;;;;;;;1"),
    ("> 01 05 1F 41 FF 00 DB FA", "127.0.0.254;127.0.0.1;Modbus RTU;1;5;8001;;;;;;;;1"),
    ("< 01 05 1F 41 FF 00 DB FA", "127.0.0.1;127.0.0.254;Modbus RTU;1;5;8001;;;;;;;;1"),
    ("> 01 03 00 00 00 01 84 0A", "127.0.0.254;127.0.0.1;Modbus RTU;1;3;0;1;;;;;;;1"),
    ("< 01 83 02 C0 F1", "127.0.0.1;127.0.0.254;Modbus RTU;1;3;;;;;;;;2;1"),
    ("> 01 03 00 00 00 01 84 0A", "127.0.0.254;127.0.0.1;Modbus RTU;1;3;0;1;;;;;;;1"),
    ("< 01 03 02 00 2A 39 9A", "127.0.0.1;127.0.0.254;Modbus RTU;1;3;;;;0;42;;;;0"),  # a wrong CRC
    ("~ FF 00", ";;thrown away;;;;;;;;;;;"),
]

LIST = """
[[variable]]
name = "level"
station = 3
type = 9
address = "0"
count = 4

[[variable]]
name = "pumps"
station = 3
type = 4
address = "0"
count = 10
"""


class Capture(unittest.TestCase):
    """What tshark reads in the captures that kelpo writes."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, text=None):
        path = f"{self.folder}/{name}"
        if text is not None:
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        return path

    def decoded(self, capture):
        """A line for each packet, with FIELDS. The user's own settings are not used."""
        fields = [word for field in FIELDS for word in ("-e", field)]
        done = subprocess.run(
            ["tshark", "-r", capture, "-o", "mbrtu.tcp.port:502", "-o", "mbrtu.crc_verification:TRUE", "-T", "fields", "-E",
             "separator=;", *fields], env=dict(os.environ, HOME=self.folder, XDG_CONFIG_HOME=self.folder),
            capture_output=True, text=True, timeout=EMERGENCY_S, check=True)
        # Later versions give the CRC's state a name instead of a number.
        return [line.replace(";Good", ";1").replace(";Bad", ";0") for line in done.stdout.splitlines()]

    def start_controller(self):
        line = self.file("line")
        controller = subprocess.Popen(
            [os.environ["KELPO_PLC"], "--stations", "3", "--moment", "0", "--link", line],
            stdout=subprocess.PIPE, text=True)
        self.addCleanup(controller.stdout.close)
        self.addCleanup(controller.wait, EMERGENCY_S)
        self.addCleanup(controller.terminate)
        self.assertTrue(controller.stdout.readline().startswith("line "))
        return line

    def run_until(self, words, *command):
        """Runs a command of kelpo until a line with each of WORDS was printed, then ends it as Ctrl-C does."""
        process = subprocess.Popen(
            [os.environ["KELPO"], *command, "--driver", os.environ["DRIVER"], "--line", self.start_controller(),
             "--reply-timeout", "5000", "--character-timeout", "500"], stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait, EMERGENCY_S)
        self.addCleanup(process.kill)
        missing = set(words)
        for text in process.stdout:
            missing = {word for word in missing if word not in text}
            if not missing:
                break
        self.assertFalse(missing)
        process.send_signal(signal.SIGINT)
        process.stdout.read()
        self.assertIn(process.wait(EMERGENCY_S), (0, -signal.SIGINT, 128 + signal.SIGINT))

    def judge(self, capture):
        """Each request is followed by its reply, both whole and with their values."""
        frames = [line for line in self.decoded(capture) if ";Modbus RTU;" in line]
        coils = ("127.0.0.254;127.0.0.3;Modbus RTU;3;1;6000;;10;;;;;;1",
                 "127.0.0.3;127.0.0.254;Modbus RTU;3;1;;;;;;6000,6001,6002,6003,6004,6005,6006,6007,6008,6009;"
                 "1,1,0,1,1,1,1,0,1,1;;1")
        registers = ("127.0.0.254;127.0.0.3;Modbus RTU;3;3;9000;4;;;;;;;1",
                     "127.0.0.3;127.0.0.254;Modbus RTU;3;3;;;;9000,9001,9002,9003;3300,150,65186,3303;;;;1")
        if frames[-1].startswith(HOST):  # Ctrl-C came before its reply
            frames.pop()
        pairs = list(zip(frames[::2], frames[1::2], strict=True))
        self.assertEqual(set(pairs), {coils, registers})

    def test_a_saved_trace_gives_every_frame_and_note(self):
        lines = [f"2026-11-21 06:15:37.{100000 + 1000 * number} {line}" for number, (line, _) in enumerate(SAVED)]
        saved = self.file("saved.trace", "\n".join(["# kelpo trace 1", *lines, ""]))
        capture = self.file("saved.pcap")
        subprocess.run([os.environ["KELPO"], "trace", saved, "--pcap", capture], stdout=subprocess.DEVNULL, check=True,
                       timeout=EMERGENCY_S)
        self.assertEqual(self.decoded(capture), [packet for _, packet in SAVED])

    def test_a_live_trace_gives_each_request_with_its_reply(self):
        capture = self.file("live.pcap")
        self.run_until(["< 03 01", "< 03 03"], "trace", self.file("list.toml", LIST), "--pcap", capture)
        self.judge(capture)

    def test_polling_gives_each_request_with_its_reply(self):
        capture = self.file("poll.pcap")
        self.run_until(["level", "pumps"], "poll", self.file("list.toml", LIST), "--format", "plain", "--trace", capture)
        self.judge(capture)


if __name__ == "__main__":
    if shutil.which("tshark") is None:
        print("not run: there is no tshark, which decodes the captures (Debian package tshark)")
        sys.exit(77)
    unittest.main()
