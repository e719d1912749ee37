"""The example panels work as they are installed: each is copied, compiled with exactly the command in its first
comment, and run with the installed simulated controller and with pymodbus's server.

Run by the build with CMAKE, BUILD, LIBDIR, PEERS (the folder of peers_test.py) and QMAKE (that of Qt 4, or empty) in
the environment. In a build of the driver alone, without the simulated controller, only pymodbus is used.
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.environ["PEERS"])
import peers_test  # noqa: E402

peers_test.STATION = 1  # the one that the panels read

PATIENCE = 120  # the longest wait, in seconds, for what should come at once
PRESETS = "1,register,100,7,0,1,2\n1,register,9800,3,4\n1,coil,6050,1\n1,register,110,8\n1,register,200,5,6,7,8\n"
TANK = ["level = 7", "flow = 65538", "hours = 196612", "pump = 1", "alarm = 1"]
OPENED = [*TANK, "set_point = 0", "recipe = 5 6 7 8", "set_point = 1234", *TANK]


class Controller:
    """The installed simulated controller. Its line has the same name each time."""

    def __init__(self, program, line, environment, presets=PRESETS, stations="1"):
        preset = pathlib.Path(str(line) + ".preset")
        preset.write_text(presets, encoding="ascii")
        self.process = subprocess.Popen(
            [program, "plc", "--stations", stations, "--preset", preset, "--link", line], stdout=subprocess.PIPE, text=True,
            env=environment)
        if not self.process.stdout.readline().startswith("line "):
            raise RuntimeError("the controller does not start")

    def close(self):
        self.process.terminate()
        self.process.wait(PATIENCE)
        self.process.stdout.close()


class Panels(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        work = pathlib.Path(cls.folder.name)
        cls.line, installed = work / "line", work / "installed"
        subprocess.run([os.environ["CMAKE"], "--install", os.environ["BUILD"], "--prefix", installed], check=True,
                       stdout=subprocess.DEVNULL)
        cls.kelpo = installed / "bin/kelpo"
        qt_libraries = ""
        libraries, packages = [installed / os.environ["LIBDIR"]], [installed / os.environ["LIBDIR"] / "pkgconfig"]
        if os.environ["QMAKE"]:
            qt_libraries = subprocess.run([os.environ["QMAKE"], "-query", "QT_INSTALL_LIBS"], check=True,
                                          capture_output=True, text=True).stdout.strip()
            libraries.append(qt_libraries)
            packages.append(qt_libraries + "/pkgconfig")
        cls.without_driver = dict(os.environ, LD_LIBRARY_PATH=qt_libraries)
        cls.environment = dict(os.environ, LD_LIBRARY_PATH=":".join(map(str, libraries)),
                               PKG_CONFIG_PATH=":".join(map(str, packages)))
        cls.work = work / "work"
        cls.work.mkdir()
        examples = installed / "share/doc/ozna_kelpo_port/examples"
        for source in ("panel.cpp", "panel_linked.cpp"):
            shutil.copy(examples / source, cls.work)
        for source in ("panel.cpp", "panel_linked.cpp"):
            text = (cls.work / source).read_text(encoding="ascii")
            line = re.search(r"^//\s+(c\+\+ .*)$", text, re.MULTILINE).group(1)
            subprocess.run(["bash", "-ec", line], check=True, cwd=cls.work, env=cls.environment)

    def panel(self, line, seconds, program="panel"):
        return subprocess.run([self.work / program, line, str(seconds)], capture_output=True, text=True,
                              timeout=PATIENCE, env=self.environment, check=False)

    def assert_shows_all_within_a_second(self, line, program):
        # On a busy machine a second may be too short for another reason.
        for _ in range(20):
            done = self.panel(line, 1, program)
            if done.returncode == 0:
                break
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        shown = done.stdout.splitlines()
        again = [line.replace("set_point = 0", "set_point = 1234") for line in OPENED]
        self.assertIn(shown[:len(OPENED)], (OPENED, again))

    def controller(self, **more):
        if not self.kelpo.exists():
            self.skipTest("this build has no simulated controller")
        controller = Controller(self.kelpo, self.line, self.environment, **more)
        return controller

    def test_shows_the_values_of_the_simulated_controller_within_a_second(self):
        for program in ("panel", "panel_linked"):
            controller = self.controller()
            self.addCleanup(controller.close)
            self.assert_shows_all_within_a_second(self.line, program)
            controller.close()

    def test_shows_the_values_of_pymodbus_within_a_second(self):
        wire = peers_test.Wire()
        self.addCleanup(wire.close)
        server = peers_test.PymodbusServer(wire.other)
        self.addCleanup(server.close)
        for line in PRESETS.split():
            _, table, address, *values = line.split(",")
            server.set(table, int(address), [int(value) for value in values])
        for program in ("panel", "panel_linked"):
            server.set("register", 8060, [0])
            self.assert_shows_all_within_a_second(wire.one, program)
            self.assertEqual(server.get("register", 8060, 1), [1234])

    def wait_for(self, file, text, times=1):
        end = time.monotonic() + PATIENCE
        while file.read_text(encoding="ascii").count(text) < times:
            self.assertLess(time.monotonic(), end, f"no '{text}' in: {file.read_text(encoding='ascii')}")
            time.sleep(0.05)

    def test_continues_when_a_lost_line_is_back(self):
        first = self.controller()
        self.addCleanup(first.close)
        shown, complaints = self.work / "shown", self.work / "complaints"
        with shown.open("w") as output, complaints.open("w") as errors:
            panel = subprocess.Popen([self.work / "panel", self.line, "600"], stdout=output, stderr=errors,
                                     env=self.environment)
        self.addCleanup(panel.kill)
        self.wait_for(shown, "level = 7", 2)
        first.close()
        self.wait_for(complaints, "the line is lost")
        second = self.controller(presets=PRESETS.replace("100,7", "100,9"))
        self.addCleanup(second.close)
        self.wait_for(shown, "level = 9")
        panel.send_signal(signal.SIGTERM)
        self.assertEqual(panel.wait(PATIENCE), 0)

    def test_says_in_words_that_nobody_answers(self):
        controller = self.controller(stations="2", presets="")
        self.addCleanup(controller.close)
        done = self.panel(self.line, 4)
        self.assertEqual(done.returncode, 1)
        self.assertIn("station 1, type 4, address 50: the reply failed, the request is sent again\n", done.stderr)
        self.assertIn("station 1, type 4, address 50: given up: no reply\n", done.stderr)
        self.assertIn("the values do not come\n", done.stderr)

    def test_says_in_words_what_is_missing(self):
        done = self.panel("/nowhere/line", 0.1)
        self.assertEqual(done.returncode, 1)
        self.assertIn("/nowhere/line: No such file or directory\n", done.stderr)
        done = subprocess.run([self.work / "panel", "/nowhere/line"], capture_output=True, text=True, timeout=PATIENCE,
                              env=self.without_driver, check=False)
        if done.stderr.startswith("/nowhere"):
            self.skipTest("this machine has the driver installed")
        self.assertEqual(done.returncode, 1)
        self.assertIn("cannot load the driver: libozna_kelpo_port_2.so.1: ", done.stderr)

    def test_shows_its_usage(self):
        for arguments in ([], ["line", "none"], ["line", "1", "more"]):
            done = subprocess.run([self.work / "panel", *arguments], capture_output=True, text=True, timeout=PATIENCE,
                                  env=self.environment, check=False)
            self.assertEqual((done.returncode, done.stderr), (2, "usage: panel LINE [SECONDS]\n"))


if __name__ == "__main__":
    unittest.main()
