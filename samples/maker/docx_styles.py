# SPDX-License-Identifier: Apache-2.0
"""The styles and lists of letter.docx."""

from . import company
from .markup import element

# Style: name shown, size in half points, spacing before and after in twentieths of a point, and
# what else distinguishes it.
_PARAGRAPHS = {
    "Letterhead": ("Letterhead", 18, 0, 60, {"color": company.TEAL, "align": "right"}),
    "Address": ("Address", 22, 60, 60, {"color": company.INK}),
    "Title": ("Title", 48, 240, 200, {"color": company.TEAL, "bold": True}),
    "Heading1": ("heading 1", 36, 0, 160,
                 {"color": company.TEAL, "bold": True, "outline": 0, "new_page": True}),
    "Heading2": ("heading 2", 26, 280, 80, {"color": company.AMBER, "bold": True, "outline": 1}),
    "Picture": ("Picture", 22, 160, 60, {"align": "center"}),
    "Caption": ("caption", 18, 0, 200, {"color": company.TEAL, "italic": True, "align": "center"}),
    "Quote": ("Quote", 24, 200, 200,
              {"color": company.TEAL, "italic": True, "align": "center", "fill": company.PAPER}),
    "ListParagraph": ("List Paragraph", 22, 0, 60, {}),
    "TableText": ("Table Text", 20, 50, 50, {}),
    "Footer": ("footer", 18, 0, 0, {"color": company.TEAL, "align": "center"}),
}


def styles():
    """The children of the styles part."""
    fonts = {f"w:{script}": company.SANS for script in ("ascii", "hAnsi", "cs", "eastAsia")}
    defaults = element("w:docDefaults", None,
        element("w:rPrDefault", None, element("w:rPr", None,
            element("w:rFonts", fonts),
            element("w:sz", {"w:val": 22}),
            element("w:lang", {"w:val": "en-GB"}))),
        element("w:pPrDefault", None, element("w:pPr", None,
            element("w:spacing", {"w:after": 160, "w:line": 288, "w:lineRule": "auto"}))),
    )
    normal = element("w:style", {"w:type": "paragraph", "w:default": 1, "w:styleId": "Normal"},
                     element("w:name", {"w:val": "Normal"}))
    paragraphs = [_paragraph_style(key, *value) for key, value in _PARAGRAPHS.items()]
    return [defaults, normal, paragraphs, _table_style()]


def numbering():
    """The children of the numbering part: list 1 has bullets, list 2 numbers."""
    lists = [
        element("w:abstractNum", {"w:abstractNumId": identity},
            element("w:multiLevelType", {"w:val": "singleLevel"}),
            element("w:lvl", {"w:ilvl": 0},
                element("w:start", {"w:val": 1}),
                element("w:numFmt", {"w:val": form}),
                element("w:lvlText", {"w:val": text}),
                element("w:lvlJc", {"w:val": "left"}),
                element("w:pPr", None, element("w:ind", {"w:left": 567, "w:hanging": 340}))))
        for identity, form, text in ((1, "bullet", "•"), (2, "decimal", "%1."))
    ]
    uses = [
        element("w:num", {"w:numId": identity},
                element("w:abstractNumId", {"w:val": identity}))
        for identity in (1, 2)
    ]
    return [lists, uses]


def _paragraph_style(identity, name, size, before, after, look):
    outline = look.get("outline")
    return element("w:style", {"w:type": "paragraph", "w:styleId": identity},
        element("w:name", {"w:val": name}),
        element("w:basedOn", {"w:val": "Normal"}),
        element("w:qFormat"),
        element("w:pPr", None,
            element("w:keepNext") if outline is not None else None,
            element("w:pageBreakBefore") if "new_page" in look else None,
            _shading(look["fill"]) if "fill" in look else None,
            element("w:spacing", {"w:before": before, "w:after": after}),
            element("w:jc", {"w:val": look["align"]}) if "align" in look else None,
            element("w:outlineLvl", {"w:val": outline}) if outline is not None else None),
        element("w:rPr", None,
            element("w:b") if "bold" in look else None,
            element("w:i") if "italic" in look else None,
            element("w:color", {"w:val": look["color"]}) if "color" in look else None,
            element("w:sz", {"w:val": size})),
    )


def _shading(color):
    return element("w:shd", {"w:val": "clear", "w:color": "auto", "w:fill": color})


def _table_style():
    line = {"w:val": "single", "w:sz": 4, "w:space": 0, "w:color": company.SAGE}
    margin = {"w:w": 100, "w:type": "dxa"}
    return element("w:style", {"w:type": "table", "w:styleId": "PaperTable"},
        element("w:name", {"w:val": "Paper Table"}),
        element("w:tblPr", None,
            element("w:tblStyleRowBandSize", {"w:val": 1}),
            element("w:tblBorders", None,
                [element(f"w:{side}", line) for side in ("top", "bottom", "insideH")]),
            element("w:tblCellMar", None,
                element("w:left", margin), element("w:right", margin))),
        _table_region("firstRow", company.TEAL,
                      element("w:b"), element("w:color", {"w:val": company.WHITE})),
        _table_region("band2Horz", company.PAPER),
    )


def _table_region(region, fill, *marks):
    return element("w:tblStylePr", {"w:type": region},
        element("w:rPr", None, marks) if marks else None,
        element("w:tcPr", None, _shading(fill)))
