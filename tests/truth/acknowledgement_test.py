"""A write is done only when the controller has carried it out: an acknowledgement names what it acknowledges."""
from controller import WRITE_COIL, Controller, with_check
from programs import OK, kelpo, records
from sentences import Sentences, main

# Every way in which the driver writes: one coil, one register, several of each.
WRITES = ("1:1:20=1", "1:7:200=222", "1:1:40x12=1", "1:7:300x5=1,2,3,4,5", "1:12:400=70000")
QUICK = ["--reply-timeout", 100, "--settle", 20]


def of_address(request, address):
    return with_check(request.frame[:2] + address.to_bytes(2, "big") + request.frame[4:6])


def of_word(request, word):
    return with_check(request.frame[:4] + word.to_bytes(2, "big"))


def another_value(request):
    """The acknowledgement of another value, or of another quantity."""
    word = int.from_bytes(request.frame[4:6], "big")
    return of_word(request, word ^ 0xFF00 if request.function == WRITE_COIL else word ^ 1)


class Acknowledgement(Sentences):
    def never_done(self, acknowledge):
        """Whatever is written, with ACKNOWLEDGE(request) as the acknowledgement, is not reported as done."""
        with Controller() as controller:
            controller.behave = lambda request: [
                (0, controller.serve(request) if request.reads else acknowledge(request))]
            for reference in WRITES:
                with self.subTest(reference):
                    before = len(controller.events("sent"))
                    write = kelpo("write", "--line", controller.path, *QUICK, "--json", reference)
                    self.assertGreater(len(controller.events("sent")), before)
                    self.assertNotEqual(write.returncode, OK, write.stdout)
                    self.assertEqual([answer["ok"] for answer in records(write.stdout)], [False], write.stderr)

    def test_a_right_acknowledgement_is_accepted(self):
        with Controller() as controller:
            for reference in WRITES:
                with self.subTest(reference):
                    before = len(controller.events("written"))
                    write = kelpo("write", "--line", controller.path, "--reply-timeout", 5000, reference)
                    self.assertEqual(write.returncode, OK, write.stderr)
                    self.assertGreater(len(controller.events("written")), before)

    def test_an_acknowledgement_of_another_address_is_not_accepted(self):
        self.never_done(lambda request: of_address(request, request.address + 1))

    def test_an_acknowledgement_of_another_value_or_quantity_is_not_accepted(self):
        self.never_done(another_value)

    def test_an_acknowledgement_of_another_function_is_not_accepted(self):
        other = {5: 6, 6: 5, 15: 16, 16: 15}
        self.never_done(lambda request: with_check(bytes([request.station, other[request.function]]) + request.frame[2:6]))

    def test_a_late_acknowledgement_of_one_write_does_not_make_the_next_one_done(self):
        with Controller() as controller:
            def behave(request):
                if request.reads:
                    return [(0, controller.serve(request))]
                return [(0.7, controller.serve(request))] if request.address == 100 else []

            controller.behave = behave
            write = kelpo("write", "--line", controller.path, "--json", "1:7:100=111", "1:7:200=222", "1:7:300=333")
            self.assertEqual({event.address for event in controller.events("written")}, {100})
            self.assertNotEqual(write.returncode, OK)
            self.assertEqual([answer["ok"] for answer in records(write.stdout)][1:], [False, False], write.stdout)

    def test_a_write_that_is_refused_is_not_done(self):
        self.never_done(Controller.refuse)


if __name__ == "__main__":
    main()
