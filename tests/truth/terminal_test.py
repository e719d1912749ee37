"""A pseudo-terminal that is not a controller's, or is no longer one, is left alone."""
import os
import pty
import select
import signal
import termios
import time

from controller import Controller
from programs import LINE_LOST, kelpo, list_file
from record_test import Poll
from sentences import Sentences, main

QUICK = ["--reply-timeout", 200, "--settle", 20]


class Terminal(Sentences):
    def untouched(self, master, settings, slave):
        """Nothing was written to the terminal, and nothing of its settings was changed."""
        self.assertEqual(select.select([master], [], [], 0)[0], [], "something was written to the terminal")
        self.assertEqual(termios.tcgetattr(slave), settings)

    def test_the_terminal_of_a_login_is_never_opened(self):
        """Instead of a login's shell, a program has the terminal as its own."""
        process, master = pty.fork()
        if process == 0:
            os.write(1, b"!")
            signal.pause()
        self.addCleanup(os.close, master)
        self.addCleanup(os.waitpid, process, 0)
        self.addCleanup(os.kill, process, signal.SIGKILL)
        self.assertEqual(os.read(master, 1), b"!")  # it has the terminal now
        path = os.readlink(f"/proc/{process}/fd/0")
        slave = os.open(path, os.O_RDWR | os.O_NOCTTY)
        self.addCleanup(os.close, slave)
        settings = termios.tcgetattr(slave)
        link = os.path.join(self.folder, "link")
        os.symlink(path, link)
        for name in (path, link):
            read = kelpo("read", "--line", name, *QUICK, "1:7:10")
            self.assertEqual(read.returncode, LINE_LOST, read.stderr)
            self.assertIn(f"{name}: is the terminal of a running program, not a line", read.stderr)
            self.untouched(master, settings, slave)

    def test_a_link_that_is_older_than_the_terminal_is_not_followed(self):
        """The controller has ended, and the number of its terminal was given to the next program that asked for one."""
        with Controller() as controller:
            link = os.path.join(self.folder, "link")
            os.symlink(os.path.realpath(controller.path), link)
            long_ago = time.time() - 3600
            os.utime(link, (long_ago, long_ago), follow_symlinks=False)
            read = kelpo("read", "--line", link, *QUICK, "1:7:10")
            self.assertEqual(read.returncode, LINE_LOST, read.stderr)
            self.assertIn(f"{link}: the link is older than the terminal that it names", read.stderr)
            self.assertEqual(controller.asked(), [])

    def test_a_poll_that_lost_its_terminal_leaves_the_next_one_of_that_name_alone(self):
        """The name is that of the terminal itself, so it does not lead to a controller that is back with another one."""
        controller = Controller()
        self.addCleanup(controller.close)
        name = os.path.realpath(controller.path)
        poll = Poll(list_file([("word", 1, 7, 100, 1)], self.folder), controller, "--format", "json", path=name)
        self.addCleanup(poll.end)
        controller.wait_for(lambda: poll.records(kind="value", quality="good"), "a good value")
        controller.hang_up()
        controller.wait_for(lambda: poll.records(kind="line-lost"), "the line to be noticed as lost")
        others = self.terminals_until(name)
        self.addCleanup(lambda: [os.close(one) for pair in others for one in pair])
        if not others or os.ttyname(others[-1][1]) != name:
            self.skipTest("another program was quicker: its terminal has the name now")
        master, slave = others[-1]
        settings = termios.tcgetattr(slave)
        controller.wait_for(lambda: [r for r in poll.records(kind="line-lost") if "another program has" in str(r)],
                            "a try to open the line again")
        self.untouched(master, settings, slave)

    def terminals_until(self, name):
        """New terminals, the last one of that NAME, if it can be had."""
        made = []
        for _ in range(200):
            made.append(pty.openpty())
            if os.ttyname(made[-1][1]) == name:
                break
        return made


if __name__ == "__main__":
    main()
