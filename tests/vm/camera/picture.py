"""The pictures that the camera takes, each different from the next, so that a test can tell which one it got and
whether it is whole.

On top a strip, 24 pixels high, of 40 cells: the picture's number, 32 bits, the lowest at the left, white for one; then
white and black in turn. Below, cells in eight columns, 48 pixels high: colour (column + row + 2 x number) mod 8 of the
palette. tests/vm/webcam_pictures.cpp has the same written out once more.
"""

import functools

import jpeg
from descriptors import MJPEG

STRIP_HEIGHT, STRIP_CELLS, NUMBER_BITS = 24, 40, 32
CELL_HEIGHT, COLUMNS = 48, 8
WHITE, BLACK = (235, 235, 235), (20, 20, 20)
PALETTE = ((200, 40, 40), (40, 200, 40), (40, 40, 200), (200, 200, 40),
           (200, 40, 200), (40, 200, 200), (220, 220, 220), (30, 30, 30))


def full_range(rgb):
    """Y, Cb, Cr as JFIF has them."""
    red, green, blue = rgb
    luma = 0.299 * red + 0.587 * green + 0.114 * blue
    return round(luma), round(128 + (blue - luma) / 1.772), round(128 + (red - luma) / 1.402)


def video_range(rgb):
    """Y, Cb, Cr of BT.601 as video has them: 16 to 235, 16 to 240."""
    red, green, blue = rgb
    luma = 0.299 * red + 0.587 * green + 0.114 * blue
    return (round(16 + luma * 219 / 255), round(128 + (blue - luma) / 1.772 * 224 / 255),
            round(128 + (red - luma) / 1.402 * 224 / 255))


def strip(number):
    bits = [number >> bit & 1 for bit in range(NUMBER_BITS)]
    bits += [1, 0] * ((STRIP_CELLS - NUMBER_BITS) // 2)
    return [WHITE if bit else BLACK for bit in bits]


def cells(band, number):
    return [PALETTE[(column + band + 2 * number) % len(PALETTE)] for column in range(COLUMNS)]


def _yuyv_line(width, colours):
    line = b""
    for rgb in colours:
        luma, blue, red = video_range(rgb)
        line += bytes((luma, blue, luma, red)) * (width // len(colours) // 2)
    return line


@functools.lru_cache(maxsize=8)
def _yuyv_body(width, height, turn):
    rows = height - STRIP_HEIGHT
    bands = (_yuyv_line(width, cells(band, turn)) * min(CELL_HEIGHT, rows - band * CELL_HEIGHT)
             for band in range(-(-rows // CELL_HEIGHT)))
    return b"".join(bands)


def yuyv(width, height, number):
    return _yuyv_line(width, strip(number)) * STRIP_HEIGHT + _yuyv_body(width, height, number % 4)


def _blocks(width, colours):
    return tuple(full_range(rgb) for rgb in colours for _ in range(width // len(colours) // jpeg.BLOCK_WIDTH))


def mjpeg(width, height, number):
    rows = [_blocks(width, strip(number))] * (STRIP_HEIGHT // jpeg.BLOCK_HEIGHT)
    for row in range((height - STRIP_HEIGHT) // jpeg.BLOCK_HEIGHT):
        rows.append(_cell_blocks(width, row * jpeg.BLOCK_HEIGHT // CELL_HEIGHT, number % 4))
    return jpeg.picture(width, height, rows)


@functools.lru_cache(maxsize=256)
def _cell_blocks(width, band, turn):
    return _blocks(width, cells(band, turn))


def take(kind, width, height, number):
    return (mjpeg if kind == MJPEG else yuyv)(width, height, number)
