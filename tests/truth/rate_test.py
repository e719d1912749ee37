"""What is slow is read when it is due, what is fast in each cycle, and a slow value is good until it is due again."""
import os

from controller import Controller
from programs import list_file
from record_test import Poll
from sentences import Sentences, main

PATIENT = ["--reply-timeout", 20000]


class Rate(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller()
        self.addCleanup(self.controller.close)

    def poll(self, slow, more=""):
        """FAST at 100, and each of SLOW, (address, milliseconds)."""
        path = list_file([("fast", 1, 7, 100, 1)], self.folder)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for address, every in slow:
            text += f'[[variable]]\nname = "{address}"\nstation = 1\ntype = 7\naddress = {address}\nevery-ms = {every}\n'
        path = os.path.join(self.folder, "rates.toml")
        with open(path, "w", encoding="utf-8") as file:
            file.write(more + text)
        poll = Poll(path, self.controller, "--format", "json", "--every", 50, quick=PATIENT)
        self.addCleanup(poll.end)
        return poll

    def test_what_is_slow_is_read_once_and_stays_good_while_the_cycle_runs(self):
        poll = self.poll([(300, 3600000), (301, 3600000), (700, 3600000)])
        self.controller.wait_for(lambda: len(self.controller.asked(address=100)) > 1500, "1500 cycles")
        self.assertEqual([request.quantity for request in self.controller.asked(address=300)], [2])
        self.assertEqual(len(self.controller.asked(address=700)), 1)
        names = {record["name"] for record in poll.records(kind="value", quality="good")}
        self.assertEqual(names, {"fast", "300", "301", "700"})
        self.assertFalse(poll.records(kind="value", quality="stale", name="300"))
        self.true_records("".join(poll.lines), self.controller)

    def test_what_is_slow_is_read_again_when_it_is_due(self):
        poll = self.poll([(300, 200)])
        self.controller.wait_for(lambda: len(self.controller.asked(address=300)) > 10, "ten reads")
        self.assertGreater(len(self.controller.asked(address=100)), len(self.controller.asked(address=300)))
        self.true_records("".join(poll.lines), self.controller)

    def test_a_cycle_begins_no_sooner_than_the_list_wants(self):
        self.poll([], "[link]\ncycle-ms = 200\n")
        self.controller.wait_for(lambda: len(self.controller.asked()) > 10, "ten cycles")
        moments = [event.moment for event in self.controller.events("asked")]
        self.assertGreaterEqual(moments[10] - moments[0], 10 * 0.2 - 0.1)


if __name__ == "__main__":
    main()
