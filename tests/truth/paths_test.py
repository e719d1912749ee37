"""At every path that a command takes there may be a pipe, a link, a device, a folder or somebody's file instead of what
is expected: nobody waits for it, and nothing of it is changed."""
import os
import stat
import subprocess

from controller import Controller
from programs import EMERGENCY_S, OK, WRONG_USAGE, command, list_file
from sentences import Sentences, main

QUICK = ["--reply-timeout", "200", "--settle", "20"]
PRECIOUS = b"root:x:0:0::/root:/bin/sh\n" * 3


def demo():
    return [os.environ["KELPO_DEMO"], "--driver", os.environ["DRIVER"], *QUICK, "--seconds", "1"]


class Paths(Sentences):
    def setUp(self):
        super().setUp()
        self.line = Controller()
        self.addCleanup(self.line.close)
        self.list = list_file([("level", 1, 7, 100, 1)], self.folder)
        self.precious = self.put("precious", PRECIOUS)
        self.trace = self.put("saved", b"# kelpo trace 1\n2026-11-21 05:31:26.000000 > 01 03 23 30 00 02 CF 80\n")

    def put(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def planted(self):
        """What is there instead: by the word for it, a function that puts it at a path."""
        return {"a pipe": os.mkfifo, "a folder": os.mkdir,
                "a link to somebody's file": lambda path: os.symlink(self.precious, path),
                "a link to nothing": lambda path: os.symlink(os.path.join(self.folder, "nowhere"), path),
                "a link to itself": lambda path: os.symlink(path, path),
                "a link to a device": lambda path: os.symlink("/dev/zero", path),
                "a link to a pipe": lambda path: (os.mkfifo(path + " pipe"), os.symlink(path + " pipe", path)),
                "somebody's file": lambda path: self.put(path, PRECIOUS)}

    def state_of(self, path):
        """All that a command could change about what is at PATH."""
        status = os.lstat(path)
        content = b""
        if stat.S_ISREG(status.st_mode):
            with open(path, "rb") as file:
                content = file.read()
        target = os.readlink(path) if stat.S_ISLNK(status.st_mode) else ""
        return status.st_mode, status.st_ino, status.st_uid, status.st_nlink, content, target

    def untouched_by(self, name, words, outcomes):
        """WORDS, which takes a path, with each thing at that path ends with one of OUTCOMES and leaves it as it is."""
        for number, (kind, put) in enumerate(self.planted().items()):
            path = os.path.join(self.folder, f"{name.strip('-')} {number}")
            put(path)
            before = self.state_of(path), self.state_of(self.precious)
            run = subprocess.run(words(path), stdin=subprocess.DEVNULL, capture_output=True, timeout=EMERGENCY_S,
                                 check=False)
            self.assertIn(run.returncode, outcomes, f"{name} with {kind}: {run.stderr!r}")
            self.assertTrue(run.stderr or run.returncode == OK, f"{name} with {kind} says nothing")
            self.assertEqual((self.state_of(path), self.state_of(self.precious)), before, f"{name} with {kind}")
            self.assertFalse(os.path.lexists(os.path.join(self.folder, "nowhere")), f"{name} with {kind}")
        left = [entry for entry in os.listdir(self.folder) if entry.startswith(f"{name.strip('-')} ") and
                not entry.rstrip("0123456789").endswith((" ", " pipe"))]
        self.assertEqual(left, [], f"{name} leaves something")
        self.assertEqual(self.line.asked(), [], f"{name} has asked the controller")

    def memory_of_a_controller(self):
        memory = os.path.join(self.folder, "memory")
        plc = subprocess.Popen([os.environ["KELPO_PLC"], "--memory", memory], stdout=subprocess.PIPE)
        self.addCleanup(plc.stdout.close)
        self.addCleanup(plc.wait)
        self.addCleanup(plc.terminate)
        plc.stdout.readline()
        return memory

    def test_a_path_that_is_read(self):
        line = ["--line", self.line.path, *QUICK]
        for name in ("check", "plan"):
            self.untouched_by(name, lambda path, name=name: command([name, path]), {WRONG_USAGE})
        for name in ("poll", "trace"):
            self.untouched_by(name, lambda path, name=name: command([name, path, *line, "--seconds", "1"]), {WRONG_USAGE})
        for name, last in (("read", "1:7:100"), ("write", "1:7:100=1"), ("scan", "--json"), ("scan", "--find")):
            self.untouched_by(name + last, lambda path, name=name, last=last: command([name, last, *line, "--list", path]),
                              {WRONG_USAGE})
        self.untouched_by("learn", lambda path: command(["plan", path, *line, "--learn"]), {WRONG_USAGE})
        self.untouched_by("--memory", lambda path: [*demo(), "--line", self.line.path, "--memory", path], {6})

        def naming(path):
            return command(["check", self.put("names.toml", f'variables = "{os.path.basename(path)}"\n'.encode())])

        self.untouched_by("variables", naming, {WRONG_USAGE})
        for option in ("--preset", "--faults"):
            self.untouched_by(option, lambda path, option=option: [os.environ["KELPO_PLC"], option, path], {WRONG_USAGE})

    def test_a_driver(self):
        self.untouched_by("--driver", lambda path: [os.environ["KELPO"], "check", self.list, "--driver", path], {3})

    def test_a_line(self):
        for name, last in (("read", "1:7:100"), ("write", "1:7:100=1"), ("scan", "--json"), ("scan", "--find"),
                           ("listen", "--failures")):
            self.untouched_by(name + last, lambda path, name=name, last=last: command([name, last, *QUICK, "--line", path]),
                              {4})
        self.untouched_by("learn", lambda path: command(["plan", self.list, *QUICK, "--learn", "--line", path]), {4})
        memory = self.memory_of_a_controller()
        self.untouched_by("demo", lambda path: [*demo(), "--memory", memory, "--line", path], {4})
        for name in ("poll", "trace"):
            words = [name, self.list, *QUICK, "--seconds", "1", "--line"]
            self.untouched_by(name, lambda path, words=words: command([*words, path]), {4})

    def test_a_path_that_is_written(self):
        for option in ("--to", "--pcap"):
            self.untouched_by(option, lambda path, option=option: [os.environ["KELPO"], "trace", self.trace, option, path],
                              {6, OK})  # a device takes it
            for name, words in (("a line", ["trace", self.list]), ("listen", ["listen"])):
                words += ["--line", "/dev/null", *QUICK, "--seconds", "1", option]
                self.untouched_by(f"{option} of {name}", lambda path, words=words: command([*words, path]), {6, 4})
        words = ["poll", self.list, "--line", "/dev/null", *QUICK, "--seconds", "1", "--format", "plain", "--trace"]
        self.untouched_by("--trace", lambda path: command([*words, path]), {6, 4})
        for option in ("--memory", "--link"):
            self.untouched_by(option, lambda path, option=option: [os.environ["KELPO_PLC"], option, path], {1})


if __name__ == "__main__":
    main()
