"""Who listens says what others said on the line, and sends nothing."""
import os
import signal
import threading
import time

from controller import Controller, with_check
from programs import EMERGENCY_S, FAILED, LINE_LOST, OK, start
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

    def test_a_line_that_is_lost_is_opened_again_and_listened_to(self):
        process = start("listen", "--line", self.controller.path, "--utc")
        self.addCleanup(process.wait, EMERGENCY_S)
        self.addCleanup(process.kill)

        def say_until_it_is_shown(value):
            """Says a reading with its reply again and again until it is shown."""
            shown = threading.Event()

            def read():
                for line in process.stdout:
                    if f"= 0x{value:04X}" in line:
                        shown.set()
                        return
            reader = threading.Thread(target=read)
            reader.start()
            while not shown.wait(0.05):
                os.write(self.controller._master, READ)
                time.sleep(0.02)
                os.write(self.controller._master, with_check(bytes([3, 3, 2]) + value.to_bytes(2, "big")))
            reader.join()

        say_until_it_is_shown(0x1111)
        self.controller.hang_up()
        self.assertIn("line lost: ", process.stderr.readline())
        self.controller.open_line()
        while "line is back" not in process.stderr.readline():
            pass
        say_until_it_is_shown(0x2222)
        process.send_signal(signal.SIGINT)
        _, errors = process.communicate(timeout=EMERGENCY_S)
        self.assertEqual(process.returncode, OK, errors)
        self.assertEqual(self.controller.events("asked"), [])

    def test_a_line_that_is_lost_at_the_end_is_an_error(self):
        process = start("listen", "--line", self.controller.path)
        self.addCleanup(process.wait, EMERGENCY_S)
        time.sleep(0.3)
        self.controller.hang_up()
        self.addCleanup(self.controller.open_line)
        self.assertIn("line lost: ", process.stderr.readline())
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=EMERGENCY_S)
        self.assertEqual(process.returncode, LINE_LOST)

    def test_a_capture_holds_what_was_heard(self):
        file = os.path.join(self.folder, "heard.pcap")
        self.listen([b"\x00"] * 10 + [READ, VALUE] * 3, "--pcap", file, wait_for="0x1234")
        with open(file, "rb") as capture:
            content = capture.read()
        self.assertIn(READ, content)
        self.assertIn(VALUE, content)


if __name__ == "__main__":
    main()
