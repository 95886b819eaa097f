# SPDX-License-Identifier: Apache-2.0
"""report.odt: a yearly report with contents, chart, tables, a footnote and two columns."""

from . import company, odf, pictures
from .markup import Xml, content, element

_TITLE = "The year 2023 in sheets"
_YEARS = ("2019", "2020", "2021", "2022", "2023")
_SHEETS = (172, 184, 231, 268, 305)
_HALL = (
    ("Month", "Vat 1", "Vat 2", "Days at work"),
    ("January", "11 200", "9 800", "21"),
    ("February", "11 900", "10 400", "20"),
    ("March", "14 100", "12 700", "23"),
    ("April", "12 300", "11 100", "19"),
    ("May", "14 600", "13 000", "22"),
    ("June", "13 800", "12 900", "21"),
    ("July", "9 400", "8 100", "14"),
    ("August", "13 100", "12 200", "22"),
    ("September", "14 900", "13 300", "21"),
    ("October", "15 200", "13 900", "22"),
    ("November", "15 600", "14 100", "22"),
    ("December", "14 300", "13 100", "18"),
)
# Number, title, page.
_CHAPTERS = (
    ("1", "Sheets and months", "2"),
    ("2", "Water and wood", "3"),
    ("3", "What comes next", "3"),
)
_GOALS = (
    "Dry the autumn’s sheets with the warmth of the server room.",
    "Sew 1 200 notebooks, a third of them with lined pages.",
    "Show the mill to every school class of the valley.",
    "Use no more water than in 2022, although we make more paper.",
)


def make():
    """The document's bytes."""
    chart = pictures.bars(_SHEETS, _YEARS).png()
    images = {"mill.png": pictures.mill().png(), "chart.png": chart}
    return odf.package("text", _TITLE, _body(), _automatic(), _styles(), images)


def _body():
    return [_front(), _sheets(), _water(), _outlook()]


def _front():
    return [
        odf.paragraph("Overline", company.NAME + " · report to the partners"),
        odf.paragraph("Title", _TITLE),
        odf.paragraph("Figure", _frame("mill.png", 16, 8)),
        _paragraph(
            "It was a year with more rain than sun, and a good one for those who need soft water. "
            "We made 305 000 sheets, more than in any year before, and lost fewer of them in the "
            "drying loft than ever. This report tells in three short chapters how that came "
            "about, what it cost in water and wood, and what we want to do next."),
        _contents(),
    ]


def _sheets():
    return [
        _heading(_CHAPTERS[0], "NewPage"),
        content(odf.paragraph("Body",
            "The chart counts the sheets of each year in thousands. A sheet counts when it has "
            "left the press, the loft and the sorting table",
            _footnote("1", "Sheets with a flaw are not thrown away: they go back into the vat."),
            " in one piece.")),
        odf.paragraph("Figure", _frame("chart.png", 14, 6.7)),
        odf.paragraph("Caption", "Figure 1. Sheets in thousands, 2019 to 2023."),
        _paragraph(
            "The two vats kept step with each other. July is low because the mill race was "
            "cleaned; that week is well spent every year."),
        odf.paragraph("Caption", "Table 1. Sheets from each vat in 2023."),
        _table(_HALL),
    ]


def _water():
    return [
        _heading(_CHAPTERS[1], "NewPage"),
        element("text:section", {"text:style-name": "Columns", "text:name": "Water and wood"},
            _paragraph(
                "Each sheet takes about nine litres of water. Most of it only passes through: it "
                "comes from the brook, carries the fibres into the mould, and goes back through "
                "the gravel bed."),
            _paragraph(
                "In spring we laid a second gravel bed. Since then the water that leaves us is as "
                "clear as the water that comes, measured every Friday at the footbridge."),
            _paragraph(
                "The loft is heated with wood from our own hedge rows. A warm autumn saved six "
                "cords, which now wait, dry and stacked, for a colder year."),
            _paragraph(
                "Rags remain our best fibre. The collection boxes in the valley brought 2.4 "
                "tonnes of linen and cotton; thank you to everyone who brought a shirt.")),
        odf.paragraph("Quote", "Good paper begins with clean water and ends with a clean table."),
    ]


