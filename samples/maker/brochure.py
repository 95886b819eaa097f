# SPDX-License-Identifier: Apache-2.0
"""brochure.pdf: four pages about the mill, with drawings made of curves."""

import math

from . import company, pdf

_TITLE = "Paper, made by water"
_SUBJECT = "A brochure for visitors and friends of handmade paper"
_MARGIN = 56
_COLUMN = pdf.WIDTH - 2 * _MARGIN
_SKY, _SUN, _FAR, _WATER, _STONE = "CFE3E6", "F3C978", "A9C4B4", "5E97A8", "EFE6D5"
_STEPS = (
    ("Sort", "Linen, cotton and hemp from the valley are sorted by hand. Buttons go into the jar."),
    ("Beat", "A wheel driven by the brook strokes the rags for four hours, until the fibres part."),
    ("Dip", "The mould goes in steep and comes up level. One breath, one sheet, one felt."),
    ("Press", "Ten tonnes squeeze out the water. The post of sheets is now as high as a hand."),
    ("Dry", "Three days in the loft, between open shutters. Nobody can hurry the wind."),
)
_GOODS = (
    ("Laid paper", "90 g/m², deckle edge", "0.85 €", company.PAPER),
    ("Wove paper", "110 g/m², smooth", "0.92 €", company.WHITE),
    ("Madder red", "110 g/m², dyed in the vat", "1.35 €", "B5533C"),
    ("Walnut brown", "110 g/m², dyed in the vat", "1.28 €", "7B5B3E"),
    ("Indigo blue", "110 g/m², dyed in the vat", "1.49 €", "34507A"),
    ("Weld yellow", "110 g/m², dyed in the vat", "1.31 €", "D9B84A"),
    ("Moss green", "110 g/m², dyed in the vat", "1.31 €", "6F8454"),
    ("Petal sheet", "140 g/m², with garden flowers", "2.10 €", "E7C9CF"),
)
_HOURS = (
    ("Tuesday to Friday", "10.00 – 17.00"),
    ("Saturday", "9.00 – 13.00"),
    ("Dipping for everyone", "Saturday, 10.00"),
    ("School classes", "by letter, free of charge"),
)


def make():
    """The document's bytes."""
    pages = [_cover(), _making(), _goods(), _visit()]
    return pdf.write(pages, _TITLE, _SUBJECT, "paper, mill, handmade, visit")


def _cover():
    page = pdf.Page("Cover")
    page.rect(0, 0, pdf.WIDTH, pdf.HEIGHT, company.PAPER)
    page.rect(0, 0, pdf.WIDTH, 18, company.TEAL)
    page.text(_MARGIN, 130, "Paper,", 54, company.TEAL, pdf.BOLD)
    page.text(_MARGIN, 190, "made by water", 54, company.TEAL, pdf.BOLD)
    page.rect(_MARGIN, 214, 110, 5, company.AMBER)
    page.text(_MARGIN, 250, "A small mill, an old brook, and what the two make.", 17, company.INK,
              pdf.ITALIC)
    _scene(page, 320, 690)
    page.rect(0, 690, pdf.WIDTH, pdf.HEIGHT - 690, company.TEAL)
    page.text(_MARGIN, 750, company.NAME, 22, company.WHITE, pdf.BOLD)
    page.text(_MARGIN, 776, " · ".join(company.ADDRESS[1:]), 13, company.PAPER)
    return page


def _scene(page, top, bottom):
    width = pdf.WIDTH
    page.rect(0, top, width, bottom - top, _SKY)
    page.disc(width - 130, top + 80, 42, _SUN)
    page.shape((0, bottom), [(0, bottom - 200),
        (120, bottom - 290, 230, bottom - 150, 360, bottom - 190),
        (450, bottom - 220, 520, bottom - 270, width, bottom - 230), (width, bottom)], _FAR)
    page.shape((0, bottom), [(0, bottom - 120),
        (150, bottom - 190, 300, bottom - 90, 420, bottom - 140),
        (490, bottom - 165, 550, bottom - 160, width, bottom - 150), (width, bottom)],
        company.SAGE)
    _mill(page, 190, bottom - 70)
    page.shape((0, bottom), [(0, bottom - 70),
        (160, bottom - 84, 380, bottom - 58, width, bottom - 72), (width, bottom)], _WATER)
    for index in range(14):
        x, y = 20 + index * 41, bottom - 48 + index % 3 * 16
        page.stroke((x, y), [(x + 8, y - 5, x + 16, y + 5, x + 24, y)], 2.2, "8DBBC7")
    _wheel(page, 378, bottom - 82)


