# SPDX-License-Identifier: Apache-2.0
"""Capitals and digits drawn as strokes, for text inside pictures."""

# Each letter is drawn in a box 4 wide and 6 high: strokes are separated by ";", and each point
# of a stroke is its column and its row.
_STROKES = {
    "A": "06 20 46;14 34",
    "B": "00 30 41 42 33 03;33 44 45 36 06 00",
    "C": "41 30 10 01 05 16 36 45",
    "D": "00 30 41 45 36 06 00",
    "E": "40 00 06 46;03 33",
    "F": "40 00 06;03 33",
    "G": "41 30 10 01 05 16 36 45 43 23",
    "H": "00 06;40 46;03 43",
    "I": "20 26",
    "J": "40 45 36 16 05",
    "K": "00 06;40 03 46",
    "L": "00 06 46",
    "M": "06 00 23 40 46",
    "N": "06 00 46 40",
    "O": "10 30 41 45 36 16 05 01 10",
    "P": "06 00 30 41 42 33 03",
    "Q": "10 30 41 45 36 16 05 01 10;34 46",
    "R": "06 00 30 41 42 33 03;23 46",
    "S": "41 30 10 01 02 13 33 44 45 36 16 05",
    "T": "00 40;20 26",
    "U": "00 05 16 36 45 40",
    "V": "00 26 40",
    "W": "00 16 23 36 40",
    "X": "00 46;40 06",
    "Y": "00 23 40;23 26",
    "Z": "00 40 06 46",
    "0": "10 30 41 45 36 16 05 01 10",
    "1": "11 20 26",
    "2": "01 10 30 41 42 06 46",
    "3": "01 10 30 41 42 33 23;33 44 45 36 16 05",
    "4": "36 30 04 44",
    "5": "40 00 03 33 44 45 36 06",
    "6": "41 30 10 01 05 16 36 45 44 33 03",
    "7": "00 40 16",
    "8": "10 30 41 42 33 13 02 01 10;13 04 05 16 36 45 44 33",
    "9": "43 13 02 01 10 30 41 45 36 16",
    " ": "",
}
_ADVANCE = 6
_HEIGHT = 6


def width(text, height):
    """How wide the text is when its letters are that high."""
    return (len(text) * _ADVANCE - 2) * height / _HEIGHT


def write(canvas, text, x, y, height, color, weight=0.16):
    """Draws the text with its top left at (x, y); weight is the line's part of the height."""
    unit = height / _HEIGHT
    for index, letter in enumerate(text):
        left = x + index * _ADVANCE * unit
        for stroke in filter(None, _STROKES[letter].split(";")):
            points = [(left + int(p[0]) * unit, y + int(p[1]) * unit) for p in stroke.split()]
            canvas.stroke(points, height * weight, color)


def write_centered(canvas, text, y, height, color, weight=0.16):
    write(canvas, text, (canvas.width - width(text, height)) / 2, y, height, color, weight)
