# SPDX-License-Identifier: Apache-2.0
"""floorplan.odg: the two floors of the mill, drawn to scale."""

from dataclasses import dataclass

from . import company, odf, odf_shapes
from .markup import element

_TITLE = "Floor plan of the mill"
# The page shows one metre as this many centimetres (1 : 75).
_SCALE = 100 / 75
_LEFT, _TOP = 3.2, 4.2
_WALL = 0.3
_HOUSE = (16, 8.5)


@dataclass(frozen=True)
class Room:
    """A room in metres from the house's north-western corner."""

    name: str
    x: float
    y: float
    width: float
    depth: float
    fill: str = "Floor"


@dataclass(frozen=True)
class Door:
    """A door leaf: its hinge, and whether the opening runs along the wall or across it."""

    x: float
    y: float
    is_upright: bool = False


_GROUND = (
    Room("Vat hall", 0, 0, 7.5, 5.5, "Wet"),
    Room("Press", 7.5, 0, 3.5, 5.5),
    Room("Sorting tables", 11, 0, 5, 5.5),
    Room("Rag store", 0, 5.5, 4, 3),
    Room("Hall and stairs", 4, 5.5, 4.5, 3, "Way"),
    Room("Shop", 8.5, 5.5, 7.5, 3),
)
_GROUND_DOORS = (Door(1.4, 5.5), Door(5.6, 5.5), Door(7.5, 2.2, True), Door(11, 2.2, True),
                 Door(8.5, 6.4, True), Door(5.8, 8.5), Door(12.4, 5.5))
_UPPER = (
    Room("Drying loft", 0, 0, 11, 5.5),
    Room("Bindery", 11, 0, 5, 5.5),
    Room("Server", 0, 5.5, 2.5, 3, "Cool"),
    Room("Tea", 2.5, 5.5, 1.5, 3),
    Room("Landing", 4, 5.5, 4.5, 3, "Way"),
    Room("Office", 8.5, 5.5, 7.5, 3),
)
_UPPER_DOORS = (Door(5.6, 5.5), Door(11, 2.2, True), Door(0.8, 5.5), Door(4, 6.4, True),
                Door(8.5, 6.4, True), Door(12.4, 5.5))
_FILLS = {"Floor": company.PAPER, "Wet": company.MIST, "Way": company.WHITE, "Cool": "E6DFF0"}
_LEGEND = (("Wet", "wet floor"), ("Way", "way out, keep free"), ("Cool", "cool and locked"),
           ("Floor", "working room"))


def make():
    """The document's bytes."""
    pages = [
        _page("Ground floor", 1, _GROUND, _GROUND_DOORS, _vats()),
        _page("Upper floor", 2, _UPPER, _UPPER_DOORS, _drying_lines()),
    ]
    return odf.package("drawing", _TITLE, pages, _automatic(), _styles())


def _page(name, number, rooms, doors, furniture):
    return element("draw:page", {"draw:name": name, "draw:master-page-name": "Sheet"},
        _heading(name, number),
        [_room(room) for room in rooms],
        furniture,
        _stairs(),
        [_door(door) for door in doors],
        _measures(),
        _north(),
        _legend(),
    )


def _heading(name, number):
    note = f"{company.NAME} · scale 1 : 75 · sheet {number} of 2 · {company.DATE_LONG}"
    return [
        odf_shapes.text_box("Clear", _LEFT - _WALL / 2, 0.9, 18, 1.2, odf.paragraph("Title", name)),
        odf_shapes.text_box("Clear", _LEFT - _WALL / 2, 2.1, 18, 0.8, odf.paragraph("Note", note)),
    ]


def _room(room):
    x, y = _point(room.x, room.y)
    area = f"{room.width * room.depth:.2f} m²"
    return odf_shapes.rect(room.fill, x, y, room.width * _SCALE, room.depth * _SCALE,
        odf.paragraph("Room", room.name), odf.paragraph("Area", area))


def _door(door):
    """A gap in the wall, the leaf, and the quarter of a circle that it needs."""
    x, y = _point(door.x, door.y)
    leaf = 0.9 * _SCALE
    size = round(leaf * 100)
    half = _WALL / 2
    if door.is_upright:
        gap = odf_shapes.rect("Gap", x - half, y, _WALL, leaf)
        swing = f"M{size} 0 A{size} {size} 0 0 1 0 {size} L0 0 L{size} 0"
    else:
        gap = odf_shapes.rect("Gap", x, y - half, leaf, _WALL)
        swing = f"M0 {size} A{size} {size} 0 0 0 {size} 0 L0 0 L0 {size}"
    return [gap, odf_shapes.path("Leaf", x, y, leaf, leaf, swing)]


