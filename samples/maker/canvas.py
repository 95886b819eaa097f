# SPDX-License-Identifier: Apache-2.0
"""A small raster canvas with smooth edges, and the PNG writer for it."""

import math
import struct
import zlib

# Each pixel is painted as a square of this many by this many, then averaged.
_FINE = 3


class Canvas:
    """An RGB picture; coordinates are pixels from the top left, colours are RRGGBB."""

    def __init__(self, width, height, color):
        self.width = width
        self.height = height
        row = bytes.fromhex(color) * (width * _FINE)
        self._rows = [bytearray(row) for _ in range(height * _FINE)]

    def rect(self, x, y, width, height, color):
        self.polygon([(x, y), (x + width, y), (x + width, y + height), (x, y + height)], color)

    def disc(self, x, y, radius, color):
        steps = max(24, round(radius) * 2)
        angles = [2 * math.pi * step / steps for step in range(steps)]
        self.polygon([(x + radius * math.cos(a), y + radius * math.sin(a)) for a in angles], color)

    def polygon(self, points, color):
        """Fills a closed outline (even-odd)."""
        fine = [(x * _FINE, y * _FINE) for x, y in points]
        pixel = bytes.fromhex(color)
        top = max(0, math.floor(min(y for _, y in fine)))
        bottom = min(len(self._rows), math.ceil(max(y for _, y in fine)))
        for line in range(top, bottom):
            crossings = _crossings(fine, line + 0.5)
            for left, right in zip(crossings[0::2], crossings[1::2]):
                self._span(line, round(left), round(right), pixel)

    def stroke(self, points, width, color):
        """A line through the points, with round ends and joints."""
        for start, end in zip(points, points[1:]):
            self._segment(start, end, width / 2, color)
        for x, y in points:
            self.disc(x, y, width / 2, color)

    def pixel_rows(self):
        """The finished picture: bytes of R, G, B for each row."""
        return [self._averaged(row * _FINE) for row in range(self.height)]

    def png(self):
        """The picture as a PNG file."""
        header = struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0)
        raw = b"".join(b"\0" + row for row in self.pixel_rows())
        chunks = ((b"IHDR", header), (b"IDAT", zlib.compress(raw, 9)), (b"IEND", b""))
        return b"\x89PNG\r\n\x1a\n" + b"".join(_chunk(*chunk) for chunk in chunks)

    def _segment(self, start, end, half, color):
        length = math.dist(start, end)
        if length == 0:
            return
        dx = (end[0] - start[0]) / length * half
        dy = (end[1] - start[1]) / length * half
        corners = [(start, -dy, dx), (end, -dy, dx), (end, dy, -dx), (start, dy, -dx)]
        self.polygon([(p[0] + x, p[1] + y) for p, x, y in corners], color)

    def _span(self, line, left, right, pixel):
        left = max(0, left)
        right = min(self.width * _FINE, right)
        if left < right:
            self._rows[line][left * 3 : right * 3] = pixel * (right - left)

    def _averaged(self, first):
        result = bytearray(self.width * 3)
        lines = self._rows[first : first + _FINE]
        for channel in range(3):
            strides = [line[channel + 3 * i :: 3 * _FINE] for line in lines for i in range(_FINE)]
            result[channel::3] = bytes(sum(values) // _FINE**2 for values in zip(*strides))
        return bytes(result)


def _crossings(points, y):
    found = []
    for (x1, y1), (x2, y2) in zip(points, points[1:] + points[:1]):
        if (y1 <= y) != (y2 <= y):
            found.append(x1 + (y - y1) * (x2 - x1) / (y2 - y1))
    return sorted(found)


def _chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
