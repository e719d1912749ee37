"""What a fault costs the others: three stations with three blocks each, at the speed of a line of 19200 baud; one of the
stations, or one of its blocks, is faulty. Counts the requests to all others and times their cycles, for kelpo, for kelpo
that leaves everything to the driver (--no-rest), and for simple loops with other libraries (peer_loops.py); each is
divided by its own figure, for the same requests, with nothing faulty. Then it measures how soon a station that comes back
is polled, and how soon all that exists is read where each block has a hole. The environment names the programs: KELPO,
DRIVER, TRUTH (the folder of the controller)."""
import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.environ["TRUTH"])
from controller import Controller  # noqa: E402
from programs import list_file, start  # noqa: E402

CHARACTER_S = 10 / 19200
GAP_MS = 2
TURNAROUND_S = 0.005
BLOCKS = (0, 200, 400)  # the first register of each
REGISTERS = 10
FAULTY = 3
FAULTY_BLOCK = 200
STATIONS = (1, 2, 3)


def of_station(request):
    return request.station == FAULTY


def of_block(request):
    return request.station == FAULTY and request.address == FAULTY_BLOCK


def silent(_):
    return b""


def refused_with(code):
    return lambda request: Controller.refuse(request, code)


# name: which requests the fault is of, and what is answered to them
FAULTS = {
    "none faulty": (lambda request: False, None),
    "one dead": (of_station, silent),
    "one refuses (2)": (of_station, refused_with(2)),
    "one is busy (6)": (of_station, refused_with(6)),
    "one block silent": (of_block, silent),
    "one block refused": (of_block, refused_with(2)),
}


class PacedController(Controller):
    """Takes as long as a wire. IS_FAULTY says which requests get ANSWER in place of the right one."""

    def __init__(self, is_faulty, answer):
        self.is_faulty, self.answer = is_faulty, answer
        super().__init__(STATIONS, self.paced)

    def paced(self, request):
        reply = self.answer(request) if self.is_faulty(request) else self.serve(request)
        if not reply:
            return []
        return [(TURNAROUND_S + (len(request.frame) + len(reply)) * CHARACTER_S, reply)]


def run_for(process, seconds):
    time.sleep(seconds)
    if process.poll() is not None:
        raise RuntimeError(f"it ended early: {process.communicate()[1]}")
    process.terminate()
    process.communicate()


def polling(path, variables, folder, *words):
    return start("poll", list_file(variables, folder), "--line", path, "--gap", GAP_MS, "--format", "json",
                 *words, stdout=subprocess.DEVNULL)


def whole_blocks():
    return [(f"v{station}_{block}", station, 7, block, REGISTERS) for station in STATIONS for block in BLOCKS]


def kelpo(*words):
    """A function that polls with kelpo for a number of seconds."""
    def poll(path, seconds):
        with tempfile.TemporaryDirectory(prefix="line-faults-") as folder:
            run_for(polling(path, whole_blocks(), folder, *words), seconds)
    return poll


def peer(name):
    def poll(path, seconds):
        words = [sys.executable, os.path.join(os.path.dirname(__file__), "peer_loops.py"), name, path, REGISTERS,
                 ",".join(map(str, STATIONS)), ",".join(map(str, BLOCKS))]
        run_for(subprocess.Popen([str(word) for word in words], stderr=subprocess.PIPE, text=True), seconds)
    return poll


CONTENDERS = {"kelpo": kelpo(), "kelpo --no-rest": kelpo("--no-rest"), "libmodbus": peer("libmodbus"),
              "pymodbus": peer("pymodbus")}
# What simple loops do with refusals is of no interest.
PEERS_FACE = ("none faulty", "one dead")
# Here kelpo's pauses grow: it is looked at for longer, and when it has found out.
GROWING = ("one dead", "one block silent", "one block refused")


class Window:
    """What a controller has seen in SECONDS."""

    def __init__(self, controller, since, seconds):
        self.seconds = seconds
        self.asked = [event for event in controller.events("asked", since) if event.moment < since + seconds]
        self.sent = [event for event in controller.events("sent", since) if event.moment < since + seconds]

    def good(self, is_faulty):
        """Requests a second to what is not faulty, and the mean and the longest cycle of these, in seconds."""
        good = [event for event in self.asked if not is_faulty(event.request)]
        starts = [event.moment for event in good if event.request.station == 1 and event.request.address == BLOCKS[0]]
        cycles = [later - earlier for earlier, later in zip(starts, starts[1:])] or [float("inf")]
        return len(good) / self.seconds, statistics.mean(cycles), max(cycles)

    def faulty(self, is_faulty):
        """Requests a second to what is faulty, and the share of the time that passed until the next request to what is
        not."""
        count, share, began = 0, 0.0, None
        for event in self.asked:
            is_good = not is_faulty(event.request)
            count += not is_good
            if is_good and began is not None:
                share += event.moment - began
            began = None if is_good else (began or event.moment)
        return count / self.seconds, share / self.seconds

    def after_refusals(self):
        """The seconds from the end of each refusal to the next request."""
        moments = [(event.moment, event) for event in self.asked + self.sent]
        moments.sort(key=lambda one: one[0])
        return [later[0] - earlier[0] for earlier, later in zip(moments, moments[1:])
                if earlier[1].kind == "sent" and earlier[1].frame[1] & 0x80 and later[1].kind == "asked"]