def _mill(page, x, base):
    page.rect(x + 116, base - 180, 20, 60, company.TEAL)
    page.rect(x, base - 100, 160, 104, _STONE)
    page.polygon([(x - 16, base - 100), (x + 80, base - 172), (x + 176, base - 100)], company.AMBER)
    for column in range(3):
        page.rect(x + 18 + column * 49, base - 82, 26, 30, company.TEAL)
    page.shape((x + 67, base), [(x + 67, base - 28),
        (x + 67, base - 46, x + 93, base - 46, x + 93, base - 28), (x + 93, base)],
        company.INK)


def _wheel(page, x, y):
    page.disc(x, y, 46, company.INK)
    page.disc(x, y, 39, _STONE)
    for spoke in range(8):
        angle = spoke * math.pi / 4
        end = (x + 43 * math.cos(angle), y + 43 * math.sin(angle))
        page.stroke((x, y), [end], 5, company.INK)
    page.disc(x, y, 9, company.AMBER)


def _inner_page(title, number):
    page = pdf.Page(title)
    page.rect(0, 0, 18, pdf.HEIGHT, company.TEAL)
    page.text(_MARGIN, 92, title, 30, company.TEAL, pdf.BOLD)
    page.rect(_MARGIN, 106, 80, 4, company.AMBER)
    page.text(_MARGIN, pdf.HEIGHT - 36, company.NAME, 9, company.TEAL)
    page.text_right(pdf.WIDTH - _MARGIN, pdf.HEIGHT - 36, str(number), 9, company.TEAL)
    return page


def _making():
    page = _inner_page("How it is made", 2)
    y = page.paragraph(_MARGIN, 146, _COLUMN,
        "Nothing about paper is secret. It takes rags, water and a sieve; the rest is patience, "
        "and a brook that does the heavy work. In the mill you can follow a sheet from the box of "
        "shirts to the stack in the shop. These are the five rooms through which it goes.",
        12, company.INK)
    y += 26
    page.stroke((_MARGIN + 22, y + 10), [(_MARGIN + 22, y + 4 * 104 + 20)], 3, company.MIST)
    for index, (name, text) in enumerate(_STEPS):
        _step(page, y + index * 104, index + 1, name, text)
    page.text(_MARGIN, 756,
              "“A shirt gives up being a shirt more easily than we give up being tired.”",
              15, company.TEAL, pdf.ITALIC)
    return page


def _step(page, y, number, name, text):
    page.disc(_MARGIN + 22, y + 22, 22, company.AMBER if number % 2 else company.SAGE)
    page.text(_MARGIN + 22 - pdf.text_width(str(number), 20) / 2, y + 29, str(number), 20,
              company.WHITE, pdf.BOLD)
    page.text(_MARGIN + 66, y + 18, name, 17, company.TEAL, pdf.BOLD)
    page.paragraph(_MARGIN + 66, y + 38, _COLUMN - 66, text, 12, company.INK)


def _goods():
    page = _inner_page("What we make", 3)
    page.paragraph(_MARGIN, 146, _COLUMN,
        "Prices are for one sheet of A4. Larger sheets, envelopes and notebooks lie in the shop; "
        "everything can be touched, as long as it is dry.", 12, company.INK)
    for index, goods in enumerate(_GOODS):
        _goods_row(page, 196 + index * 38, *goods)
    _weights(page, 560)
    return page


