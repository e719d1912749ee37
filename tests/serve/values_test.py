"""What a subscriber sees of a line: values with time and quality, stations, the line, and whether the service is there."""
import signal

from plant import DATE, PREFIX, Plant, main, wait_for


class Values(Plant):
    def test_every_topic_is_there_for_who_comes_later(self):
        self.serve()
        late = self.another_subscriber()
        for topic in ("status", "line", "station/1", "station/2", "meta", "value/set-point", "value/room-temperature",
                      "value/gates"):
            late.wait(topic)
        self.assertEqual(late.wait("status")["state"], "online")
        self.assertEqual(late.wait("line", lambda m: m["state"] == "open")["why"], None)
        station = late.wait("station/1")
        self.assertEqual((station["state"], station["name"], station["next_try"]), ("up", "boiler house", None))
        self.assertEqual(late.wait("station/2")["name"], None)

    def test_a_value_is_a_number_or_an_array_with_the_time_at_which_it_was_read(self):
        self.serve()
        value = self.subscriber.wait("value/set-point", lambda m: m["q"] == "good")
        self.assertEqual(value["v"], self.held(1, 100))
        self.assertEqual(value["text"], str(self.held(1, 100)))
        self.assertRegex(value["t"], DATE)
        gates = self.subscriber.wait("value/gates", lambda m: m["q"] == "good")
        self.assertEqual(len(gates["v"]), 8)
        self.assertEqual("".join(map(str, gates["v"])), gates["text"])

    def test_meta_describes_the_variables_in_the_order_of_the_list(self):
        self.serve()
        first, second, third = self.subscriber.wait("meta")["variables"]
        self.assertEqual(first, {"id": "set-point", "name": "Set point", "station": 1, "type": 7, "address": "100",
                                 "count": 1, "writable": True, "limits": [0, 65535]})
        self.assertEqual(second["limits"], [-32768, 32767])
        self.assertEqual((third["id"], third["count"], third["limits"]), ("gates", 8, [0, 1]))

    def test_what_was_never_read_is_bad_and_null(self):
        self.controller.behave = lambda request: []
        self.serve_without_waiting()
        self.subscriber.wait("status")
        self.assertEqual(self.subscriber.wait("value/set-point"), {"v": None, "text": None, "q": "bad", "t": None})
        down = self.subscriber.wait("station/1", lambda m: "does not answer" in (m["why"] or ""))
        self.assertEqual(down["state"], "down")

    def test_online_comes_after_the_values_that_are_not_true_any_more(self):
        service = self.serve()
        service.kill()
        self.subscriber.wait("status", lambda m: m["state"] == "lost")
        self.controller.behave = lambda request: []
        begin = self.subscriber.count()
        self.serve_without_waiting()
        self.subscriber.wait("status", lambda m: m["state"] == "online", begin)
        topics = self.subscriber.topics()[begin:]
        online = topics.index(PREFIX + "status")
        for level in ("set-point", "room-temperature", "gates"):
            self.assertIn(PREFIX + "value/" + level, topics[:online])
            self.assertEqual(self.subscriber.heard("value/" + level, begin)[0]["q"], "bad")

    def test_a_change_is_published(self):
        self.serve()
        self.controller.set_register(2, 7, 0xFFF6)
        changed = self.subscriber.wait("value/room-temperature", lambda m: m["v"] == -10)
        self.assertEqual((changed["text"], changed["q"]), ("-10", "good"))

    def test_a_station_that_is_silent_makes_its_values_bad_and_no_others(self):
        self.serve()
        read = self.subscriber.wait("value/room-temperature", lambda m: m["q"] == "good")
        serve = self.controller.serve
        self.controller.behave = lambda request: [] if request.station == 2 else [(0, serve(request))]
        lost = self.subscriber.wait("value/room-temperature", lambda m: m["q"] == "bad" and m["v"] is not None)
        self.assertEqual(lost["v"], read["v"])
        self.assertGreaterEqual(lost["t"], read["t"])
        down = self.subscriber.wait("station/2", lambda m: m["state"] == "down" and m["next_try"])
        self.assertRegex(down["next_try"], DATE)
        self.subscriber.wait("event", lambda m: m["kind"] == "station-down" and m["station"] == 2)
        self.assertEqual({m["q"] for m in self.subscriber.heard("value/set-point") if m["v"] is not None}, {"good"})
        self.controller.behave = lambda request: [(0, serve(request))]
        since = self.subscriber.count()
        self.subscriber.wait("station/2", lambda m: m["state"] == "up", since)
        self.subscriber.wait("value/room-temperature", lambda m: m["q"] == "good", since)

    def test_a_line_that_is_lost_makes_everything_bad_until_it_is_back(self):
        self.serve()
        self.controller.hang_up()
        lost = self.subscriber.wait("line", lambda m: m["state"] == "lost" and m["why"] != "not open yet")
        self.assertRegex(lost["since"], DATE)
        for level in ("set-point", "room-temperature", "gates"):
            self.subscriber.wait("value/" + level, lambda m: m["q"] == "bad" and m["v"] is not None)
        since = self.subscriber.count()
        self.controller.open_line()
        self.subscriber.wait("line", lambda m: m["state"] == "open", since)
        self.subscriber.wait("value/gates", lambda m: m["q"] == "good", since)

    def test_a_service_that_ends_says_so_and_one_that_is_killed_is_lost(self):
        service = self.serve()
        first = self.subscriber.wait("status", lambda m: m["state"] == "online")
        self.stop(service)
        self.assertEqual(self.subscriber.wait("status", lambda m: m["state"] != "online")["state"], "offline")
        since = self.subscriber.count()
        service = self.serve_without_waiting()
        second = self.subscriber.wait("status", lambda m: m["state"] == "online", since)
        self.assertNotEqual(first["instance"], second["instance"])
        self.assertEqual(first["list"], second["list"])
        service.send_signal(signal.SIGKILL)
        lost = self.subscriber.wait("status", lambda m: m["state"] != "online", since)
        self.assertEqual((lost["state"], lost["instance"]), ("lost", second["instance"]))

    def test_what_the_list_does_not_have_any_more_is_removed(self):
        for topic in ("value/old-pump", "station/9"):
            self.subscriber.publish(topic, '{"q":"good","state":"up"}', retain=True)
        self.serve()
        for topic in ("value/old-pump", "station/9"):
            wait_for(lambda: None in self.subscriber.heard(topic), topic + " without a payload")
        late = self.another_subscriber()
        late.wait("value/gates")
        late.wait("meta")
        late.wait("status")
        self.assertEqual(late.heard("value/old-pump") + late.heard("station/9"), [])

    def test_a_station_is_switched_off_and_on(self):
        self.serve()
        self.subscriber.publish("control/station/2", "off")
        self.subscriber.wait("station/2", lambda m: m["state"] == "off")
        self.subscriber.wait("value/room-temperature", lambda m: m["q"] == "bad" and m["v"] is not None)
        since = self.subscriber.count()
        self.subscriber.publish("control/station/2", "on")
        self.subscriber.wait("station/2", lambda m: m["state"] == "up", since)
        self.subscriber.wait("value/room-temperature", lambda m: m["q"] == "good", since)
        self.subscriber.publish("control/station/2", "sideways")
        self.subscriber.wait("event", lambda m: "sideways" in m["text"])


