# SPDX-License-Identifier: Apache-2.0
"""inventory.ods: the stock list with values and re-orders, and its summary by family."""

from . import company, odf
from .markup import content, element

_TITLE = "Inventory"
_FIRST_ROW = 4

# Column widths in centimetres; together they just fit a page.
_STOCK_WIDTHS = (1.5, 4.7, 2.6, 1.2, 1.6, 1.6, 1.6, 2.2, 1.4)
_SUMMARY_WIDTHS = (5.0, 2.6, 2.6, 3.4, 3.4)

# Family and, for each article: name, grams, sheets or pieces in stock, least stock, price in cents.
_STOCK = (
    ("White sheets", (
        ("Laid, deckle edge, A4", 90, 2400, 1000, 85),
        ("Laid, deckle edge, A3", 90, 820, 900, 160),
        ("Wove, smooth, A4", 110, 3150, 1200, 92),
        ("Wove, smooth, A3", 110, 1430, 800, 174),
        ("Wove, rough, A4", 160, 640, 700, 118),
        ("Printmaker’s sheet, 50 × 70", 250, 310, 200, 540),
        ("Watercolour block, 24 × 32", 300, 96, 120, 2350),
    )),
    ("Dyed sheets", (
        ("Madder red, A4", 110, 480, 300, 135),
        ("Walnut brown, A4", 110, 520, 300, 128),
        ("Indigo blue, A4", 110, 275, 300, 149),
        ("Weld yellow, A4", 110, 410, 250, 131),
        ("Moss green, A4", 110, 188, 250, 131),
        ("Onion gold, A4", 110, 305, 200, 126),
        ("Petal sheet, garden flowers", 140, 142, 100, 210),
        ("Straw sheet, wheat", 140, 233, 100, 175),
    )),
    ("Envelopes", (
        ("C6, white", 100, 1850, 1500, 42),
        ("C6, dyed, mixed", 100, 920, 1000, 55),
        ("DL, white", 100, 1240, 800, 44),
        ("C5, white", 120, 610, 500, 61),
        ("Square, 16 × 16, petal", 140, 260, 200, 88),
    )),
    ("Notebooks", (
        ("Pocket, plain, 64 pages", 90, 212, 150, 780),
        ("Pocket, lined, 64 pages", 90, 134, 150, 820),
        ("Desk, plain, 128 pages", 90, 158, 100, 1450),
        ("Desk, lined, 128 pages", 90, 87, 100, 1520),
        ("Sketch, rough, 80 pages", 160, 104, 80, 1690),
        ("Guest book, linen cover", 120, 41, 25, 3900),
        ("Herbarium, 40 leaves", 250, 22, 20, 4400),
    )),
    ("Tools and sets", (
        ("Starter set, mould and felt", 0, 63, 40, 3250),
        ("Bone folder", 0, 118, 60, 640),
        ("Wheat starch, 500 g", 0, 74, 50, 410),
        ("Gelatine leaves, 100 g", 0, 55, 60, 490),
        ("Gift box, ten sheets", 0, 149, 80, 1200),
    )),
)


def make():
    """The document's bytes."""
    return odf.package("spreadsheet", _TITLE, [_stock(), _summary()], _automatic(), _styles())


def _articles():
    """Every article with its row, family and number."""
    flat = [(family, *article) for family, articles in _STOCK for article in articles]
    return [
        (_FIRST_ROW + index, f"Q-{101 + index}", *article) for index, article in enumerate(flat)
    ]


def _stock():
    last = _articles()[-1][0]
    value = sum(pieces * price for *_, pieces, _least, price in _articles())
    orders = sum(pieces < least for *_, pieces, least, _price in _articles())
    heads = ("Number", "Article", "Family",
             "g/m²", "In stock", "At least", "Price", "Value", "Order?")
    styles = ["Head"] * 3 + ["HeadRight"] * 5 + ["HeadMiddle"]
    total = _row(
        _text("Together", "SumText"), [_empty("SumText")] * 6,
        _number(value / 100, "SumMoney", f"SUM([.H{_FIRST_ROW}:.H{last}])"),
        _number(orders, "SumAnswer", f'COUNTIF([.I{_FIRST_ROW}:.I{last}];"order")'))
    return _sheet("Stock", _STOCK_WIDTHS,
        _opening("Inventory on " + company.DATE_LONG,
                 f"{company.NAME}, counted by the drying loft"),
        _row([_text(head, style) for head, style in zip(heads, styles)]),
        [*[_stock_row(*article) for article in _articles()], total])


