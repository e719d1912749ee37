"""A small plant for the tests of `kelpo serve`: a broker, a line with its controller, the service, and a subscriber that
nobody here wrote. The environment names the programs: KELPO, DRIVER, MOSQUITTO."""
import json
import os
import re
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

import paho.mqtt.client as mqtt
from controller import Controller
from programs import EMERGENCY_S, start

PREFIX = "kelpo/plant/boilers/"
DATE = re.compile(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(condition, what, seconds=EMERGENCY_S):
    """Waits until CONDITION() is true and returns that. SECONDS only ends a test that hangs; it is not measured."""
    end = time.monotonic() + seconds
    while True:
        found = condition()
        if found:
            return found
        if time.monotonic() > end:
            raise AssertionError(f"waited {seconds} s for {what}, and it did not happen")
        time.sleep(0.005)


class Broker:
    """mosquitto on a port of its own, which it keeps when it is started again. It remembers nothing then. USERS have
    passwords; without them everybody is let in."""

    def __init__(self, folder, users=None):
        self.port = free_port()
        self.url = f"mqtt://127.0.0.1:{self.port}"
        self._configuration = os.path.join(folder, f"mosquitto-{self.port}.conf")
        self._log = os.path.join(folder, f"mosquitto-{self.port}.log")
        with open(self._configuration, "w", encoding="utf-8") as file:
            file.write(f"listener {self.port} 127.0.0.1\nallow_anonymous {'false' if users else 'true'}\n")
            if users:
                file.write(f"password_file {self._passwords(folder, users)}\n")
        os.chmod(folder, 0o755)  # the broker gives up the rights of root
        self.process = None
        self.start()

    def _passwords(self, folder, users):
        path = os.path.join(folder, f"users-{self.port}")
        with open(path, "w", encoding="utf-8") as file:
            file.writelines(f"{user}:{password}\n" for user, password in users.items())
        os.chmod(path, 0o644)
        subprocess.run(["mosquitto_passwd", "-U", path], check=True, timeout=EMERGENCY_S)
        os.chmod(path, 0o644)
        return path

    def has_let_in(self, client):
        with open(self._log, encoding="utf-8") as file:
            return f" as {client} " in file.read()

    def start(self):
        with open(self._log, "a", encoding="utf-8") as log:
            self.process = subprocess.Popen([os.environ["MOSQUITTO"], "-c", self._configuration],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        wait_for(self._listens, "the broker to listen")

    def _listens(self):
        if self.process.poll() is not None:
            raise AssertionError("the broker has ended: its port was taken")
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def kill(self):
        self.process.kill()
        self.process.wait()


class Subscriber:
    """Hears everything, keeps all messages in their order, and comes back when the broker does."""

    def __init__(self, broker, version=mqtt.MQTTv5):
        self._lock = threading.Lock()
        self._messages = []
        self._subscribed = 0
        self._client = mqtt.Client(client_id="", protocol=version)
        self._client.on_connect = lambda client, *_: client.subscribe("#", 1)
        self._client.on_subscribe = self._note_subscribed
        self._client.on_message = self._note
        self._client.reconnect_delay_set(1, 1)
        self._client.connect("127.0.0.1", broker.port)
        self._client.loop_start()
        wait_for(lambda: self._subscribed, "a subscription")

    def _note_subscribed(self, *_):
        self._subscribed += 1

    def _note(self, _client, _data, message):
        with self._lock:
            self._messages.append(message)

    def close(self):
        self._client.disconnect()
        self._client.loop_stop()

    def publish(self, topic, payload, retain=False):
        """Publishes below the line's own topics."""
        info = self._client.publish(PREFIX + topic, payload, qos=1, retain=retain)
        wait_for(info.is_published, "the broker to take " + topic)

    def set(self, level, value, retain=False):
        self.publish("set/" + level, value if isinstance(value, (str, bytes)) else json.dumps(value), retain)

    def heard(self, topic, since=0):
        """What was heard on the topic below the line's own, from the message of that number on."""
        with self._lock:
            messages = self._messages[since:]
        return [json.loads(m.payload) if m.payload else None for m in messages if m.topic == PREFIX + topic]

    def topics(self):
        with self._lock:
            return [message.topic for message in self._messages]

    def count(self):
        with self._lock:
            return len(self._messages)

    def wait(self, topic, condition=lambda message: True, since=0):
        """The first message on the topic for which CONDITION(message) is true."""
        return wait_for(lambda: [m for m in self.heard(topic, since) if m is not None and condition(m)],
                        f"{topic}; heard so far: {self.heard(topic, since)[-5:]}")[0]

    def result(self, level, since=0):
        return self.wait("result/" + level, since=since)


LIST = """
[line]
path = "{line}"

[timeouts]
reply-ms = 300
settle-ms = 20

[site]
site = "plant"
line = "boilers"

[mqtt]
brokers = [{brokers}]
{mqtt}

[[station]]
number = 1
name = "boiler house"

[[station]]
number = 2

[[variable]]
name = "Set point"
station = 1
type = 7
address = "100"

[[variable]]
name = "room temperature"
station = 2
type = 7
address = "7"
view = "signed"

[[variable]]
name = "gates"
station = 1
type = 1
address = "10"
count = 8
"""


class Plant(unittest.TestCase):
    """Sentences about `kelpo serve`. The controller is in this process, and knows what it was asked."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="serve-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.controller = self.another_controller()
        self.broker = Broker(self.folder)
        self.addCleanup(self.broker.kill)
        self.subscriber = self.another_subscriber()
        self.services = []
        self.addCleanup(self.end_services)

    def another_subscriber(self, broker=None):
        subscriber = Subscriber(broker or self.broker)
        self.addCleanup(subscriber.close)
        return subscriber

    def another_controller(self):
        controller = Controller(stations=(1, 2))
        self.addCleanup(controller.close)
        return controller

    def another_broker(self, users=None):
        broker = Broker(self.folder, users)
        self.addCleanup(broker.kill)
        return broker

    def list_file(self, mqtt_lines="", brokers=None, line=None):
        path = os.path.join(self.folder, "list.toml")
        urls = ", ".join(f'"{broker.url}"' for broker in brokers or [self.broker])
        with open(path, "w", encoding="utf-8") as file:
            file.write(LIST.format(line=line or self.controller.path, brokers=urls, mqtt=mqtt_lines))
        return path

    def serve(self, *options, **lists):
        """Starts the service, and waits until all was read."""
        service = self.serve_without_waiting(*options, **lists)
        self.subscriber.wait("status", lambda m: m["state"] == "online")
        for level in ("set-point", "room-temperature", "gates"):
            self.subscriber.wait("value/" + level, lambda m: m["q"] == "good")
        return service

    def serve_without_waiting(self, *options, **lists):
        service = start("serve", self.list_file(**lists), *options)
        self.services.append(service)
        return service

    def end_services(self):
        for service in self.services:
            if service.poll() is None:
                service.kill()
            service.communicate(timeout=EMERGENCY_S)

    def stop(self, service):
        """Ends the service as a service manager does; returns what it has printed."""
        service.send_signal(signal.SIGTERM)
        _, errors = service.communicate(timeout=EMERGENCY_S)
        self.assertEqual(service.returncode, 0, errors)
        return errors

    def writes(self, station, address):
        """What the controller was asked to write, in its order."""
        return [event.value for event in self.controller.events("written")
                if event.station == station and event.address == address]

    def held(self, station, address):
        return self.controller.register(station, address)


def main():
    unittest.main(argv=["serve", *os.sys.argv[1:]])