def _outlook():
    goals = [element("text:list-item", None, odf.paragraph("Item", goal)) for goal in _GOALS]
    return [
        _heading(_CHAPTERS[2], "Heading"),
        _paragraph("Four things we want to have done when the next report is written:"),
        element("text:list", {"text:style-name": "Goals"}, goals),
        _paragraph(
            "The papers behind this report, from the vat books to the water tests, lie in the "
            "folder “reports/2023” on the file server. Everyone who works here may read them."),
        odf.paragraph("Overline", f"Quillbeck, {company.DATE_LONG}"),
    ]


def _paragraph(text):
    return odf.paragraph("Body", text)


def _heading(chapter, style):
    number, text, _ = chapter
    mark = element("text:bookmark", {"text:name": f"chapter-{number}"})
    attributes = {"text:style-name": style, "text:outline-level": "1"}
    return element("text:h", attributes, mark, f"{number} {text}")


def _frame(name, width, height):
    return element("draw:frame", {
        "draw:name": name, "draw:style-name": "Graphic", "text:anchor-type": "as-char",
        "svg:width": f"{width}cm", "svg:height": f"{height}cm",
    }, odf.image(name))


def _footnote(number, text):
    return element("text:note", {"text:note-class": "footnote", "text:id": "note" + number},
        element("text:note-citation", None, number),
        element("text:note-body", None, odf.paragraph("Footnote", element("text:s"), text)))


def _contents():
    """A table of contents as an office program writes it: how to make it, and how it was made."""
    name = {"text:name": "Contents"}
    return element("text:table-of-content", name,
        element("text:table-of-content-source", {"text:outline-level": 1},
            element("text:index-title-template", {"text:style-name": "ContentsTitle"}, "Contents"),
            element("text:table-of-content-entry-template",
                {"text:outline-level": 1, "text:style-name": "ContentsEntry"},
                element("text:index-entry-link-start", {"text:style-name": "ContentsLink"}),
                element("text:index-entry-text"),
                element("text:index-entry-tab-stop",
                    {"style:type": "right", "style:leader-char": "."}),
                element("text:index-entry-page-number"),
                element("text:index-entry-link-end"))),
        element("text:index-body", None,
            element("text:index-title", {"text:name": "Contents_Head"},
                odf.paragraph("ContentsTitle", "Contents")),
            [_contents_entry(*chapter) for chapter in _CHAPTERS]))


def _contents_entry(number, text, page):
    return odf.paragraph("ContentsEntry", element("text:a",
        {"xlink:type": "simple", "xlink:href": f"#chapter-{number}",
         "text:style-name": "ContentsLink", "text:visited-style-name": "ContentsLink"},
        f"{number} {text}", element("text:tab"), page))


def _table(rows):
    columns = element("table:table-column", {
        "table:style-name": "Column", "table:number-columns-repeated": len(rows[0])})
    header = element("table:table-header-rows", None, _row(rows[0], "Head"))
    body = [_row(row, "Band" if index % 2 else "Plain") for index, row in enumerate(rows[1:])]
    return element("table:table", {"table:name": "Vats", "table:style-name": "Table"},
                   columns, header, body)


def _row(cells, style):
    return element("table:table-row", None, [
        element("table:table-cell", {"table:style-name": style, "office:value-type": "string"},
            odf.paragraph(("Number" if index else "Cell") + ("Head" if style == "Head" else ""),
                          cell))
        for index, cell in enumerate(cells)
    ])


def _automatic():
    columns = element("style:section-properties", {"text:dont-balance-text-columns": "false"},
        element("style:columns", {"fo:column-count": 2, "fo:column-gap": "0.8cm"},
            [element("style:column", {"style:rel-width": "1*"})] * 2))
    return [
        odf.style("Graphic", "graphic", element("style:graphic-properties",
            {"style:vertical-pos": "top", "style:vertical-rel": "baseline"})),
        odf.style("Table", "table", element("style:table-properties",
            {"style:width": "14cm", "table:align": "center"})),
        odf.style("Column", "table-column", element("style:table-column-properties",
            {"style:column-width": "3.5cm"})),
        [_cell_style(name, fill) for name, fill in
            (("Head", company.TEAL), ("Band", company.PAPER), ("Plain", company.WHITE))],
        odf.style("Columns", "section", columns),
        odf.style("NewPage", "paragraph", odf.paragraph_properties(break_before="page"),
                  parent_style_name="Heading"),
    ]


