"""A block that has no reply, at a station that answers, leaves the time to all others and is asked for now and then."""
from controller import Controller
from programs import NO_REPLY, list_file
from record_test import Poll
from sentences import Sentences, main

QUICK = ["--reply-timeout", 200, "--settle", 20]
SILENT_BLOCK = 300
BLOCKS = (100, SILENT_BLOCK, 500)


class Silent(Sentences):
    def setUp(self):
        super().setUp()
        self.silent = True
        self.controller = Controller(behave=self.behave)
        self.addCleanup(self.controller.close)

    def behave(self, request):
        if self.silent and request.address == SILENT_BLOCK:
            return []
        return [(0.01, self.controller.serve(request))]

    def poll(self, *words):
        variables = list_file([(str(block), 1, 7, block, 1) for block in BLOCKS], self.folder)
        poll = Poll(variables, self.controller, "--format", "json", "--every", 50, *words, quick=QUICK)
        self.addCleanup(poll.end)
        return poll

    def values(self, poll, quality):
        return poll.records(kind="value", name=str(SILENT_BLOCK), quality=quality)

    def others_in(self, requests):
        return len([request for request in requests if request.address != SILENT_BLOCK])

    def test_it_is_asked_for_now_and_then_and_bad_in_between_and_good_with_its_first_reply(self):
        self.silent = False
        poll = self.poll()
        self.controller.wait_for(lambda: self.values(poll, "good"), "a value")
        self.silent = True
        self.controller.wait_for(lambda: self.values(poll, "bad"), "a bad value")
        count = len(self.values(poll, "bad"))
        before = len(self.controller.asked())
        self.controller.wait_for(lambda: self.others_in(self.controller.asked()[before:]) > 600, "600 requests")
        tries = len(self.controller.asked()[before:]) - self.others_in(self.controller.asked()[before:])
        self.assertLess(tries, 20)
        self.controller.wait_for(lambda: len(self.values(poll, "bad")) > count + 20, "more records")
        self.assertEqual(len({record["read_at"] for record in self.values(poll, "bad")}), 1)
        self.assertFalse(poll.records(kind="station-down"))
        self.assertFalse(poll.records(kind="station-rests"))
        good = len(self.values(poll, "good"))
        self.silent = False
        self.controller.wait_for(lambda: len(self.values(poll, "good")) > good + 5, "values")
        self.true_records("".join(poll.lines), self.controller)

    def test_the_user_is_told_that_its_station_answers(self):
        poll = self.poll()
        self.controller.wait_for(lambda: len(self.controller.asked()) > 200, "200 requests")
        text = poll.end()
        self.assertIn(f"never read {SILENT_BLOCK}: no reply, although the station answers other requests", text)
        self.assertIn("station    1 no reply to 1 of 3 blocks", text)
        self.assertEqual(poll.process.returncode, NO_REPLY)

    def test_without_rest_it_is_asked_for_with_all_tries_in_each_cycle(self):
        self.poll("--no-rest")
        self.controller.wait_for(lambda: len(self.controller.asked(address=SILENT_BLOCK)) > 20, "20 tries")
        self.assertLess(self.others_in(self.controller.asked()), 60)


if __name__ == "__main__":
    main()
