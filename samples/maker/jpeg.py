# SPDX-License-Identifier: Apache-2.0
"""A baseline JPEG writer.

E-book readers hand out a cover in the format in which it is stored, and what asks for one
expects a JPEG. Only integers are used, so the bytes do not depend on the machine.
"""

import struct

_ZIGZAG = (
    0, 1, 8, 16, 9, 2, 3, 10, 17, 24, 32, 25, 18, 11, 4, 5, 12, 19, 26, 33, 40, 48, 41, 34, 27, 20,
    13, 6, 7, 14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51, 58, 59,
    52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
)

# One table for all three components; the low values keep the edges of lettering clean.
_QUANT = tuple(3 + (position // 8 + position % 8) * 2 for position in range(64))

# cos(n * pi / 16), in parts of 8192.
_COS = (8192, 8035, 7568, 6811, 5793, 4551, 3135, 1598)
_COS_BITS = 13

# Code lengths 1..16 and symbols. The DC table covers every size of a baseline difference; the AC
# table gives the symbols that flat pictures use most a short code and every other one a long one.
_DC_COUNTS = (0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0)
_DC_SYMBOLS = tuple(range(12))
_AC_FREQUENT = (0x00, 0x01, 0x02, 0x11, 0x03, 0x12, 0x21, 0x04, 0x31, 0x13, 0x22, 0x41, 0x05)
_AC_ALL = [run << 4 | size for run in range(16) for size in range(1, 11)] + [0x00, 0xF0]
_AC_SYMBOLS = _AC_FREQUENT + tuple(symbol for symbol in _AC_ALL if symbol not in _AC_FREQUENT)
_AC_COUNTS = (0, 1, 1, 3, 2, 3, 1, 2, 149, 0, 0, 0, 0, 0, 0, 0)


def encode(canvas):
    """The canvas as a JPEG file, all components at full resolution."""
    header = _segment(0xE0, b"JFIF\0\1\1\0\0\1\0\1\0\0")
    quant = _segment(0xDB, b"\0" + bytes(_QUANT[position] for position in _ZIGZAG))
    components = b"".join(bytes((number, 0x11, 0)) for number in (1, 2, 3))
    frame = _segment(0xC0, struct.pack(">BHHB", 8, canvas.height, canvas.width, 3) + components)
    tables = _segment(0xC4, b"\x00" + bytes(_DC_COUNTS) + bytes(_DC_SYMBOLS))
    tables += _segment(0xC4, b"\x10" + bytes(_AC_COUNTS) + bytes(_AC_SYMBOLS))
    scan = _segment(0xDA, b"\3\1\0\2\0\3\0\0\x3f\0") + _scan(canvas)
    return b"\xff\xd8" + header + quant + frame + tables + scan + b"\xff\xd9"


class _BitWriter:
    def __init__(self):
        self._bits = []

    def put(self, value, length):
        self._bits.append(format(value, f"0{length}b"))

    def finish(self):
        bits = "".join(self._bits)
        bits += "1" * (-len(bits) % 8)
        data = int(bits, 2).to_bytes(len(bits) // 8, "big")
        return data.replace(b"\xff", b"\xff\x00")


def _segment(marker, data):
    return struct.pack(">BBH", 0xFF, marker, len(data) + 2) + data


def _codes(counts, symbols):
    """Symbol to (code, length), as the decoder rebuilds it from the two lists."""
    table = {}
    code = 0
    remaining = iter(symbols)
    for length, count in enumerate(counts, start=1):
        for _ in range(count):
            table[next(remaining)] = (code, length)
            code += 1
        code <<= 1
    return table


def _scan(canvas):
    bits = _BitWriter()
    dc_codes = _codes(_DC_COUNTS, _DC_SYMBOLS)
    ac_codes = _codes(_AC_COUNTS, _AC_SYMBOLS)
    planes = _planes(canvas)
    previous = [0, 0, 0]
    for top in range(0, canvas.height, 8):
        for left in range(0, canvas.width, 8):
            for index, plane in enumerate(planes):
                values = _quantised(_block(plane, top, left))
                _put_dc(bits, values[0] - previous[index], dc_codes)
                _put_ac(bits, values, ac_codes)
                previous[index] = values[0]
    return bits.finish()


def _planes(canvas):
    """Y, Cb and Cr, each a list of rows of values around zero."""
    planes = ([], [], [])
    for row in canvas.pixel_rows():
        pixels = list(zip(row[0::3], row[1::3], row[2::3]))
        planes[0].append([(19595 * r + 38470 * g + 7471 * b >> 16) - 128 for r, g, b in pixels])
        planes[1].append([-11059 * r - 21709 * g + 32768 * b >> 16 for r, g, b in pixels])
        planes[2].append([32768 * r - 27439 * g - 5329 * b >> 16 for r, g, b in pixels])
    return planes


def _block(plane, top, left):
    """64 values; beyond the picture's edge its last row and column are repeated."""
    rows = [plane[min(top + y, len(plane) - 1)] for y in range(8)]
    return [[row[min(left + x, len(row) - 1)] for x in range(8)] for row in rows]


def _quantised(block):
    """The block's coefficients in zigzag order."""
    first = block[0][0]
    if all(value == first for row in block for value in row):
        return [_rounded(first * 8, _QUANT[0])] + [0] * 63
    lines = [_transform(row) for row in block]
    columns = [_transform(column) for column in zip(*lines)]
    # Each of the two passes multiplied by 8192, and the transform's factor of 1/4 is still due.
    scale = 4 << 2 * _COS_BITS
    return [_rounded(columns[p % 8][p // 8], scale * _QUANT[p]) for p in _ZIGZAG]


def _transform(values):
    return [sum(v * c for v, c in zip(values, basis)) for basis in _BASIS]


def _cosine(step):
    """cos(step * pi / 16) in parts of 8192."""
    step %= 32
    step = min(step, 32 - step)
    if step == 8:
        return 0
    return _COS[step] if step < 8 else -_COS[16 - step]


# The first basis vector carries the transform's factor of 1/sqrt(2).
_BASIS = tuple(
    tuple(_COS[4] if u == 0 else _cosine((2 * x + 1) * u) for x in range(8)) for u in range(8)
)


def _rounded(value, divisor):
    """The nearest whole quotient, halves away from zero."""
    half = divisor // 2
    return (value + half) // divisor if value >= 0 else -((-value + half) // divisor)


def _put_number(bits, value, size):
    if size:
        bits.put(value if value > 0 else value + (1 << size) - 1, size)


def _put_dc(bits, difference, codes):
    size = abs(difference).bit_length()
    bits.put(*codes[size])
    _put_number(bits, difference, size)


def _put_ac(bits, values, codes):
    run = 0
    for value in values[1:]:
        if value == 0:
            run += 1
            continue
        for _ in range(run // 16):
            bits.put(*codes[0xF0])
        size = abs(value).bit_length()
        bits.put(*codes[run % 16 << 4 | size])
        _put_number(bits, value, size)
        run = 0
    if run:
        bits.put(*codes[0x00])
