"""Stations differ: each is asked in blocks of its own size, waited for as long as it needs, and tried as often as the
list says."""
from controller import Controller
from programs import list_file
from record_test import Poll
from sentences import Sentences, main

LARGE, SMALL = 1, 2
MOST = 10  # registers that the small one answers
SLOW_S = 0.7


class Station(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller(stations=(LARGE, SMALL), behave=self.behave)
        self.addCleanup(self.controller.close)
        self.delay = 0

    def behave(self, request):
        if request.station == SMALL and request.quantity > MOST:
            return [(0, Controller.refuse(request, 3))]
        return [(self.delay if request.station == SMALL else 0, self.controller.serve(request))]

    def poll(self, settings, *words, quick=("--reply-timeout", 20000)):
        variables = list_file([(f"{station}:{at}", station, 7, at, 1)
                               for station in (LARGE, SMALL) for at in range(100, 130)], self.folder)
        with open(variables, "a", encoding="utf-8") as file:
            file.write(f"[[station]]\nnumber = {SMALL}\n{settings}")
        poll = Poll(variables, self.controller, "--format", "json", *words, quick=list(quick))
        self.addCleanup(poll.end)
        return poll

    def all_read(self, poll):
        return len({record["name"] for record in poll.records(kind="value", quality="good")}) == 60

    def test_a_station_is_asked_for_no_more_than_its_own_max_count(self):
        poll = self.poll(f"max-count = {MOST}\n")
        self.controller.wait_for(lambda: self.all_read(poll), "all values")
        self.assertEqual({request.quantity for request in self.controller.asked(station=LARGE)}, {30})
        self.assertEqual({request.quantity for request in self.controller.asked(station=SMALL)}, {MOST})
        self.true_records("".join(poll.lines), self.controller)

    def test_a_station_is_waited_for_as_long_as_it_needs(self):
        self.delay = SLOW_S
        poll = self.poll(f"max-count = {MOST}\nreply-ms = 20000\n", quick=("--reply-timeout", 300))
        self.controller.wait_for(lambda: self.all_read(poll), "all values")
        self.assertFalse(poll.records(kind="given-up"))
        self.true_records("".join(poll.lines), self.controller)

    def test_a_station_is_tried_as_often_as_its_own_retries_say(self):
        self.controller.behave = lambda request: (
            [] if request.station == SMALL else [(0, self.controller.serve(request))])
        self.poll("retries = 0\nreply-ms = 100\n", "--no-rest", "--retries", 5)
        self.controller.wait_for(lambda: len(self.controller.asked(station=SMALL)) > 8, "requests")
        asked = [request.station for request in self.controller.asked()]
        self.assertEqual(asked[:16], [LARGE, SMALL] * 8)


if __name__ == "__main__":
    main()
