"""The examples of docs/topics.md are what is published."""
import json
import os
import re

from plant import DATE, PREFIX, Plant, main


def examples():
    """Topic and payload of each example."""
    path = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "topics.md")
    with open(path, encoding="utf-8") as file:
        return {topic: json.loads(text) for topic, text in re.findall(r"^```json (\S+)\n(.*?)\n```$", file.read(),
                                                                      flags=re.MULTILINE | re.DOTALL)}


class Topics(Plant):
    def same_shape(self, shown, real, where):
        """The same fields in the same order, with values of the same kind; dates where dates are shown."""
        if isinstance(shown, dict):
            self.assertEqual(list(shown), list(real), where)
            for key, value in shown.items():
                self.same_shape(value, real[key], f"{where}.{key}")
        elif isinstance(shown, list):
            self.same_shape(shown[0], real[0], where)
        elif isinstance(shown, str) and DATE.match(shown):
            self.assertRegex(real, DATE, where)
        else:
            self.assertIs(type(real), type(shown), where)

    def test_the_examples_are_what_is_published(self):
        shown = examples()
        self.assertEqual(sorted(shown), ["event", "line", "meta", "result/set-point", "set/set-point", "station/1",
                                         "status", "value/set-point", "values/1"])
        self.serve(mqtt_lines='publish = "bundle"')
        self.subscriber.set("set-point", shown["set/set-point"])
        result = self.subscriber.wait("result/set-point")
        self.assertEqual({**result, "t": ""}, {**shown["result/set-point"], "t": ""})
        value = self.subscriber.wait("value/set-point", lambda m: m["v"] == 350)
        self.assertEqual({**value, "t": ""}, {**shown["value/set-point"], "t": ""})
        self.controller.behave = lambda request: []
        down = self.subscriber.wait("event", lambda m: m["kind"] == "station-down" and m["station"] == 1)
        self.assertEqual({**down, "time": ""}, {**shown["event"], "time": ""})
        self.same_shape(shown["line"], self.subscriber.wait("line", lambda m: m["cycle_ms"] is not None), "line")
        self.same_shape(shown["values/1"], self.subscriber.wait("values/1", lambda m: "set-point" in m["v"]), "values/1")
        self.same_shape(shown["station/1"], self.subscriber.wait(
            "station/1", lambda m: m["state"] == "up" and m["why"] is None), "station/1")
        for topic in ("status", "meta", "value/set-point", "result/set-point"):
            self.same_shape(shown[topic], self.subscriber.wait(topic, lambda m: m.get("v", 1) is not None), topic)

    def test_every_topic_has_its_place_in_the_document(self):
        path = os.path.join(os.path.dirname(__file__), "..", "..", "docs", "topics.md")
        with open(path, encoding="utf-8") as file:
            listed = set(re.findall(r"^\| \[`([a-z]+)[/`]", file.read(), flags=re.MULTILINE))
        self.serve(mqtt_lines='publish = "bundle"')
        self.subscriber.set("set-point", 1)
        self.subscriber.result("set-point")
        self.subscriber.publish("control/station/1", "off")
        self.subscriber.wait("event")
        used = {topic[len(PREFIX):].split("/")[0] for topic in self.subscriber.topics()}
        self.assertEqual(used, listed)


if __name__ == "__main__":
    main()
