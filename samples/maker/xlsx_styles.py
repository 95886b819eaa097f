# SPDX-License-Identifier: Apache-2.0
"""The cell styles of budget.xlsx, by name."""

from dataclasses import dataclass

from . import company
from .markup import element

_MONEY = '#,##0.00" €";[Red]-#,##0.00" €"'
_WHOLE = "#,##0;[Red]-#,##0"
# Numbers below 164 are reserved for the formats that every reader has.
_FIRST_OWN_FORMAT = 164
_FORMATS = ("General", "yyyy-mm-dd", _MONEY, _WHOLE, "0.0%", "+0.0%;[Red]-0.0%")


@dataclass(frozen=True)
class _Style:
    number_format: str = "General"
    size: int = 10
    color: str = company.INK
    bold: bool = False
    fill: str = ""
    line: str = "hair"
    align: str = ""


def _sum(number_format):
    return _Style(number_format, bold=True, fill=company.MIST, line="thin")


_STYLES = {
    "default": _Style(line=""),
    "title": _Style(size=18, color=company.TEAL, bold=True, line=""),
    "note": _Style(color=company.TEAL, line=""),
    "head": _Style(color=company.WHITE, bold=True, fill=company.TEAL),
    "head_right": _Style(color=company.WHITE, bold=True, fill=company.TEAL, align="right"),
    "group": _Style(color=company.AMBER, bold=True, line=""),
    "text": _Style(),
    "date": _Style("yyyy-mm-dd", align="left"),
    "money": _Style(_MONEY),
    "whole": _Style(_WHOLE),
    "share": _Style("0.0%"),
    "change": _Style("+0.0%;[Red]-0.0%"),
    "sum_text": _sum("General"),
    "sum_money": _sum(_MONEY),
    "sum_whole": _sum(_WHOLE),
    "sum_share": _sum("0.0%"),
    "sum_change": _sum("+0.0%;[Red]-0.0%"),
}
_NUMBERS = {name: index for index, name in enumerate(_STYLES)}
_LINES = ("", "hair", "thin")
# A reader expects these two fills first, whatever follows.
_RESERVED_FILLS = ("none", "gray125")
_FILLS = (company.TEAL, company.MIST)


def number(name):
    """The number by which a cell refers to the style."""
    return _NUMBERS[name]


def tables():
    """The children of the styles part."""
    styles = _STYLES.values()
    fonts = [_font(style) for style in styles]
    return [
        _counted("numFmts", [
            element("numFmt", {"numFmtId": _format_number(code), "formatCode": code})
            for code in _FORMATS[1:]
        ]),
        _counted("fonts", fonts),
        _counted("fills", _fills()),
        _counted("borders", [_border(line) for line in _LINES]),
        _counted("cellStyleXfs", [element("xf", {"numFmtId": 0})]),
        _counted("cellXfs", [_format(index, style) for index, style in enumerate(styles)]),
        _counted("cellStyles", [
            element("cellStyle", {"name": "Normal", "xfId": 0, "builtinId": 0})]),
    ]


def _counted(name, children):
    return element(name, {"count": len(children)}, children)


def _font(style):
    return element("font", None,
        element("b") if style.bold else None,
        element("sz", {"val": style.size}),
        element("color", {"rgb": "FF" + style.color}),
        element("name", {"val": company.SANS}))


def _fills():
    reserved = [element("patternFill", {"patternType": kind}) for kind in _RESERVED_FILLS]
    solid = [
        element("patternFill", {"patternType": "solid"}, element("fgColor", {"rgb": "FF" + color}))
        for color in _FILLS
    ]
    return [element("fill", None, pattern) for pattern in reserved + solid]


def _border(line):
    color = element("color", {"rgb": "FF" + company.SAGE})
    bottom = element("bottom", {"style": line}, color) if line else element("bottom")
    return element("border", None, element("left"), element("right"), element("top"), bottom)


def _format(font, style):
    fill = _FILLS.index(style.fill) + len(_RESERVED_FILLS) if style.fill else 0
    alignment = element("alignment", {"horizontal": style.align}) if style.align else None
    return element("xf", {
        "numFmtId": _format_number(style.number_format), "fontId": font, "fillId": fill,
        "borderId": _LINES.index(style.line), "xfId": 0, "applyNumberFormat": 1, "applyFont": 1,
        "applyFill": 1, "applyBorder": 1, "applyAlignment": 1 if style.align else None,
    }, alignment)


def _format_number(code):
    index = _FORMATS.index(code)
    return _FIRST_OWN_FORMAT + index if index else 0
