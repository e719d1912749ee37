"""A controller that answers in bad faith, in good form: acknowledgements of other writes, refusals in anybody's name,
replies that drip, a hang-up between the halves of a bit's write. No value is false, no write is done that was not, and
the other station has its share."""
import os
import random
import threading

from controller import READ_REGISTERS, WRITE_COIL, WRITE_COILS, Controller, with_check
from programs import LINE_LOST, OK, kelpo, list_file, records
from record_test import Poll
from sentences import Campaign, Sentences, main, options

BAD, HONEST = 1, 2  # stations
WORD, BIT = "word", "bit"
PLACES = {WORD: (7, "100"), BIT: (1, "144")}  # type and address: register 100, coil 100 in octal
QUICK = ["--reply-timeout", "100", "--settle", "20", "--retries", "1", "--no-rest"]
ROUND = 10  # writes to each place before their results are judged
LONGEST_TURN = 24  # requests to the one station before the other has its turn


def word_of(request):
    return int.from_bytes(request.frame[4:6], "big")


class Adversary:
    """What station BAD does with each request. .done counts each trick; .forged has what it said in the name of HONEST: a
    value that was read, or (table, value) of a write. When such a reply leaves while HONEST is asked, nobody can
    distinguish it from that station's own."""

    def __init__(self, controller, seed):
        self.controller = controller
        self.chance = random.Random(seed)
        self.done = {}
        self.forged = set()

    def __call__(self, request):
        if request.station != BAD:
            return [(0, self.controller.serve(request))]
        trick = self.chance.choice(self.TRICKS)
        self.done[trick.__name__] = self.done.get(trick.__name__, 0) + 1
        return trick(self, request)

    def honest(self, request):
        return [(0, self.controller.serve(request))]

    def silent(self, request):
        self.chance.random() < 0.5 and self.controller.serve(request)
        return []

    def another_address(self, request):
        """Of a write not carried out; a read has no address in its reply, so it is short by two bytes."""
        if request.reads:
            return [(0, with_check(bytes([BAD, request.function, 0])))]
        return [(0, with_check(request.frame[:2] + (request.address ^ 1).to_bytes(2, "big") + request.frame[4:6]))]

    def another_value(self, request):
        word = word_of(request) ^ (0xFF00 if request.function == WRITE_COIL else 1)
        return [(0, with_check(request.frame[:4] + word.to_bytes(2, "big")))]

    def another_function(self, request):
        frame = self.controller.serve(request)
        return [(0, with_check(bytes([BAD, frame[1] ^ 2]) + frame[2:-2]))]

    def another_station(self, request):
        frame = self.controller.serve(request) if request.reads else with_check(request.frame[:6])
        station = self.chance.choice([0, HONEST, 3, 247, 255])
        if station == HONEST:
            table = "coil" if request.function in (WRITE_COIL, WRITE_COILS) else "register"
            self.forged.update([int.from_bytes(frame[3:5], "big")] if request.reads else
                               [(table, value) for value in request.values])
        return [(0, with_check(bytes([station]) + frame[1:-2]))]

    def refusal(self, request):
        return [(0, with_check(bytes([BAD, request.function | 0x80, self.chance.randrange(256)])))]

    def refusal_in_another_name(self, request):
        station = self.chance.choice([0, HONEST, 3, 255])
        return [(0, with_check(bytes([station, request.function | 0x80, self.chance.randrange(1, 12)])))]

    def refusal_of_another_function(self, request):
        return [(0, with_check(bytes([BAD, (request.function ^ 2) | 0x80, self.chance.randrange(1, 12)])))]

    def refusal_with_a_wrong_check(self, request):
        frame = bytearray(with_check(bytes([BAD, request.function | 0x80, 2])))
        frame[-1] ^= 1 << self.chance.randrange(8)
        return [(0, bytes(frame))]

    def drip(self, request):
        frame = self.controller.serve(request)
        return [(0, frame[at:at + 1]) for at in range(len(frame))]

    def drip_without_end(self, request):
        frame = bytes([BAD, request.function, 250]) if request.reads else request.frame[:5]
        return [(0, frame)] + [(0, b"\x00") for _ in range(30)]

    def only_a_part(self, request):
        frame = self.controller.serve(request)
        return [(0, frame[:self.chance.randrange(1, len(frame))])]

    def twice(self, request):
        frame = self.controller.serve(request)
        return [(0, frame), (0.005, frame)]

    def late(self, request):
        return [(self.chance.uniform(0.11, 0.25), self.controller.serve(request))]

    def more_than_was_asked(self, request):
        if request.function != READ_REGISTERS:
            return [(0, with_check(bytes([BAD, request.function, 200]) + bytes(200)))]
        return [(0, with_check(bytes([BAD, request.function, 2 * request.quantity + 2]) + bytes(2 * request.quantity + 2)))]

    TRICKS = (honest, honest, silent, another_address, another_value, another_function, another_station, refusal,
              refusal_in_another_name, refusal_of_another_function, refusal_with_a_wrong_check, drip, drip_without_end,
              only_a_part, twice, late, more_than_was_asked)


