"""A refusal is an answer: it costs one exchange, and a block that is refused is asked for only now and then."""
from controller import Controller
from programs import REFUSED, kelpo, list_file
from record_test import Poll
from sentences import Sentences, main

PATIENT = ["--reply-timeout", 2000]
REFUSED_BLOCK = 300
BLOCKS = (100, REFUSED_BLOCK, 500)


class Refusal(Sentences):
    def setUp(self):
        super().setUp()
        self.code = 2
        self.controller = Controller(behave=self.behave)
        self.addCleanup(self.controller.close)

    def behave(self, request):
        if self.code and request.address == REFUSED_BLOCK:
            return [(0, Controller.refuse(request, self.code))]
        return [(0, self.controller.serve(request))]

    def poll(self, *words):
        variables = list_file([(str(block), 1, 7, block, 1) for block in BLOCKS], self.folder)
        poll = Poll(variables, self.controller, "--format", "json", "--every", 20, *words, quick=PATIENT)
        self.addCleanup(poll.end)
        return poll

    def refused(self):
        return self.controller.asked(address=REFUSED_BLOCK)

    def test_a_read_or_write_that_is_refused_for_good_is_sent_once(self):
        for code in (1, 2, 3):
            self.code = code
            for words in (["read"], ["write"]):
                before = len(self.refused())
                value = "=7" if words == ["write"] else ""
                run = kelpo(*words, "--line", self.controller.path, *PATIENT, "--retries", 5, f"1:7:{REFUSED_BLOCK}{value}")
                self.assertEqual(run.returncode, REFUSED, run.stderr)
                self.assertIn(f"(exception {code})", run.stderr)
                self.assertEqual(len(self.refused()), before + 1)

    def test_a_read_that_a_station_is_too_busy_for_is_sent_again(self):
        for code in (4, 5, 6):
            self.code = code
            before = len(self.refused())
            run = kelpo("read", "--line", self.controller.path, *PATIENT, "--retries", 3, f"1:7:{REFUSED_BLOCK}")
            self.assertEqual(run.returncode, REFUSED, run.stderr)
            self.assertEqual(len(self.refused()), before + 4)

    def test_a_polled_block_that_is_refused_is_asked_for_now_and_then_and_bad_in_between(self):
        poll = self.poll()
        self.controller.wait_for(lambda: len(self.controller.asked()) > 3000, "3000 requests")
        self.assertLess(len(self.refused()), 100)
        self.code = None
        self.controller.wait_for(lambda: poll.records(kind="value", name=str(REFUSED_BLOCK), quality="good"), "a value")
        self.code = 2
        self.controller.wait_for(lambda: poll.records(kind="value", name=str(REFUSED_BLOCK), quality="bad"), "a bad value")
        before, asked = len(poll.records(kind="value", name=str(REFUSED_BLOCK))), len(self.refused())
        self.controller.wait_for(
            lambda: len(poll.records(kind="value", name=str(REFUSED_BLOCK))) > before + 20, "more records")
        later = poll.records(kind="value", name=str(REFUSED_BLOCK))[before:]
        self.assertEqual({record["quality"] for record in later}, {"bad"})
        self.assertLess(len(self.refused()), asked + 10)

    def test_a_polled_block_that_a_station_is_too_busy_for_leaves_the_time_to_the_others(self):
        for code in (5, 6):
            self.code = code
            before, refused = len(self.controller.asked()), len(self.refused())
            poll = self.poll()
            self.controller.wait_for(lambda: len(self.controller.asked()) > before + 1500, "1500 requests")
            self.assertLess(len(self.refused()) - refused, 150)
            self.code = None
            self.controller.wait_for(
                lambda: poll.records(kind="value", name=str(REFUSED_BLOCK), quality="good"), "a value")
            poll.process.terminate()
            poll.process.wait()

    def test_without_rest_it_is_asked_for_once_in_each_cycle(self):
        self.poll("--no-rest")
        self.controller.wait_for(lambda: len(self.controller.asked()) > 300, "300 requests")
        asked = [request.address for request in self.controller.asked()][:300]
        self.assertEqual(asked, list(BLOCKS) * 100)


if __name__ == "__main__":
    main()
