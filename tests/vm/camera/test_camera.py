"""The camera, looked at without a kernel: python3 -m unittest, in this folder."""

import struct
import subprocess
import unittest

import commands
import descriptors
import picture
import usbip
from controls import (GET_CUR, GET_DEF, GET_INFO, GET_LEN, GET_MAX, GET_MIN, GET_RES, INVALID_CONTROL, INVALID_UNIT,
                      NOT_READY, OUT_OF_RANGE, SET_CUR, Panel, Stall)
from descriptors import MJPEG, YUYV
from device import Camera
from stream import AGREEMENT, COMMIT, PROBE, Agreement, Stream


def records(data):
    """The descriptors that follow one another."""
    while data:
        yield data[:data[0]]
        data = data[data[0]:]


class Descriptors(unittest.TestCase):
    def setUp(self):
        self.all = list(records(descriptors.configuration()))

    def class_records(self, interface):
        """The class-specific ones of the interface's first setting, by subtype."""
        found = {}
        current = None
        for each in self.all:
            if each[1] == descriptors.INTERFACE:
                current = each[2] if each[3] == 0 else None
            elif each[1] == descriptors.CS_INTERFACE and current == interface:
                found.setdefault(each[2], []).append(each)
        return found

    def test_add_up_to_the_length_that_the_configuration_tells(self):
        whole = descriptors.configuration()
        self.assertEqual(sum(len(each) for each in self.all), len(whole))
        self.assertEqual(struct.unpack_from("<H", whole, 2)[0], len(whole))
        self.assertEqual(len(descriptors.device()), 18)

    def test_of_each_interface_add_up_to_the_length_that_its_header_tells(self):
        for interface, place in ((descriptors.CONTROL_INTERFACE, 5), (descriptors.STREAMING_INTERFACE, 4)):
            found = self.class_records(interface)
            total = sum(len(each) for kind in found.values() for each in kind)
            self.assertEqual(struct.unpack_from("<H", found[1][0], place)[0], total)

    def test_have_the_lengths_of_the_standard(self):
        control = self.class_records(descriptors.CONTROL_INTERFACE)
        self.assertEqual({kind: len(each[0]) for kind, each in control.items()}, {1: 13, 2: 18, 5: 12, 6: 26, 3: 9})
        streaming = self.class_records(descriptors.STREAMING_INTERFACE)
        self.assertEqual({kind: {len(each) for each in some} for kind, some in streaming.items()},
                         {1: {15}, 4: {27}, 5: {38}, 6: {11}, 7: {38}, 13: {6}})

    def test_claim_the_controls_that_there_are(self):
        # Which bit stands for which selector.
        camera = {1: 2, 3: 4, 5: 6, 17: 8}
        processing = {0: 2, 1: 3, 3: 7, 4: 8, 6: 10, 9: 4, 12: 11}
        claimed = {(1, selector) for bit, selector in camera.items() if descriptors.CAMERA_CONTROLS >> bit & 1}
        claimed |= {(2, selector) for bit, selector in processing.items() if descriptors.PROCESSING_CONTROLS >> bit & 1}
        claimed |= {(9, bit + 1) for bit in range(8) if descriptors.EXTENSION_CONTROLS >> bit & 1}
        self.assertEqual(claimed, set(Panel().controls))

    def test_tell_each_size_of_both_formats(self):
        found = self.class_records(descriptors.STREAMING_INTERFACE)
        for kind in (5, 7):
            self.assertEqual([struct.unpack_from("<HH", each, 5) for each in found[kind]], list(descriptors.SIZES))

    def test_name_the_camera(self):
        names = descriptors.Names(product="Other")
        self.assertEqual(descriptors.string(names, 2)[2:].decode("utf-16-le"), "Other")
        self.assertIsNone(descriptors.string(names, 4))


