"""The video stream: what is agreed on, and pictures cut into packets.

Follows: USB Video Class 1.1, 2.4.3 (payloads), 4.3.1.1 (probe and commit).
"""

import collections
import struct
import time

import picture
from controls import (GET_CUR, GET_DEF, GET_INFO, GET_LEN, GET_MAX, GET_MIN, INVALID_CONTROL, INVALID_REQUEST, SET_CUR,
                      Stall)
from descriptors import INTERVALS, MJPEG, PACKETS, SIZES, YUYV

PROBE, COMMIT = 1, 2
AGREEMENT = struct.Struct("<HBBI5HIIIBBBB")
HEADER_SIZE = 2
END_OF_HEADER, END_OF_PICTURE = 0x80, 0x02


class Agreement:
    """What the host asks for, made into what there is."""

    def __init__(self, kind=YUYV, size=1, interval=INTERVALS[0]):
        self.kind = kind if kind in (YUYV, MJPEG) else YUYV
        self.size = min(max(size, 1), len(SIZES))
        self.interval = min(INTERVALS, key=lambda each: abs(each - (interval or INTERVALS[0])))

    @classmethod
    def from_bytes(cls, data):
        _, kind, size, interval = struct.unpack_from("<HBBI", data)
        return cls(kind, size, interval)

    def dimensions(self):
        return SIZES[self.size - 1]

    def to_bytes(self):
        width, height = self.dimensions()
        packet = PACKETS[0 if self.kind == MJPEG and self.size == 1 else -1][0]
        return AGREEMENT.pack(1, self.kind, self.size, self.interval, 0, 0, 0, 0, 0, width * height * 2, packet,
                              48_000_000, 3, 1, 1, 1)


class Stream:
    """Pictures for the isochronous requests that the host keeps waiting. Between pictures they stay unanswered."""

    def __init__(self):
        self.probed = Agreement()
        self.committed = Agreement()
        self.number = 0
        self.is_frozen = False
        self._waiting = collections.deque()
        self._packets = collections.deque()
        self._next_picture = None    # seconds on the monotonic clock; None: nobody looks

    def request(self, request, selector, data):
        if selector not in (PROBE, COMMIT):
            raise Stall(INVALID_CONTROL)
        if request == SET_CUR:
            self.probed = Agreement.from_bytes(data)
            if selector == COMMIT:
                self.committed = self.probed
            return b""
        answers = {
            GET_CUR: self.probed if selector == PROBE else self.committed,
            GET_MIN: Agreement(self.probed.kind, self.probed.size, INTERVALS[0]),
            GET_MAX: Agreement(self.probed.kind, self.probed.size, INTERVALS[-1]),
            GET_DEF: Agreement(),
        }
        if request in answers:
            return answers[request].to_bytes()
        if request == GET_LEN:
            return struct.pack("<H", AGREEMENT.size)
        if request == GET_INFO:
            return b"\x03"
        raise Stall(INVALID_REQUEST)

    def select(self, setting):
        """Alternate setting 0 is silence."""
        self._packets.clear()
        self._next_picture = time.monotonic() if setting > 0 else None

    def wait(self, urb):
        self._waiting.append(urb)

    def take_back(self, number):
        """True when the request was still waiting."""
        for urb in self._waiting:
            if urb.number == number:
                self._waiting.remove(urb)
                return True
        return False

    def forget(self):
        """The cable is out."""
        self._waiting.clear()
        self.select(0)

    def seconds_to_next(self):
        """None: nothing is due until the host does something."""
        if self._next_picture is None or self.is_frozen or not self._waiting:
            return None
        return 0.0 if self._packets else max(0.0, self._next_picture - time.monotonic())

    def answer_next(self):
        """The answer to the request that waits longest, when something is due for it; else None."""
        if self.seconds_to_next() != 0.0:
            return None
        urb = self._waiting.popleft()
        if not self._packets:
            self._take_picture(urb.packets[0][1])
        count = min(len(self._packets), len(urb.packets))
        payloads = [self._packets.popleft() for _ in range(count)]
        payloads += [b""] * (len(urb.packets) - count)
        return urb.answer_packets(payloads)

    def _take_picture(self, packet_size):
        data = picture.take(self.committed.kind, *self.committed.dimensions(), self.number)
        room = packet_size - HEADER_SIZE
        flags = END_OF_HEADER | self.number & 1
        header = bytes((HEADER_SIZE, flags))
        starts = range(0, len(data), room)
        self._packets.extend(header + data[start:start + room] for start in starts)
        self._packets[-1] = bytes((HEADER_SIZE, flags | END_OF_PICTURE)) + data[starts[-1]:]
        self.number += 1
        # A picture that came late moves those after it: no burst follows.
        self._next_picture = max(time.monotonic(), self._next_picture + self.committed.interval / 1e7)
