"""What a service manager sees of `kelpo serve`."""
import os
import socket

from plant import Plant, main, wait_for
from programs import EMERGENCY_S, LINE_LOST, WRONG_USAGE, kelpo, start


class Service(Plant):
    def manager(self):
        """A socket as systemd's, and the environment that names it."""
        receiver = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(receiver.close)
        path = os.path.join(self.folder, "notify")
        receiver.bind(path)
        receiver.settimeout(EMERGENCY_S)
        return receiver, os.environ | {"NOTIFY_SOCKET": path, "WATCHDOG_USEC": "300000", "JOURNAL_STREAM": "8:1"}

    @staticmethod
    def heard_by(receiver, word):
        while True:
            text = receiver.recv(4096).decode()
            if word in text:
                return text

    def test_the_manager_is_told_of_the_start_of_life_and_of_the_end(self):
        receiver, environment = self.manager()
        service = start("serve", self.list_file(), env=environment)
        self.services.append(service)
        self.heard_by(receiver, "READY=1")
        alive = self.heard_by(receiver, "WATCHDOG=1\nSTATUS=line open, broker")
        self.assertIn("STATUS=line open, broker " + self.broker.url, alive)
        self.controller.hang_up()
        self.heard_by(receiver, "WATCHDOG=1\nSTATUS=line lost: ")
        self.broker.kill()
        self.heard_by(receiver, "no broker: ")
        service.terminate()
        self.heard_by(receiver, "STOPPING=1")

    def test_each_line_of_the_log_has_its_level(self):
        _, environment = self.manager()
        service = start("serve", self.list_file(), env=environment)
        self.services.append(service)
        self.subscriber.wait("line", lambda m: m["state"] == "open")
        self.controller.hang_up()
        self.subscriber.wait("line", lambda m: m["state"] == "lost" and m["why"] != "not open yet")
        lines = self.stop(service).splitlines()
        self.assertIn(f"<5>connected to {self.broker.url}", lines)
        self.assertTrue([line for line in lines if line.startswith("<3>line lost: ")], lines)
        self.assertTrue(all(line[0] == "<" and line[1] in "3456" and line[2] == ">" for line in lines), lines)

    def test_a_second_service_of_the_line_says_who_has_it(self):
        self.serve()
        second = start("serve", self.list_file())
        _, errors = second.communicate(timeout=EMERGENCY_S)
        self.assertEqual(second.returncode, LINE_LOST)
        self.assertIn("another program has it", errors)

    def test_a_list_without_a_broker_is_refused_unless_one_is_named(self):
        path = self.list_file()
        with open(path, encoding="utf-8") as file:
            text = file.read()
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(f'[mqtt]\nbrokers = ["{self.broker.url}"]', ""))
        run = kelpo("serve", path)
        self.assertEqual(run.returncode, WRONG_USAGE)
        self.assertIn("--broker", run.stderr)
        service = start("serve", path, "--broker", self.broker.url)
        self.services.append(service)
        self.subscriber.wait("value/gates", lambda m: m["q"] == "good")
        self.assertEqual(kelpo("serve", path, "--broker", "localhost").returncode, WRONG_USAGE)

    def test_the_first_line_of_a_file_is_the_password(self):
        """Nothing of it is in the log or in the command line."""
        locked = self.another_broker(users={"line": "dont-tell"})
        with open(os.path.join(self.folder, "password"), "w", encoding="utf-8") as file:
            file.write("wrong\n")
        service = self.serve_without_waiting(brokers=[locked, self.broker],
                                             mqtt_lines='user = "line"\npassword-file = "password"')
        self.subscriber.wait("status", lambda m: m["state"] == "online")
        with open(os.path.join(self.folder, "password"), "w", encoding="utf-8") as file:
            file.write("dont-tell\nnot this")
        since = self.subscriber.count()
        self.broker.kill()
        wait_for(lambda: locked.has_let_in("kelpo-plant-boilers"), "the service at the broker with a password")
        self.assertGreaterEqual(self.subscriber.count(), since)
        errors = self.stop(service)
        self.assertIn("not reached: Not authorized", errors)
        self.assertNotIn("dont-tell", errors)


if __name__ == "__main__":
    main()
