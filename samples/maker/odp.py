# SPDX-License-Identifier: Apache-2.0
"""slides.odp: five slides that introduce the company to visitors."""

from . import company, odf, odf_shapes, pictures
from .markup import element

_TITLE = "An hour at the paper mill"
_WIDTH, _HEIGHT = 28, 15.75
_PLAN = (
    "Rags and water: where a sheet begins",
    "At the vat: one dip, one sheet",
    "Press and loft: ten tonnes, then three days of wind",
    "The sorting table: what leaves the house",
    "Your turn: everyone makes one sheet",
)
_STEPS = (("Sort", "linen, cotton"), ("Beat", "four hours"), ("Dip", "one breath"),
          ("Press", "ten tonnes"), ("Dry", "three days"))
_WEIGHTS = (("Envelope", 100), ("Letter", 110), ("Notebook", 90), ("Print", 250),
            ("Watercolour", 300))
_RULES = (
    ("Look", "Everything may be looked at, from near and from far."),
    ("Ask", "Ask those who work; they like to tell."),
    ("Touch", "Dry sheets yes, wet sheets no: a finger stays visible for ever."),
)


def make():
    """The document's bytes."""
    slides = [_opening(), _plan(), _way(), _weights(), _closing()]
    images = {"mill.png": pictures.mill().png(), "logo.png": pictures.logo().png()}
    return odf.package("presentation", _TITLE, slides, _automatic(), _styles(), images)


def _slide(number, name, master, *shapes):
    return element("draw:page", {
        "draw:name": f"{number} {name}", "draw:master-page-name": master,
        "draw:style-name": "Slide",
    }, shapes)


def _titled(number, title, *shapes):
    box = odf_shapes.text_box("SlideTitle", 1.6, 0.9, 22, 1.6, _text("HeadText", title),
                              role="title")
    return _slide(number, title, "Plain", box, shapes)


def _text(style, text):
    return odf.paragraph(style, text)


def _opening():
    return _slide(1, "Welcome", "Opening",
        odf_shapes.picture("Cropped", "mill.png", 0, 0, _WIDTH, 12.24),
        odf_shapes.rect("Teal", 0, 10.9, _WIDTH, _HEIGHT - 10.9),
        odf_shapes.text_box("SlideTitle", 1.6, 11.4, 24, 2, _text("TitleText", _TITLE),
                            role="title"),
        odf_shapes.text_box("Clear", 1.6, 13.5, 24, 1.2,
                            _text("SubtitleText", f"{company.NAME} · a walk for visitors")))


def _plan():
    items = [
        [odf_shapes.ellipse("Amber", 1.7, 1.5 + number * 2.1, 1.3, 1.3,
                            _text("Badge", str(number))),
         odf_shapes.text_box("Clear", 3.4, 1.5 + number * 2.1, 22, 1.3, _text("ItemText", item))]
        for number, item in enumerate(_PLAN, start=1)
    ]
    return _titled(2, "What we shall see", items)


def _way():
    boxes = []
    for index, (name, detail) in enumerate(_STEPS):
        x = 1.6 + index * 5.05
        boxes.append(odf_shapes.rect("Sage", x, 5.2, 4.2, 3.6, _text("BoxName", name),
                                     _text("BoxDetail", detail), corner=0.4))
        if index < len(_STEPS) - 1:
            boxes.append(odf_shapes.path("Amber", x + 4.32, 6.55, 0.6, 0.9, "M0 0 L60 45 L0 90 Z"))
    note = odf_shapes.text_box("Note", 1.6, 10.6, 24.4, 1.8, _text("NoteText",
        "From the first cut to the finished sheet a week goes by. Nobody can hurry the wind."))
    return _titled(3, "The way of a sheet", boxes, note)


def _weights():
    top = max(weight for _, weight in _WEIGHTS)
    bars = []
    for index, (name, weight) in enumerate(_WEIGHTS):
        x = 2.6 + index * 4.9
        height = 7.2 * weight / top
        bars.append([
            odf_shapes.rect("Amber" if weight == top else "Sage", x, 12.2 - height, 3, height),
            odf_shapes.text_box("Clear", x - 0.9, 11.2 - height, 4.8, 1,
                                _text("BarValue", f"{weight} g/m²")),
            odf_shapes.text_box("Clear", x - 0.9, 12.4, 4.8, 1, _text("BarName", name)),
        ])
    return _titled(4, "How heavy is paper?", bars,
                   odf_shapes.line("Axis", 1.6, 12.2, 26.4, 12.2))


