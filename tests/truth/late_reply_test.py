"""A reply that is late is never taken for the answer to another request."""
import itertools
import re

from controller import IN_ORDER, QUEUED, Controller, constant
from programs import kelpo, list_file, records
from record_test import Poll
from sentences import Sentences, main


class LateReply(Sentences):
    promise_s = 4.5 * 0.5  # of the default reply time-out

    def controller(self, delay, order=IN_ORDER):
        controller = Controller(order=order)
        self.addCleanup(controller.close)
        controller.behave = lambda request: [(delay(), controller.serve(request))]
        return controller

    def three_reads(self, order):
        controller = self.controller(constant(0.7), order)
        read = kelpo("read", "--line", controller.path, "--json", "1:7:10", "1:7:100", "1:7:200")
        self.true_or_failed(read, controller)
        self.assertEqual(len(records(read.stdout)), 3)

    def test_three_reads_with_replies_after_700_ms_print_no_value_of_another_register(self):
        self.three_reads(IN_ORDER)

    def test_three_reads_with_queued_replies_of_700_ms_print_no_value_of_another_register(self):
        self.three_reads(QUEUED)

    def test_a_read_says_that_reply_ms_is_too_short_and_what_was_seen(self):
        controller = self.controller(constant(0.7))
        read = kelpo("read", "--line", controller.path, "1:7:10", "1:7:100", "1:7:200")
        warning = re.search(r"after up to (\d+) ms: reply-ms 500 is too short", read.stderr)
        self.assertTrue(warning, read.stderr)
        self.assertGreaterEqual(int(warning[1]), 690)

    def test_a_poll_shows_that_reply_ms_is_too_short(self):
        """Every other reply is late, and comes before the station is asked again."""
        delays = itertools.cycle((0.0, 0.7))
        controller = self.controller(lambda: next(delays))
        poll = Poll(list_file([("one", 1, 7, 100, 1), ("other", 1, 7, 300, 1)], self.folder), controller, "--format",
                    "json", "--every", 100, quick=("--settle", 20))
        controller.wait_for(lambda: len(controller.asked()) > 8, "requests of the poll")
        errors = poll.end()
        warning = re.search(r"station 1 answers after up to (\d+) ms: reply-ms 500 is too short", errors)
        self.assertTrue(warning, errors)
        self.assertGreaterEqual(int(warning[1]), 690)


if __name__ == "__main__":
    main()
