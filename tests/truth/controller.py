"""A Modbus RTU controller on a pseudo-terminal that shares nothing with the driver, its host or the simulated
controller, and that answers falsely, slowly or not at all, as a test asks.

Each value tells registers apart: a register's first content is content(station, address), which no other register of
the station has, so that a value of another register is noticed at once. It keeps a log of what it was asked, what it
wrote and what it sent, in this order.
"""
import dataclasses
import heapq
import itertools
import os
import pty
import random
import select
import tempfile
import threading
import time
import tty

READ_COILS, READ_REGISTERS, WRITE_COIL, WRITE_REGISTER, WRITE_COILS, WRITE_REGISTERS = 1, 3, 5, 6, 15, 16
READS = (READ_COILS, READ_REGISTERS)

# How the delays of several requests combine.
QUEUED = "queued"  # a request's delay begins when the reply before it is out
IN_ORDER = "in order"  # each delay begins with its request, but no reply overtakes another
OVERTAKING = "overtaking"  # each delay begins with its request, and replies may change places

SPACING_S = 0.005  # from one reply to the next, except where they overtake each other
QUIET_S = 0.2  # a line is quiet when no reply is due and there was no request or reply for this long
SILENCE_S = 0.05  # an incomplete request is dropped after this silence
CHECK_S = 0.005  # how often the line is checked while nothing comes


def content(station, address):
    """What register ADDRESS of STATION holds until it is written: 16 bits, different for each address."""
    return (address * 40503 + station * 7919 + 12345) & 0xFFFF


def coil_content(station, address):
    """What coil ADDRESS of STATION holds until it is written."""
    return (content(station, address) >> 9) & 1


def check_sum(frame):
    remainder = 0xFFFF
    for byte in frame:
        remainder ^= byte
        for _ in range(8):
            remainder = (remainder >> 1) ^ 0xA001 if remainder & 1 else remainder >> 1
    return remainder.to_bytes(2, "little")


def with_check(frame):
    return bytes(frame) + check_sum(frame)


@dataclasses.dataclass(frozen=True)
class Request:
    station: int
    function: int
    address: int
    quantity: int
    values: tuple  # of a write
    frame: bytes

    @property
    def reads(self):
        return self.function in READS

    @property
    def places(self):
        return range(self.address, self.address + self.quantity)


@dataclasses.dataclass(frozen=True)
class Event:
    kind: str  # "asked", "written" or "sent"
    moment: float  # of the monotonic clock
    request: Request = None  # asked, or answered by what was sent
    station: int = 0  # written
    table: str = ""  # written: "register" or "coil"
    address: int = 0  # written
    value: int = 0  # written
    frame: bytes = b""  # sent
    took: float = 0.0  # sent: seconds since its request or the reply before it, at most
    slowest: float = 0.0  # sent: the longest that a reply took since the line was quiet, this one included


