"""Who listens says what others said on the line, and sends nothing."""
import os
import signal
import time

from controller import Controller, with_check
from programs import FAILED, OK, EMERGENCY_S, start
from sentences import Sentences, main

READ = with_check(bytes([3, 3, 0, 100, 0, 1]))
VALUE = with_check(bytes([3, 3, 2, 0x12, 0x34]))
WRITE = with_check(bytes([9, 16, 0, 5, 0, 1, 2, 0, 7]))
WRITTEN = with_check(bytes([9, 16, 0, 5, 0, 1]))
REFUSED = with_check(bytes([3, 0x83, 2]))


class Listen(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller(stations=())
        self.addCleanup(self.controller.close)

    def listen(self, frames, *words, wait_for=None):
        """What is printed, on both outputs, while FRAMES are on the line; ends when the last was shown."""
        process = start("listen", "--line", self.controller.path, "--utc", *words)
        self.addCleanup(process.wait, EMERGENCY_S)
        # Only an open terminal carries bytes: the listener is ready when it reads what it shows.
        lines = []
        for frame in frames:
            time.sleep(0.08)
            os.write(self.controller._master, frame)
        while not any(wait_for in line for line in lines):
            lines.append(process.stdout.readline())
            if not lines[-1]:
                break
        process.send_signal(signal.SIGINT)
        rest, errors = process.communicate(timeout=EMERGENCY_S)
        return "".join(lines) + rest, errors, process.returncode

    def test_requests_and_replies_are_told_apart_and_put_in_words(self):
        frames = [READ, VALUE, WRITE, WRITTEN, READ, REFUSED, READ, READ, VALUE]
        # The first ones may come before the terminal is set up.
        out, errors, code = self.listen([b"\x00"] * 10 + frames * 2, wait_for="write holding register 5")
        self.assertEqual(code, OK, errors)
        self.assertIn("station 3 read holding register 100", out)
        self.assertIn("station 9 write holding register 5", out)
        self.assertIn("= 0x1234 (4660)", out)
        self.assertIn("station 3: ", errors)
        self.assertEqual(self.controller.events("asked"), [])

    def test_what_is_no_frame_is_said_to_be_none(self):
        out, errors, code = self.listen([b"\x55\xaa\x55"] * 20, wait_for="55 AA 55")
        self.assertEqual(code, FAILED, errors)
        self.assertIn("is the speed or the parity different?", errors)
        self.assertEqual(self.controller.events("asked"), [])

    def test_a_capture_holds_what_was_heard(self):
        file = os.path.join(self.folder, "heard.pcap")
        self.listen([b"\x00"] * 10 + [READ, VALUE] * 3, "--pcap", file, wait_for="0x1234")
        with open(file, "rb") as capture:
            content = capture.read()
        self.assertIn(READ, content)
        self.assertIn(VALUE, content)


if __name__ == "__main__":
    main()
