"""The camera as a USB device: takes the kernel's requests and answers each, now or when there is something to tell.

Follows: Universal Serial Bus Specification 2.0, 9.3 and 9.4 (standard requests).
"""

import sys

import descriptors
import usbip
from controls import INVALID_UNIT, Panel, Stall
from stream import Stream

GET_STATUS, CLEAR_FEATURE, SET_FEATURE, GET_DESCRIPTOR, GET_CONFIGURATION = 0, 1, 3, 6, 8
SET_CONFIGURATION, GET_INTERFACE, SET_INTERFACE = 9, 10, 11
STANDARD, CLASS = 0, 1


class Camera:
    """Plugged in or not; its knobs stay as they are set either way, as they would in a camera's own memory."""

    def __init__(self, names=descriptors.Names()):
        self.names = names
        self.panel = Panel()
        self.stream = Stream()
        self.log = []    # class requests to the video-control interface, as text
        self.cable = None
        self._status_requests = []
        self._settings = {}
        self._configuration = 0
        self._newest = None    # the number of the request that came last over this cable
        self._taken_back_early = {}

    def plug(self):
        if self.cable is None:
            self.cable = usbip.Cable()

    def unplug(self):
        cable, self.cable = self.cable, None
        self.stream.forget()
        self._status_requests.clear()
        self._settings.clear()
        self._newest = None
        self._taken_back_early.clear()
        if cable is not None:
            cable.pull()

    def receive(self):
        """One request of the kernel's. A connection that is gone unplugs the camera."""
        try:
            got = self.cable.receive()
            if isinstance(got, usbip.Urb):
                self._newest = got.number
                self._take(got)
            else:
                self._take_back(*got)
        except OSError as error:
            self._lose(error)

    def send_due(self):
        answer = self.stream.answer_next()
        if answer is None:
            return
        try:
            self.cable.send(answer)
        except OSError as error:
            self._lose(error)

    def _lose(self, error):
        print(f"unplugged by the kernel: {error}", file=sys.stderr, flush=True)
        self.unplug()

    def _take_back(self, victim, number):
        # The kernel may send this ahead of the request itself, which must then never be answered; and until the request
        # has come, the kernel doesn't know it by this answer. Before any has come it means one of the cable that was
        # pulled: the kernel's port is the same, and it waits for that answer before it looks at the new device.
        if self._newest is not None and victim > self._newest:
            self._taken_back_early[victim] = number
        else:
            self.cable.send_unlinked(number, self._forget(victim))

    def _forget(self, number):
        """True when the request was still waiting."""
        for urb in self._status_requests:
            if urb.number == number:
                self._status_requests.remove(urb)
                return True
        return self.stream.take_back(number)

    def _take(self, urb):
        if urb.number in self._taken_back_early:
            self.cable.send_unlinked(self._taken_back_early.pop(urb.number), True)
        elif urb.endpoint == descriptors.STREAM_ENDPOINT:
            self.stream.wait(urb)
        elif urb.endpoint == descriptors.STATUS_ENDPOINT:
            self._status_requests.append(urb)
        else:
            try:
                self.cable.send(urb.answer(self._control(urb)))
            except Stall:
                self.cable.send(urb.answer(status=usbip.STALL))

    def _control(self, urb):
        kind, request = urb.setup[0] >> 5 & 3, urb.setup[1]
        value, index = (int.from_bytes(urb.setup[at:at + 2], "little") for at in (2, 4))
        if kind == STANDARD:
            return self._standard(request, value, index)
        if kind != CLASS or urb.setup[0] & 0x1F != 1:
            raise Stall(INVALID_UNIT)
        return self._class(urb, request, value >> 8, index)

    def _standard(self, request, value, index):
        if request == GET_DESCRIPTOR:
            return self._descriptor(value >> 8, value & 0xFF)
        if request == SET_INTERFACE:
            self._settings[index] = value
            if index == descriptors.STREAMING_INTERFACE:
                self.stream.select(value)
        elif request == SET_CONFIGURATION:
            self._configuration = value
        answers = {GET_STATUS: b"\0\0", GET_CONFIGURATION: bytes((self._configuration,)),
                   GET_INTERFACE: bytes((self._settings.get(index, 0),)), CLEAR_FEATURE: b"", SET_FEATURE: b"",
                   SET_INTERFACE: b"", SET_CONFIGURATION: b""}
        if request == CLEAR_FEATURE:
            self.log.append(f"clear {index:02x}")
        if request not in answers:
            raise Stall(INVALID_UNIT)
        return answers[request]

    def _descriptor(self, kind, index):
        found = {descriptors.DEVICE: descriptors.device, descriptors.CONFIGURATION: descriptors.configuration,
                 descriptors.STRING: lambda: descriptors.string(self.names, index)}.get(kind, lambda: None)()
        if found is None:
            raise Stall(INVALID_UNIT)
        return found

    def _class(self, urb, request, selector, index):
        interface, unit = index & 0xFF, index >> 8
        if interface == descriptors.STREAMING_INTERFACE:
            return self.stream.request(request, selector, urb.data)
        if interface != descriptors.CONTROL_INTERFACE:
            raise Stall(INVALID_UNIT)
        line = f"{urb.setup[0]:02X} {request:02X} {selector << 8:04x} {index:04x} {urb.length}"
        if not urb.is_in:
            line += f": {urb.data.hex()}"
        try:
            answer = self.panel.request(request, unit, selector, urb.data)
        except Stall as stall:
            self.log.append(f"{line} stalled {stall.code}")
            raise
        self.log.append(line)
        return answer
