"""A write that is late is never sent, whatever the time was used for."""
import time

from controller import Controller
from programs import list_file
from record_test import Poll
from sentences import Sentences, main

TIME_OUT_S = 0.5
WITHIN_S = 1
MISSING = 300


class Deadline(Sentences):
    def test_a_write_that_expires_while_kelpo_listens_to_the_line_is_not_sent(self):
        """The station answers, but one reply is missing: so kelpo listens for 4.5 time-outs before it asks again, longer
        than the write may wait. The write is given while kelpo waits for a reply, so its turn comes when the listening
        begins."""
        controller = Controller()
        self.addCleanup(controller.close)

        def behave(request):
            asked = len(controller.asked(address=MISSING))
            if request.address == MISSING and asked < 3:
                return [] if asked == 1 else [(0.6 * TIME_OUT_S, controller.serve(request))]
            return [(0, controller.serve(request))]

        controller.behave = behave
        poll = Poll(list_file([("first", 1, 7, 100, 1), ("owed", 1, 7, MISSING, 1)], self.folder), controller,
                    "--format", "json", "--every", 50, "--writes", "--within", f"{WITHIN_S}s",
                    quick=("--reply-timeout", int(1000 * TIME_OUT_S), "--settle", 20))
        self.addCleanup(poll.end)
        controller.wait_for(lambda: len(controller.asked(address=MISSING)) > 1, "the repetition of what was not answered")
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
        for event in sent:  # the machine was so busy that kelpo no longer expected the missing reply
            self.assertLess(event.moment - asked_for, WITHIN_S + 0.5, "a late write was sent")


if __name__ == "__main__":
    main()
