# SPDX-License-Identifier: Apache-2.0
"""Shapes on the pages of OpenDocument slides and drawings; all lengths are centimetres."""

from . import odf
from .markup import element

# Side by side, because the office takes the short form for some kinds of shape only.
NO_PADDING = {f"fo:padding-{side}": "0cm" for side in ("top", "bottom", "left", "right")}


def fill_style(name, color, line=None, width=0.05, **attributes):
    """A graphic style: filled when a colour is given, with a line when one is given."""
    return odf.style(name, "graphic", element("style:graphic-properties", {
        "draw:fill": "solid" if color else "none",
        "draw:fill-color": f"#{color}" if color else None,
        "draw:stroke": "solid" if line else "none",
        "svg:stroke-color": f"#{line}" if line else None,
        "svg:stroke-width": f"{width}cm" if line else None,
        **attributes,
    }))


def text_style(name, size, color, align="start", bold=False, italic=False, **spacing):
    """A paragraph style for text in shapes."""
    return odf.style(name, "paragraph", odf.paragraph_properties(text_align=align, **spacing),
                     odf.text_properties(size, color, bold, italic))


def rect(style, x, y, width, height, *paragraphs, corner=None):
    attributes = {"draw:corner-radius": f"{corner}cm" if corner else None}
    return element("draw:rect", {**_placed(style, x, y, width, height), **attributes}, paragraphs)


def ellipse(style, x, y, width, height, *paragraphs):
    return element("draw:ellipse", _placed(style, x, y, width, height), paragraphs)


def line(style, x1, y1, x2, y2):
    ends = {"svg:x1": x1, "svg:y1": y1, "svg:x2": x2, "svg:y2": y2}
    return element("draw:line", {
        "draw:style-name": style, **{key: _length(value) for key, value in ends.items()}
    })


def path(style, x, y, width, height, commands):
    """A path whose commands are in hundredths of a centimetre from (x, y)."""
    return element("draw:path", {
        **_placed(style, x, y, width, height),
        "svg:viewBox": f"0 0 {round(width * 100)} {round(height * 100)}",
        "svg:d": commands,
    })


def text_box(style, x, y, width, height, *paragraphs, role=None):
    """A frame with text; role is its part in a presentation (title, outline)."""
    attributes = {"presentation:class": role, "draw:layer": "layout"}
    placed = _placed(style, x, y, width, height)
    if role:
        placed["presentation:style-name"] = placed.pop("draw:style-name")
    return element("draw:frame", {**placed, **attributes},
                   element("draw:text-box", None, paragraphs))


def picture(style, name, x, y, width, height):
    return element("draw:frame", _placed(style, x, y, width, height), odf.image(name))


def _placed(style, x, y, width, height):
    return {
        "draw:style-name": style,
        "svg:x": _length(x),
        "svg:y": _length(y),
        "svg:width": _length(width),
        "svg:height": _length(height),
    }


def _length(value):
    return f"{round(value, 3):g}cm"
