"""Checks the controller and the judge themselves, on which the other tests of this folder depend."""
import time

from controller import QUIET_S, Controller, check_sum, content, first_request, with_check
from programs import OK, kelpo, records
from sentences import Sentences, main


class TheController(Sentences):
    def test_the_check_sum_is_that_of_modbus(self):
        self.assertEqual(check_sum(bytes.fromhex("01030000000A")), bytes.fromhex("C5CD"))

    def test_no_two_registers_of_a_station_hold_the_same(self):
        self.assertEqual(len({content(1, address) for address in range(65536)}), 65536)

    def test_a_request_is_found_after_garbage_and_only_when_it_is_whole(self):
        frame = bytes.fromhex("0110000100020400030004") + check_sum(bytes.fromhex("0110000100020400030004"))
        self.assertEqual(first_request(frame[:-1]), (None, 0))
        request, end = first_request(b"\xff\x01" + frame + b"\x01")
        self.assertEqual(((request.station, request.address, request.values), end), ((1, 1, (3, 4)), len(frame) + 2))

    def test_what_the_controller_holds_is_read(self):
        with Controller() as controller:
            read = kelpo("read", "--line", controller.path, "--reply-timeout", 5000, "--json", "1:7:10", "1:7:200")
            self.assertEqual(read.returncode, OK, read.stderr)
            self.assertEqual(self.true_or_failed(read, controller), 2)

    def test_what_is_written_is_in_the_log_and_read_back(self):
        with Controller() as controller:
            write = kelpo("write", "--line", controller.path, "--reply-timeout", 5000, "--check", "--json", "1:7:10=4711")
            self.assertEqual(records(write.stdout)[0]["values"], [4711])
            self.assertEqual([(event.address, event.value) for event in controller.events("written")], [(10, 4711)])

    def test_the_judge_notices_a_value_of_another_register(self):
        with Controller() as controller:
            other = content(1, 11).to_bytes(2, "big")
            controller.behave = lambda request: [(0, with_check(b"\x01\x03\x02" + other))]
            read = kelpo("read", "--line", controller.path, "--reply-timeout", 5000, "--json", "1:7:10")
            with self.assertRaisesRegex(AssertionError, "1:10 is shown with the value of .'1:11'."):
                self.true_or_failed(read, controller)

    def test_the_controller_knows_how_long_a_reply_took_at_most(self):
        with Controller() as controller:
            controller.behave = lambda request: [(0.3, controller.serve(request))]
            kelpo("read", "--line", controller.path, "--reply-timeout", 5000, "1:7:10", "1:7:200")
            sent = controller.events("sent")
            self.assertEqual([event.request.address for event in sent], [10, 200])
            for event in sent:
                self.assertGreaterEqual(event.took, 0.3)

    def test_the_controller_knows_the_slowest_reply_since_the_line_was_quiet(self):
        with Controller() as controller:
            delays = iter((0.3, 0.0, 0.0))
            controller.behave = lambda request: [(next(delays), controller.serve(request))]
            kelpo("read", "--line", controller.path, "--reply-timeout", 5000, "1:7:10", "1:7:200")
            time.sleep(2 * QUIET_S)
            kelpo("read", "--line", controller.path, "--reply-timeout", 5000, "1:7:10")
            first, soon_after, after_a_pause = controller.events("sent")
            self.assertEqual(first.slowest, first.took)
            self.assertEqual(soon_after.slowest, max(first.took, soon_after.took))
            self.assertEqual(after_a_pause.slowest, after_a_pause.took)

    def test_the_judge_does_not_judge_a_reply_that_was_later_than_promised(self):
        with Controller() as controller:
            other = content(1, 11).to_bytes(2, "big")
            controller.behave = lambda request: [(0.3, with_check(b"\x01\x03\x02" + other))]
            read = kelpo("read", "--line", controller.path, "--reply-timeout", 5000, "--json", "1:7:10")
            self.promise_s = 0.29
            self.true_or_failed(read, controller)
            self.assertEqual(self.unjudged, 1)
            self.promise_s = 100
            with self.assertRaisesRegex(AssertionError, "1:10 is shown with the value of .'1:11'."):
                self.true_or_failed(read, controller)


if __name__ == "__main__":
    main()
