"""Writes that wait or are under way while the line is lost do no harm when the line is back."""
from controller import Controller
from programs import list_file
from record_test import Poll
from sentences import Sentences, main


class LostLine(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller()
        self.addCleanup(self.controller.close)
        self.list = list_file([("word", 1, 7, 100, 1), ("bit", 1, 15, "100.3", 1), ("other", 1, 7, 200, 1)], self.folder)

    def poll(self, *words):
        poll = Poll(self.list, self.controller, "--format", "json", "--every", 50, "--writes", *words)
        self.addCleanup(poll.end)
        self.controller.wait_for(lambda: poll.records(kind="value", name="other"), "a first value")
        return poll

    def comes_back(self):
        """The line is back, and the poll has sent so many requests that a write that waited would have been sent."""
        before = len(self.controller.events("asked"))
        self.controller.open_line()
        self.controller.wait_for(lambda: len(self.controller.events("asked")) > before + 20, "requests on the line")

    def test_a_write_that_expires_while_the_line_is_lost_is_reported_and_never_sent(self):
        poll = self.poll()
        self.controller.hang_up()
        self.controller.wait_for(lambda: poll.records(kind="line-lost"), "the line to be noticed as lost")
        poll.write("other = 4711")
        self.controller.wait_for(
            lambda: [r for r in poll.records(name="other") if r["kind"].startswith("write-") and "expired" in str(r)],
            "a report that the write has expired")
        self.comes_back()
        self.assertEqual(self.controller.events("written"), [])
        self.assertEqual([request for request in self.controller.asked() if not request.reads], [])
        self.assertFalse(poll.records(kind="write-done"))

    def test_with_fail_a_write_to_a_lost_line_fails_at_once_and_is_never_sent(self):
        poll = self.poll("--if-away", "fail", "--within", "10min")
        self.controller.hang_up()
        self.controller.wait_for(lambda: poll.records(kind="line-lost"), "the line to be noticed as lost")
        poll.write("other = 4711")
        self.controller.wait_for(
            lambda: poll.records(kind="write-refused") + poll.records(kind="write-failed"), "an end of the write")
        self.comes_back()
        self.assertEqual([request for request in self.controller.asked() if not request.reads], [])

    def test_a_bit_that_is_written_over_a_lost_line_keeps_the_bits_that_changed_meanwhile(self):
        self.controller.set_register(1, 100, 0)
        state = {}
        serve = self.controller.serve

        def behave(request):
            if not request.reads and "lost" not in state:
                state["lost"] = True
                return []
            return [(0, serve(request))]

        self.controller.behave = behave
        poll = self.poll("--reply-timeout", "2000", "--within", "120s")
        poll.write("bit = 1")
        self.controller.wait_for(lambda: "lost" in state, "the write half of the bit")
        self.controller.hang_up()
        self.controller.set_register(1, 100, 0x0100)
        self.controller.wait_for(lambda: poll.records(kind="line-lost"), "the line to be noticed as lost")
        self.comes_back()
        self.controller.wait_for(lambda: [r for r in poll.records(name="bit") if r["kind"].startswith("write-")],
                                 "an end of the write")
        self.assertEqual(self.controller.register(1, 100) & 0x0100, 0x0100, "the bit that changed meanwhile was lost")
        for event in self.controller.events("written"):
            self.assertEqual(event.value & 0x0100, 0x0100)


if __name__ == "__main__":
    main()
