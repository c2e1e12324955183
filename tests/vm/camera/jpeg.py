"""JPEG pictures of coloured cells: blocks of one colour need a mean value each and nothing else.

A cell's edges lie on blocks of 16 x 8 pixels (two luminance blocks, one of each colour difference). Every row of them is a
restart interval, so that equal rows are equal bytes and a new picture costs its new rows only.
Follows: ITU-T T.81 (baseline, Annex F); JFIF 1.02.
"""

import functools
import struct

BLOCK_WIDTH, BLOCK_HEIGHT = 16, 8
CATEGORY_BITS = 4    # of our code for the size of a difference: twelve codes of one length


def segment(marker, body):
    return bytes((0xFF, marker)) + struct.pack(">H", len(body) + 2) + body


def headers(width, height):
    lengths_of_differences = bytes((0, 0, 0, 12)) + bytes(12)
    only_end_of_block = bytes((1,)) + bytes(15) + b"\0"
    components = bytes((3, 1, 0x21, 0, 2, 0x11, 0, 3, 0x11, 0))
    return b"".join((
        b"\xff\xd8",
        segment(0xE0, b"JFIF\0\1\2\0\0\1\0\1\0\0"),
        segment(0xDB, b"\0" + b"\1" * 64),    # steps of one: means are exact
        segment(0xC0, struct.pack(">BHH", 8, height, width) + components),
        segment(0xC4, b"\x00" + lengths_of_differences + bytes(range(12))),
        segment(0xC4, b"\x10" + only_end_of_block),
        segment(0xDD, struct.pack(">H", width // BLOCK_WIDTH)),
        segment(0xDA, bytes((3, 1, 0, 2, 0, 3, 0, 0, 63, 0))),
    ))


def _block(difference):
    """Bits of one block, as text: size of the difference, the difference, end of block."""
    size = abs(difference).bit_length()
    bits = f"{size:0{CATEGORY_BITS}b}"
    if size > 0:
        bits += f"{difference if difference > 0 else difference + (1 << size) - 1:0{size}b}"
    return bits + "0"


@functools.lru_cache(maxsize=512)
def row(colours):
    """The bytes of a row of blocks, from one (Y, Cb, Cr) for each 16 pixels."""
    bits = []
    last = [0, 0, 0]
    for colour in colours:
        means = [8 * (value - 128) for value in colour]
        bits.append(_block(means[0] - last[0]))
        bits.append(_block(0))
        bits.append(_block(means[1] - last[1]))
        bits.append(_block(means[2] - last[2]))
        last = means
    text = "".join(bits)
    text += "1" * (-len(text) % 8)
    return int(text, 2).to_bytes(len(text) // 8, "big").replace(b"\xff", b"\xff\x00")


def picture(width, height, rows):
    """`rows`: the colours of each row of blocks, height / 8 of them."""
    pieces = [headers(width, height)]
    for number, colours in enumerate(rows):
        if number > 0:
            pieces.append(bytes((0xFF, 0xD0 + (number - 1) % 8)))
        pieces.append(row(colours))
    pieces.append(b"\xff\xd9")
    return b"".join(pieces)
