"""The camera's knobs: which there are, between what they turn, and how class requests reach them.

Follows: USB Video Class 1.1, 4.1 (requests), 4.2.1.2 (error codes), 4.2.2 (control selectors).
"""

from dataclasses import dataclass

SET_CUR, GET_CUR, GET_MIN, GET_MAX, GET_RES, GET_LEN, GET_INFO, GET_DEF = 0x01, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87
NOT_READY, OUT_OF_RANGE, INVALID_UNIT, INVALID_CONTROL, INVALID_REQUEST = 1, 4, 5, 6, 7
ERROR_CODE = (0, 2)    # unit and selector that tell why the last request stalled


class Stall(Exception):
    """The request is refused; the reason can be asked for."""

    def __init__(self, code):
        super().__init__(f"stall, error code {code}")
        self.code = code


@dataclass
class Control:
    name: str
    size: int
    least: int = 0
    most: int = 0
    step: int = 1
    initial: int = 0
    is_signed: bool = False
    has_range: bool = True
    is_writable: bool = True
    current: int = 0

    def reset(self):
        self.current = self.initial

    def encode(self, value):
        return value.to_bytes(self.size, "little", signed=self.is_signed)

    def answer(self, request):
        if request == GET_INFO:
            return bytes((0b11 if self.is_writable else 0b01,))
        if request == GET_LEN:
            return self.size.to_bytes(2, "little")
        values = {GET_CUR: self.current, GET_RES: self.step, GET_DEF: self.initial}
        if self.has_range:
            values |= {GET_MIN: self.least, GET_MAX: self.most}
        if request not in values:
            raise Stall(INVALID_REQUEST)
        return self.encode(values[request])

    def turn(self, data):
        if not self.is_writable or len(data) != self.size:
            raise Stall(INVALID_REQUEST)
        value = int.from_bytes(data, "little", signed=self.is_signed)
        if self.has_range and not self.least <= value <= self.most:
            raise Stall(OUT_OF_RANGE)
        if not self.has_range and value & ~self.step:
            raise Stall(OUT_OF_RANGE)    # a choice of bits: the step says which there are
        self.current = value


def knob(name, size, least, most, initial, step=1, **more):
    return Control(name, size, least, most, step, initial, **more)


def switch(name, initial):
    return knob(name, 1, 0, 1, initial)


def all_controls():
    """By unit and selector. Exposure and its like have the ranges of webcams on sale, brightness turns both ways."""
    controls = {
        (1, 2): Control("exposure mode", 1, step=0b1001, initial=8, has_range=False),    # manual, aperture priority
        (1, 4): knob("exposure", 4, 3, 2047, 250),    # 100 us
        (1, 6): knob("focus", 2, 0, 250, 0, step=5),
        (1, 8): switch("automatic focus", 1),
        (2, 2): knob("brightness", 2, -64, 64, 0, is_signed=True),
        (2, 3): knob("contrast", 2, 0, 255, 128),
        (2, 4): knob("gain", 2, 0, 255, 0),
        (2, 7): knob("saturation", 2, 0, 255, 128),
        (2, 8): knob("sharpness", 2, 0, 255, 128),
        (2, 10): knob("white balance", 2, 2000, 6500, 4000, step=10),    # kelvins
        (2, 11): switch("automatic white balance", 1),
        (9, 1): Control("firmware", 4, least=0x0100, most=0x0100, initial=0x0100, is_writable=False),
        (9, 2): knob("lamp", 2, 0, 3, 0),
        (9, 3): knob("lens", 8, 0, 1000, 500),
    }
    for control in controls.values():
        control.reset()
    return controls


class Panel:
    """All controls, behind the class requests to the video-control interface."""

    def __init__(self):
        self.controls = all_controls()
        self.error = 0
        self.stalls = []    # what shall be refused: {"unit", "selector", "request", "times"}, each may be left out

    def reset(self):
        for control in self.controls.values():
            control.reset()
        self.stalls.clear()
        self.error = 0

    def request(self, request, unit, selector, data):
        """The bytes of the answer; raises Stall. Asking for the reason of a stall is never refused."""
        if (unit, selector) == ERROR_CODE and request == GET_CUR:
            code, self.error = self.error, 0
            return bytes((code,))
        try:
            self._refuse_as_told(request, unit, selector)
            return self._carry_out(request, unit, selector, data)
        except Stall as stall:
            self.error = stall.code
            raise

    def _carry_out(self, request, unit, selector, data):
        control = self.controls.get((unit, selector))
        if control is None:
            known = any(unit == other for other, _ in self.controls)
            raise Stall(INVALID_CONTROL if known else INVALID_UNIT)
        if request != SET_CUR:
            return control.answer(request)
        control.turn(data)
        return b""

    def _refuse_as_told(self, request, unit, selector):
        asked = {"request": request, "unit": unit, "selector": selector}
        for rule in self.stalls:
            if rule["times"] > 0 and all(rule.get(name, value) == value for name, value in asked.items()):
                rule["times"] -= 1
                raise Stall(rule.get("error", NOT_READY))