class Knobs(unittest.TestCase):
    def setUp(self):
        self.panel = Panel()

    def get(self, request, unit, selector):
        return self.panel.request(request, unit, selector, b"")

    def assert_stalls(self, code, request, unit, selector, data=b""):
        with self.assertRaises(Stall) as caught:
            self.panel.request(request, unit, selector, data)
        self.assertEqual(caught.exception.code, code)
        self.assertEqual(self.get(GET_CUR, 0, 2), bytes((code,)))
        self.assertEqual(self.get(GET_CUR, 0, 2), b"\0", "told once")

    def test_answer_with_the_length_that_they_tell(self):
        for (unit, selector), control in self.panel.controls.items():
            self.assertEqual(self.get(GET_LEN, unit, selector), struct.pack("<H", control.size))
            requests = [GET_CUR, GET_RES, GET_DEF] + ([GET_MIN, GET_MAX] if control.has_range else [])
            for request in requests:
                self.assertEqual(len(self.get(request, unit, selector)), control.size)

    def test_keep_what_they_are_turned_to(self):
        self.panel.request(SET_CUR, 2, 2, b"\xc0\xff")
        self.assertEqual(self.panel.controls[2, 2].current, -64)
        self.assertEqual(self.get(GET_CUR, 2, 2), b"\xc0\xff")

    def test_refuse_what_is_beyond_their_ends(self):
        self.assert_stalls(OUT_OF_RANGE, SET_CUR, 2, 4, b"\x00\x01")
        self.assert_stalls(OUT_OF_RANGE, SET_CUR, 1, 2, b"\x02")
        self.assertEqual(self.panel.controls[2, 4].current, 0)

    def test_that_are_not_there_stall(self):
        self.assert_stalls(INVALID_CONTROL, GET_CUR, 2, 99)
        self.assert_stalls(INVALID_UNIT, GET_CUR, 7, 1)

    def test_tell_that_the_firmware_cannot_be_set(self):
        self.assertEqual(self.get(GET_INFO, 9, 1), b"\x01")
        with self.assertRaises(Stall):
            self.panel.request(SET_CUR, 9, 1, bytes(4))

    def test_stall_as_told_and_no_more(self):
        self.panel.stalls.append({"unit": 2, "selector": 4, "request": SET_CUR, "times": 1})
        self.get(GET_CUR, 2, 4)
        self.assert_stalls(NOT_READY, SET_CUR, 2, 4, b"\x05\x00")
        self.panel.request(SET_CUR, 2, 4, b"\x05\x00")
        self.assertEqual(self.panel.controls[2, 4].current, 5)


