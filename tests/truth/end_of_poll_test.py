"""A poll that ends leaves nothing on the line that another command could take for its own."""
import signal

from controller import Controller, content
from programs import EMERGENCY_S, OK, kelpo, list_file, records, start
from sentences import Sentences, main

DELAY_S = 0.3
PATIENT = ["--reply-timeout", 2000]  # so that a busy machine makes no reply late
ROUNDS = 2


def slow(controller):
    return lambda request: [(DELAY_S, controller.serve(request))]


class EndOfPoll(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller()
        self.addCleanup(self.controller.close)
        self.controller.behave = slow(self.controller)
        self.line = ["--line", self.controller.path]
        self.list = list_file([("polled", 1, 7, 100, 1)], self.folder)

    def unanswered(self):
        return len(self.controller.events("asked")) - len(self.controller.events("sent"))

    def start_poll(self):
        asked = len(self.controller.events("asked"))
        poll = start("poll", self.list, *self.line, *PATIENT, "--format", "json", "--every", 20)
        self.controller.wait_for(lambda: len(self.controller.events("asked")) > asked + 1 and self.unanswered(),
                                 "a request of the poll that is not answered yet")
        return poll

    def read_shows_what_is_there(self):
        self.assertEqual(self.unanswered(), 0, "the poll ended with a request that was not answered yet")
        read = kelpo("read", *self.line, *PATIENT, "--json", "1:7:200")
        self.assertEqual(read.returncode, OK, read.stderr)
        self.assertEqual(records(read.stdout)[0]["values"], [content(1, 200)], "100 holds %d" % content(1, 100))

    def ended_by_signal(self, number):
        for _ in range(ROUNDS):
            poll = self.start_poll()
            poll.send_signal(number)
            poll.communicate(timeout=EMERGENCY_S)
            self.read_shows_what_is_there()

    def test_a_poll_that_is_interrupted_leaves_no_request_on_the_line(self):
        self.ended_by_signal(signal.SIGINT)

    def test_a_poll_that_is_terminated_leaves_no_request_on_the_line(self):
        self.ended_by_signal(signal.SIGTERM)

    def test_a_poll_that_ends_by_time_leaves_no_request_on_the_line(self):
        for _ in range(ROUNDS):
            kelpo("poll", self.list, *self.line, *PATIENT, "--format", "json", "--seconds", 1)
            self.read_shows_what_is_there()

    def test_a_poll_whose_reader_goes_away_leaves_no_request_on_the_line(self):
        for _ in range(ROUNDS):
            poll = self.start_poll()
            poll.stdout.readline()
            poll.stdout.close()
            poll.stderr.read()
            poll.wait(timeout=EMERGENCY_S)
            self.read_shows_what_is_there()

    def test_a_read_after_a_poll_that_was_killed_prints_what_is_there(self):
        for _ in range(ROUNDS):
            poll = self.start_poll()
            poll.kill()
            poll.communicate(timeout=EMERGENCY_S)
            read = kelpo("read", *self.line, *PATIENT, "--json", "1:7:200")
            self.true_or_failed(read, self.controller)


if __name__ == "__main__":
    main()
