"""The wall clock is set while a command runs: an hour on, an hour back, back to 1970, again and again. Dates follow it,
and no duration does."""
import json
import os
import re
import subprocess
import time

from controller import Controller
from programs import EMERGENCY_S, NO_REPLY, OK, command, list_file, records
from sentences import Sentences, main

STEPS = f"0,3600,-3600,0,{-int(time.time())},0"
PATIENT = ["--reply-timeout", "5000"]


class Clock(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller()
        self.addCleanup(self.controller.close)
        self.list = list_file([("level", 1, 7, 100, 1), ("speed", 1, 7, 300, 1)], self.folder)

    def run_stepped(self, *words, program=None):
        """Runs kelpo to its end while the clock is stepped."""
        stepped = os.environ | {"LD_PRELOAD": os.environ["STEPPING_CLOCK_LIBRARY"], "STEPPING_CLOCK": STEPS}
        return subprocess.run(program or command(words), env=stepped, stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, timeout=EMERGENCY_S, check=False)

    def poll(self, *words, seconds=3):
        return self.run_stepped("poll", self.list, "--line", self.controller.path, *PATIENT, "--format", "json",
                                "--seconds", seconds, *words)

    def test_values_stay_good_and_cycles_as_long_as_they_are(self):
        run = self.poll("--every", "50")
        self.assertEqual(run.returncode, OK, run.stderr)
        values = [record for record in records(run.stdout) if record["kind"] == "value"]
        self.assertEqual({record["quality"] for record in values}, {"good"})
        dates = {record["time"][:13] for record in values}
        self.assertGreater(len(dates), 3, "the clock was not stepped")
        self.assertIn("1970", {date[:4] for date in dates})
        self.assertGreater(len(self.controller.asked()), 20)
        worst = re.search(r"^cycles .*worst ([0-9.]+) (m?s)$", run.stderr, re.MULTILINE)
        self.assertLess(float(worst[1]) * (1 if worst[2] == "s" else 0.001), 60, run.stderr)
        self.assertRegex(run.stderr, r"exchanges  \d+ in [0-9.]+s ")

    def test_a_station_that_is_silent_is_one_and_no_other(self):
        self.controller.behave = lambda request: [(0, self.controller.serve(request))] if request.address == 100 else []
        run = self.poll("--reply-timeout", 100, "--settle", 20, "--every", "50")
        self.assertEqual(run.returncode, NO_REPLY, run.stderr)
        seen = {(record["name"], record["quality"]) for record in records(run.stdout) if record["kind"] == "value"}
        self.assertIn(("level", "good"), seen)
        self.assertNotIn(("level", "stale"), seen)

    def test_a_reply_comes_after_its_request_and_as_long_as_it_took(self):
        saved = os.path.join(self.folder, "trace")
        run = self.run_stepped("trace", self.list, "--line", self.controller.path, *PATIENT, "--seconds", 3, "--to", saved)
        self.assertEqual(run.returncode, OK, run.stderr)
        for text in (run.stdout, subprocess.run([os.environ["KELPO"], "trace", saved], capture_output=True, text=True,
                                                check=True).stdout):
            times = [float(time) for time in re.findall(r" \[([0-9.]+) ms\]", text)]
            replies = len(re.findall(r"^[0-9:.]+ < ", text, re.MULTILINE))
            self.assertGreater(replies, 20)
            self.assertEqual(len(times), replies, "a reply has no time")
            self.assertLess(max(times), 60000)

    def test_a_scan_measures_how_long_an_answer_took(self):
        self.controller.behave = lambda request: [(0.2, self.controller.serve(request))]
        for _ in range(4):
            run = self.run_stepped("scan", "--line", self.controller.path, *PATIENT, "--to", 1, "--json")
            self.assertEqual(run.returncode, OK, run.stderr)
            took = json.loads(run.stdout)["milliseconds"]
            self.assertGreater(took, 100)
            self.assertLess(took, 60000)

    def test_a_write_does_not_expire(self):
        self.controller.behave = lambda request: [(0.1, self.controller.serve(request))]
        writes = [f"1:7:{address}={address}" for address in range(100, 110)]
        run = self.run_stepped("write", "--line", self.controller.path, *PATIENT, "--within", "2min", *writes)
        self.assertEqual(run.returncode, OK, run.stderr)
        self.assertEqual(len(self.controller.events("written")), 10)


if __name__ == "__main__":
    main()
