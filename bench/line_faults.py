"""What a faulty station costs the others: three stations with three blocks each, at the speed of a line of 19200 baud;
one of them is dead, refuses, or is busy. Counts the requests that the two others get, and times their cycles, for kelpo
and for kelpo that leaves everything to the driver (--no-rest); each is divided by its own figure with no station
faulty. The environment names the programs: KELPO, DRIVER, TRUTH (the folder of the controller)."""
import argparse
import os
import statistics
import sys
import tempfile
import time

sys.path.insert(0, os.environ["TRUTH"])
from controller import Controller  # noqa: E402
from programs import list_file, start  # noqa: E402

CHARACTER_S = 10 / 19200
TURNAROUND_S = 0.005
BLOCKS = (0, 200, 400)  # the first register of each
REGISTERS = 10
FAULTY = 3
STATIONS = (1, 2, 3)
FAULTS = {
    "none faulty": None,
    "one dead": lambda request: b"",
    "one refuses (2)": lambda request: Controller.refuse(request, 2),
    "one is busy (6)": lambda request: Controller.refuse(request, 6),
}


class PacedController(Controller):
    """Takes as long as a wire. FAULT says what the faulty station answers to a request; without it, no station is."""

    def __init__(self, fault=None):
        self.fault = fault
        super().__init__(STATIONS, self.paced)

    def paced(self, request):
        faulty = self.fault and request.station == FAULTY
        reply = self.fault(request) if faulty else self.serve(request)
        if not reply:
            return []
        return [(TURNAROUND_S + (len(request.frame) + len(reply)) * CHARACTER_S, reply)]


def kelpo(*words):
    """A function that polls with kelpo for a number of seconds."""
    def poll(path, seconds):
        variables = [(f"v{station}_{block}", station, 7, block, REGISTERS) for station in STATIONS for block in BLOCKS]
        with tempfile.TemporaryDirectory(prefix="line-faults-") as folder:
            process = start("poll", list_file(variables, folder), "--line", path, "--gap", 2, "--format", "json",
                            *words)
            time.sleep(seconds)
            process.terminate()
            process.communicate()
    return poll


CONTENDERS = {"kelpo": kelpo(), "kelpo --no-rest": kelpo("--no-rest")}


def measure(poll, fault, warm_s, seconds):
    """Requests a second to the good stations and to the faulty one, and the seconds of each cycle of the good ones."""
    with PacedController(fault) as controller:
        since = time.monotonic() + warm_s
        poll(controller.path, warm_s + seconds)
        asked = [event for event in controller.events("asked", since) if event.moment < since + seconds]
    good = [event for event in asked if event.request.station != FAULTY]
    starts = [event.moment for event in good if event.request.station == 1 and event.request.address == BLOCKS[0]]
    cycles = [later - earlier for earlier, later in zip(starts, starts[1:])] or [float("inf")]
    return len(good) / seconds, (len(asked) - len(good)) / seconds, cycles


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seconds", type=float, default=60)
    parser.add_argument("--warm", type=float, default=15, help="seconds before the first request that counts")
    chosen = parser.parse_args()
    print(f"{'':36}{'good/s':>9}{'ratio':>7}{'faulty/s':>10}{'cycle ms':>10}{'ratio':>7}{'worst ms':>10}{'ratio':>7}")
    without_fault = {}
    for fault, reply in FAULTS.items():
        for contender, poll in CONTENDERS.items():
            good, faulty, cycles = measure(poll, reply, chosen.warm, chosen.seconds)
            mean, worst = statistics.mean(cycles), max(cycles)
            first = without_fault.setdefault(contender, (good, mean))
            print(f"{fault:18}{contender:18}{good:9.2f}{good / first[0]:7.2f}{faulty:10.2f}{1000 * mean:10.0f}"
                  f"{mean / first[1]:7.2f}{1000 * worst:10.0f}{worst / first[1]:7.2f}", flush=True)


if __name__ == "__main__":
    main()
