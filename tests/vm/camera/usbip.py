"""The device's end of USB/IP: how a program is a USB device to this machine's own kernel.

The kernel's virtual host controller takes one end of a socket pair and sends its requests (URBs) over it; what is
answered on the other end comes from "the device". Integers are big-endian, the setup packet is as on the bus.
Follows: the Linux kernel's documentation of the USB/IP protocol.
"""

import pathlib
import socket
import struct
from dataclasses import dataclass, field

CONTROLLER = pathlib.Path("/sys/devices/platform/vhci_hcd.0")
HIGH_SPEED = 3
PORT_FREE = "004"
DEVICE_ID = 0x10002

CMD_SUBMIT, CMD_UNLINK, RET_SUBMIT, RET_UNLINK = 1, 2, 3, 4
IN = 1
STALL = -32        # EPIPE
UNLINKED = -104    # ECONNRESET

HEADER = struct.Struct(">5I")
SUBMIT = struct.Struct(">Iiiii8s")
RESULT = struct.Struct(">iiiii8x")
PACKET = struct.Struct(">IIIi")


@dataclass
class Urb:
    """One request of the kernel's; kept until it is answered or taken back."""

    number: int
    endpoint: int
    is_in: bool
    length: int
    setup: bytes
    data: bytes = b""
    packets: list = field(default_factory=list)    # isochronous: (offset, length) of each

    def answer(self, data=b"", status=0):
        """What goes back for a request without packets."""
        carried = data[: self.length] if self.is_in else b""
        actual = len(carried) if self.is_in else len(self.data)
        return (HEADER.pack(RET_SUBMIT, self.number, 0, 0, 0)
                + RESULT.pack(status, 0 if status else actual, 0, 0, 0) + carried)

    def answer_packets(self, payloads):
        """What goes back for an isochronous request: the payloads without gaps, then what each packet got."""
        places = [PACKET.pack(offset, length, len(payload), 0)
                  for (offset, length), payload in zip(self.packets, payloads)]
        body = b"".join(payloads)
        return (HEADER.pack(RET_SUBMIT, self.number, 0, 0, 0)
                + RESULT.pack(0, len(body), 0, len(places), 0) + body + b"".join(places))


class Cable:
    """The connection of a plugged device. Pulling it is what a user's hand does."""

    def __init__(self):
        self.port = self._free_port()
        self.socket, theirs = socket.socketpair()
        with theirs:
            (CONTROLLER / "attach").write_text(f"{self.port} {theirs.fileno()} {DEVICE_ID} {HIGH_SPEED}")

    @staticmethod
    def _free_port():
        for line in (CONTROLLER / "status").read_text().splitlines():
            kind, port, state = line.split()[:3]
            if kind == "hs" and state == PORT_FREE:
                return int(port)
        raise OSError("no free port on the virtual host controller")

    def pull(self):
        try:
            (CONTROLLER / "detach").write_text(str(self.port))
        except OSError:
            pass    # the kernel let go of it already
        self.socket.close()

    def receive(self):
        """The next request: an Urb, or the number of one that the kernel takes back with the number of its doing so."""
        command, number, _, direction, endpoint = HEADER.unpack(self._bytes(HEADER.size))
        flags_or_victim, length, _, packet_count, _, setup = SUBMIT.unpack(self._bytes(SUBMIT.size))
        if command == CMD_UNLINK:
            return flags_or_victim, number
        urb = Urb(number, endpoint, direction == IN, length, setup)
        if not urb.is_in:
            urb.data = self._bytes(length)
        if packet_count > 0:
            table = self._bytes(PACKET.size * packet_count)
            urb.packets = [(offset, size) for offset, size, _, _ in PACKET.iter_unpack(table)]
        return urb

    def send(self, answer):
        self.socket.sendall(answer)

    def send_unlinked(self, number, was_pending):
        """An answer to a request that was taken back already would cost the whole device: this is the only one."""
        self.send(HEADER.pack(RET_UNLINK, number, 0, 0, 0) + RESULT.pack(UNLINKED if was_pending else 0, 0, 0, 0, 0))

    def _bytes(self, count):
        pieces = []
        while count > 0:
            piece = self.socket.recv(count, socket.MSG_WAITALL)
            if not piece:
                raise ConnectionError("the kernel has closed the connection")
            pieces.append(piece)
            count -= len(piece)
        return b"".join(pieces)
