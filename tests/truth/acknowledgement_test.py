"""A write is done only when the controller carried it out: an acknowledgement names what it acknowledges."""
from controller import Controller, with_check
from programs import OK, kelpo, records
from sentences import Sentences, main

# Of every way in which the driver writes: one coil, one register, several of each.
WRITES = ("1:1:20=1", "1:7:200=222", "1:1:40x12=1", "1:7:300x5=1,2,3,4,5", "1:12:400=70000")
QUICK = ["--reply-timeout", 100, "--settle", 20]


class Acknowledgement(Sentences):
    def never_done(self, lie):
        """Whatever is written, with LIE(request) as the acknowledgement, is not reported as done."""
        with Controller() as controller:
            controller.behave = lambda request: [(0, lie(request) if not request.reads else controller.serve(request))]
            for reference in WRITES:
                with self.subTest(reference):
                    before = len(controller.events("sent"))
                    write = kelpo("write", "--line", controller.path, *QUICK, "--json", reference)
                    self.assertGreater(len(controller.events("sent")), before)
                    self.assertNotEqual(write.returncode, OK, write.stdout)
                    self.assertEqual([answer["ok"] for answer in records(write.stdout)], [False], write.stderr)

    def test_a_right_acknowledgement_is_taken(self):
        with Controller() as controller:
            for reference in WRITES:
                with self.subTest(reference):
                    before = len(controller.events("written"))
                    write = kelpo("write", "--line", controller.path, "--reply-timeout", 5000, reference)
                    self.assertEqual(write.returncode, OK, write.stderr)
                    self.assertGreater(len(controller.events("written")), before)

    def test_an_acknowledgement_of_another_function_is_none(self):
        other = {5: 6, 6: 5, 15: 16, 16: 15}
        self.never_done(lambda request: with_check(bytes([request.station, other[request.function]]) + request.frame[2:6]))

    def test_a_write_that_is_refused_is_not_done(self):
        self.never_done(Controller.refuse)


if __name__ == "__main__":
    main()
