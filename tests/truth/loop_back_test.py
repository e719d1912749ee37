"""A line that only returns what was sent is never taken for an answer."""
from controller import Controller
from programs import NO_REPLY, OK, kelpo, records
from sentences import Sentences, main

QUICK = ["--reply-timeout", 100, "--settle", 20, "--retries", 1]


class TwoWires(Sentences):
    """An adapter that receives what it sends, and a controller behind it."""

    def setUp(self):
        super().setUp()
        self.controller = Controller(behave=lambda request: [(0, request.frame), (0.02, self.controller.serve(request))])
        self.addCleanup(self.controller.close)

    def ask(self, *words):
        return kelpo(*words, "--line", self.controller.path, *QUICK, "--json")

    def test_with_auto_each_read_and_write_has_its_own_reply(self):
        for reference in ("1:7:10", "1:7:10x2", "1:12:10", "1:1:10", "1:1:0x20"):
            run = self.ask("read", "--echo", "auto", reference)
            self.assertEqual(run.returncode, OK, run.stderr)
            self.assertIn("taken off", run.stderr)
        self.assertEqual(self.true_or_failed(self.ask("read", "--echo", "auto", "1:7:10", "1:7:77"), self.controller), 2)
        for reference in ("1:1:10=1", "1:2:10=1", "1:7:10=3", "1:1:10x12=1", "1:7:10x3=4", "1:15:10.3=1"):
            self.assertEqual(self.ask("write", "--echo", "auto", "--check", reference).returncode, OK, reference)

    def test_with_auto_a_station_that_is_dead_gives_no_reply(self):
        self.controller.behave = lambda request: [(0, request.frame)]
        for words in (["read", "1:7:10"], ["write", "1:2:10=1"], ["write", "1:7:10=1"]):
            run = self.ask(words[0], "--echo", "auto", words[1])
            self.assertEqual(run.returncode, NO_REPLY, run.stdout)


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

    def test_a_write_on_a_loop_is_not_done_where_echoes_are_taken_off_either(self):
        for reference in ("1:1:10=1", "1:2:10=1", "1:7:10=1", "1:15:10.3=1"):
            with self.subTest(reference):
                self.no_success("write", reference, "--echo", "auto")

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