class Bad(Sentences):
    def setUp(self):
        super().setUp()
        self.judged_values = 0
        self.forged_before = set()
        self.controller = Controller(stations=(BAD, HONEST))
        self.addCleanup(self.controller.close)

    def test_whatever_it_answers_nothing_false_is_shown_or_done(self):
        adversary = self.adversary = Adversary(self.controller, options.seed)
        self.controller.behave = adversary
        variables = list_file([(f"{name} {station}", station, *PLACES[name], 1) for station in (BAD, HONEST)
                               for name in PLACES], self.folder)
        poll = Poll(variables, self.controller, "--format", "json", "--writes", "--within", "10min", "--every", "200",
                    *QUICK)
        self.addCleanup(poll.end)
        campaign = Campaign(options.exchanges, 400)
        figures = dict.fromkeys(("exchanges", "writes_done", "writes_failed", "values"), 0)
        self.ever = {station: {self.controller.register(station, 100)} for station in (BAD, HONEST)}
        value = 0
        early_kib = 0
        while campaign.goes_on(figures["exchanges"]):
            asked = []
            for _ in range(ROUND):
                value += 1
                for station in (BAD, HONEST):
                    # No word of one station is one of the other's.
                    for name, text in ((WORD, value % 16384 + (station == HONEST) * 16384), (BIT, value // 2 % 2)):
                        asked.append((f"{name} {station}", str(text)))
                        poll.write(f"{asked[-1][0]}={asked[-1][1]}")
            self.controller.wait_for(lambda: poll.count('"kind":"write-') >= len(asked), "every write to have its result")
            self.judge_round(poll.taken(), asked, figures)
            if figures["exchanges"] > campaign.most // 10:
                early_kib = early_kib or poll.resident_kib()
        grown = poll.resident_kib() - (early_kib or poll.resident_kib())
        poll.end()
        self.judge_values(poll.taken())
        figures["values"] = self.judged_values
        campaign.report(**figures, not_judged_since_said_in_the_name_of_the_other=self.unjudged, most_KiB_of_growth=grown)
        self.assertGreater(figures["values"], 20)
        if "SIZE_MEANS_NOTHING" not in os.environ:
            self.assertLess(grown, 2048, "KiB of growth")
        self.assertGreater(len(adversary.done), 14, adversary.done)

    def judge_round(self, found, asked, figures):
        results = [r for r in found if r["kind"].startswith("write-")]
        self.assertEqual(len(results), len(asked), "a write has more than one result")
        self.judge_writes(results, asked)
        self.judge_values([r for r in found if r["kind"] == "value"])
        requests = self.controller.asked()
        self.judge_share(requests)
        figures["exchanges"] += len(requests)
        figures["writes_done"] += sum(r["kind"] == "write-done" for r in results)
        figures["writes_failed"] += sum(r["kind"] != "write-done" for r in results)
        self.controller.forget()
        # No acknowledgement is later than the next round.
        self.adversary.forged -= self.forged_before
        self.forged_before = {said for said in self.adversary.forged if isinstance(said, tuple)}

    def judge_writes(self, found, asked):
        """A write that is reported done is in the controller's log, and those to one place in their order."""
        written = {}
        for event in self.controller.events("written"):
            written.setdefault((event.station, event.table), []).append(event.value)
        for station in (BAD, HONEST):
            self.ever[station].update(written.get((station, "register"), []))
            for name, table in ((WORD, "register"), (BIT, "coil")):
                log = iter(written.get((station, table), []))
                done = [r["text"] for r in found if r["kind"] == "write-done" and r.get("name") == f"{name} {station}"]
                for text in done:
                    if station == HONEST and (table, int(text)) in self.adversary.forged:
                        self.unjudged += 1
                        log = iter(written.get((station, table), []))
                    else:
                        self.assertIn(int(text), log, f"{name} {station} = {text} was never written, or not in its turn")
                if station == HONEST:  # late bytes of the other may cost it one, but not most
                    self.assertGreater(len(done), len(asked) // 16, f"of {len(asked) // 4} writes")

    def judge_values(self, values):
        for record in values:
            if record["kind"] != "value":
                continue
            self.judged_values += 1
            station, value = record["station"], record["values"][0]
            if station == HONEST and value in self.adversary.forged:
                self.unjudged += 1
            elif record["type"] == PLACES[WORD][0]:
                self.assertIn(value, self.ever[station] | self.controller.held(station, 100, 0), record)
            else:
                self.assertIn(value, (0, 1))

    def judge_share(self, requests):
        """Neither station waits for long while the other is asked."""
        turn, longest = 0, 0
        for request in requests:
            turn = 0 if request.station == HONEST else turn + 1
            longest = max(longest, turn)
        self.assertLess(longest, LONGEST_TURN, "requests in a row to the station that is bad")

    def test_a_refusal_in_any_name_is_taken_from_nobody_but_the_one_that_was_asked(self):
        for station in (0, HONEST, 3, 247, 248, 255):
            self.controller.behave = lambda request, station=station: [
                (0, with_check(bytes([station, request.function | 0x80, 2]))), (0.02, self.controller.serve(request))]
            read = kelpo("read", "--line", self.controller.path, "--reply-timeout", 1000, "--settle", 20, "--json", "1:7:100")
            self.true_or_failed(read, self.controller)
            self.assertNotEqual([answer["exit_code"] for answer in records(read.stdout)], [9], f"from station {station}")

    def test_a_hang_up_between_the_halves_of_a_bit_s_write_brings_no_old_bits_back(self):
        """The word was read, the line is lost, the controller's program changes the word, the line is back."""
        halves = threading.Event()

        def behave(request):
            if not request.reads and not halves.is_set():
                halves.set()
                return []
            return [(0, self.controller.serve(request))]

        self.controller.behave = behave
        variables = list_file([("bit", BAD, 15, "100.3", 1)], self.folder)
        poll = Poll(variables, self.controller, "--format", "json", "--writes", "--within", "10min", *QUICK)
        self.addCleanup(poll.end)
        for turn in range(3):
            halves.clear()
            self.controller.set_register(BAD, 100, 0)
            poll.write("bit=1")
            self.controller.wait_for(halves.is_set, "the second half")
            self.controller.hang_up()
            self.controller.set_register(BAD, 100, 0xFFF7)  # all other bits, by the controller's own program
            self.controller.open_line()
            self.controller.wait_for(lambda turn=turn: len([r for r in poll.records() if r["kind"].startswith("write-")]) > turn,
                                     "the result of the write")
            reads = len(self.controller.asked(function=READ_REGISTERS))
            self.controller.wait_for(lambda reads=reads: len(self.controller.asked(function=READ_REGISTERS)) > reads + 3,
                                     "more polls")
            self.assertIn(self.controller.register(BAD, 100), (0xFFF7, 0xFFFF), "old bits are back")

    def test_bits_that_change_between_the_halves_are_those_that_were_read(self):
        """What the second half writes back is the word that the first half read, but for the bit, and nothing older."""
        read = []

        def behave(request):
            if request.reads:
                reply = self.controller.serve(request)
                read.append(self.controller.register(BAD, 100))
                self.controller.set_register(BAD, 100, self.controller.register(BAD, 100) + 0x0100 & 0xFFF7)
                return [(0, reply)]
            wrote.append((word_of(request) if request.function == 6 else request.values[0], read[-1]))
            return [(0, self.controller.serve(request))]

        wrote = []
        self.controller.behave = behave
        for _ in range(10):
            kelpo("write", "--line", self.controller.path, "--reply-timeout", 5000, "1:15:100.3=1")
        self.assertEqual(len(wrote), 10)
        for value, last in wrote:
            self.assertEqual(value, last | 0x0008)

    def test_a_reply_that_drips_without_end_ends_the_request(self):
        self.controller.behave = lambda request: [(0, b"\x01\x03\xfa")] + [(0.01, b"\x00")] * 400
        read = kelpo("read", "--line", self.controller.path, "--reply-timeout", 100, "--settle", 20, "--retries", 0, "1:7:100")
        self.assertNotIn(read.returncode, (OK, LINE_LOST), read.stdout)
        sent = len(self.controller.events("sent"))
        self.assertLess(sent, 401, "the request was held until the last byte")


if __name__ == "__main__":
    main()
