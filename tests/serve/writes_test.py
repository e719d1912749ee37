"""Whoever sends a set gets exactly one result, and never a late surprise."""
import json
import time

from plant import DATE, Plant, main, wait_for


class Writes(Plant):
    def results(self, level="set-point"):
        return self.subscriber.heard("result/" + level)

    def settled(self):
        """All that was sent before has had its effect: a later set has its result."""
        self.subscriber.set("gates", {"v": [0, 0, 0, 0, 0, 0, 0, 1], "id": f"settled {self.subscriber.count()}"})
        since = len(self.results("gates"))
        wait_for(lambda: len(self.results("gates")) > since, "the result of the last set")

    def test_a_value_is_written_and_read_back(self):
        self.serve()
        self.subscriber.set("set-point", 350)
        result = self.subscriber.result("set-point")
        self.assertEqual({**result, "t": None}, {"id": None, "state": "done", "why": None, "v": 350, "t": None})
        self.assertRegex(result["t"], DATE)
        self.assertEqual(self.writes(1, 100), [350])
        self.subscriber.wait("value/set-point", lambda m: m["v"] == 350)

    def test_done_is_what_was_read_after_the_write(self):
        self.serve()
        serve = self.controller.serve

        def withhold_reads_after_the_write(request):
            withheld = request.station == 1 and request.reads and self.writes(1, 100)
            return [] if withheld else [(0, serve(request))]

        self.controller.behave = withhold_reads_after_the_write
        self.subscriber.set("set-point", 350)
        wait_for(lambda: self.writes(1, 100), "the write")
        reads = len(self.controller.asked(station=1, function=3))
        wait_for(lambda: len(self.controller.asked(station=1, function=3)) >= reads + 2, "two reads after it")
        self.subscriber.set("no-such", 1)
        self.subscriber.result("no-such")
        self.assertEqual(self.results(), [])
        self.controller.behave = lambda request: [(0, serve(request))]
        result = self.subscriber.result("set-point")
        self.assertEqual((result["state"], result["v"]), ("done", 350))

    def test_an_object_has_an_id_and_an_array_all_values(self):
        self.serve()
        self.subscriber.set("gates", {"v": [1, 0, 1, 1, 0, 0, 0, 0], "id": "open them"})
        result = self.subscriber.result("gates")
        self.assertEqual((result["id"], result["state"], result["v"]), ("open them", "done", [1, 0, 1, 1, 0, 0, 0, 0]))

    def test_what_cannot_be_written_is_refused_at_once(self):
        self.serve()
        cases = {
            "65536": "out of limits", "-1": "out of limits", "warm": "does not fit", "": "empty", "{": "not JSON",
            "null": "does not fit", '{"v":null}': "not a number", '{"value":1}': "unknown member",
            '{"v":1,"within-ms":0}': "within-ms", '{"v":1,"id":""}': "id", "[1,2]": "2 values", "1.5": "does not fit",
            '{"id":"x"}': "no v", "[[1]]": "not a number", '"': "not JSON",
        }
        for number, (payload, why) in enumerate(cases.items()):
            self.subscriber.set("set-point", payload)
            wait_for(lambda: len(self.results()) > number, "an answer to " + payload)
            result = self.results()[-1]
            self.assertEqual((result["state"], result["v"], result["t"]), ("refused", None, None), payload)
            self.assertIn(why, result["why"], payload)
        self.subscriber.set("no-such", 1)
        self.assertIn("no variable", self.subscriber.result("no-such")["why"])
        self.settled()
        self.assertEqual(self.writes(1, 100), [])
        self.assertEqual(len(self.results()), len(cases))

    def test_a_megabyte_is_refused(self):
        self.serve()
        self.subscriber.set("set-point", "1" * 1_000_000)
        result = self.subscriber.result("set-point")
        self.assertEqual(result["state"], "refused")
        self.assertIn("longer than", result["why"])
        self.settled()
        self.assertEqual(self.writes(1, 100), [])

    def test_a_retained_set_is_refused(self):
        self.subscriber.set("set-point", 351, retain=True)
        self.serve()
        result = self.subscriber.result("set-point")
        self.assertEqual(result["state"], "refused")
        self.assertIn("retained", result["why"])
        self.subscriber.set("set-point", 352, retain=True)
        wait_for(lambda: len(self.results()) == 2, "the second answer")
        self.assertEqual(self.results()[-1]["state"], "refused")
        self.settled()
        self.assertEqual(self.writes(1, 100), [])

    def test_the_same_id_again_gets_the_first_answer_and_no_second_write(self):
        self.serve()
        for value in (10, 11, 10):
            self.subscriber.set("set-point", {"v": value, "id": "once"})
        wait_for(lambda: len(self.results()) == 3, "three answers")
        self.subscriber.set("set-point", {"v": 12, "id": "once"})
        wait_for(lambda: len(self.results()) == 4, "a fourth answer")
        self.assertEqual([(r["id"], r["state"], r["v"]) for r in self.results()], [("once", "done", 10)] * 4)
        self.assertEqual(self.writes(1, 100), [10])
        self.subscriber.set("room-temperature", {"v": 5, "id": "once"})
        self.assertEqual(self.subscriber.result("room-temperature")["v"], 5)

    def test_what_is_late_is_never_sent(self):
        self.serve()
        serve = self.controller.serve
        self.controller.behave = lambda request: []
        self.subscriber.wait("station/1", lambda m: m["state"] == "down" and m["next_try"])
        self.subscriber.wait("station/2", lambda m: m["state"] == "down" and m["next_try"])
        for value in range(10):
            self.subscriber.set("set-point", {"v": value, "id": str(value), "within-ms": 300})
        wait_for(lambda: len(self.results()) == 10, "ten answers")
        self.assertEqual({r["state"] for r in self.results()}, {"expired"})
        self.controller.behave = lambda request: [(0, serve(request))]
        self.subscriber.wait("station/1", lambda m: m["state"] == "up", self.subscriber.count())
        self.settled()
        self.assertEqual(self.writes(1, 100), [])
        self.assertEqual(self.controller.asked(station=1, function=16), [])

    def test_a_write_waits_for_a_station_that_comes_back_in_time(self):
        self.serve()
        serve = self.controller.serve
        self.controller.behave = lambda request: []
        self.subscriber.wait("station/1", lambda m: m["state"] == "down" and m["next_try"])
        self.subscriber.set("set-point", {"v": 77, "within-ms": 86400000})
        self.controller.behave = lambda request: [(0, serve(request))]
        self.assertEqual(self.subscriber.result("set-point")["state"], "done")
        self.assertEqual(self.writes(1, 100), [77])

    def test_a_write_without_a_reply_is_unknown(self):
        self.serve()
        serve = self.controller.serve
        self.controller.behave = lambda request: [(0, serve(request))] if request.reads else []
        self.subscriber.set("set-point", 78)
        result = self.subscriber.result("set-point")
        self.assertEqual(result["state"], "unknown")
        self.assertIn("may have been written", result["why"])

    def test_a_write_that_the_controller_refuses_has_failed(self):
        self.serve()
        serve = self.controller.serve
        self.controller.behave = lambda request: [
            (0, serve(request) if request.reads else self.controller.refuse(request, 4))]
        self.subscriber.set("set-point", 79)
        result = self.subscriber.result("set-point")
        self.assertEqual(result["state"], "failed")
        self.assertIn("exception 4", result["why"])

    def test_an_acknowledged_write_that_is_read_as_something_else_has_failed(self):
        self.serve()
        serve = self.controller.serve

        def behave(request):
            reply = serve(request)
            if not request.reads:
                self.controller.set_register(1, 100, 60)
            return [(0, reply)]

        self.controller.behave = behave
        self.subscriber.set("set-point", 80)
        result = self.subscriber.result("set-point")
        self.assertEqual((result["state"], result["v"]), ("failed", 60))
        self.assertIn("acknowledged, but then read as 60", result["why"])

    def test_a_write_that_was_handed_over_when_the_line_is_lost_is_unknown(self):
        self.serve()
        serve = self.controller.serve
        self.controller.behave = lambda request: [(0, serve(request))] if request.reads else []
        self.subscriber.set("set-point", {"v": 81, "id": "lost"})
        self.controller.wait_for(lambda: self.controller.asked(function=16), "the write")
        self.controller.hang_up()
        result = self.subscriber.result("set-point")
        self.assertEqual((result["id"], result["state"]), ("lost", "unknown"))
        asked = len(self.controller.asked(function=16))
        self.controller.behave = lambda request: [(0, serve(request))]
        self.controller.open_line()
        self.subscriber.wait("line", lambda m: m["state"] == "open", self.subscriber.count())
        self.settled()
        self.assertEqual(len(self.controller.asked(function=16)), asked)

    def test_many_at_once_have_a_result_each(self):
        self.serve()
        for number in range(300):
            self.subscriber.set("set-point" if number % 2 else "room-temperature", {"v": number, "id": str(number)})
        wait_for(lambda: len(self.results()) + len(self.results("room-temperature")) == 300, "300 answers")
        self.settled()
        answers = self.results() + self.results("room-temperature")
        self.assertEqual(sorted(int(r["id"]) for r in answers), list(range(300)))

    def test_writes_that_wait_are_answered_at_the_end(self):
        service = self.serve()
        self.controller.behave = lambda request: []
        self.subscriber.wait("station/1", lambda m: m["state"] == "down" and m["next_try"])
        self.subscriber.set("set-point", {"v": 5, "id": "waits", "within-ms": 86400000})
        self.subscriber.set("set-point", {"v": 65537, "id": "came"})
        self.subscriber.wait("result/set-point", lambda m: m["id"] == "came")
        self.stop(service)
        result = self.subscriber.wait("result/set-point", lambda m: m["id"] == "waits")
        self.assertEqual(result["state"], "failed")
        self.assertIn("was not sent", result["why"])
        self.assertEqual(self.subscriber.wait("status", lambda m: m["state"] != "online")["state"], "offline")


if __name__ == "__main__":
    main()
