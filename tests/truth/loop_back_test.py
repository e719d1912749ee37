"""A line that only gives back what was sent answers nothing."""
from controller import Controller
from programs import OK, kelpo, records
from sentences import Sentences, main

QUICK = ["--reply-timeout", 100, "--settle", 20, "--retries", 1]


class LoopBack(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller(stations=())
        self.controller.loop_back = True
        self.addCleanup(self.controller.close)

    def no_success(self, *words):
        run = kelpo(*words, "--line", self.controller.path, *QUICK, "--json")
        self.assertTrue(self.controller.events("sent"), "nothing was asked")
        self.assertNotEqual(run.returncode, OK, run.stdout)
        self.assertFalse([answer for answer in records(run.stdout) if answer.get("ok")], run.stdout)
        return run

    def test_a_write_on_a_loop_is_not_done(self):
        for reference in ("1:1:10=1", "1:7:10=1", "1:1:10x12=1", "1:7:10x3=1", "1:12:10=1", "1:15:10.3=1"):
            with self.subTest(reference):
                self.no_success("write", reference)

    def test_a_read_on_a_loop_is_not_answered(self):
        for reference in ("1:7:10", "1:7:10x2", "1:12:10", "1:1:10", "1:1:10x8"):
            with self.subTest(reference):
                self.no_success("read", reference)

    def test_a_read_of_17_to_24_bits_on_a_loop_is_not_answered(self):
        for count in range(17, 25):
            with self.subTest(count):
                self.no_success("read", f"1:1:0x{count}")

    def test_a_scan_of_a_loop_finds_no_station(self):
        for place in ([], ["--type", 1, "--address", 3], ["--type", 12, "--address", 3]):
            with self.subTest(place):
                scan = self.no_success("scan", "--to", 4, *place)
                self.assertEqual([answer for answer in records(scan.stdout) if "station" in answer], [])


if __name__ == "__main__":
    main()