class Pictures(unittest.TestCase):
    def test_have_the_size_of_their_format(self):
        for width, height in descriptors.SIZES:
            self.assertEqual(len(picture.yuyv(width, height, 5)), width * height * 2)

    def test_of_neighbouring_numbers_differ_in_strip_and_body(self):
        first, second = (picture.yuyv(640, 480, number) for number in (6, 7))
        strip = 640 * 2 * picture.STRIP_HEIGHT
        self.assertNotEqual(first[:strip], second[:strip])
        self.assertNotEqual(first[strip:], second[strip:])

    def test_are_jpeg_that_another_program_reads(self):
        for width, height in descriptors.SIZES:
            number = 0x81
            decoded = subprocess.run(
                ["ffmpeg", "-v", "error", "-f", "mjpeg", "-i", "-", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"],
                input=picture.mjpeg(width, height, number), stdout=subprocess.PIPE, check=True).stdout
            self.assertEqual(len(decoded), width * height * 3)

            def at(x, y):
                place = (y * width + x) * 3
                return tuple(decoded[place:place + 3])

            cell = width // picture.STRIP_CELLS
            for index, colour in enumerate(picture.strip(number)):
                self.assert_near(at(index * cell + cell // 2, 12), colour)
            for band in range((height - picture.STRIP_HEIGHT) // picture.CELL_HEIGHT):
                for column, colour in enumerate(picture.cells(band, number)):
                    y = picture.STRIP_HEIGHT + band * picture.CELL_HEIGHT + picture.CELL_HEIGHT // 2
                    self.assert_near(at(column * width // 8 + width // 16, y), colour)

    def assert_near(self, found, expected):
        self.assertLessEqual(max(abs(a - b) for a, b in zip(found, expected)), 4, f"{found}, not {expected}")


class Streaming(unittest.TestCase):
    def setUp(self):
        self.stream = Stream()

    def agree(self, kind, size):
        wanted = struct.pack("<HBBI", 1, kind, size, 333333).ljust(AGREEMENT.size, b"\0")
        self.stream.request(SET_CUR, PROBE, wanted)
        agreed = self.stream.request(GET_CUR, PROBE, b"")
        self.stream.request(SET_CUR, COMMIT, agreed)
        return agreed

    def test_agrees_on_what_there_is(self):
        self.assertEqual(AGREEMENT.size, 34)
        agreed = AGREEMENT.unpack(self.agree(9, 9))
        self.assertEqual(agreed[1:4], (YUYV, 3, 333333))
        self.assertEqual(agreed[9], 1920 * 1080 * 2)
        self.assertEqual(Agreement(MJPEG, 1, 1_000_000).interval, 666666)

    def one_picture(self, packet):
        """The packets of one picture, and what they carry."""
        packets = []
        for number in range(10000):
            urb = usbip.Urb(number, 1, True, 32 * packet, b"", packets=[(i * packet, packet) for i in range(32)])
            self.stream.wait(urb)
            answer = self.stream.answer_next()
            table = answer[-32 * 16:]
            body = answer[48:-32 * 16]
            for _, _, actual, _ in usbip.PACKET.iter_unpack(table):
                packets.append(body[:actual])
                body = body[actual:]
            if packets[-1] == b"" or packets[-1][1] & 2:
                break
        return [each for each in packets if each]

    def test_cuts_pictures_into_packets(self):
        for kind, packet in ((YUYV, 3072), (MJPEG, 1024)):
            self.agree(kind, 1)
            number = self.stream.number
            self.stream.select(1)
            packets = self.one_picture(packet)
            self.assertEqual(b"".join(each[2:] for each in packets), picture.take(kind, 640, 480, number))
            self.assertEqual({each[0] for each in packets}, {2})
            self.assertEqual([each[1] & 2 for each in packets], [0] * (len(packets) - 1) + [2])
            self.assertEqual({each[1] & 1 for each in packets}, {number & 1})

    def test_is_silent_until_selected_and_when_frozen(self):
        self.stream.wait(usbip.Urb(1, 1, True, 1024, b"", packets=[(0, 1024)]))
        self.assertIsNone(self.stream.answer_next())
        self.stream.select(1)
        self.stream.is_frozen = True
        self.assertIsNone(self.stream.answer_next())
        self.assertIsNone(self.stream.seconds_to_next())
        self.stream.is_frozen = False
        self.assertIsNotNone(self.stream.answer_next())

    def test_gives_back_what_waits(self):
        self.stream.wait(usbip.Urb(7, 1, True, 1024, b""))
        self.assertTrue(self.stream.take_back(7))
        self.assertFalse(self.stream.take_back(7))


class FakeCable:
    """A kernel that sends what the test says, and keeps the answers."""

    def __init__(self, *requests):
        self.requests = list(requests)
        self.answers = []

    def receive(self):
        return self.requests.pop(0)

    def send(self, answer):
        self.answers.append(usbip.HEADER.unpack_from(answer)[:2])

    def send_unlinked(self, number, was_pending):
        self.answers.append((usbip.RET_UNLINK, number, was_pending))


class Requests(unittest.TestCase):
    def answers(self, *requests):
        camera = Camera()
        camera.cable = FakeCable(*requests)
        for _ in requests:
            camera.receive()
        return camera.cable.answers

    def status(self, number):
        return usbip.Urb(number, descriptors.STATUS_ENDPOINT, True, 16, b"")

    def test_are_answered_when_they_can_be(self):
        setup = struct.pack("<BBHHH", 0x80, 6, 0x0100, 0, 18)
        self.assertEqual(self.answers(self.status(1), usbip.Urb(2, 0, True, 18, setup)), [(usbip.RET_SUBMIT, 2)])

    def test_that_wait_are_given_back(self):
        self.assertEqual(self.answers(self.status(1), (1, 2)), [(usbip.RET_UNLINK, 2, True)])
        self.assertEqual(self.answers(self.status(3), (1, 4)), [(usbip.RET_UNLINK, 4, False)], "answered long ago")

    def test_that_come_after_they_were_taken_back_are_not_answered(self):
        setup = struct.pack("<BBHHH", 0x80, 6, 0x0100, 0, 18)
        late = usbip.Urb(5, 0, True, 18, setup)
        self.assertEqual(self.answers(self.status(1), (5, 6)), [])
        self.assertEqual(self.answers(self.status(1), (5, 6), late), [(usbip.RET_UNLINK, 6, True)])

    def test_of_a_cable_that_was_pulled_are_given_back_over_the_new_one(self):
        self.assertEqual(self.answers((5, 6)), [(usbip.RET_UNLINK, 6, False)])
        camera = Camera()
        camera.cable = FakeCable(self.status(7))
        camera.receive()
        camera.cable.pull = lambda: None
        camera.unplug()
        camera.cable = FakeCable((8, 9))
        camera.receive()
        self.assertEqual(camera.cable.answers, [(usbip.RET_UNLINK, 9, False)])


class Commands(unittest.TestCase):
    def test_turn_and_tell(self):
        camera = Camera()
        self.assertEqual(commands.carry_out(camera, b'{"cmd":"set","unit":2,"selector":4,"value":9}'), b'{"ok": true}\n')
        self.assertEqual(commands.carry_out(camera, b'{"cmd":"get","unit":2,"selector":4}'),
                         b'{"ok": true, "value": 9}\n')

    def test_that_are_none_are_refused(self):
        for line in (b"{", b'{"cmd":"fly"}', b'{"cmd":"get","unit":2}', b"[]"):
            self.assertIn(b'"ok": false', commands.carry_out(Camera(), line))


if __name__ == "__main__":
    unittest.main()