def _stock_row(row, number, family, name, grams, pieces, least, price):
    band = "Band" if row % 2 else ""
    answer = "order" if pieces < least else "–"
    return _row(
        _text(number, "Text" + band),
        _text(name, "Text" + band),
        _text(family, "Text" + band),
        _number(grams, "Whole" + band) if grams else _empty("Whole" + band),
        _number(pieces, "Whole" + band),
        _number(least, "Whole" + band),
        _number(price / 100, "Money" + band),
        _number(pieces * price / 100, "Money" + band, f"[.E{row}]*[.G{row}]"),
        _text(answer, ("Alert" if answer == "order" else "Calm") + band,
              f'IF([.E{row}]<[.F{row}];"order";"–")'),
    )


def _summary():
    rows = [_summary_row(4 + index, *group) for index, group in enumerate(_STOCK)]
    pieces, cents = (sum(figures) for figures in zip(*[_figures(group) for _, group in _STOCK]))
    end = 3 + len(_STOCK)
    total = _row(
        _text("Together", "SumText"),
        _number(sum(len(group) for _, group in _STOCK), "SumWhole", f"SUM([.B4:.B{end}])"),
        _number(pieces, "SumWhole", f"SUM([.C4:.C{end}])"),
        _number(cents / 100, "SumMoney", f"SUM([.D4:.D{end}])"),
        _number(1, "SumShare", f"SUM([.E4:.E{end}])"))
    heads = ("Family", "Articles", "Pieces", "Value", "Share of value")
    return _sheet("Summary", _SUMMARY_WIDTHS,
        _opening("Summary by family", "Every figure is taken from the sheet “Stock”."),
        _row([_text(head, "HeadRight" if index else "Head") for index, head in enumerate(heads)]),
        [*rows, total])


def _summary_row(row, family, group):
    pieces, cents = _figures(group)
    families, counts, values = (_stock_column(letter) for letter in "CEH")
    all_cents = sum(_figures(articles)[1] for _, articles in _STOCK)
    band = "Band" if row % 2 else ""
    return _row(
        _text(family, "Text" + band),
        _number(len(group), "Whole" + band, f"COUNTIF({families};[.A{row}])"),
        _number(pieces, "Whole" + band, f"SUMIF({families};[.A{row}];{counts})"),
        _number(cents / 100, "Money" + band, f"SUMIF({families};[.A{row}];{values})"),
        _number(cents / all_cents, "Share" + band, f"[.D{row}]/SUM({values})"),
    )


def _stock_column(letter):
    return f"[$Stock.${letter}${_FIRST_ROW}:.${letter}${_articles()[-1][0]}]"


def _figures(group):
    """Pieces and value in cents of a family."""
    pieces = sum(count for _, _, count, _, _ in group)
    return pieces, sum(count * price for _, _, count, _, price in group)


def _sheet(name, widths, opening, head, rows):
    columns = [
        element("table:table-column", {"table:style-name": _column_style(width)})
        for width in widths
    ]
    return element("table:table", {"table:name": name, "table:style-name": "Sheet"},
        columns, opening, element("table:table-header-rows", None, head), rows)


def _opening(title, note):
    return [
        _row(_text(title, "Title"), style="TitleRow"),
        _row(_text(note, "Note"), style="NoteRow"),
    ]


def _row(*cells, style="Row"):
    return element("table:table-row", {"table:style-name": style}, cells)


def _column_style(width):
    return f"Width{round(width * 10)}"


def _text(text, style, formula=None):
    return _cell(style, formula, {"office:value-type": "string"}, text)


def _number(value, style, formula=None):
    """A number; the style's own format shows it, the text is only what a plain reader sees."""
    return _cell(style, formula, {"office:value-type": "float", "office:value": value}, str(value))


