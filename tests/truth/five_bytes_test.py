"""The special short reply, five bytes that begin with a station and 6A 8B, does not stop the line."""
from controller import Controller, check_sum
from programs import EMERGENCY_S, kelpo, list_file, start
from sentences import Sentences, main

BAD, GOOD = 2, (1, 3)
ENOUGH = 5  # this many more requests of a station show that it is still served
QUICK = ["--reply-timeout", 100, "--settle", 20]


def short_reply(station, right=True):
    head = bytes([station, 0x6A, 0x8B])
    check = check_sum(head)
    return head + (check if right else bytes(byte ^ 0x5A for byte in check))


class FiveBytes(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller(stations=(1, 2, 3))
        self.addCleanup(self.controller.close)

    def station_answers_all_with(self, frame):
        self.controller.behave = lambda request: [(0, frame if request.station == BAD else self.controller.serve(request))]

    def the_others_are_still_served(self, frame):
        """Station 2 answers everything with FRAME: stations 1 and 3 are still asked, and a queued write is sent."""
        self.station_answers_all_with(frame)
        path = list_file([(f"of {station}", station, 7, 100, 1) for station in (1, 2, 3)], self.folder)
        poll = start("poll", path, "--line", self.controller.path, *QUICK, "--format", "json", "--writes", stdin=-1)
        try:
            self.controller.wait_for(lambda: self.controller.asked(station=BAD), "a request of the station that is bad")
            poll.stdin.write("of 1 = 4711\n")
            poll.stdin.flush()
            before = {station: len(self.controller.asked(station=station)) for station in GOOD}
            self.controller.wait_for(
                lambda: all(len(self.controller.asked(station=station)) > before[station] + ENOUGH for station in GOOD),
                "requests of the stations that are good")
            self.assertEqual([(event.station, event.address, event.value) for event in self.controller.events("written")],
                             [(1, 100, 4711)])
        finally:
            poll.terminate()
            text, _ = poll.communicate(timeout=EMERGENCY_S)
        return text

    def test_a_station_that_answers_all_with_five_bytes_does_not_stop_the_others(self):
        self.the_others_are_still_served(short_reply(BAD))

    def test_a_station_that_answers_all_with_a_wrong_check_sum_does_not_stop_the_others(self):
        self.the_others_are_still_served(short_reply(BAD, right=False))

    def test_a_station_that_answers_all_with_the_number_of_another_does_not_stop_the_others(self):
        self.the_others_are_still_served(short_reply(9))

    def test_a_station_that_answers_all_with_five_bytes_is_reported(self):
        text = self.the_others_are_still_served(short_reply(BAD))
        self.assertRegex(text, f'"station":{BAD},[^\n]*"text"')

    def test_a_read_of_a_station_that_answers_with_five_bytes_ends_and_fails(self):
        for frame in short_reply(BAD), short_reply(BAD, right=False), short_reply(9):
            self.station_answers_all_with(frame)
            read = kelpo("read", "--line", self.controller.path, *QUICK, "--json", "2:7:100", "1:7:100")
            self.assertEqual(self.true_or_failed(read, self.controller), 1)


if __name__ == "__main__":
    main()
