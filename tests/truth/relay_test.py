"""Short runs of kelpo one after the other on one line, with late, withheld or repeated replies; one judge for all."""
import random
import time

from controller import Controller
from programs import kelpo, records
from sentences import Campaign, Sentences, main, options

TIME_OUT_S = 0.1
QUICK = ["--reply-timeout", 100, "--settle", 20]
READ_PLACES = range(500, 540)
WRITE_PLACES = range(1000, 1020)
RUNS = 36


class Relay(Sentences):
    promise_s = 4.5 * TIME_OUT_S

    def acknowledged_too_late(self, controller, place, value):
        """Whether another write of VALUE to PLACE may have been acknowledged later than promised."""
        return any(event.slowest > self.promise_s for event in controller.events("sent") if not event.request.reads
                   and place in event.request.places and set(event.request.values) == {value})

    def relay(self, seed):
        chance = random.Random(seed)
        controller = Controller()
        self.addCleanup(controller.close)

        def behave(request):
            drawn = chance.random()
            reply = controller.serve(request) if drawn > 0.05 else b""  # five of a hundred requests are lost
            if drawn < 0.15:
                return []
            if drawn < 0.25:
                reply += reply
            return [(chance.uniform(0, 2 * TIME_OUT_S), reply)]

        controller.behave = behave
        done = right = number = 0
        campaign = Campaign(options.runs, RUNS)
        while campaign.goes_on(number):
            number += 1
            if number % 100 == 0:
                time.sleep(2 * self.promise_s)  # nothing of the runs before is still to come
                controller.forget()
            began = time.monotonic()
            retries = ["--retries", chance.randint(0, 2)]
            if chance.random() < 0.5:
                places = chance.sample(READ_PLACES, chance.randint(1, 3)) + chance.sample(WRITE_PLACES, 1)
                chance.shuffle(places)
                run = kelpo("read", "--line", controller.path, *QUICK, *retries, "--json", *(f"1:7:{at}" for at in places))
                for answer in records(run.stdout):
                    if answer["ok"]:
                        right += 1
                        held = controller.held(1, int(answer["address"]), began)
                        if self.may_be_late(controller, answer["values"]):
                            self.unjudged += 1
                        else:
                            self.assertIn(answer["values"][0], held, f"run {number}, seed {seed}: {answer}")
            else:
                value = 20000 + number % 20000  # no two writes of a relay have the same one
                places = chance.sample(WRITE_PLACES, chance.randint(1, 3))
                run = kelpo("write", "--line", controller.path, *QUICK, *retries, "--json",
                            *(f"1:7:{at}={value}" for at in places))
                written = {event.address for event in controller.events("written", began) if event.value == value}
                for answer in records(run.stdout):
                    if answer["ok"]:
                        done += 1
                        place = int(answer["address"])
                        if self.acknowledged_too_late(controller, place, value):
                            self.unjudged += 1
                        else:
                            self.assertIn(place, written, f"run {number}, seed {seed}: {answer}")
        campaign.report(runs=number, values_that_were_right=right, writes_that_were_done=done,
                        not_judged_since_the_reply_was_later_than_promised=self.unjudged)
        self.assertGreater(right, number // 7)
        self.assertGreater(done, number // 7)

    def test_no_run_of_a_relay_takes_a_reply_that_another_run_asked_for(self):
        self.relay(options.seed)


if __name__ == "__main__":
    main()