def _empty(style):
    return element("table:table-cell", {"table:style-name": style})


def _cell(style, formula, value, text):
    attributes = {"table:style-name": style, "table:formula": f"of:={formula}" if formula else None}
    return element("table:table-cell", {**attributes, **value}, element("text:p", None, text))


def _automatic():
    return [
        [odf.style(_column_style(width), "table-column",
                   element("style:table-column-properties", {"style:column-width": f"{width}cm"}))
         for width in sorted({*_STOCK_WIDTHS, *_SUMMARY_WIDTHS})],
        [odf.style(name, "table-row", element("style:table-row-properties",
            {"style:use-optimal-row-height": "false", "style:row-height": f"{height}cm"}))
         for name, height in (("Row", 0.62), ("TitleRow", 1.0), ("NoteRow", 0.8))],
        odf.style("Sheet", "table", element("style:table-properties", {"table:display": "true"}),
                  master_page_name="Default"),
        _number_formats(),
        _cell_styles(),
    ]


def _number_formats():
    def digits(decimals):
        return element("number:number", {
            "number:decimal-places": decimals, "number:min-integer-digits": 1,
            "number:grouping": "true"})

    return [
        element("number:number-style", {"style:name": "FormatWhole"}, digits(0)),
        element("number:number-style", {"style:name": "FormatMoney"}, digits(2),
                element("number:text", None, " €")),
        element("number:percentage-style", {"style:name": "FormatShare"}, digits(1),
                element("number:text", None, " %")),
    ]


def _cell_styles():
    plain = [
        _cell_style(kind + band, company.PAPER if band else None, data_format=data_format)
        for kind, data_format in _FORMATS
        for band in ("", "Band")
    ]
    sums = [
        _cell_style("Sum" + kind, company.MIST, bold=True, data_format=data_format)
        for kind, data_format in _FORMATS
    ]
    answers = [
        _cell_style(kind + band, company.PAPER if band else None, color, bold=True, align="center")
        for kind, color in (("Alert", company.AMBER), ("Calm", company.SAGE))
        for band in ("", "Band")
    ]
    return content(plain, sums, answers,
        _cell_style("SumAnswer", company.MIST, bold=True, align="center"),
        _cell_style("Head", company.TEAL, company.WHITE, bold=True),
        _cell_style("HeadMiddle", company.TEAL, company.WHITE, bold=True, align="center"),
        _cell_style("HeadRight", company.TEAL, company.WHITE, bold=True, align="end"),
        _cell_style("Title", None, company.TEAL, bold=True, size=18, line=False),
        _cell_style("Note", None, company.TEAL, line=False))


_FORMATS = (
    ("Text", None),
    ("Whole", "FormatWhole"),
    ("Money", "FormatMoney"),
    ("Share", "FormatShare"),
)


def _cell_style(name, fill, color=company.INK, *, bold=False, size=10, line=True, align=None,
                data_format=None):
    cell = element("style:table-cell-properties", {
        "fo:background-color": f"#{fill}" if fill else None,
        "fo:border-bottom": f"0.5pt solid #{company.SAGE}" if line else None,
        "style:vertical-align": "middle"})
    paragraph = odf.paragraph_properties(text_align=align) if align else None
    extra = {"data_style_name": data_format} if data_format else {}
    return odf.style(name, "table-cell", cell, paragraph, odf.text_properties(size, color, bold),
                     **extra)


def _styles():
    footer = element("style:footer", None, element("text:p", None,
        f"{company.NAME} · inventory · page ", odf.page_number()))
    layout = odf.page_layout("Page", 21, 29.7, 1.2, table_centering="horizontal",
        extra=odf.footer_space(0.8, 0.4))
    master = {"style:name": "Default", "style:page-layout-name": "Page"}
    return [
        odf.fonts(),
        element("office:styles", None,
                element("style:default-style", {"style:family": "table-cell"},
                        odf.text_properties(10, company.INK))),
        element("office:automatic-styles", None, layout),
        element("office:master-styles", None,
                element("style:master-page", master,
                        element("style:header", {"style:display": "false"}), footer)),
    ]
