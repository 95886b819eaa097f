# SPDX-License-Identifier: Apache-2.0
"""The pictures that the documents embed, each a finished canvas."""

import math

from . import company, lettering
from .canvas import Canvas

_SKY = "CFE3E6"
_SUN = "F3C978"
_FAR_HILLS = "A9C4B4"
_STONE = "EFE6D5"
_WATER = "5E97A8"
_RIPPLE = "8DBBC7"


def logo():
    """A sheet of paper with a folded corner, on a teal disc."""
    canvas = Canvas(120, 120, company.WHITE)
    canvas.disc(60, 60, 58, company.TEAL)
    canvas.polygon([(36, 26), (68, 26), (84, 42), (84, 94), (36, 94)], company.PAPER)
    canvas.polygon([(68, 26), (84, 42), (68, 42)], company.AMBER)
    for line, length in ((54, 36), (65, 36), (76, 24)):
        canvas.stroke([(43, line), (42 + length, line)], 4, company.SAGE)
    return canvas


def mill():
    """The paper mill at its brook, for a wide frame."""
    canvas = Canvas(480, 240, _SKY)
    _scene(canvas, 0, 480, 240)
    return canvas


def cover(title_lines, imprint):
    """The front of a book: title, scene, imprint."""
    canvas = Canvas(400, 600, company.TEAL)
    canvas.rect(24, 24, 352, 552, company.PAPER)
    for index, line in enumerate(title_lines):
        lettering.write_centered(canvas, line, 76 + index * 56, 34, company.TEAL)
    canvas.rect(150, 76 + len(title_lines) * 56, 100, 5, company.AMBER)
    canvas.rect(24, 270, 352, 230, _SKY)
    _scene(canvas, 24, 352, 500)
    canvas.rect(0, 270, 24, 230, company.TEAL)
    canvas.rect(376, 270, 24, 230, company.TEAL)
    lettering.write_centered(canvas, imprint, 530, 14, company.INK)
    return canvas


def bars(values, labels):
    """A bar chart; the values are written above the bars."""
    canvas = Canvas(480, 230, company.WHITE)
    step = 440 / len(values)
    for line in range(1, 5):
        canvas.rect(20, 196 - line * 37.5, 440, 1, company.MIST)
    for index, (value, label) in enumerate(zip(values, labels)):
        left = 20 + index * step
        height = 150 * value / max(values)
        color = company.AMBER if value == max(values) else company.SAGE
        canvas.rect(left + step * 0.2, 196 - height, step * 0.6, height, color)
        _caption(canvas, str(value), left + step / 2, 180 - height, company.INK)
        _caption(canvas, label, left + step / 2, 208, company.TEAL)
    canvas.rect(20, 195, 440, 2, company.INK)
    return canvas


def _caption(canvas, text, center, top, color):
    left = center - lettering.width(text, 10) / 2
    lettering.write(canvas, text, left, top, 10, color)


def _scene(canvas, left, width, bottom):
    """Hills, the mill and the brook, 230 high, standing on bottom."""
    canvas.disc(left + width * 0.78, bottom - 172, 30, _SUN)
    _hills(canvas, (left, width, bottom), 108, 26, _FAR_HILLS)
    _hills(canvas, (left, width, bottom), 74, 15, company.SAGE)
    _house(canvas, left + width * 0.30, bottom - 52)
    canvas.rect(left, bottom - 52, width, 52, _WATER)
    for index in range(11):
        start = left + 16 + index * (width - 32) / 11
        level = bottom - 40 + index % 3 * 13
        canvas.stroke([(start, level), (start + 20, level)], 3, _RIPPLE)
    _wheel(canvas, left + width * 0.30 + 128, bottom - 58)


def _hills(canvas, ground, height, swing, color):
    left, width, bottom = ground
    ridge = [
        (left + width * step / 60, bottom - height - swing * math.sin(step / 7 + height))
        for step in range(61)
    ]
    canvas.polygon([(left, bottom)] + ridge + [(left + width, bottom)], color)


def _house(canvas, left, base):
    canvas.rect(left + 76, base - 118, 14, 40, company.TEAL)
    canvas.rect(left, base - 66, 104, 66, _STONE)
    canvas.polygon([(left - 10, base - 66), (left + 52, base - 112), (left + 114, base - 66)],
                   company.AMBER)
    for column in range(3):
        canvas.rect(left + 12 + column * 31, base - 54, 17, 20, company.TEAL)
    canvas.rect(left + 43, base - 26, 17, 26, company.INK)


def _wheel(canvas, x, y):
    canvas.disc(x, y, 31, company.INK)
    canvas.disc(x, y, 26, _STONE)
    for spoke in range(8):
        angle = spoke * math.pi / 4
        canvas.stroke([(x, y), (x + 29 * math.cos(angle), y + 29 * math.sin(angle))], 4,
                      company.INK)
    canvas.disc(x, y, 6, company.AMBER)