def _closing():
    rows = [element("table:table-row", {"table:style-name": "RuleRow"}, [
        _rule_cell("RuleName", "BoxName", name), _rule_cell("RuleText", "CellText", text)])
        for name, text in _RULES]
    table = element("draw:frame", {
        "svg:x": "1.6cm", "svg:y": "3.6cm", "svg:width": "24.8cm", "svg:height": "6.6cm"},
        element("table:table", None,
            element("table:table-column", {"table:style-name": "RuleNames"}),
            element("table:table-column", {"table:style-name": "RuleTexts"}),
            rows))
    thanks = odf_shapes.text_box("Note", 1.6, 11.4, 24.8, 1.8,
        _text("NoteText", "Děkujeme · Merci · Tak · Grazie · Kiitos · Köszönjük · Дякуємо"))
    return _titled(5, "Three rules, and thank you", table, thanks)


def _rule_cell(style, text_style, text):
    return element("table:table-cell", {"table:style-name": style}, _text(text_style, text))


def _automatic():
    centred = {"draw:textarea-vertical-align": "middle"}
    return [
        odf.style("Slide", "drawing-page", element("style:drawing-page-properties", {
            "presentation:display-footer": "true", "presentation:display-page-number": "true"})),
        odf.style("SlideTitle", "presentation", element("style:graphic-properties", {
            "draw:fill": "none", "draw:stroke": "none", **odf_shapes.NO_PADDING, **centred})),
        odf_shapes.fill_style("Clear", None, **odf_shapes.NO_PADDING, **centred),
        odf_shapes.fill_style("Cropped", None, **{"fo:clip": "rect(0.8cm, 0cm, 0cm, 0cm)"}),
        odf_shapes.fill_style("Teal", company.TEAL),
        odf_shapes.fill_style("Sage", company.SAGE, **centred),
        odf_shapes.fill_style("Amber", company.AMBER, **odf_shapes.NO_PADDING, **centred),
        odf_shapes.fill_style("Note", company.MIST, **centred),
        odf_shapes.fill_style("Axis", None, line=company.INK),
        _text_styles(),
        _rule_styles(),
    ]


def _text_styles():
    teal, ink, white = company.TEAL, company.INK, company.WHITE
    return [
        odf_shapes.text_style("TitleText", 40, white, bold=True),
        odf_shapes.text_style("SubtitleText", 20, company.PAPER),
        odf_shapes.text_style("HeadText", 30, teal, bold=True),
        odf_shapes.text_style("ItemText", 20, ink),
        odf_shapes.text_style("Badge", 18, white, "center", bold=True),
        odf_shapes.text_style("BoxName", 22, white, "center", bold=True),
        odf_shapes.text_style("BoxDetail", 15, white, "center"),
        odf_shapes.text_style("NoteText", 17, teal, "center", italic=True),
        odf_shapes.text_style("BarValue", 15, ink, "center", bold=True),
        odf_shapes.text_style("BarName", 15, teal, "center"),
        odf_shapes.text_style("CellText", 18, ink),
    ]


def _rule_styles():
    border = f"0.05cm solid #{company.WHITE}"

    def cell(name, fill):
        return odf.style(name, "table-cell",
            element("style:graphic-properties", {
                "draw:fill": "solid", "draw:fill-color": f"#{fill}",
                "draw:textarea-vertical-align": "middle"}),
            element("style:paragraph-properties", {"fo:border": border}))

    def column(name, width):
        properties = element("style:table-column-properties", {"style:column-width": width})
        return odf.style(name, "table-column", properties)

    return [
        cell("RuleName", company.TEAL),
        cell("RuleText", company.PAPER),
        column("RuleNames", "5cm"),
        column("RuleTexts", "19.8cm"),
        odf.style("RuleRow", "table-row",
            element("style:table-row-properties", {"style:row-height": "2.2cm"})),
    ]


def _styles():
    return [
        odf.fonts(),
        element("office:styles", None),
        element("office:automatic-styles", None,
            odf.page_layout("Screen", _WIDTH, _HEIGHT, 0),
            odf.style("Paper", "drawing-page", element("style:drawing-page-properties", {
                "draw:fill": "solid", "draw:fill-color": f"#{company.WHITE}"})),
            odf_shapes.fill_style("Stripe", company.TEAL),
            odf_shapes.fill_style("Accent", company.AMBER),
            odf_shapes.fill_style("Foot", None),
            odf_shapes.text_style("FootText", 11, company.TEAL)),
        element("office:master-styles", None, _master("Opening"), _master("Plain", _furniture())),
    ]


def _master(name, shapes=()):
    return element("style:master-page", {
        "style:name": name, "style:page-layout-name": "Screen", "draw:style-name": "Paper",
    }, shapes)


def _furniture():
    """What stands on every slide but the first."""
    return [
        odf_shapes.rect("Stripe", 0, 0, 0.6, _HEIGHT),
        odf_shapes.rect("Accent", 1.6, 2.6, 4, 0.12),
        odf_shapes.picture("Foot", "logo.png", 25.2, 0.8, 1.6, 1.6),
        odf_shapes.text_box("Foot", 1.4, 14.4, 20, 0.9,
            odf.paragraph("FootText", company.NAME + " · ", odf.page_number())),
    ]