def _goods_row(page, y, name, detail, price, color):
    page.rect(_MARGIN, y, 44, 27, company.SAGE)
    page.rect(_MARGIN + 0.8, y + 0.8, 42.4, 25.4, color)
    page.text(_MARGIN + 60, y + 18, name, 13, company.INK, pdf.BOLD)
    page.text(_MARGIN + 190, y + 18, detail, 12, company.INK)
    page.text_right(pdf.WIDTH - _MARGIN, y + 18, price, 13, company.TEAL)
    page.rect(_MARGIN, y + 32, _COLUMN, 0.6, company.MIST)


def _weights(page, y):
    page.text(_MARGIN, y, "How heavy is a sheet?", 17, company.TEAL, pdf.BOLD)
    bars = (("Mending tissue", 8), ("Letter to the office", 90), ("Letter to a friend", 110),
            ("Print", 250), ("Watercolour", 300))
    for index, (name, weight) in enumerate(bars):
        top = y + 20 + index * 32
        page.text(_MARGIN, top + 15, name, 12, company.INK)
        color = company.AMBER if weight == bars[-1][1] else company.SAGE
        page.rect(_MARGIN + 130, top, weight * 0.95, 20, color)
        page.text(_MARGIN + 138 + weight * 0.95, top + 15, f"{weight} g/m²", 11, company.TEAL)


def _visit():
    page = _inner_page("Come and see", 4)
    y = page.paragraph(_MARGIN, 146, _COLUMN,
        "The mill stands where the lane meets the brook, ten minutes on foot from the bridge. "
        "Bring old shoes, and a shirt that you no longer love.", 12, company.INK)
    _hours(page, y + 14)
    _map(page, 360, 300)
    page.text(_MARGIN, 706, "Write to us", 17, company.TEAL, pdf.BOLD)
    page.text(_MARGIN, 730, ", ".join(company.ADDRESS), 12, company.INK)
    page.text(_MARGIN, 748, company.MAIL, 12, company.TEAL)
    page.text(_MARGIN, 776, "Grüße, salutations, pozdravy: letters in every language are answered.",
              11, company.INK, pdf.ITALIC)
    return page


def _hours(page, y):
    for index, (when, hours) in enumerate(_HOURS):
        top = y + index * 30
        if index % 2 == 0:
            page.rect(_MARGIN, top, _COLUMN, 30, company.PAPER)
        page.text(_MARGIN + 12, top + 20, when, 13, company.INK, pdf.BOLD)
        page.text_right(pdf.WIDTH - _MARGIN - 12, top + 20, hours, 13, company.INK)


def _orchard(page, left, top):
    for tree in range(9):
        page.disc(left + tree % 3 * 28, top + tree // 3 * 22 + tree % 2 * 8, 9, company.SAGE)


def _map(page, top, height):
    left, right, bottom = _MARGIN, pdf.WIDTH - _MARGIN, top + height
    page.rect(left, top, _COLUMN, height, "E4EDDF")
    page.stroke((left + 8, top + 70), [
        (left + 120, top + 20, left + 160, top + 190, left + 270, top + 170),
        (left + 370, top + 150, left + 380, top + 260, right - 8, bottom - 40)], 14, _WATER)
    page.stroke((left + 60, bottom - 10), [
        (left + 90, bottom - 130, left + 190, bottom - 30, left + 250, top + 182),
        (left + 290, top + 130, left + 330, top + 60, left + 430, top + 12)], 7, company.WHITE)
    _orchard(page, left + 362, top + 72)
    page.polygon([(left + 262, top + 118), (left + 282, top + 100), (left + 302, top + 118)],
                 company.AMBER)
    page.rect(left + 267, top + 118, 30, 24, company.TEAL)
    page.text(left + 196, top + 126, "The mill", 13, company.INK, pdf.BOLD)
    page.text(left + 20, top + 118, "Brook", 11, company.TEAL, pdf.ITALIC)
    page.text(left + 118, bottom - 38, "Mill Lane", 11, company.INK, pdf.OBLIQUE)
    page.text(left + 366, top + 158, "Orchard", 11, company.INK, pdf.OBLIQUE)
    page.polygon([(right - 26, top + 16), (right - 18, top + 46), (right - 26, top + 40),
                  (right - 34, top + 46)], company.TEAL)
    page.text(right - 30, top + 60, "N", 11, company.TEAL, pdf.BOLD)