def _vats():
    shapes = []
    for index in range(2):
        x, y = _point(0.9 + index * 3.4, 0.6)
        shapes.append(odf_shapes.rect("Water", x, y, 2.4 * _SCALE, 1.1 * _SCALE,
                                      odf.paragraph("Area", f"Vat {index + 1}"), corner=0.2))
    wheel_x, wheel_y = _point(-1.5, 1.6)
    shapes.append(odf_shapes.ellipse("Wheel", wheel_x, wheel_y, 1.1 * _SCALE, 2.4 * _SCALE,
                                     odf.paragraph("Area", "Wheel")))
    return shapes


def _drying_lines():
    shapes = []
    for index in range(9):
        x1, y = _point(0.6, 0.7 + index * 0.5)
        x2, _ = _point(3.6, 0)
        x3, _ = _point(7.4, 0)
        x4, _ = _point(10.4, 0)
        shapes += [odf_shapes.line("Rope", x1, y, x2, y), odf_shapes.line("Rope", x3, y, x4, y)]
    return shapes


def _stairs():
    steps = []
    for index in range(7):
        x, top = _point(6.95 + index * 0.2, 7.3)
        _, bottom = _point(0, 8.4)
        steps.append(odf_shapes.line("Step", x, top, x, bottom))
    return steps


def _measures():
    """The lengths of the house, outside its walls."""
    width, depth = _HOUSE
    left, bottom = _point(0, depth)
    right, top = _point(width, 0)
    below, beside = bottom + 1.7, right + 1.2
    return [
        odf_shapes.line("Measure", left, below, right, below),
        odf_shapes.text_box("Paper", (left + right) / 2 - 1.2, below - 0.35, 2.4, 0.7,
                            odf.paragraph("Number", f"{width:.2f} m")),
        odf_shapes.line("Measure", beside, top, beside, bottom),
        odf_shapes.text_box("Paper", beside - 0.9, (top + bottom) / 2 - 0.35, 1.8, 0.7,
                            odf.paragraph("Number", f"{depth:.2f} m")),
    ]


def _north():
    return [
        odf_shapes.path("Needle", 25.4, 1.2, 0.9, 1.8, "M45 0 L90 180 L45 140 L0 180 Z"),
        odf_shapes.text_box("Clear", 25.1, 3.0, 1.5, 0.8, odf.paragraph("Number", "N")),
    ]


def _legend():
    shapes = []
    for index, (style, meaning) in enumerate(_LEGEND):
        x = _LEFT + index * 5.4
        shapes.append(odf_shapes.rect("Key" + style, x, 18.4, 0.8, 0.6))
        shapes.append(odf_shapes.text_box("Clear", x + 1, 18.35, 4.2, 0.7,
                                          odf.paragraph("Legend", meaning)))
    return shapes


def _point(x, y):
    return _LEFT + x * _SCALE, _TOP + y * _SCALE


def _automatic():
    middle = {"draw:textarea-vertical-align": "middle"}
    tight = {**odf_shapes.NO_PADDING, **middle}
    return [
        [odf_shapes.fill_style(name, color, line=company.INK, width=_WALL, **middle)
         for name, color in _FILLS.items()],
        [odf_shapes.fill_style("Key" + name, color, line=company.INK)
         for name, color in _FILLS.items()],
        odf_shapes.fill_style("Clear", None, **tight),
        odf_shapes.fill_style("Paper", company.WHITE, **tight),
        odf_shapes.fill_style("Gap", company.WHITE),
        odf_shapes.fill_style("Leaf", None, line=company.AMBER, width=0.05),
        odf_shapes.fill_style("Water", "A8CBD3", line=company.TEAL, **tight),
        odf_shapes.fill_style("Wheel", company.SAGE, line=company.INK, **tight),
        odf_shapes.fill_style("Rope", None, line=company.SAGE, width=0.08),
        odf_shapes.fill_style("Step", None, line=company.TEAL, width=0.04),
        odf_shapes.fill_style("Needle", company.TEAL),
        odf_shapes.fill_style("Measure", None, line=company.INK, width=0.03, **{
            "draw:marker-start": "Tick", "draw:marker-end": "Tick",
            "draw:marker-start-width": "0.3cm", "draw:marker-end-width": "0.3cm"}),
        odf_shapes.text_style("Title", 24, company.TEAL, bold=True),
        odf_shapes.text_style("Note", 11, company.TEAL),
        odf_shapes.text_style("Room", 13, company.INK, "center", bold=True),
        odf_shapes.text_style("Area", 10, company.INK, "center"),
        odf_shapes.text_style("Number", 11, company.INK, "center"),
        odf_shapes.text_style("Legend", 11, company.INK),
    ]


def _styles():
    marker = element("draw:marker", {
        "draw:name": "Tick", "svg:viewBox": "0 0 20 30", "svg:d": "M10 0 L0 30 L20 30 Z"})
    master = {"style:name": "Sheet", "style:page-layout-name": "Landscape"}
    return [
        odf.fonts(),
        element("office:styles", None, marker),
        element("office:automatic-styles", None, odf.page_layout("Landscape", 29.7, 21, 1)),
        element("office:master-styles", None, element("style:master-page", master)),
    ]
