"""What a command says of each reference, and its exit code, is what happened by the controller's log, with requests that
are refused, lost, or answered with something else."""
import random

from controller import Controller
from programs import BAD_REPLY, NO_REPLY, OK, REFUSED, kelpo, list_file, records
from sentences import Sentences, main, options

QUICK = ["--reply-timeout", "150", "--settle", "20", "--retries", "0", "--no-rest"]
SERVED, REFUSES, LOST, LOST_AFTERWARDS, DAMAGED = "served", "refuses", "lost", "lost afterwards", "damaged"
CODES = {SERVED: OK, REFUSES: REFUSED, LOST: NO_REPLY, LOST_AFTERWARDS: NO_REPLY, DAMAGED: BAD_REPLY}


class ExitCode(Sentences):
    def setUp(self):
        super().setUp()
        self.controller = Controller(stations=(1, 2))
        self.addCleanup(self.controller.close)
        self.chance = random.Random(3)
        self.fates = {}  # of the registers, by address
        self.controller.behave = self.behave

    def behave(self, request):
        fate = self.fates.get(request.address, SERVED)
        if fate == REFUSES:
            return [(0, Controller.refuse(request, 2))]
        if fate == LOST:
            return []
        reply = self.controller.serve(request)
        if fate == LOST_AFTERWARDS:
            return []
        return [(0, reply if fate == SERVED else reply[:-1] + bytes([reply[-1] ^ 1]))]

    def choose(self, count):
        """Addresses with fates, far enough from each other for requests of their own."""
        addresses = self.chance.sample(range(0, 7000, 200), count)
        self.fates = {address: self.chance.choice([SERVED, SERVED, *CODES]) for address in addresses}
        return addresses

    def judge(self, run, addresses):
        answers = records(run.stdout)
        self.assertEqual([int(answer["address"]) for answer in answers], addresses, run.stderr)
        may_be_taken_for_another = False  # a reply, once one before it has not come
        for answer in answers:
            code = CODES[self.fates[int(answer["address"])]]
            self.assertIn(answer["exit_code"], {code, NO_REPLY} if may_be_taken_for_another else {code}, answer)
            may_be_taken_for_another = may_be_taken_for_another or code == NO_REPLY
            self.assertEqual(answer["ok"], answer["exit_code"] == OK)
            self.assertEqual("problem" in answer, not answer["ok"])
        self.assertEqual(run.returncode, max(answer["exit_code"] for answer in answers), run.stderr)
        return answers

    def test_of_reads(self):
        for _ in range(options.runs or 12):
            addresses = self.choose(self.chance.randrange(1, 5))
            run = kelpo("read", "--line", self.controller.path, *QUICK, "--json", *(f"1:7:{at}" for at in addresses))
            for answer in self.judge(run, addresses):
                self.assertEqual("values" in answer, answer["ok"])
                if answer["ok"]:
                    self.holds(answer, self.controller.register(1, int(answer["address"])), self.controller)

    def test_of_writes(self):
        for turn in range(options.runs or 12):
            addresses = self.choose(self.chance.randrange(1, 5))
            before = len(self.controller.events("written"))
            values = {at: turn * 10 + number for number, at in enumerate(addresses)}
            run = kelpo("write", "--line", self.controller.path, *QUICK, "--json",
                        *(f"1:7:{at}={value}" for at, value in values.items()))
            self.judge(run, addresses)
            written = [(event.address, event.value) for event in self.controller.events("written")[before:]]
            self.assertEqual(written, [(at, value) for at, value in values.items()
                                       if self.fates[at] not in (REFUSES, LOST)], "the log of the controller")

    def test_of_writes_that_are_checked(self):
        """Something else is there when it is read back."""
        def behave(request):
            reply = self.behave(request)
            if not request.reads and request.address == self.changed:
                self.controller.set_register(1, request.address, 999)
            return reply

        self.controller.behave = behave
        for _ in range(options.runs or 6):
            addresses = self.choose(3)
            self.fates = {address: SERVED for address in addresses}
            self.changed = self.chance.choice([*addresses, None])
            run = kelpo("write", "--line", self.controller.path, "--reply-timeout", 5000, "--check", "--json",
                        *(f"1:7:{at}=5" for at in addresses))
            codes = {int(answer["address"]): answer["exit_code"] for answer in records(run.stdout)}
            self.assertEqual(codes, {at: 1 if at == self.changed else OK for at in addresses})
            self.assertEqual(run.returncode, max(codes.values()))

    def test_of_a_poll(self):
        for _ in range(options.runs or 4):
            addresses = self.choose(3)
            for address in addresses:  # where a request stays without a reply, the next one's may be taken for it
                if self.fates[address] in (LOST, LOST_AFTERWARDS):
                    self.fates[address] = REFUSES
            variables = list_file([(f"v{at}", 1, 7, at, 1) for at in addresses], self.folder)
            run = kelpo("poll", variables, "--line", self.controller.path, *QUICK, "--format", "json", "--seconds", 3)
            shown = {int(record["address"]) for record in records(run.stdout)
                     if record["kind"] == "value" and record["quality"] == "good"}
            self.assertEqual(shown, {at for at in addresses if self.fates[at] == SERVED}, run.stdout)
            self.true_records(run.stdout, self.controller)
            given_up = {int(record["address"]): record["text"] for record in records(run.stdout)
                        if record["kind"] == "given-up"}
            self.assertEqual({at: "refused" in text for at, text in given_up.items()},
                             {at: self.fates[at] == REFUSES for at in addresses if self.fates[at] != SERVED})
            self.assertEqual(run.returncode, max([CODES[self.fates[at]] for at in addresses] +
                                                 [1 if given_up else OK]), run.stderr)

    def test_of_a_scan(self):
        self.fates = {0: self.chance.choice(list(CODES))}
        for fate in CODES:
            self.controller.behave = lambda request, fate=fate: self.behave_as(request, fate)
            run = kelpo("scan", "--line", self.controller.path, *QUICK, "--stations", "1-3", "--json")
            answering = {answer["station"]: answer["answer"] for answer in records(run.stdout)}
            wanted = {1: "value", 2: {SERVED: "value", REFUSES: "refused"}.get(fate)}
            self.assertEqual(answering, {number: kind for number, kind in wanted.items() if kind}, f"{fate}: {run.stderr}")
            self.assertEqual(run.returncode, OK)

    def behave_as(self, request, fate):
        self.fates = {request.address: fate if request.station == 2 else SERVED}
        return self.behave(request)


if __name__ == "__main__":
    main()
