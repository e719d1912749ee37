"""A reply that a command did not get in time is never taken for the next command's reply."""
from controller import Controller, content
from programs import OK, kelpo, records
from sentences import Sentences, main

TIME_OUT_MS = 200
ONCE = ["--reply-timeout", TIME_OUT_MS, "--settle", 20, "--retries", 0]
LATE_S = (0.25, 0.35, 0.5, 0.7)  # all longer than the time-out
FIRST, SECOND = 100, 200


class AfterTimeOut(Sentences):
    promise_s = 4.5 * TIME_OUT_MS / 1000

    def rounds(self, answer):
        """For each delay a controller that answers requests for FIRST so late, and others with ANSWER."""
        for delay in LATE_S:
            with Controller() as controller:
                def behave(request, controller=controller, delay=delay):
                    if request.address == FIRST:
                        return [(delay, controller.serve(request))]
                    return answer(controller, request)

                controller.behave = behave
                yield controller

    def command(self, controller, *words):
        return kelpo(words[0], "--line", controller.path, *ONCE, "--json", *words[1:])

    def fails(self, run):
        self.assertNotEqual(run.returncode, OK, run.stdout)
        self.assertEqual([answer["ok"] for answer in records(run.stdout)], [False], run.stdout)

    def done_only_if_carried_out(self, controller, run, place):
        """PLACE was never written, so an acknowledgement can only be that of another write."""
        self.assertFalse([event for event in controller.events("written") if event.address == place])
        self.not_done_unless_late(controller, run)

    def not_done_unless_late(self, controller, run):
        """On a busy machine the controller may answer later than a reply may be late."""
        if records(run.stdout)[0]["ok"]:
            acknowledged = [event for event in controller.events("sent") if not event.request.reads]
            self.assertTrue([event for event in acknowledged if event.took > self.promise_s], run.stdout)

    def test_a_read_right_after_one_that_timed_out_prints_what_is_there(self):
        for controller in self.rounds(lambda controller, request: [(0.0, controller.serve(request))]):
            self.fails(self.command(controller, "read", f"1:7:{FIRST}"))
            self.true_or_failed(self.command(controller, "read", f"1:7:{SECOND}"), controller)

    def test_a_read_right_after_a_write_that_timed_out_prints_what_is_there(self):
        for controller in self.rounds(lambda controller, request: [(0.0, controller.serve(request))]):
            self.fails(self.command(controller, "write", f"1:7:{FIRST}=111"))
            self.true_or_failed(self.command(controller, "read", f"1:7:{SECOND}"), controller)

    def test_the_acknowledgement_of_a_write_that_timed_out_does_not_make_the_next_one_done(self):
        for controller in self.rounds(lambda controller, request: []):
            self.fails(self.command(controller, "write", f"1:7:{FIRST}=111"))
            write = self.command(controller, "write", f"1:7:{SECOND}=111")
            self.done_only_if_carried_out(controller, write, SECOND)

    def test_the_acknowledgement_of_a_write_that_timed_out_does_not_make_a_write_of_another_value_done(self):
        for controller in self.rounds(lambda controller, request: []):
            serve = controller.behave
            controller.behave = lambda request, serve=serve: serve(request) if request.values == (111,) else []
            self.fails(self.command(controller, "write", f"1:7:{FIRST}=111"))
            write = self.command(controller, "write", f"1:7:{FIRST}=222")
            self.assertEqual(controller.register(1, FIRST), 111)
            self.not_done_unless_late(controller, write)

    def test_a_read_after_three_requests_that_a_controller_answers_one_by_one_prints_what_is_there(self):
        """The replies come long after the end of the program that asked, and the last one comes latest."""
        controller = Controller(order="queued")
        self.addCleanup(controller.close)
        controller.behave = lambda request: [(0.8 if request.address == FIRST else 0, controller.serve(request))]
        words = ["--line", controller.path, "--reply-timeout", TIME_OUT_MS, "--settle", 20, "--json"]
        self.fails(kelpo("read", *words, "--retries", 2, f"1:7:{FIRST}"))
        self.true_or_failed(kelpo("read", *words, f"1:7:{SECOND}"), controller)
        self.assertNotEqual(content(1, FIRST), content(1, SECOND))


if __name__ == "__main__":
    main()
