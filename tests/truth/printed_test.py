"""What comes from outside is printed so that no terminal obeys it, and in the line where it belongs: names of files,
options, lists, presets, faults, traces."""
import os
import pty
import re
import select
import subprocess

from controller import Controller
from programs import EMERGENCY_S, command, list_file
from sentences import Sentences, main

# A title to set, a line of its own, writing from right to left, a separator of lines, a colour in one byte beyond ASCII, a
# byte that is not UTF-8.
HOSTILE = (b"\x1b]0;owned\x07\nINJECTED \xe2\x80\xae\xe2\x80\xa8\xc2\x9b31m\x9b\xff\x7f")
OBEYED = re.compile("[\x00-\x09\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u206f]|^INJECTED", re.MULTILINE)
QUICK = ["--reply-timeout", "100", "--settle", "20", "--retries", "0"]


class Printed(Sentences):
    def setUp(self):
        super().setUp()
        self.line = Controller()
        self.addCleanup(self.line.close)
        self.list = list_file([("level", 1, 7, 100, 1)], self.folder)
        self.runs = 0

    def harmless(self, words, text=b"", kill_after=None):
        """What WORDS print is text that no terminal obeys."""
        words = [word if isinstance(word, bytes) else os.fsencode(word) for word in words]
        process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   cwd=self.folder)
        try:
            out, error = process.communicate(text, timeout=kill_after or EMERGENCY_S)
        except subprocess.TimeoutExpired:
            if not kill_after:
                raise
            process.terminate()
            out, error = process.communicate(timeout=EMERGENCY_S)
        for name, said in (("output", out), ("messages", error)):
            found = OBEYED.search(said.decode("utf-8", "strict"))
            self.assertIsNone(found, f"{words}: its {name}: {said!r}")
        self.runs += 1
        return out + error

    def shows(self, words, **more):
        """Likewise, and something of the hostile text is shown."""
        said = self.harmless(words, **more)
        self.assertIn(b"INJECTED", said, words)
        return said

    def file(self, name, content):
        path = os.path.join(os.fsencode(self.folder), name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def options_of(self, program):
        """The options with a value, from the help."""
        text = subprocess.run([*program, "--help"], capture_output=True, text=True, check=True).stdout
        return sorted(set(re.findall(r"^ +(--[a-z0-9-]+) [A-Z\[]", text, re.MULTILINE)))

    def test_a_word_that_is_no_command_and_no_option(self):
        kelpo, plc = os.environ["KELPO"], os.environ["KELPO_PLC"]
        for words in ([kelpo, HOSTILE], [kelpo, b"--" + HOSTILE], [kelpo, "check", self.list, HOSTILE],
                      [kelpo, "poll", self.list, b"--every" + HOSTILE], [plc, HOSTILE], [plc, b"--" + HOSTILE],
                      [kelpo, "plc", b"--" + HOSTILE]):
            self.shows(words)

    def test_the_value_of_any_option(self):
        line = ["--line", self.line.path, *QUICK]
        commands = {"check": [self.list], "plan": [self.list], "address": ["7", "100"], "scan": [*line, "--to", "1"],
                    "poll": [self.list, *line, "--seconds", "1", "--format", "plain"], "read": [*line, "1:7:100"],
                    "write": [*line, "1:7:100=1"], "trace": [self.list, *line, "--seconds", "1"]}
        for name, words in commands.items():
            options = self.options_of([os.environ["KELPO"], name])
            self.assertIn("--driver", options)
            for option in options:
                self.harmless([*command([name]), *words, option, HOSTILE])
        for option in self.options_of([os.environ["KELPO_PLC"]]):
            self.harmless([os.environ["KELPO_PLC"], option, HOSTILE], kill_after=0.5)
        self.assertGreater(self.runs, 100)

    def test_an_argument(self):
        line = ["--line", self.line.path, *QUICK]
        for words in (["address", "7", HOSTILE], ["address", HOSTILE, "100"], ["read", *line, HOSTILE],
                      ["read", *line, b"1:7:" + HOSTILE], ["read", *line, b"1:7:100/" + HOSTILE],
                      ["write", *line, b"1:7:100=" + HOSTILE], ["check", HOSTILE], ["plan", HOSTILE],
                      ["poll", HOSTILE], ["trace", HOSTILE]):
            self.shows([*command([words[0]]), *words[1:]])

    def test_a_line_that_cannot_be_opened(self):
        for path in (HOSTILE, b"tcp:" + HOSTILE + b":502", b"tcp:localhost:" + HOSTILE, b"tcp:[" + HOSTILE + b"]:1"):
            for words in (["read", "1:7:100"], ["write", "1:7:100=1"], ["scan"], ["scan", "--find"],
                          ["trace", self.list, "--seconds", "1"],
                          ["poll", self.list, "--format", "json", "--seconds", "1"]):
                self.shows([*command(words), *QUICK, "--line", path])
            self.shows([os.environ["KELPO"], "listen", "--seconds", "1", "--line", path])

    def test_the_name_of_a_list(self):
        with open(self.list, "rb") as file:
            good = self.file(HOSTILE + b".toml", file.read())
        bad = self.file(HOSTILE + b"bad", b"[[variable]]\nname = 7\n")
        csv = self.file(HOSTILE + b".csv", b"name,station,type,address\na,1,7,1\na,1,7,99999999999\n")
        for path in (good, bad, csv, csv + b" that is not there"):
            for words in (["check"], ["plan"]):
                self.shows([*command(words), path])
            self.harmless([*command(["plan", "--json"]), path])
            self.harmless([*command(["trace"]), path, "--line", self.line.path, "--seconds", "1"])
            self.harmless([*command(["poll", "--format", "plain"]), path, "--line", self.line.path, "--seconds", "1"])

    def test_the_content_of_a_list(self):
        text = HOSTILE.replace(b"\xff", b"").replace(b"\x9b31m\x9b", b"\x9b31m")  # TOML is UTF-8
        escaped = "".join(f"\\U{ord(letter):08x}" for letter in text.decode())
        for value in (escaped, text.decode()):
            for line in (f'[[variable]]\nname = "{value}"\ntype = 7\naddress = "1"', f'"{value}" = 1',
                         f'[[variable]]\ntype = "{value}"\naddress = "{value}"', f'variables = "{value}"',
                         f'[line]\npath = "{value}"\nparity = "{value}"', f"[[station]]\nnumber = 1\nname = \"{value}\"",
                         f'[[variable]]\ntype = 7\naddress = "1"\nview = "{value}"', value):
                path = self.file(b"hostile.toml", line.encode())
                for words in (["check"], ["plan"], ["poll"], ["trace"]):
                    self.harmless([*command(words), path])
        field = b'"' + HOSTILE.replace(b"\n", b"") + b'INJECTED"'
        for content in (b"name,type,address," + field + b"\na,7,1,2\n", b"name,type,address\n" + field + b",7,1\n",
                        b"name,type,address\na," + field + b",1\n", b"name,type,address\na,7," + field + b"\n",
                        b"name,type,address,view\na,7,1," + field + b"\n"):
            said = self.harmless([*command(["check"]), self.file(b"hostile.csv", content)])
            self.assertIn(b"injected", said.lower())

    def test_what_a_controller_program_is_given(self):
        plc = os.environ["KELPO_PLC"]
        preset = self.file(HOSTILE + b" preset", b"1,register,1,2\n" + HOSTILE.replace(b"\n", b"") + b"\n")
        faults = self.file(HOSTILE + b" faults", b"late ms=" + HOSTILE.replace(b"\n", b"") + b"\n")
        for words in (["--preset", preset], ["--faults", faults], ["--preset", HOSTILE],
                      ["--fault", HOSTILE.replace(b"\n", b"")], ["--fault", b"late ms=" + HOSTILE.replace(b"\n", b"")],
                      ["--listen", HOSTILE], ["--link", b"/nowhere/" + HOSTILE], ["--memory", b"/nowhere/" + HOSTILE],
                      ["--link", preset]):
            self.shows([plc, *words], kill_after=20)

    def test_a_saved_trace(self):
        note = HOSTILE.replace(b"\n", b" ")
        head, at = b"# kelpo trace 1\n", b"2026-11-21 05:31:26.000000 "
        for content in (head + at + b"* " + note + b"\n", head + at + b"> " + note + b"\n", head + note + b"\n",
                        head + at + note + b"\n", b"# kelpo trace " + note + b"\n"):
            path = self.file(HOSTILE + b" trace", content)
            said = self.shows([os.environ["KELPO"], "trace", path])
            self.assertNotIn(HOSTILE, said)
        copy = os.path.join(self.folder, "copy")
        path = self.file(b"trace", head + at + b"* " + note + b"\n")
        self.harmless([os.environ["KELPO"], "trace", path, "--to", copy])
        with open(copy, "rb") as file:
            self.assertIsNone(OBEYED.search(file.read().decode()))

    def test_writes_from_standard_input(self):
        for form in ("plain", "csv", "json"):
            text = HOSTILE + b"\n" + HOSTILE + b"=1\nlevel=" + HOSTILE + b"\n"
            said = self.shows([*command(["poll", self.list, "--line", self.line.path, "--format", form, "--writes",
                                         "--seconds", "2"])], text=text)
            self.assertIn(b"write-refused" if form != "plain" else b"* ", said)

    def test_the_live_screen(self):
        with open(self.list, "rb") as file:
            path = self.file(HOSTILE + b".toml", file.read())
        words = [*command(["poll"]), path, "--line", self.line.path, "--seconds", "2"]
        master, slave = pty.openpty()
        process = subprocess.Popen(words, stdin=slave, stdout=slave, stderr=slave, env=os.environ | {"TERM": "xterm"})
        shown = b""
        while b"line open" not in shown:
            shown += os.read(master, 65536)
        os.write(master, b"/" + HOSTILE.replace(b"\n", b"").replace(b"\x1b", b""))  # the user's own keys, too
        while process.poll() is None or select.select([master], [], [], 0)[0]:
            if select.select([master], [], [], 0.1)[0]:
                shown += os.read(master, 65536)
        os.close(slave)
        os.close(master)
        self.assertIn(b"INJECTED", shown)
        for obeyed in (b"\x1b]0", b"\xe2\x80\xae", b"\xe2\x80\xa8", b"\xc2\x9b", b"\xff", b"\nINJECTED"):
            self.assertNotIn(obeyed, shown)


if __name__ == "__main__":
    main()
