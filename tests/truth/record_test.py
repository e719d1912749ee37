"""A record says of each value whether it is good and when it was read, and shows only what a reply contained."""
import csv
import datetime
import threading

from controller import Controller, content
from programs import EMERGENCY_S, kelpo, list_file, records, start
from sentences import Sentences, main

QUICK = ["--reply-timeout", 200, "--settle", 20]
READ = 100  # the register that is polled


class Poll:
    """A `kelpo poll` whose records are collected while it runs."""

    def __init__(self, variables, controller, *words, path=None, quick=QUICK):
        self.process = start("poll", variables, "--line", path or controller.path, *quick, *words, stdin=-1)
        self.lines = []
        self._thread = threading.Thread(target=self._gather, daemon=True)
        self._thread.start()

    def _gather(self):
        for line in self.process.stdout:
            self.lines.append(line)

    def write(self, text):
        self.process.stdin.write(text + "\n")
        self.process.stdin.flush()

    def records(self, **wanted):
        found = [record for line in list(self.lines) if line.endswith("\n") for record in records(line)]
        return [r for r in found if all(r.get(name) == value for name, value in wanted.items())]

    def count(self, text):
        """How many of the lines that are not taken have TEXT."""
        return sum(text in line for line in list(self.lines))

    def taken(self):
        """All records since the last time, which are forgotten."""
        number = len(self.lines)
        lines = self.lines[:number]
        del self.lines[:number]
        return [record for line in lines for record in records(line)]

    def resident_kib(self):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return int(next(line for line in file if line.startswith("VmRSS:")).split()[1])

    def end(self):
        """Ends the program, and returns what it wrote to the standard error, the first time."""
        if self.process.stderr.closed:
            return ""
        if self.process.poll() is None:
            self.process.terminate()
        errors = self.process.stderr.read()
        self.process.wait(timeout=EMERGENCY_S)
        self._thread.join()
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            pipe.close()
        return errors


class Record(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller(stations=(1, 2))
        self.addCleanup(self.controller.close)
        self.list = list_file([("answering", 1, 7, READ, 1), ("silent", 2, 7, READ, 1)], self.folder)

    def poll(self, *words):
        poll = Poll(self.list, self.controller, *words)
        self.addCleanup(poll.end)
        return poll

    def silence_station_2(self):
        serve = self.controller.serve
        self.controller.behave = lambda request: [(0, serve(request))] if request.station == 1 else []

    def is_no_longer_good(self, poll, name):
        """From now on the records of NAME are not good, and say that nothing was read."""
        self.controller.wait_for(
            lambda: poll.records(kind="value", name=name) and poll.records(kind="value", name=name)[-1]["quality"] != "good",
            f"a record that does not call {name} good")
        before = len(poll.records(kind="value", name=name))
        self.controller.wait_for(lambda: len(poll.records(kind="value", name=name)) > before + 5, "more records")
        later = poll.records(kind="value", name=name)[before:]
        self.assertTrue(all(record["quality"] in ("stale", "bad") for record in later), later)
        self.assertEqual(len({record["read_at"] for record in later}), 1, later)

    def test_the_values_of_a_silent_station_are_not_good_and_keep_their_time_of_reading(self):
        poll = self.poll("--format", "json", "--every", 50)
        self.controller.wait_for(lambda: poll.records(kind="value", name="silent", quality="good"), "a good value")
        self.silence_station_2()
        self.is_no_longer_good(poll, "silent")
        before = poll.records(kind="value", name="answering")[-1]["read_at"]
        self.controller.wait_for(
            lambda: [r for r in poll.records(kind="value", name="answering", quality="good") if r["read_at"] > before],
            "a newer value of the station that answers")

    def test_the_values_of_a_lost_line_are_not_good_and_keep_their_time_of_reading(self):
        poll = self.poll("--format", "json", "--every", 50)
        self.controller.wait_for(lambda: poll.records(kind="value", name="answering", quality="good"), "a good value")
        self.controller.hang_up()
        self.is_no_longer_good(poll, "answering")
        self.controller.open_line()
        before = len(poll.records(kind="value"))
        self.controller.wait_for(
            lambda: [r for r in poll.records(kind="value", name="answering")[before // 2:] if r["quality"] == "good"],
            "a value that is good again")

    def test_a_good_value_was_read_a_short_time_before(self):
        """Checks only the order of the times, which a busy machine does not change."""
        began = datetime.datetime.now(datetime.timezone.utc)
        poll = self.poll("--format", "json")
        self.controller.wait_for(lambda: poll.records(kind="value", quality="good"), "a good value")
        record = poll.records(kind="value", quality="good")[0]
        read_at = datetime.datetime.fromisoformat(record["read_at"].replace("Z", "+00:00"))
        written = datetime.datetime.fromisoformat(record["time"].replace("Z", "+00:00"))
        self.assertLessEqual(began - datetime.timedelta(milliseconds=1), read_at)
        self.assertLessEqual(read_at, written)

    def test_csv_records_end_with_quality_and_time_of_reading(self):
        self.silence_station_2()
        rows = list(csv.DictReader(kelpo("poll", self.list, "--line", self.controller.path, *QUICK, "--format", "csv",
                                         "--every", 100, "--seconds", 2).stdout.splitlines()))
        self.assertEqual(list(rows[0])[-2:], ["quality", "read_at"])
        good = [row for row in rows if row["kind"] == "value" and row["name"] == "answering"]
        self.assertIn("good", {row["quality"] for row in good})
        self.assertTrue(all(row["read_at"] for row in good if row["quality"] == "good"))
        self.assertFalse([row for row in rows if row["kind"] == "value" and row["name"] == "silent"
                          and row["quality"] == "good"])

    def never_shown(self, answer):
        """Writes that the controller answers with ANSWER are never shown as values."""
        serve = self.controller.serve
        self.controller.behave = lambda request: [(0, serve(request))] if request.reads else answer(request)
        poll = self.poll("--format", "json", "--every", 10, "--writes", "--retries", "1")
        self.controller.wait_for(lambda: poll.records(kind="value", name="answering"), "a value")
        for number in range(1, 9):
            poll.write(f"answering = {number}")
            self.controller.wait_for(lambda number=number: len(poll.records(kind="write-failed")) >= number,
                                     "a write that failed")
        before = len(poll.records(kind="value", name="answering"))
        self.controller.wait_for(lambda: len(poll.records(kind="value", name="answering")) > before + 10, "more values")
        self.assertEqual({record["values"][0] for record in poll.records(kind="value", name="answering")}, {content(1, READ)})

    def test_a_write_that_the_controller_refuses_is_never_shown_as_a_value(self):
        self.never_shown(lambda request: [(0, Controller.refuse(request))])

    def test_a_write_that_is_lost_is_never_shown_as_a_value(self):
        self.never_shown(lambda request: [])


if __name__ == "__main__":
    main()
