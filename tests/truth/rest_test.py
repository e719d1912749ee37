"""A station that does not answer leaves its time to the others, is asked now and then, and is polled again as soon as
it answers."""
from controller import Controller
from programs import NO_REPLY, OK, kelpo, list_file, records
from record_test import Poll
from sentences import Sentences, main

QUICK = ["--reply-timeout", 200, "--settle", 20]
BLOCKS = (100, 300, 500)
DEAD = 3


class Rest(Sentences):
    def setUp(self):
        super().setUp()
        self.dead = True
        self.controller = Controller(stations=(1, 2, 3), behave=self.behave)
        self.addCleanup(self.controller.close)
        self.list = list_file([(f"{station}:{block}", station, 7, block, 2)
                               for station in (1, 2, 3) for block in BLOCKS], self.folder)

    def behave(self, request):
        if self.dead and request.station == DEAD:
            return []
        return [(0.01, self.controller.serve(request))]

    def poll(self, *words):
        poll = Poll(self.list, self.controller, "--format", "json", "--every", 50, "--writes", *words, quick=QUICK)
        self.addCleanup(poll.end)
        return poll

    def asked(self, station):
        return self.controller.asked(station=station)

    def wait_for_rest(self, poll):
        self.controller.wait_for(lambda: poll.records(kind="station-rests", station=DEAD), "a station that rests")

    def test_the_requests_go_to_the_stations_that_answer(self):
        poll = self.poll()
        self.wait_for_rest(poll)
        self.assertEqual({request.quantity for request in self.asked(DEAD)[:6]}, {2})
        before, dead_before = len(self.controller.asked()), len(self.asked(DEAD))
        self.controller.wait_for(lambda: len(self.controller.asked()) > before + 500, "500 requests more")
        tries = self.asked(DEAD)[dead_before:]
        self.assertLess(len(tries), 20)
        self.assertEqual({request.quantity for request in tries} - {1}, set())

    def test_without_rest_the_station_is_asked_as_often_as_the_others(self):
        poll = self.poll("--no-rest")
        self.controller.wait_for(lambda: len(self.asked(DEAD)) > 20, "requests to the station")
        self.assertLess(len(self.asked(1)), len(self.asked(DEAD)))
        self.assertFalse(poll.records(kind="station-rests"))

    def test_its_values_are_bad_until_it_answers_and_true_afterwards(self):
        self.dead = False
        poll = self.poll()
        self.controller.wait_for(lambda: poll.records(kind="value", station=DEAD, quality="good"), "a good value")
        self.dead = True
        self.wait_for_rest(poll)
        count = len(poll.records(kind="value", station=DEAD))
        self.controller.wait_for(lambda: len(poll.records(kind="value", station=DEAD)) > count + 30, "more records")
        self.assertEqual({record["quality"] for record in poll.records(kind="value", station=DEAD)[count + 3:]}, {"bad"})
        self.dead = False
        self.controller.wait_for(lambda: poll.records(kind="station-back", station=DEAD), "the station")
        good = len(poll.records(kind="value", station=DEAD, quality="good"))
        self.controller.wait_for(
            lambda: len(poll.records(kind="value", station=DEAD, quality="good")) > good + 3, "good values")
        poll.process.terminate()
        poll.process.wait()
        for record in poll.records(kind="value"):
            address = int(record["address"])
            self.assertEqual(record["values"], [self.controller.register(record["station"], at)
                                                for at in (address, address + 1)])

    def test_a_write_to_it_is_refused_or_fails_and_is_never_sent(self):
        poll = self.poll()
        self.wait_for_rest(poll)
        sent = len(self.controller.asked(station=DEAD, function=16))
        poll.write("3:100 = 7 8")
        self.controller.wait_for(lambda: poll.records(kind="write-refused") or poll.records(kind="write-failed"),
                                 "an end of the write")
        text = (poll.records(kind="write-refused") + poll.records(kind="write-failed"))[0]["text"]
        self.assertIn("rest", text)
        self.dead = False
        self.controller.wait_for(lambda: poll.records(kind="station-back", station=DEAD), "the station")
        before = len(self.controller.asked())
        self.controller.wait_for(lambda: len(self.controller.asked()) > before + 50, "more requests")
        self.assertEqual(len(self.controller.asked(station=DEAD, function=16)), sent)
        self.assertFalse(self.controller.events("written"))

    def write_while_it_rests(self, *words):
        """Polls with WORDS until the station rests, and writes to it then."""
        poll = self.poll("--if-away", "wait", *words)
        self.wait_for_rest(poll)
        poll.write("3:100 = 7 8")
        return poll

    def test_a_write_that_may_wait_is_sent_once_when_the_station_is_back(self):
        poll = self.write_while_it_rests("--within", "10min")
        before = len(self.controller.asked())
        self.controller.wait_for(lambda: len(self.controller.asked()) > before + 50, "more requests")
        self.assertFalse(self.controller.asked(station=DEAD, function=16))
        self.dead = False
        self.controller.wait_for(lambda: poll.records(kind="write-done"), "an end of the write")
        self.assertEqual([self.controller.register(DEAD, 100), self.controller.register(DEAD, 101)], [7, 8])
        self.assertEqual(len(self.controller.asked(station=DEAD, function=16)), 1)

    def test_a_write_that_waits_too_long_for_its_station_is_reported_and_never_sent(self):
        poll = self.write_while_it_rests("--within", "100ms")
        self.controller.wait_for(lambda: poll.records(kind="write-expired"), "an end of the write")
        self.dead = False
        self.controller.wait_for(lambda: poll.records(kind="station-back", station=DEAD), "the station")
        before = len(self.controller.asked())
        self.controller.wait_for(lambda: len(self.controller.asked()) > before + 50, "more requests")
        self.assertFalse(self.controller.asked(station=DEAD, function=16))
        self.assertFalse(poll.records(kind="write-done"))

    def test_a_write_to_a_station_that_is_switched_off_is_refused_or_waits_and_is_never_sent(self):
        with open(self.list, "a", encoding="utf-8") as file:
            file.write(f"[[station]]\nnumber = {DEAD}\nenabled = false\n")
        self.dead = False
        for words, kind in (([], "write-refused"), (["--if-away", "wait", "--within", "100ms"], "write-expired")):
            poll = self.poll(*words)
            self.controller.wait_for(lambda: poll.records(kind="value", station=1, quality="good"), "a good value")
            poll.write("3:100 = 7 8")
            self.controller.wait_for(lambda: poll.records(kind=kind), kind)
            before = len(self.controller.asked())
            self.controller.wait_for(lambda: len(self.controller.asked()) > before + 50, "more requests")
            poll.process.terminate()
            poll.process.wait()
        self.assertFalse(self.asked(DEAD))

    def test_a_read_of_many_places_asks_a_dead_station_for_the_first_two_only(self):
        places = [f"{DEAD}:7:{1000 * at}" for at in range(8)]
        read = kelpo("read", "--line", self.controller.path, *QUICK, "--retries", 0, "--json", *places, "1:7:100")
        self.assertEqual(read.returncode, NO_REPLY)
        self.assertEqual(len([request for request in self.asked(DEAD) if request.address in (0, 1000)]), 2)
        self.assertFalse([request for request in self.asked(DEAD) if request.address > 1000])
        answers = records(read.stdout)
        self.assertEqual([answer["ok"] for answer in answers], [False] * 8 + [True])
        self.assertEqual([answer["exit_code"] for answer in answers], [NO_REPLY] * 8 + [OK])
        self.assertTrue(all("no reply" in answer["problem"] for answer in answers[:8]), answers)

    def test_a_read_without_rest_asks_for_each_place(self):
        places = [f"{DEAD}:7:{1000 * at}" for at in range(4)]
        read = kelpo("read", "--line", self.controller.path, *QUICK, "--retries", 0, "--no-rest", *places)
        self.assertEqual(read.returncode, NO_REPLY)
        self.assertEqual([request.address for request in self.asked(DEAD)], [0, 1000, 2000, 3000])


if __name__ == "__main__":
    main()
