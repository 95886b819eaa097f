# SPDX-License-Identifier: Apache-2.0
"""budget.xlsx: a ledger of 72 entries, and a year plan much wider than a page."""

from . import budget_sheets, ooxml, xlsx_styles
from .markup import element, namespaces

_TYPE = "application/vnd.openxmlformats-officedocument.spreadsheetml"
_MAIN = "http://schemas.openxmlformats.org/spreadsheetml/2006/main"
_PREFIXES = {"xmlns": _MAIN, **namespaces({"r": ooxml.RELATIONSHIPS})}


def make():
    """The document's bytes."""
    sheets = budget_sheets.sheets()
    texts = _Texts()
    worksheets = [
        ooxml.Part(f"xl/worksheets/sheet{number}.xml", f"{_TYPE}.worksheet+xml",
                   _worksheet(sheet, texts))
        for number, sheet in enumerate(sheets, start=1)
    ]
    styles = ooxml.Part("xl/styles.xml", f"{_TYPE}.styles+xml",
                        element("styleSheet", _PREFIXES, xlsx_styles.tables()))
    strings = ooxml.Part("xl/sharedStrings.xml", f"{_TYPE}.sharedStrings+xml", texts.table())
    links = {
        f"rId{number}": ("worksheet", part.path) for number, part in enumerate(worksheets, start=1)
    }
    links |= {"rId8": ("styles", styles.path), "rId9": ("sharedStrings", strings.path)}
    workbook = ooxml.Part("xl/workbook.xml", f"{_TYPE}.sheet.main+xml", _workbook(sheets), links)
    return ooxml.package(workbook, [*worksheets, styles, strings], "Budget 2024")


class _Texts:
    """The table of texts that the cells of all sheets share."""

    def __init__(self):
        self._index = {}
        self._uses = 0

    def index(self, text):
        self._uses += 1
        return self._index.setdefault(text, len(self._index))

    def table(self):
        attributes = {"xmlns": _MAIN, "count": self._uses, "uniqueCount": len(self._index)}
        items = [element("si", None, element("t", None, text)) for text in self._index]
        return element("sst", attributes, items)


def _workbook(sheets):
    names = [
        element("definedName", {"name": "_xlnm.Print_Titles", "localSheetId": index},
                f"'{sheet.name}'!${sheet.head_row}:${sheet.head_row}")
        for index, sheet in enumerate(sheets)
    ]
    return element("workbook", _PREFIXES,
        element("bookViews", None, element("workbookView", {"activeTab": 0})),
        element("sheets", None, [
            element("sheet", {"name": sheet.name, "sheetId": number, "r:id": f"rId{number}"})
            for number, sheet in enumerate(sheets, start=1)
        ]),
        element("definedNames", None, names),
    )


def _worksheet(sheet, texts):
    margins = {"left": 0.6, "right": 0.6, "top": 0.7, "bottom": 0.8, "header": 0.3, "footer": 0.4}
    return element("worksheet", _PREFIXES,
        element("sheetViews", None, _view(sheet)),
        element("cols", None, [
            element("col", {"min": column, "max": column, "width": width, "customWidth": 1})
            for column, width in enumerate(sheet.widths, start=1)
        ]),
        element("sheetData", None, [
            _row(number, row, texts) for number, row in enumerate(sheet.rows, start=1)
        ]),
        element("pageMargins", margins),
        element("pageSetup", {"paperSize": 9, "orientation": sheet.orientation}),
        element("headerFooter", None,
            element("oddFooter", None, f"&L{sheet.name}&RPage &P of &N")),
    )


def _view(sheet):
    pane = {"ySplit": sheet.head_row, "topLeftCell": f"A{sheet.head_row + 1}",
            "activePane": "bottomLeft", "state": "frozen"}
    return element("sheetView", {"showGridLines": 0, "workbookViewId": 0}, element("pane", pane))


def _row(number, cells, texts):
    return element("row", {"r": number}, [
        _cell(f"{budget_sheets.column(index)}{number}", cell, texts)
        for index, cell in enumerate(cells)
        if cell is not None
    ])


def _cell(reference, cell, texts):
    attributes = {"r": reference, "s": xlsx_styles.number(cell.style)}
    if isinstance(cell.value, str):
        shared = str(texts.index(cell.value))
        return element("c", {**attributes, "t": "s"}, element("v", None, shared))
    formula = element("f", None, cell.formula) if cell.formula else None
    value = element("v", None, str(cell.value)) if cell.value is not None else None
    return element("c", attributes, formula, value)
