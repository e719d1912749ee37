"""What the tests of this folder have in common: how a value is judged, and how they are run."""
import argparse
import json
import subprocess
import sys
import tempfile
import time
import unittest

from controller import content
from programs import OK, records

options = argparse.Namespace(exchanges=0, lines=0, runs=0, seconds=0, seed=1, processes=0)
FIGURES = "figures "  # begins the line with those of one process


class Sentences(unittest.TestCase):
    """Sentences about kelpo, each checked with a controller."""

    # How late a reply may be so that kelpo knows which request it is for; without it the controller is never late.
    promise_s = None

    def setUp(self):
        self.unjudged = 0  # values of replies that were later
        folder = tempfile.TemporaryDirectory(prefix="truth-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def true_or_failed(self, run, controller):
        """Each value that `kelpo read --json` printed is what the controller holds there; returns how many it printed."""
        right = 0
        answers = records(run.stdout)
        for answer in answers:
            if not answer["ok"]:
                self.assertNotIn("values", answer)
                continue
            held = controller.register(answer["station"], int(answer["address"]))
            self.holds(answer, held, controller)
            right += 1
        if right < len(answers) or not answers:
            self.assertNotEqual(run.returncode, OK, run.stdout + run.stderr)
        return right

    def true_records(self, text, controller):
        """Each value in the json records of `kelpo poll` is what the controller holds there; returns how many there are."""
        values = [record for record in records(text) if record["kind"] == "value"]
        for record in values:
            held = controller.register(record["station"], int(record["address"]))
            self.holds(record, held, controller)
        return len(values)

    def holds(self, shown, held, controller):
        """The value that is SHOWN is the one HELD by the controller; if not, says which register has it. When the reply
        with that value left the controller later than promised, the machine was too busy, and nothing is judged."""
        if shown["values"] == [held]:
            return
        owners = [f"{station}:{address}" for station in controller.stations for address in range(0, 9000)
                  if [content(station, address)] == shown["values"]]
        if self.may_be_late(controller, shown["values"]):
            self.unjudged += 1
            return
        self.fail(f"{shown['station']}:{shown['address']} is shown with the value of {owners or 'no register'}: {shown}")

    def may_be_late(self, controller, values):
        """Whether a reply to a reading that holds VALUES may have been later than promised."""
        if self.promise_s is None:
            return False
        carried = b"".join(value.to_bytes(2, "big") for value in values)
        return any(event.slowest > self.promise_s for event in controller.events("sent")
                   if event.request and event.request.reads and carried in event.frame)


class Campaign:
    """How long a sentence goes on that can be long: until there were MOST of something, or for --seconds."""

    def __init__(self, most, usual):
        self.most = most or usual
        self.is_long = most > 0
        self.end = time.monotonic() + options.seconds if options.seconds else None

    def goes_on(self, number):
        return number < self.most and (self.end is None or time.monotonic() < self.end)

    def report(self, **figures):
        if self.is_long:
            print(FIGURES + json.dumps(figures), flush=True)


def beside_each_other(names):
    """Runs the sentences NAMES in --processes at once, each with its part and a seed of its own; adds up what they found."""
    part = {"--exchanges": -(-options.exchanges // options.processes), "--runs": -(-options.runs // options.processes),
            "--seconds": options.seconds}
    words = [str(word) for pair in part.items() for word in pair]
    started = [subprocess.Popen([sys.executable, "-B", sys.argv[0], *names, *words, "--seed", str(options.seed + number)],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
               for number in range(options.processes)]
    sums, failed = {}, 0
    for number, process in enumerate(started):
        said, _ = process.communicate()
        for line in said.splitlines():
            if line.startswith(FIGURES):
                for name, figure in json.loads(line[len(FIGURES):]).items():
                    sums[name] = max(sums.get(name, 0), figure) if name.startswith("most") else sums.get(name, 0) + figure
        if process.returncode:
            failed += 1
            print(f"with seed {options.seed + number}:\n{said}")
    for name, figure in sums.items():
        print(f"{name.replace('_', ' '):50}{figure:12}")
    print(f"{'processes that failed':50}{failed:12}")
    return 1 if failed else 0


def main():
    """Runs the sentences of a file. --exchanges, --lines and --runs make those longer that can be long; --seconds ends
    them earlier; --processes runs them that many times at once, with seeds from --seed on."""
    parser = argparse.ArgumentParser()
    for name, value in vars(options).items():
        parser.add_argument("--" + name, type=int, default=value)
    _, rest = parser.parse_known_args(namespace=options)
    if options.processes:
        sys.exit(beside_each_other(rest))
    unittest.main(argv=["truth", *rest])
