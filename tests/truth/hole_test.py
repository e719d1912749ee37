"""What a controller does not have spares what it has: a list in which some registers do not exist shows all the others."""
from controller import Controller
from programs import FAILED, OK, REFUSED, kelpo, list_file
from record_test import Poll
from sentences import Sentences, main

PATIENT = ["--reply-timeout", 20000]


class Hole(Sentences):
    def setUp(self):
        super().setUp()
        self.absent = set()  # (station, address)
        self.controller = Controller(stations=(1, 2, 3), behave=self.behave)
        self.addCleanup(self.controller.close)

    def behave(self, request):
        if any((request.station, at) in self.absent for at in request.places):
            return [(0, Controller.refuse(request, 2))]
        return [(0, self.controller.serve(request))]

    def poll(self, places, *words):
        variables = list_file([(f"{station}:{at}", station, 7, at, 1) for station, at in places], self.folder)
        poll = Poll(variables, self.controller, "--format", "json", *words, quick=PATIENT)
        self.addCleanup(poll.end)
        return poll

    def names(self, poll, quality):
        """The variables whose last record has this quality."""
        last = {record["name"]: record["quality"] for record in poll.records(kind="value")}
        return {name for name, its in last.items() if its == quality}

    def test_a_variable_that_does_not_exist_is_not_shown_and_its_neighbours_are(self):
        self.absent = {(1, 10)}
        poll = self.poll([(1, 5), (1, 10), (1, 20)], "--every", 20)
        self.controller.wait_for(lambda: len(poll.records(kind="value", quality="good")) > 100, "100 records")
        self.assertEqual(self.names(poll, "good"), {"1:5", "1:20"})
        self.assertFalse(poll.records(name="1:10"))
        self.true_records("".join(poll.lines), self.controller)
        self.assertIn("never read 1:10: refused: illegal data address (exception 2)", poll.end())
        self.assertEqual(poll.process.returncode, REFUSED)

    def test_a_variable_that_ceases_to_exist_is_bad_and_its_neighbours_are_good(self):
        poll = self.poll([(1, 5), (1, 10), (1, 20)], "--every", 20)
        self.controller.wait_for(lambda: self.names(poll, "good") == {"1:5", "1:10", "1:20"}, "three good values")
        self.absent = {(1, 10)}
        self.controller.wait_for(
            lambda: self.names(poll, "good") == {"1:5", "1:20"} and self.names(poll, "bad") == {"1:10"}, "a bad value")
        before = len(poll.records(kind="value"))
        self.controller.wait_for(lambda: len(poll.records(kind="value")) > before + 300, "300 records")
        later = poll.records(kind="value")[before:]
        self.assertEqual({record["name"] for record in later if record["quality"] == "good"}, {"1:5", "1:20"})
        self.assertEqual({record["name"] for record in later if record["quality"] == "bad"}, {"1:10"})
        self.assertEqual({record["quality"] for record in later}, {"good", "bad"})
        self.assertEqual(len({record["read_at"] for record in later if record["name"] == "1:10"}), 1)
        self.assertGreater(len({record["read_at"] for record in later if record["name"] == "1:5"}), 10)
        self.true_records("".join(poll.lines), self.controller)

    def test_a_hole_in_each_of_nine_blocks_hides_nothing_that_exists(self):
        blocks = [(station, first) for station in (1, 2, 3) for first in (0, 300, 600)]
        self.absent = {(station, first + 11 * (at + 1)) for at, (station, first) in enumerate(blocks)}
        places = [(station, first + at) for station, first in blocks for at in range(100)]
        poll = self.poll(places)
        exist = {f"{station}:{at}" for station, at in places if (station, at) not in self.absent}
        self.controller.wait_for(lambda: self.names(poll, "good") == exist, "all values that exist")
        self.true_records("".join(poll.lines), self.controller)
        for station in (1, 2, 3):
            refused = {request.frame for request in self.controller.asked(station=station)
                       if any((station, at) in self.absent for at in request.places)}
            self.assertLessEqual(len(refused), 3 * 8)

    def test_what_is_learned_makes_a_list_that_nothing_refuses(self):
        most = 25
        self.absent = {(1, 10), (2, 8), (2, 40)}
        self.controller.behave = lambda request: (
            [(0, Controller.refuse(request, 3))] if request.station == 3 and request.quantity > most
            else self.behave(request))
        places = [(1, 5), (1, 10), (1, 20), (2, 5), (2, 20), (2, 60)] + [(3, at) for at in range(100)]
        variables = list_file([(f"{station}:{at}", station, 7, at, 1) for station, at in places], self.folder)
        run = kelpo("plan", variables, "--line", self.controller.path, *PATIENT, "--learn")
        self.assertEqual(run.returncode, OK, run.stderr)
        self.assertIn('#   "1:10" (station 1, type 7, address 10)\n', run.stdout)
        self.assertEqual(run.stdout.count("#   "), 1, run.stdout)
        self.assertIn("[[station]]\nnumber = 1\nmax-gap = 13 ", run.stdout)
        self.assertIn("[[station]]\nnumber = 2\nmax-gap = 13 ", run.stdout)
        self.assertIn(f"[[station]]\nnumber = 3\nmax-count = {most} ", run.stdout)

        places.remove((1, 10))
        variables = list_file([(f"{station}:{at}", station, 7, at, 1) for station, at in places], self.folder)
        with open(variables, "a", encoding="utf-8") as file:
            file.write(run.stdout)
        run = kelpo("plan", variables, "--line", self.controller.path, *PATIENT, "--learn")
        self.assertEqual(run.returncode, OK, run.stderr)
        self.assertIn("nothing that was asked for was refused", run.stdout)

    def test_what_takes_too_long_to_learn_is_named(self):
        def behave(request):
            # Station 1 refuses the whole block, and never answers to its halves.
            if request.station == 1:
                return [(0, Controller.refuse(request, 2))] if request.quantity == 4 else []
            return [(0, self.controller.serve(request))]

        self.controller.behave = behave
        variables = list_file([(f"{station}:{at}", station, 7, at, 1) for station in (1, 2) for at in (5, 6, 7, 8)],
                              self.folder)
        run = kelpo("plan", variables, "--line", self.controller.path, "--reply-timeout", 6000, "--learn", "--seconds", 5)
        self.assertEqual(run.returncode, FAILED, run.stdout + run.stderr)
        self.assertIn("# ended before everything was found out\n", run.stdout)
        self.assertIn("#   station 1, class 7, 5 to 8: refused, and not taken apart completely\n", run.stdout)

    def test_without_rest_no_block_is_taken_apart(self):
        self.absent = {(1, 10)}
        self.poll([(1, 5), (1, 10), (1, 20), (2, 0)], "--no-rest")
        self.controller.wait_for(lambda: len(self.controller.asked(station=2)) > 30, "30 cycles")
        self.assertEqual({(request.address, request.quantity) for request in self.controller.asked(station=1)}, {(5, 16)})


if __name__ == "__main__":
    main()
