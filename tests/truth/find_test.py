"""A line whose speed nobody knows is found by trying, and the search stops at the first answer."""
import termios

from controller import Controller
from programs import FAILED, OK, kelpo, records
from sentences import Sentences, main

QUICK = ["--find", "--reply-timeout", 100, "--settle", 0]


class Find(Sentences):
    """The controller's terminal has the speed and the stop bits that kelpo sets; a parity it does not have."""

    def setUp(self):
        super().setUp()
        self.speed, self.stop_bits = termios.B19200, 2
        self.controller = Controller(stations=(1, 7, 23), behave=self.behave)
        self.addCleanup(self.controller.close)
        self.settings = []  # with which each request came

    def behave(self, request):
        mode = termios.tcgetattr(self.controller._slave)
        setting = mode[4], 2 if mode[2] & termios.CSTOPB else 1
        self.settings.append(setting)
        return [(0, self.controller.serve(request))] if setting == (self.speed, self.stop_bits) else []

    def find(self, *words):
        return kelpo("scan", "--line", self.controller.path, *QUICK, *words)

    def test_the_first_setting_with_an_answer_ends_the_search(self):
        run = self.find("--stations", 7)
        self.assertEqual(run.returncode, OK, run.stderr)
        self.assertTrue(run.stdout.startswith("19200 8N2:   7  7:0 = "), run.stdout)
        self.assertEqual(self.settings[-1], (termios.B19200, 2))
        self.assertEqual(self.settings.count((termios.B19200, 2)), 1)
        self.assertNotIn(termios.B2400, {speed for speed, _ in self.settings})
        for tried in ("9600 8N1", "19200 8E1", "115200 8N1", "9600 8N2"):
            self.assertIn(f"{tried}: stations 7 to 7, asked 1, no answer", run.stderr)
        self.assertIn("--speed 19200 --parity none --stop-bits 2", run.stderr)

    def test_what_is_given_is_not_varied(self):
        run = self.find("--stations", 7, "--speed", 19200, "--json")
        self.assertEqual(run.returncode, OK, run.stderr)
        self.assertEqual({speed for speed, _ in self.settings}, {termios.B19200})
        [found] = records(run.stdout)
        self.assertEqual([found[name] for name in ("station", "speed", "parity", "stop_bits")], [7, 19200, "none", 2])

    def test_a_station_beyond_the_first_ten_is_found_after_these_were_tried_with_every_setting(self):
        self.controller.stations = (23,)
        run = self.find("--from", 12, "--to", 23, "--speed", 19200)
        self.assertEqual(run.returncode, OK, run.stderr)
        self.assertIn("19200 8O1: stations 12 to 21, asked 10, no answer", run.stderr)
        self.assertIn("19200 8E1: stations 22 to 23, asked 2, no answer", run.stderr)

    def test_without_any_answer_it_says_so_and_fails(self):
        self.speed = termios.B1200
        run = self.find("--stations", 1, "--speed", 9600)
        self.assertEqual(run.returncode, FAILED, run.stderr)
        self.assertEqual(run.stdout, "")
        self.assertIn("no station answers with any of these", run.stderr)


if __name__ == "__main__":
    main()