def measure(poll, fault, warm_s, seconds):
    with PacedController(*FAULTS[fault]) as controller:
        since = time.monotonic() + warm_s
        poll(controller.path, warm_s + seconds)
        return Window(controller, since, seconds)


def compare(chosen):
    print(f"{'':36}{'good/s':>8}{'ratio':>7}{'cycle ms':>10}{'ratio':>7}{'longest':>9}{'ratio':>7}{'faulty/s':>10}"
          f"{'% of time':>11}")
    without_fault, gaps = {}, []
    for fault, (is_faulty, _) in FAULTS.items():
        for contender, poll in CONTENDERS.items():
            if contender in ("libmodbus", "pymodbus") and fault not in PEERS_FACE:
                continue
            seconds = chosen.long if contender == "kelpo" and fault in GROWING else chosen.seconds
            window = measure(poll, fault, seconds / 3, seconds)
            first = without_fault.setdefault(contender, window)
            (good, mean, longest), (of_first, its_mean, _) = window.good(is_faulty), first.good(is_faulty)
            faulty, share = window.faulty(is_faulty)
            print(f"{fault:18}{contender:18}{good:8.2f}{good / of_first:7.2f}{1000 * mean:10.0f}{mean / its_mean:7.2f}"
                  f"{1000 * longest:9.0f}{longest / its_mean:7.2f}{faulty:10.2f}{100 * share:11.2f}", flush=True)
            if contender == "kelpo":
                gaps += window.after_refusals()
    nothing = FAULTS["none faulty"][0]
    bare = without_fault["kelpo --no-rest"].good(nothing)[0]
    print(f"requests without a fault, divided by those with --no-rest: "
          f"{without_fault['kelpo'].good(nothing)[0] / bare:.3f}")
    gaps.sort()
    print(f"from a refusal to the next request: median {1000 * statistics.median(gaps):.2f} ms, 95 % within "
          f"{1000 * gaps[len(gaps) * 95 // 100]:.2f} ms, with {GAP_MS} ms of silence between frames")


def is_poll(request):
    return request.quantity == REGISTERS


def return_once(dead_s):
    """How long after it is back a station is polled, and that in parts of the interval at which it was asked then."""
    is_dead = [True]
    with PacedController(lambda request: is_dead[0] and of_station(request), silent) as controller, \
            tempfile.TemporaryDirectory(prefix="line-faults-") as folder:
        process = polling(controller.path, whole_blocks(), folder)
        time.sleep(dead_s)
        is_dead[0], back = False, time.monotonic()
        polled = []
        while not polled:
            time.sleep(0.01)
            polled = [event.moment for event in controller.events("asked", back)
                      if of_station(event.request) and is_poll(event.request)]
        run_for(process, 0)
        tries = [event.moment for event in controller.events("asked") if of_station(event.request)]
    last = max(moment for moment in tries if moment < back)
    interval = min(moment for moment in tries if moment >= back) - last
    return polled[0] - back, (polled[0] - back) / interval


def returns():
    results = [return_once(dead_s) for dead_s in (6, 9, 12, 16, 22, 30)]
    print("a station that comes back is polled after " + ", ".join(
        f"{seconds:.1f} s ({of_interval:.2f} of the interval)" for seconds, of_interval in results))


def holes():
    """How soon all that exists is read where each of the blocks has a hole."""
    absent = {(station, block + 3 + at) for station in STATIONS for at, block in enumerate(BLOCKS)}
    variables = [(f"v{station}_{block + at}", station, 7, block + at, 1) for station in STATIONS for block in BLOCKS
                 for at in range(REGISTERS)]
    missing = {(station, at) for _, station, _, at, _ in variables} - absent

    def has_hole(request):
        return any((request.station, at) in absent for at in request.places)

    with PacedController(has_hole, refused_with(2)) as controller, \
            tempfile.TemporaryDirectory(prefix="line-faults-") as folder:
        process = polling(controller.path, variables, folder)
        end = time.monotonic() + 60
        while missing and time.monotonic() < end:
            time.sleep(0.01)
            missing -= {(event.request.station, at) for event in controller.events("sent")
                        if not event.frame[1] & 0x80 for at in event.request.places}
        asked = controller.events("asked")
        took = time.monotonic() - asked[0].moment
        run_for(process, 0)
    print(f"a hole in each of the blocks: all that exists was read after {took:.1f} s and {len(asked)} requests"
          if not missing else f"a hole in each of the blocks: {len(missing)} were not read in a minute")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--seconds", type=float, default=18, help="of each row, after a third of that")
    parser.add_argument("--long", type=float, default=60, help="the same where kelpo's pauses grow")
    chosen = parser.parse_args()
    compare(chosen)
    returns()
    holes()


if __name__ == "__main__":
    main()