class Brokers(Plant):
    def test_all_topics_are_there_again_when_a_broker_comes_back_that_has_forgotten_them(self):
        self.serve()
        self.broker.kill()
        self.controller.set_register(2, 7, 123)
        self.broker.start()
        late = self.another_subscriber()
        late.wait("value/room-temperature", lambda m: m["v"] == 123 and m["q"] == "good")
        for topic in ("status", "line", "station/1", "station/2", "meta", "value/set-point", "value/gates"):
            late.wait(topic)
        self.assertEqual(late.heard("status")[-1]["state"], "online")

    def test_the_next_broker_is_tried_when_one_is_gone(self):
        other = self.another_broker()
        self.serve(brokers=[self.broker, other])
        late = self.another_subscriber(other)
        self.broker.kill()
        late.wait("status", lambda m: m["state"] == "online")
        late.wait("value/gates", lambda m: m["q"] == "good")

    def test_a_broker_that_hangs_is_given_up(self):
        other = self.another_broker()
        self.serve(brokers=[self.broker, other], mqtt_lines="keep-alive-s = 5")
        late = self.another_subscriber(other)
        self.broker.process.send_signal(signal.SIGSTOP)
        self.controller.set_register(2, 7, 77)
        late.wait("value/room-temperature", lambda m: m["v"] == 77)

    def test_polling_goes_on_without_any_broker(self):
        self.broker.kill()
        self.serve_without_waiting()
        wait_for(lambda: len(self.controller.asked()) > 20, "requests to the controller")
        self.broker.start()
        late = self.another_subscriber()
        late.wait("value/gates", lambda m: m["q"] == "good")

    def test_it_speaks_the_older_version_too(self):
        self.serve(mqtt_lines='version = "3.1.1"')
        self.subscriber.set("set-point", 350)
        self.assertEqual(self.subscriber.result("set-point")["state"], "done")


if __name__ == "__main__":
    main()