def _cell_style(name, fill):
    return odf.style(name, "table-cell", element("style:table-cell-properties", {
        "fo:background-color": f"#{fill}", "fo:padding": "0.1cm",
        "fo:border-bottom": f"0.5pt solid #{company.SAGE}",
    }))


def _styles():
    layout = odf.page_layout("Page", 21, 29.7, 2.2, extra=odf.footer_space(1, 0.5))
    footer = element("style:footer", None, odf.paragraph(
        "Footer", f"{company.NAME} · {_TITLE} · ", odf.page_number()))
    master = element("style:master-page", {
        "style:name": "Standard", "style:page-layout-name": "Page"}, footer)
    return [
        odf.fonts(),
        element("office:styles", None, _paragraph_styles(), _goal_list()),
        element("office:automatic-styles", None, layout),
        element("office:master-styles", None, master),
    ]


def _paragraph_styles():
    teal, amber, ink = company.TEAL, company.AMBER, company.INK
    spaced = {"margin_top": "0.2cm", "margin_bottom": "0.3cm"}
    centred = {"text_align": "center", **spaced}
    return [
        _style("Body", (11, ink, False, False, company.SERIF), line_height="135%",
               margin_top="0.15cm", margin_bottom="0.3cm", text_align="justify"),
        _style("Title", (30, teal, True), **spaced),
        _style("Overline", (10, amber, True), **spaced),
        _style("Heading", (17, teal, True), margin_top="0.7cm", margin_bottom="0.3cm",
               keep_with_next="always", outline="1"),
        _style("Figure", (11,), **centred),
        _style("Caption", (9, teal, False, True), **centred),
        _style("Quote", (14, teal, False, True, company.SERIF), padding="0.3cm",
               background_color=f"#{company.PAPER}", **centred),
        _style("Item", (11, ink, False, False, company.SERIF), margin_bottom="0.15cm"),
        _style("Footnote", (9, ink)),
        _style("Footer", (9, teal), text_align="center"),
        _style("Cell", (10, ink)),
        _style("CellHead", (10, company.WHITE, True)),
        _style("Number", (10, ink), text_align="end"),
        _style("NumberHead", (10, company.WHITE, True), text_align="end"),
        _style("ContentsTitle", (12, amber, True), margin_top="0.4cm", margin_bottom="0.2cm"),
        _contents_style(),
        odf.style("ContentsLink", "text", element("style:text-properties",
            {"fo:color": f"#{ink}", "style:text-underline-style": "none"})),
    ]


def _style(name, look, outline=None, **spacing):
    extra = {"default_outline_level": outline} if outline else {}
    return odf.style(name, "paragraph", odf.paragraph_properties(**spacing),
                     odf.text_properties(*look), **extra)


def _contents_style():
    stops = Xml('<style:tab-stops><style:tab-stop style:position="16.6cm" style:type="right"'
                ' style:leader-style="dotted" style:leader-text="."/></style:tab-stops>')
    return odf.style("ContentsEntry", "paragraph",
        element("style:paragraph-properties", {"fo:margin-bottom": "0.1cm"}, stops),
        odf.text_properties(11, company.INK))


def _goal_list():
    position = element("style:list-level-properties",
        {"text:list-level-position-and-space-mode": "label-alignment"},
        element("style:list-level-label-alignment", {
            "text:label-followed-by": "listtab", "fo:margin-left": "1cm",
            "fo:text-indent": "-0.6cm", "text:list-tab-stop-position": "1cm"}))
    level = {"text:level": 1, "style:num-format": "1", "style:num-suffix": "."}
    return element("text:list-style", {"style:name": "Goals"},
                   element("text:list-level-style-number", level, position))