def bits_to_bytes(bits):
    packed = bytearray((len(bits) + 7) // 8)
    for at, bit in enumerate(bits):
        packed[at // 8] |= bit << (at % 8)
    return bytes(packed)


def first_request(received):
    """The first whole request in RECEIVED with a right check sum, and how many bytes reach to its end; or (None, 0)."""
    for start in range(len(received) - 7):
        function = received[start + 1]
        length = 8
        if function in (WRITE_COILS, WRITE_REGISTERS):
            length = 9 + received[start + 6]
        frame = bytes(received[start:start + length])
        if function not in (1, 3, 5, 6, 15, 16) or len(frame) < length or check_sum(frame[:-2]) != frame[-2:]:
            continue
        address = int.from_bytes(frame[2:4], "big")
        word = int.from_bytes(frame[4:6], "big")
        quantity, values = word, ()
        if function == WRITE_COIL:
            quantity, values = 1, (int(word == 0xFF00),)
        elif function == WRITE_REGISTER:
            quantity, values = 1, (word,)
        elif function == WRITE_REGISTERS:
            values = tuple(int.from_bytes(frame[at:at + 2], "big") for at in range(7, 7 + 2 * word, 2))
        elif function == WRITE_COILS:
            values = tuple(frame[7 + at // 8] >> at % 8 & 1 for at in range(word))
        return Request(frame[0], function, address, quantity, values, frame), start + length
    return None, 0


class Controller:
    """Serves STATIONS on a pseudo-terminal with a stable name, .path, from the moment it is made until close().

    .behave(request) says what happens to a request: a list of (delay in seconds, bytes to send). It is called in the
    controller's own thread. Without it each request is served at once. .order says how delays combine.

    On a busy machine a reply leaves later than it should. So each event of kind "sent" says how long that reply took
    at most: its request arrived after the line was last found empty, and before it was read. A program that was
    answered too late may have taken that reply for the next request's, that one's for the request after it, and so on
    until there is a pause. So the event also has the slowest reply since the last pause.
    """

    def __init__(self, stations=(1,), behave=None, order=IN_ORDER):
        self.stations = tuple(stations)
        self.behave = behave or (lambda request: [(0, self.serve(request))])
        self.order = order
        self.loop_back = False  # all bytes come back as they are, and nothing else does
        self._folder = tempfile.TemporaryDirectory(prefix="truth-")
        self.path = os.path.join(self._folder.name, "line")
        self._lock = threading.Lock()
        self._log = []
        self._memory = {}
        self._held = {}
        self._numbers = itertools.count()
        self._thread = None
        self.open_line()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.hang_up()
        self._folder.cleanup()

    # The line

    def open_line(self):
        """Opens a new pseudo-terminal under the same name. What memory and log hold stays."""
        self._master, self._slave = pty.openpty()
        tty.setraw(self._slave)
        os.set_blocking(self._master, False)
        new = self.path + ".new"
        os.symlink(os.ttyname(self._slave), new)
        os.replace(new, self.path)
        self._waiting = []
        self._last_due = 0.0
        self._last_sent = {}  # moment by station
        self._last_used = 0.0  # moment of the last request or reply
        self._slowest = 0.0
        self._wake_read, self._wake_write = os.pipe()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    def hang_up(self):
        """Hangs up: the line is lost for every program that has it open. Replies that wait are dropped."""
        if not self._thread:
            return
        os.write(self._wake_write, b"x")
        self._thread.join()
        self._thread = None
        for descriptor in (self._master, self._slave, self._wake_read, self._wake_write):
            os.close(descriptor)
        os.unlink(self.path)

    # Memory

    def register(self, station, address):
        return self._memory.get((station, "register", address), content(station, address))

    def coil(self, station, address):
        return self._memory.get((station, "coil", address), coil_content(station, address))

    def set_register(self, station, address, value):
        """Changes a register as the controller's own program does; this is not in the log."""
        with self._lock:
            self._store(station, "register", address, value)

    def held(self, station, address, since):
        """All values that a register held at MOMENT SINCE or later."""
        with self._lock:
            history = [(0.0, content(station, address))] + self._held.get((station, "register", address), [])
        return {value for at, (_, value) in enumerate(history) if at + 1 == len(history) or history[at + 1][0] >= since}

    def _store(self, station, table, address, value):
        self._memory[station, table, address] = value
        self._held.setdefault((station, table, address), []).append((time.monotonic(), value))

    # The log

    def events(self, kind, since=0.0):
        with self._lock:
            return [event for event in self._log if event.kind == kind and event.moment >= since]

    def asked(self, since=0.0, **wanted):
        """The requests that came, with the attributes WANTED."""
        requests = [event.request for event in self.events("asked", since)]
        return [r for r in requests if all(getattr(r, name) == value for name, value in wanted.items())]

    def wait_for(self, condition, what, seconds=60):
        """Waits until CONDITION() is true. SECONDS only ends a test that hangs; it is not measured."""
        end = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > end:
                raise AssertionError(f"waited {seconds} s for {what}, and it did not happen")
            time.sleep(0.005)

    def forget(self):
        """Drops the log and what registers held before: memory stays small, and a long campaign quick."""
        with self._lock:
            self._log.clear()
            for history in self._held.values():
                del history[:-1]

    # Serving

    def serve(self, request):
        """Carries the request out and returns its right reply."""
        head = bytes([request.station, request.function])
        if request.function == READ_REGISTERS:
            data = b"".join(self.register(request.station, at).to_bytes(2, "big") for at in request.places)
            return with_check(head + bytes([len(data)]) + data)
        if request.function == READ_COILS:
            data = bits_to_bytes([self.coil(request.station, at) for at in request.places])
            return with_check(head + bytes([len(data)]) + data)
        table = "coil" if request.function in (WRITE_COIL, WRITE_COILS) else "register"
        with self._lock:
            for address, value in zip(request.places, request.values):
                self._store(request.station, table, address, value)
                self._log.append(Event("written", time.monotonic(), station=request.station, table=table,
                                       address=address, value=value))
        return with_check(request.frame[:6])

    @staticmethod
    def refuse(request, reason=4):
        return with_check(bytes([request.station, request.function | 0x80, reason]))

    def note_heard(self, data):
        """Gets all bytes that come in, in the controller's own thread."""

    def _run(self):
        received = bytearray()
        last = drained = time.monotonic()
        while True:
            now = time.monotonic()
            while self._waiting and self._waiting[0][0] <= now:
                self._send(*heapq.heappop(self._waiting)[2:])
            wait = max(0.0, min(CHECK_S, self._waiting[0][0] - now)) if self._waiting else CHECK_S
            ready, _, _ = select.select([self._master, self._wake_read], [], [], wait)
            if self._wake_read in ready:
                return
            if self._master not in ready:
                drained = now
                continue
            before = time.monotonic()
            data = os.read(self._master, 4096)
            self.note_heard(data)
            if self.loop_back:
                self._send(data)
                data = b""
            now = time.monotonic()
            if received and now - last > SILENCE_S:
                received.clear()
            last = now
            received += data
            while True:
                request, length = first_request(received)
                if not request:
                    break
                del received[:length]
                self._take(request, drained)
            drained = before

    def _take(self, request, not_before):
        if request.station not in self.stations:
            return
        now = time.monotonic()
        if not self._waiting and not_before - self._last_used > QUIET_S:
            self._slowest = 0.0
        self._last_used = now
        with self._lock:
            self._log.append(Event("asked", now, request=request))
        for delay, frame in self.behave(request):
            begin = max(now, self._last_due) if self.order == QUEUED else now
            due = begin + delay
            if self.order != OVERTAKING:
                due = max(due, self._last_due + SPACING_S)
            self._last_due = due
            heapq.heappush(self._waiting, (due, next(self._numbers), frame, request, not_before))

    def _send(self, frame, request=None, not_before=0.0):
        if not frame:
            return
        station = request.station if request else 0
        with self._lock:  # whoever has the reply finds it in the log
            try:
                os.write(self._master, frame)
            except BlockingIOError:
                pass  # nobody has read the last 4096 bytes: what is sent now is lost, as on a wire
            now = time.monotonic()
            took = now - max(not_before, self._last_sent.get(station, 0.0)) if request else 0.0
            self._slowest = max(self._slowest, took)
            self._log.append(Event("sent", now, request=request, frame=frame, took=took, slowest=self._slowest))
        self._last_sent[station] = self._last_used = now


def constant(seconds):
    """A delay that is always the same."""
    return lambda: seconds


def between(least, most, seed):
    """A delay that changes at random, the same way for each run."""
    chance = random.Random(seed)
    return lambda: chance.uniform(least, most)
