"""What the camera tells about itself: one configuration with a video-control and a video-streaming interface.

Follows: Universal Serial Bus Specification 2.0, 9.6; USB Video Class 1.1, 3 (descriptors);
USB_Video_Payload_Uncompressed 1.1 and USB_Video_Payload_MJPEG 1.1.
"""

import struct
from dataclasses import dataclass

VENDOR, PRODUCT = 0x1209, 0x0001    # free for tests
CONTROL_INTERFACE, STREAMING_INTERFACE = 0, 1
STREAM_ENDPOINT, STATUS_ENDPOINT = 1, 2
CAMERA, PROCESSING, OUTPUT, EXTENSION = 1, 2, 3, 9    # entities; the ids that hosts assume

YUYV, MJPEG = 1, 2    # format indices
SIZES = ((640, 480), (1280, 720), (1920, 1080))    # frame index: place in the list, from 1
INTERVALS = (333333, 666666, 2000000)    # 100 ns: 30, 15, 5 frames a second
# Alternate settings of the streaming interface, from 1: bytes of a packet, and the field that says so.
PACKETS = ((1024, 0x0400), (3072, 0x1400))

DEVICE, CONFIGURATION, STRING, INTERFACE, ENDPOINT, ASSOCIATION = 1, 2, 3, 4, 5, 11
CS_INTERFACE, CS_ENDPOINT = 0x24, 0x25
VIDEO, CONTROL_SUBCLASS, STREAMING_SUBCLASS, COLLECTION = 14, 1, 2, 3

# Bits of what the entities can do, as controls.py has it: mode, exposure, focus, automatic focus; brightness,
# contrast, saturation, sharpness, white balance, gain, automatic white balance.
CAMERA_CONTROLS = 1 << 1 | 1 << 3 | 1 << 5 | 1 << 17
PROCESSING_CONTROLS = 1 << 0 | 1 << 1 | 1 << 3 | 1 << 4 | 1 << 6 | 1 << 9 | 1 << 12
EXTENSION_CONTROLS = 0b111
EXTENSION_GUID = bytes.fromhex("7461727630746573742d63616d657261")
YUYV_GUID = b"YUY2\x00\x00\x10\x00\x80\x00\x00\xaa\x00\x38\x9b\x71"


@dataclass(frozen=True)
class Names:
    maker: str = "Tarvo"
    product: str = "Tarvo Test Camera"
    serial: str = "0001"


def record(kind, body):
    """Every descriptor begins with its length and kind."""
    return bytes((len(body) + 2, kind)) + body


def device():
    return record(DEVICE, struct.pack("<HBBBBHHHBBBB", 0x0200, 0xEF, 2, 1, 64, VENDOR, PRODUCT, 0x0100, 1, 2, 3, 1))


def string(names, index):
    if index == 0:
        return record(STRING, struct.pack("<H", 0x0409))
    texts = (names.maker, names.product, names.serial)
    return record(STRING, texts[index - 1].encode("utf-16-le")) if index <= len(texts) else None


def configuration():
    body = _association() + _control_interface() + _streaming_interface()
    head = struct.pack("<HBBBBB", 9 + len(body), 2, 1, 0, 0x80, 250)
    return record(CONFIGURATION, head) + body


def interface(number, setting, endpoints, subclass):
    return record(INTERFACE, bytes((number, setting, endpoints, VIDEO, subclass, 0, 0)))


def _association():
    return record(ASSOCIATION, bytes((CONTROL_INTERFACE, 2, VIDEO, COLLECTION, 0, 0)))


def _class(subtype, body):
    return record(CS_INTERFACE, bytes((subtype,)) + body)


def _control_interface():
    entities = b"".join((
        # Input terminal 0x0201: a camera, without a zoom lens.
        _class(2, struct.pack("<BHBBHHHB", CAMERA, 0x0201, 0, 0, 0, 0, 0, 3) + CAMERA_CONTROLS.to_bytes(3, "little")),
        _class(5, struct.pack("<BBHB", PROCESSING, CAMERA, 0, 2) + PROCESSING_CONTROLS.to_bytes(2, "little") + b"\0\0"),
        _class(6, bytes((EXTENSION,)) + EXTENSION_GUID + bytes((3, 1, PROCESSING, 1, EXTENSION_CONTROLS, 0))),
        # Output terminal 0x0101: over USB.
        _class(3, struct.pack("<BHBBB", OUTPUT, 0x0101, 0, EXTENSION, 0)),
    ))
    header = struct.pack("<HHIBB", 0x0110, 13 + len(entities), 48_000_000, 1, STREAMING_INTERFACE)
    status = (record(ENDPOINT, struct.pack("<BBHB", 0x80 | STATUS_ENDPOINT, 3, 16, 6))
              + record(CS_ENDPOINT, struct.pack("<BH", 3, 16)))
    return interface(CONTROL_INTERFACE, 0, 1, CONTROL_SUBCLASS) + _class(1, header) + entities + status


def _frame(subtype, index, width, height):
    bits = width * height * 16
    rates = struct.pack("<II", bits * 5, bits * 30)
    head = struct.pack("<BBHH", index, 0, width, height) + rates
    head += struct.pack("<IIB", width * height * 2, INTERVALS[0], len(INTERVALS))
    return _class(subtype, head + struct.pack(f"<{len(INTERVALS)}I", *INTERVALS))


def _format(kind, head):
    frame_subtype = kind + 1
    frames = (_frame(frame_subtype, index, *size) for index, size in enumerate(SIZES, 1))
    # Colours: sRGB's primaries and transfer, the matrix of BT.601.
    return _class(kind, head) + b"".join(frames) + _class(13, bytes((1, 1, 4)))


def _streaming_interface():
    formats = (_format(4, bytes((YUYV, len(SIZES))) + YUYV_GUID + bytes((16, 1, 0, 0, 0, 0)))
               + _format(6, bytes((MJPEG, len(SIZES), 1, 1, 0, 0, 0, 0))))
    header = struct.pack("<BHBBBBBBBBB", 2, 15 + len(formats), 0x80 | STREAM_ENDPOINT, 0, OUTPUT, 0, 0, 0, 1, 0, 0)
    settings = interface(STREAMING_INTERFACE, 0, 0, STREAMING_SUBCLASS) + _class(1, header) + formats
    for setting, (_, packet) in enumerate(PACKETS, 1):
        settings += interface(STREAMING_INTERFACE, setting, 1, STREAMING_SUBCLASS)
        settings += record(ENDPOINT, struct.pack("<BBHB", 0x80 | STREAM_ENDPOINT, 5, packet, 1))
    return settings
