"""A reader of records that reads nothing: the line is polled on, memory does not grow, and what is left out is counted."""
import csv
import io
import json
import os
import signal
import threading

from controller import Controller, content
from programs import EMERGENCY_S, OK, list_file, records, start
from sentences import Sentences, main

PATIENT = ["--reply-timeout", "5000"]
ADDRESSES = range(100, 200)


class StalledReader(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller()
        self.addCleanup(self.controller.close)
        self.list = list_file([(f"v{address}", 1, 7, address, 1) for address in ADDRESSES], self.folder)

    def poll(self, *words, form="json", **streams):
        process = start("poll", self.list, "--line", self.controller.path, *PATIENT, "--format", form, *words, text=False,
                        **streams)
        self.addCleanup(process.kill)
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream:
                self.addCleanup(stream.close)
        return process

    @staticmethod
    def resident_kib(process):
        with open(f"/proc/{process.pid}/status", encoding="ascii") as file:
            return int(next(line for line in file if line.startswith("VmRSS:")).split()[1])

    def cycles(self, count):
        asked = len(self.controller.asked())
        self.controller.wait_for(lambda: len(self.controller.asked()) >= asked + count, "more requests", EMERGENCY_S)

    def test_the_line_is_polled_on_and_what_is_left_out_is_counted(self):
        poll = self.poll("--every", 10)
        self.controller.wait_for(lambda: len(self.controller.asked()) > 0, "the first request")
        # 100 records of 200 bytes a hundred times a second: a megabyte waits after less than a second.
        self.cycles(200)
        before = self.resident_kib(poll)
        self.cycles(600)
        self.assertLess(self.resident_kib(poll) - before, 2048, "KiB of growth while nobody reads")
        text = []
        reader = threading.Thread(target=lambda: text.append(poll.stdout.read()))
        said = b""
        while b'"left-out"' not in said:
            said += os.read(poll.stdout.fileno(), 65536)
        reader.start()
        poll.send_signal(signal.SIGTERM)
        self.assertEqual(poll.wait(timeout=EMERGENCY_S), OK)
        reader.join()
        found = records((said + text[0]).decode())
        left_out = [record for record in found if record["kind"] == "left-out"]
        self.assertGreater(left_out[0]["count"], 1000, left_out)
        self.assertEqual({tuple(record["values"]) for record in found if record["kind"] == "value"},
                         {(content(1, address),) for address in ADDRESSES})

    def test_the_last_value_is_told_after_what_was_left_out(self):
        """Values change all the time, and stand still before anybody reads again."""
        serve, number = self.controller.serve, iter(range(1, 1 << 30))

        def behave(request):
            if not self.stands:
                for address in request.places:
                    self.controller.set_register(1, address, next(number) & 0x7FFF)
            return [(0, serve(request))]

        self.stands = False
        self.controller.behave = behave
        poll = self.poll()
        self.cycles(1500)
        self.stands = True
        self.cycles(30)
        last, said = {}, b""
        wanted = {f"v{address}": [self.controller.register(1, address)] for address in ADDRESSES}
        left_out = 0
        while last != wanted or left_out == 0:
            said += os.read(poll.stdout.fileno(), 65536)
            *lines, said = said.split(b"\n")
            for line in lines:
                record = json.loads(line)
                if record["kind"] == "value":
                    last[record["name"]] = record["values"]
                elif record["kind"] == "left-out":
                    left_out += record["count"]
        poll.terminate()
        poll.stdout.read()
        self.assertEqual(poll.wait(timeout=EMERGENCY_S), OK)

    def test_every_write_has_its_record_although_nobody_reads(self):
        poll = self.poll("--every", 10, "--writes", "--within", "2min", form="csv", stdin=-1)
        written = threading.Thread(target=lambda: (poll.stdin.write(b"".join(b"v100=%d\n" % value for value in range(500))),
                                                   poll.stdin.flush()), daemon=True)
        self.cycles(500)  # long enough for records to be left out
        written.start()
        self.cycles(50)
        said = b""
        while said.count(b",write-done,") < 500:
            self.assertNotIn(b"write-failed", said)
            said += os.read(poll.stdout.fileno(), 65536)
        poll.terminate()
        said += poll.stdout.read()
        self.assertEqual(poll.wait(timeout=EMERGENCY_S), OK)
        rows = list(csv.DictReader(io.StringIO(said.decode())))
        self.assertEqual([row["text"] for row in rows if row["kind"] == "write-done"], [str(n) for n in range(500)])
        self.assertTrue([row for row in rows if row["kind"] == "left-out"])
        self.assertEqual([event.value for event in self.controller.events("written")], list(range(500)))


if __name__ == "__main__":
    main()
