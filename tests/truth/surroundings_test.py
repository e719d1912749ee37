"""Every command where something around it is not as usual: descriptors that are closed, an output that takes nothing, a
terminal that nobody reads, signals that are ignored. What goes over the line is requests and nothing else, each command
ends, and with the code that says how."""
import itertools
import os
import pty
import signal
import subprocess
import termios
import time

from controller import Controller, with_check
from programs import EMERGENCY_S, FAILED, OK, command, kelpo, list_file
from sentences import Sentences, main

NOT_WRITTEN = 6
PLC_FAILED = 1
PATIENT = ["--reply-timeout", "5000"]
READ = with_check(bytes.fromhex("03 03 00 64 00 01"))  # what another host says
STOPS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


class Line(Controller):
    """A controller that keeps what it was sent and is no request."""

    def noise(self):
        """Bytes that were sent and belong to no request."""
        requests = b"".join(event.request.frame for event in self.events("asked"))
        return self.heard if self.heard != requests else b""

    def open_line(self):
        self.heard = b""
        super().open_line()

    def note_heard(self, data):
        self.heard += data


class Surroundings(Sentences):
    def setUp(self):
        super().setUp()
        self.line = Line()
        self.addCleanup(self.line.close)
        self.list = list_file([("level", 1, 7, 100, 1)], self.folder)
        self.trace = os.path.join(self.folder, "saved")
        with open(self.trace, "w", encoding="ascii") as file:
            file.write("# kelpo trace 1\n2026-11-21 05:31:26.000000 > 01 03 23 30 00 02 CF 80\n")
        self.link = os.path.join(self.folder, "link")

    def brief(self):
        """Commands that end by themselves: name and command line."""
        line = ["--line", self.line.path]
        return [("version", [os.environ["KELPO"], "--version"]),
                ("help", [os.environ["KELPO"], "plan", "--help"]),
                ("address", command(["address", "7", "100"])),
                ("check", command(["check", self.list])),
                ("plan", command(["plan", self.list])),
                ("plan --json", command(["plan", "--json", self.list])),
                ("trace FILE", command(["trace", self.trace])[:2] + [self.trace]),
                ("read", command(["read", *line, *PATIENT, "1:7:100"])),
                ("write", command(["write", *line, *PATIENT, "1:7:100=4"])),
                ("scan", command(["scan", *line, *PATIENT, "--to", "1"])),
                ("scan --find", command(["scan", *line, *PATIENT, "--find", "--stations", "1"])),
                ("plan --learn", command(["plan", self.list, *line, *PATIENT, "--learn"]))]

    LASTING = {"trace LIST": ["trace"], "poll --format plain": ["poll", "--format", "plain"],
               "poll --format csv": ["poll", "--format", "csv"], "poll --format json": ["poll", "--format", "json"]}

    def lasting(self, seconds, lines=None):
        """Commands that end with a signal, or after SECONDS. LINES: one for each, by its name."""
        return [(name, command([*words, self.list, "--line", (lines or {}).get(name, self.line).path, *PATIENT,
                                "--seconds", seconds])) for name, words in self.LASTING.items()]

    def listen(self, line, seconds):
        """Sends nothing, and so needs a line of its own; fails when it has heard no frame."""
        return command(["listen", "--line", line.path, "--seconds", seconds])

    def demo(self, line, seconds=600):
        """The controller's memory is another controller's, so its verdict is that it fails."""
        memory = os.path.join(self.folder, "memory")
        if not os.path.exists(memory):
            self.start([os.environ["KELPO_PLC"], "--moment", "0", "--memory", memory])
            line.wait_for(lambda: os.path.exists(memory), "the memory")
        return [os.environ["KELPO_DEMO"], "--driver", os.environ["DRIVER"], "--memory", memory, "--line", line.path, *PATIENT,
                "--seconds", str(seconds)]

    def another_line(self, stations=(1,)):
        line = Line(stations)
        self.addCleanup(line.close)
        return line

    def plc(self):
        return [os.environ["KELPO_PLC"], "--moment", "0", "--link", self.link]

    def start(self, words, closed=(), ignored=(), **streams):
        """Starts the program with the descriptors CLOSED and the signals IGNORED; what has no stream is /dev/null."""
        def prepare():
            for number in ignored:
                signal.signal(number, signal.SIG_IGN)
            for number in closed:
                os.close(number)

        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL} | streams
        process = subprocess.Popen(words, preexec_fn=prepare, **streams)
        self.addCleanup(process.kill)
        return process

    def ends(self, process, wanted, what):
        self.assertEqual(process.wait(timeout=EMERGENCY_S), wanted, what)

    def quiet_line(self, what):
        self.assertEqual(self.line.noise(), b"", f"{what} has sent what is no request")

    def signal_when(self, process, condition, what, *numbers):
        self.line.wait_for(lambda: condition() or process.poll() is not None, what, EMERGENCY_S)
        for number in numbers:
            process.send_signal(number)

    # Descriptors

    COMBINATIONS = [closed for count in (1, 2, 3) for closed in itertools.combinations((0, 1, 2), count)]

    def test_every_command_ends_as_usual_with_any_descriptors_closed(self):
        lines = {name: self.another_line() for name in self.LASTING}
        heard = self.another_line()
        for closed in self.COMBINATIONS:
            started = [(name, self.start(words, closed)) for name, words in self.lasting(1, lines)]
            listening = self.start(self.listen(heard, 1), closed)
            for name, words in self.brief():
                self.ends(self.start(words, closed), OK, f"{name} without {closed}")
            for name, process in started:
                self.ends(process, OK, f"{name} without {closed}")
                self.assertEqual(lines[name].noise(), b"", f"{name} without {closed} has sent what is no request")
                self.assertGreater(len(lines[name].asked()), 0, f"{name} without {closed} has asked nothing")
            self.ends(listening, FAILED, f"listen without {closed}")
            self.assertEqual(heard.heard, b"", f"listen without {closed} has sent something")
            self.quiet_line(f"a command without {closed}")

    def test_the_demonstration_sends_nothing_but_requests_with_any_descriptors_closed(self):
        self.line = self.another_line(stations=(1, 2, 3))
        words = self.demo(self.line)
        for closed in self.COMBINATIONS:
            before = len(self.line.asked())
            process = self.start(words, closed)
            self.signal_when(process, self.at_work(before + 20), f"the demonstration without {closed}", signal.SIGTERM)
            self.ends(process, FAILED, f"the demonstration without {closed}")
            self.quiet_line(f"the demonstration without {closed}")

    def test_what_is_opened_takes_the_place_of_no_descriptor_that_is_closed(self):
        self.line = self.another_line(stations=(1, 2, 3))
        demo = self.demo(self.line)
        for closed in self.COMBINATIONS:
            for name, words in self.lasting(60) + [("demo", demo), ("plc", self.plc())]:
                process = self.start(words, closed)
                before = len(self.line.asked())
                at_work = (lambda: os.path.lexists(self.link)) if name == "plc" else \
                    (lambda before=before: len(self.line.asked()) > before)
                self.line.wait_for(lambda: at_work() or process.poll() is not None, f"{name} at work", EMERGENCY_S)
                places = {number: os.readlink(f"/proc/{process.pid}/fd/{number}") for number in closed}
                self.assertEqual(set(places.values()), {"/dev/null"}, f"{name} without {closed}")
                process.terminate()
                self.ends(process, FAILED if name == "demo" else OK, f"{name} without {closed}")
            self.quiet_line(f"a command without {closed}")

    # Outputs that take nothing

    def test_every_command_says_that_its_output_is_full(self):
        demo_line = self.another_line(stations=(1, 2, 3))
        with open("/dev/full", "w", encoding="ascii") as full:
            for name, words in [*self.brief(), *self.lasting(60), ("demo", self.demo(demo_line, 1))]:
                self.ends(self.start(words, stdout=full), NOT_WRITTEN, f"{name} to a full disk")
            line = self.another_line()
            listening = self.start(self.listen(line, 60), stdout=full)
            while listening.poll() is None:
                os.write(line._master, READ)
                time.sleep(0.05)
            self.ends(listening, NOT_WRITTEN, "listen to a full disk")
            plc = self.start(self.plc(), stdout=full)
            # It answers only when it has printed the name of its line.
            self.line.wait_for(lambda: kelpo("read", "--line", self.link, *PATIENT, "1:7:100").returncode == OK, "an answer",
                               EMERGENCY_S)
            plc.terminate()
            self.ends(plc, PLC_FAILED, "plc to a full disk")
        self.quiet_line("a command with a full disk")

    def test_messages_that_cannot_be_written_change_nothing(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            for name, words in self.brief() + self.lasting(1):
                self.ends(self.start(words, stderr=full), OK, f"{name} with messages to a full disk")

    def terminal(self, filled):
        """A terminal that nobody reads: its master and slave. FILLED: it takes nothing from the beginning."""
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        self.addCleanup(os.close, slave)
        if filled:
            filler = os.open(os.ttyname(slave), os.O_WRONLY | os.O_NOCTTY | os.O_NONBLOCK)
            try:
                while True:
                    os.write(filler, b"x" * 4096)
            except BlockingIOError:
                pass
            os.close(filler)
        return master, slave

    def at_work(self, before):
        return lambda: len(self.line.asked()) > before

    def test_a_terminal_that_nobody_reads_holds_up_no_command_that_is_to_end(self):
        demo_line = self.another_line(stations=(1, 2, 3))
        for number in STOPS:
            more = [("listen", self.listen(self.line, 600)), ("demo", self.demo(demo_line)), ("plc", self.plc())]
            for name, words in self.brief() + self.lasting(600) + more:
                _, slave = self.terminal(filled=True)
                process = self.start(words, stdout=slave, stderr=slave)
                time.sleep(0.1)  # most are at their output by then; nothing depends on it
                process.send_signal(number)
                try:
                    process.wait(timeout=EMERGENCY_S)
                except subprocess.TimeoutExpired:
                    self.fail(f"{name} goes on after {number.name}")
        self.quiet_line("a command at a terminal that nobody reads")

    def live_screen(self, slave, seconds=600):
        words = command(["poll", self.list, "--line", self.line.path, *PATIENT, "--seconds", seconds])
        return self.start(words, stdin=slave, stdout=slave, stderr=slave, env=os.environ | {"TERM": "xterm"})

    def restored(self, master, slave, settings, what):
        self.assertEqual(termios.tcgetattr(slave), settings, f"{what}: the terminal's settings")
        os.set_blocking(master, False)
        shown = b""
        try:
            while True:
                shown += os.read(master, 65536)
        except (BlockingIOError, OSError):
            pass
        self.assertIn(b"\x1b[?1049l", shown, f"{what}: the terminal is left in the screen")
        self.assertNotIn(b"\x1b[?1049h", shown[shown.rfind(b"\x1b[?1049l"):], what)

    def test_the_live_screen_ends_at_a_terminal_that_nobody_reads(self):
        for number, filled in itertools.product(STOPS, (True, False)):
            what = f"{number.name} at a terminal that is {'full' if filled else 'empty'} at first"
            master, slave = self.terminal(filled)
            settings = termios.tcgetattr(slave)
            process = self.live_screen(slave)
            self.signal_when(process, self.at_work(len(self.line.asked()) + 3), "the first requests", number)
            self.ends(process, OK, what)
            self.restored(master, slave, settings, what)

    def test_the_live_screen_ends_after_control_s(self):
        for number in STOPS:
            master, slave = self.terminal(filled=False)
            settings = termios.tcgetattr(slave)
            process = self.live_screen(slave)
            asked = len(self.line.asked())
            self.line.wait_for(self.at_work(asked + 3), "the first requests")
            os.read(master, 65536)
            termios.tcflow(slave, termios.TCOOFF)
            self.signal_when(process, self.at_work(asked + 20), "more requests, although the screen shows nothing new", number)
            self.ends(process, OK, f"{number.name} after Ctrl-S")
            self.restored(master, slave, settings, f"{number.name} after Ctrl-S")

    def test_the_live_screen_goes_on_asking_while_its_terminal_stands_still(self):
        master, slave = self.terminal(filled=False)
        process = self.live_screen(slave)
        self.line.wait_for(self.at_work(3), "the first requests")
        termios.tcflow(slave, termios.TCOOFF)
        self.line.wait_for(self.at_work(len(self.line.asked()) + 50), "more requests")
        os.write(master, b"q")  # keys are read all the same
        termios.tcflow(slave, termios.TCOON)
        self.ends(process, OK, "q after Ctrl-S")

    # Signals

    def test_a_hang_up_that_was_ignored_at_the_start_ends_nothing(self):
        for name, words in self.lasting(600):
            process = self.start(words, ignored=[signal.SIGHUP])
            before = len(self.line.asked())
            self.signal_when(process, self.at_work(before + 3), f"{name} at work", signal.SIGHUP)
            self.line.wait_for(self.at_work(before + 20), f"{name} to go on after SIGHUP")
            process.terminate()
            self.ends(process, OK, name)
        line = self.another_line()
        listening = self.start(self.listen(line, 600), ignored=[signal.SIGHUP], stdout=subprocess.PIPE)
        self.addCleanup(listening.stdout.close)
        os.set_blocking(listening.stdout.fileno(), False)
        for _ in range(2):
            while not listening.stdout.read():
                os.write(line._master, READ)
                time.sleep(0.05)
            listening.send_signal(signal.SIGHUP)
        while listening.stdout.read():
            pass
        while not listening.stdout.read():
            os.write(line._master, READ)
            time.sleep(0.05)
        listening.terminate()
        listening.wait(timeout=EMERGENCY_S)


if __name__ == "__main__":
    main()
