"""Replies of every delay, constant and at random, and no register ever shows another one's value.

Each line has a controller with a delay of its own, and a kelpo that reads many registers of one station, each with a
request of its own that differs from the others only in the address. A line waits most of the time, so several
run side by side. --exchanges says how many there are in all; --lines how many lines run at once.
"""
import concurrent.futures
import dataclasses
import itertools
import random
import tempfile

from controller import IN_ORDER, OVERTAKING, QUEUED, Controller, between, constant, content
from programs import kelpo, list_file, records
from sentences import Sentences, main, options

TIME_OUT_S = 0.1
PROMISE_S = 4.5 * TIME_OUT_S
ON_THE_WAY_S = 0.1 * TIME_OUT_S  # that the system may take to carry a request or a reply to the other end
TIMES = ["--reply-timeout", int(1000 * TIME_OUT_S), "--settle", 20]
PLACES = range(0, 8000, 200)  # so far apart that no request reads two of them
AT_ONCE = 8  # registers that a `kelpo read` is asked for
SHORT = 600  # exchanges unless given
CONSTANT = (0.1, 0.5, 0.9, 1.0, 1.1, 1.5, 2.0, 3.0, 4.0)  # time-outs
MOST = 4.0


def few_late(seed):
    """Most replies come at once, one in ten is late."""
    chance = random.Random(seed)
    late = between(TIME_OUT_S / 10, MOST * TIME_OUT_S, seed)
    return lambda: late() if chance.random() < 0.1 else 0.0


CASES = [(f"{factor} time-outs", order, lambda factor=factor, seed=0: constant(factor * TIME_OUT_S))
         for factor in CONSTANT for order in (QUEUED, IN_ORDER)]
CASES += [(name, order, make) for order in (QUEUED, IN_ORDER, OVERTAKING)
          for name, make in (("0.1 to 4 time-outs", lambda seed: between(TIME_OUT_S / 10, MOST * TIME_OUT_S, seed)),
                             ("one in ten late", few_late))]


@dataclasses.dataclass
class Outcome:
    """The results of one line."""
    delay: str = ""
    order: str = ""
    exchanges: int = 0
    right: int = 0
    late: int = 0  # replies that left the controller later than promised: the machine was busy
    unjudged: int = 0  # wrong values that came with such a reply, or soon after one
    wrong: list = dataclasses.field(default_factory=list)

    def judge(self, place, values, controller):
        if values == [content(1, place)]:
            self.right += 1
            return
        carried = b"".join(value.to_bytes(2, "big") for value in values)
        came = [event for event in controller.events("sent") if event.frame[3:-2] == carried]
        if any(event.slowest > PROMISE_S - ON_THE_WAY_S for event in came):
            self.unjudged += 1
        else:
            self.wrong.append(f"{place} is shown with {values}, which the replies to "
                              f"{[(event.request.address, round(event.took, 4)) for event in came]} hold")


def poll(controller, exchanges, outcome):
    """A poll of all places until EXCHANGES requests have come."""
    with tempfile.TemporaryDirectory(prefix="truth-") as folder:
        variables = list_file([(f"r{place}", 1, 7, place, 1) for place in PLACES], folder)
        while len(controller.asked()) < exchanges:
            run = kelpo("poll", variables, "--line", controller.path, *TIMES, "--format", "json", "--every", 100,
                        "--seconds", 2 if exchanges < 50 else 10)
            for record in records(run.stdout):
                if record["kind"] == "value" and record["quality"] != "bad":
                    outcome.judge(int(record["address"]), record["values"], controller)


def read(controller, exchanges, outcome, seed):
    """Short reads of some places, one after the other, until EXCHANGES requests have come."""
    chance = random.Random(seed)
    while len(controller.asked()) < exchanges:
        run = kelpo("read", "--line", controller.path, *TIMES, "--json",
                    *(f"1:7:{place}" for place in chance.sample(PLACES, AT_ONCE)))
        for answer in records(run.stdout):
            if answer["ok"]:
                outcome.judge(int(answer["address"]), answer["values"], controller)


def line(case, seed, exchanges):
    """One line: half of the exchanges by a poll, half by reads."""
    delay, order, make = CASES[case]
    outcome = Outcome(delay, order)
    wait = make(seed=seed)
    with Controller(order=order) as controller:
        controller.behave = lambda request: [(wait(), controller.serve(request))]
        poll(controller, exchanges // 2, outcome)
        read(controller, exchanges, outcome, seed)
        outcome.exchanges = len(controller.asked())
        outcome.late = sum(event.took > PROMISE_S - ON_THE_WAY_S for event in controller.events("sent"))
    return outcome


def run(exchanges, lines):
    """All cases, again and again until there were EXCHANGES exchanges. Yields the outcome of each line."""
    longest = 200  # exchanges of one line
    rounds = max(1, exchanges // (longest * len(CASES)))
    each = -(-exchanges // (rounds * len(CASES)))
    with concurrent.futures.ProcessPoolExecutor(lines) as pool:
        started = [pool.submit(line, case, seed, each)
                   for seed, case in itertools.product(range(rounds), range(len(CASES)))]
        for one in concurrent.futures.as_completed(started):
            yield one.result()


class Delays(Sentences):
    maxDiff = None  # shows everything that was wrong

    def test_no_register_is_shown_with_the_value_of_another_whatever_the_delay(self):
        totals = {}
        for outcome in run(options.exchanges or SHORT, options.lines or 12):
            total = totals.setdefault((outcome.delay, outcome.order), Outcome(outcome.delay, outcome.order))
            for name in ("exchanges", "right", "late", "unjudged", "wrong"):
                setattr(total, name, getattr(total, name) + getattr(outcome, name))
        if options.exchanges:
            print(f"{'delay':22}{'order':12}{'exchanges':>10}{'right':>8}{'too late':>10}{'unjudged':>10}{'wrong':>7}")
            for total in sorted(totals.values(), key=lambda one: (one.order, one.delay)):
                print(f"{total.delay:22}{total.order:12}{total.exchanges:10}{total.right:8}{total.late:10}"
                      f"{total.unjudged:10}{len(total.wrong):7}")
            print(f"{'all':34}{sum(one.exchanges for one in totals.values()):10}"
                  f"{sum(one.right for one in totals.values()):8}{sum(one.late for one in totals.values()):10}"
                  f"{sum(one.unjudged for one in totals.values()):10}"
                  f"{sum(len(one.wrong) for one in totals.values()):7}")
        self.assertEqual([wrong for total in totals.values() for wrong in total.wrong], [])
        self.assertGreater(sum(total.right for total in totals.values()), 0)


if __name__ == "__main__":
    main()
