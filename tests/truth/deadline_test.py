"""A write that is late is never sent, however the time went by."""
import time

from controller import Controller
from programs import list_file
from record_test import Poll
from sentences import Sentences, main

TIME_OUT_S = 0.5
WITHIN_S = 1
OWED = 300


class Deadline(Sentences):
    def test_a_write_that_becomes_late_while_the_line_is_listened_to_is_not_sent(self):
        """The station answers, and owes one reply: so kelpo listens for 4.5 time-outs before it asks again, longer than
        the write may wait. It is asked for while a reply is awaited, so it has its turn when the listening begins."""
        controller = Controller()
        self.addCleanup(controller.close)

        def behave(request):
            asked = len(controller.asked(address=OWED))
            if request.address == OWED and asked < 3:
                return [] if asked == 1 else [(0.6 * TIME_OUT_S, controller.serve(request))]
            return [(0, controller.serve(request))]

        controller.behave = behave
        poll = Poll(list_file([("first", 1, 7, 100, 1), ("owed", 1, 7, OWED, 1)], self.folder), controller,
                    "--format", "json", "--every", 50, "--writes", "--within", f"{WITHIN_S}s",
                    quick=("--reply-timeout", int(1000 * TIME_OUT_S), "--settle", 20))
        self.addCleanup(poll.end)
        controller.wait_for(lambda: len(controller.asked(address=OWED)) > 1, "the repetition of what was not answered")
        asked_for = time.monotonic()
        poll.write("first = 4711")
        reports = []
        controller.wait_for(lambda: reports or reports.extend(
            record for record in poll.records(name="first") if record["kind"].startswith("write-")) or reports,
            "an end of the write")
        before = len(controller.asked())
        controller.wait_for(lambda: len(controller.asked()) > before + 5, "more requests")
        sent = [event for event in controller.events("asked") if not event.request.reads]
        if not sent:
            self.assertIn("expired", str(reports))
        for event in sent:  # the machine was so busy that the owed reply was given up
            self.assertLess(event.moment - asked_for, WITHIN_S + 0.5, "a late write was sent")


if __name__ == "__main__":
    main()
