"""How much memory and processor time the commands take for long lists. Neither is measured by a clock on the wall."""
import fcntl
import os
import pty
import resource
import signal
import struct
import subprocess
import termios

from programs import EMERGENCY_S, OK, command
from sentences import Sentences, main

VARIABLES = 100000
USUAL, SHORTEST = "name,station,type,address,count,view,comment", "name,station,type,address"
TICKS = os.sysconf("SC_CLK_TCK")


class Budgets(Sentences):
    def setUp(self):
        super().setUp()
        self.one = self.list("one", SHORTEST, ["v,1,7,1"])

    def list(self, name, head, rows):
        path = os.path.join(self.folder, name + ".csv")
        with open(path, "w", encoding="ascii") as file:
            file.write("\n".join([head, *rows, ""]))
        return path

    def usual(self):
        """Rows as programs for controllers export them, some 65 bytes each."""
        return self.list("usual", USUAL, [f"pump station {i:05d} level,{i // 5000 + 1},7,{i % 5000},1,unsigned,tank behind "
                                          f"hall {i % 40}" for i in range(VARIABLES)])

    def shortest(self):
        return self.list("shortest", SHORTEST, [f"v{i:05d},{i // 5000 + 1},7,{i % 5000}" for i in range(VARIABLES)])

    def controller(self):
        link = os.path.join(self.folder, "line")
        stations = ",".join(str(number) for number in range(1, 21))
        plc = subprocess.Popen([os.environ["KELPO_PLC"], "--moment", "0", "--stations", stations, "--link", link],
                               stdout=subprocess.PIPE)
        self.addCleanup(plc.stdout.close)
        self.addCleanup(plc.wait)
        self.addCleanup(plc.terminate)
        plc.stdout.readline()
        return link

    def most_memory(self, *words, processor_s=60):
        """Bytes that a command had in memory at most. It ends by itself, within so much time of a processor."""
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (processor_s, processor_s))

        process = subprocess.Popen(command(words), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, preexec_fn=limit)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, OK, words)
        return used.ru_maxrss * 1024

    def runs(self, line):
        return {"check": [], "plan": [], "poll": ["--line", line, "--format", "json", "--seconds", 6]}

    def most_memory_for(self, path, name, words):
        """How much more it takes than for one variable."""
        return self.most_memory(name, path, *words) - self.most_memory(name, self.one, *words)

    def test_of_usual_rows_memory_is_at_most_ten_times_the_file(self):
        path = self.usual()
        for name, words in self.runs(self.controller()).items():
            more = self.most_memory_for(path, name, words)
            self.assertLess(more, 10 * os.path.getsize(path), f"bytes that kelpo {name} takes for the list")

    def test_of_the_shortest_rows_memory_is_some_hundred_bytes_for_each(self):
        path = self.shortest()
        most = {"check": 260, "plan": 400, "poll": 650}
        for name, words in self.runs(self.controller()).items():
            more = self.most_memory_for(path, name, words)
            self.assertLess(more / VARIABLES, most[name], f"bytes that kelpo {name} takes for each variable")

    def test_the_first_screen_of_a_long_list_takes_less_than_a_second_of_a_processor(self):
        master, slave = pty.openpty()
        self.addCleanup(os.close, master)
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 50, 160, 0, 0))
        words = command(["poll", self.usual(), "--line", self.controller()])
        poll = subprocess.Popen(words, stdin=slave, stdout=slave, stderr=subprocess.DEVNULL,
                                env=os.environ | {"TERM": "xterm"})
        os.close(slave)
        self.addCleanup(poll.wait)
        self.addCleanup(poll.kill)
        shown = b""
        while b"pump station 00000 level" not in shown:
            shown += os.read(master, 65536)
        with open(f"/proc/{poll.pid}/stat", encoding="ascii") as file:
            user, system = (int(word) for word in file.read().rsplit(")", 1)[1].split()[11:13])
        self.assertLess(user + system, TICKS, "ticks of the processor until the first screen")
        poll.send_signal(signal.SIGKILL)

    def test_a_very_long_variable_takes_no_time_for_each_of_its_units_with_each_reply(self):
        path = self.list("long", SHORTEST + ",count", [f"v{i},1,7,{i},23000" for i in range(20)])
        line = self.controller()
        self.most_memory("poll", path, "--line", line, "--format", "json", "--seconds", 12, processor_s=3)


if __name__ == "__main__":
    main()
