# SPDX-License-Identifier: Apache-2.0
"""letter.docx: a letter of three pages with letterhead, picture, lists and tables."""

from . import company, docx_styles, ooxml, pictures
from .markup import Xml, content, element, namespaces

_TYPE = "application/vnd.openxmlformats-officedocument.wordprocessingml"
_PREFIXES = {
    "w": "http://schemas.openxmlformats.org/wordprocessingml/2006/main",
    "r": ooxml.RELATIONSHIPS,
    "a": ooxml.DRAWING,
    "pic": ooxml.PICTURE,
    "wp": "http://schemas.openxmlformats.org/drawingml/2006/wordprocessingDrawing",
}
_EMU_PER_PIXEL = 9525
_TITLE = "A shared home for our papers"

_MOVES = (
    ("Folder", "What goes in", "Who may write"),
    ("letters", "Everything that leaves or reaches the office", "Office"),
    ("orders", "One folder for each customer and year", "Office, Workshop"),
    ("recipes", "Pulp mixtures, dyes, drying times", "Workshop"),
    ("pictures", "Photographs of papers, swatches, fairs", "Everyone"),
    ("archive", "Years that are closed; nothing is changed here", "Nobody"),
)
_CITIES = (
    ("City", "Paper they like best", "How they say thank you"),
    ("Zürich", "Büttenpapier, 120 g/m²", "Herzlichen Dank"),
    ("Málaga", "Papel de algodón, año tras año", "¡Muchas gracias!"),
    ("Łódź", "Papier żeberkowy, gładki", "Dziękujemy bardzo"),
    ("Αθήνα", "Χειροποίητο χαρτί", "Ευχαριστούμε πολύ"),
    ("Київ", "Папір ручної роботи", "Щиро дякуємо"),
    ("Reykjavík", "Þykkur pappír, ½ örk", "Kærar þakkir"),
)


def make():
    """The document's bytes."""
    links = {
        "rId1": ("styles", "word/styles.xml"),
        "rId2": ("numbering", "word/numbering.xml"),
        "rId3": ("footer", "word/footer1.xml"),
        "rId4": ("image", "word/media/logo.png"),
        "rId5": ("image", "word/media/mill.png"),
    }
    main = ooxml.Part("word/document.xml", f"{_TYPE}.document.main+xml",
                      _root("document", _body()), links)
    parts = [
        ooxml.Part("word/styles.xml", f"{_TYPE}.styles+xml", _root("styles", docx_styles.styles())),
        ooxml.Part("word/numbering.xml", f"{_TYPE}.numbering+xml",
                   _root("numbering", docx_styles.numbering())),
        ooxml.Part("word/footer1.xml", f"{_TYPE}.footer+xml", _root("ftr", _footer())),
        ooxml.Part("word/media/logo.png", "image/png", pictures.logo().png()),
        ooxml.Part("word/media/mill.png", "image/png", pictures.mill().png()),
    ]
    return ooxml.package(main, parts, _TITLE)


def _root(name, children):
    return element("w:" + name, namespaces(_PREFIXES), children)


def _body():
    return element("w:body", None, _first_page(), _second_page(), _third_page(), _section())


def _first_page():
    return [
        _paragraph("Letterhead", _picture("rId4", 1, "Logo", 64, 64)),
        _paragraph("Letterhead", _text(" · ".join(company.ADDRESS[1:]) + " · " + company.MAIL)),
        _paragraph("Address", _text("To everyone in the office and the workshop")),
        _paragraph("Address", _text(company.DATE_LONG)),
        _paragraph("Title", _text(_TITLE)),
        _paragraph("Normal", _text("Dear colleagues,")),
        _paragraph("Normal", _text(
            "For twenty years our papers have lived in grey cabinets, on memory sticks, and in the "
            "drawers of whoever touched them last. From next Monday they have one home: the file "
            "server in the small room behind the drying loft. It is quiet, it is copied every "
            "night, and it can be read from every desk and from the tablet at the vat.")),
        _paragraph("Normal",
            _text("You do not need new programs. Letters, tables, slides and plans are "),
            _text("shown as they are", "w:b"),
            _text(" in the browser, page by page; what you only want to look at, you no longer "
                  "have to open. And nobody can change a paper by "),
            _text("looking", "w:i"),
            _text(" at it.")),
        _paragraph("Picture", _picture("rId5", 2, "The mill at the brook", 420, 210)),
        _paragraph("Caption", _text("The mill at the brook, where the server now hums.")),
        _paragraph("Normal", _text(
            "The next two pages tell what moves where, and answer what most of you have asked. "
            "If something is missing, write a line to the office: a good question is worth as "
            "much as a good sheet.")),
        _paragraph("Normal", _text("With kind regards")),
        _paragraph("Normal", _text("The office of " + company.NAME, "w:b")),
    ]


def _second_page():
    return [
        _paragraph("Heading1", _text("What moves where")),
        _paragraph("Normal", _text(
            "Five shared folders replace the cabinets. Their names are short on purpose, so that "
            "they fit on a label and into a sentence.")),
        _table(_MOVES, (1900, 4838, 2300)),
        _paragraph("Heading2", _text("In this order")),
        *_items(2, (
            "Letters and orders move on Monday, before the first post.",
            "Recipes follow on Wednesday; the workshop reads them over once more.",
            "Pictures are copied over the weekend, because there are so many of them.",
            "The archive comes last and is then closed.")),
        _paragraph("Heading2", _text("A name that can be found again")),
        *_items(1, (
            "Begin with the date, year first: 2024-03-01.",
            "Go on with the customer or the matter, then with one word for the kind.",
            "Leave out “new”, “final” and “really final”.")),
        _paragraph("Quote", _text("2024-03-01 Harbour Library – offer.odt")),
        _paragraph("Normal", _text(
            "Old versions are kept for you by the server, so one file is enough. Whoever needs "
            "the state of last Tuesday asks for last Tuesday, not for a copy with a longer "
            "name.")),
        _paragraph("Normal", _text(
            "What is still on paper stays on paper: the contracts remain in the fireproof "
            "cabinet, and only a scan of each goes into the folder of its customer.")),
    ]


def _third_page():
    return [
        _paragraph("Heading1", _text("Questions and answers")),
        _paragraph("Heading2", _text("Can I look at a table without the table program?")),
        _paragraph("Normal", _text(
            "Yes. A wide table is fitted to the width of the page, so that all of its columns "
            "can be read next to each other.")),
        _paragraph("Heading2", _text("Who sees what?")),
        _paragraph("Normal", _text(
            "You see what you may read, and nothing else; not even its first page. The rules are "
            "those of the folders in the table before.")),
        _paragraph("Heading2", _text("Do our friends’ letters survive the journey?")),
        _paragraph("Normal", _text(
            "Accents, other alphabets and signs such as €, §, ©, ½, → and ✓ are kept. To be sure, "
            "we sent for thanks from six cities:")),
        _table(_CITIES, (2038, 3900, 3100)),
        _paragraph("Heading2", _text("And if the server is away?")),
        _paragraph("Normal", _text(
            "Then there is tea. A copy of every folder is made each night at two o’clock and "
            "kept in another house; the longest that we can lose is one working day, and the "
            "longest that we have to wait is one morning.")),
        _paragraph("Quote", _text("Paper is patient. So is a good file server.")),
    ]


def _text(text, *marks):
    properties = element("w:rPr", None, [element(mark) for mark in marks]) if marks else None
    return element("w:r", None, properties, element("w:t", {"xml:space": "preserve"}, text))


def _paragraph(style, *runs):
    return element("w:p", None,
        element("w:pPr", None, element("w:pStyle", {"w:val": style})), runs)


def _items(numbering, texts):
    properties = element("w:pPr", None,
        element("w:pStyle", {"w:val": "ListParagraph"}),
        element("w:numPr", None,
            element("w:ilvl", {"w:val": 0}), element("w:numId", {"w:val": numbering})),
    )
    return [element("w:p", None, properties, _text(text)) for text in texts]


def _table(rows, widths):
    return element("w:tbl", None,
        element("w:tblPr", None,
            element("w:tblStyle", {"w:val": "PaperTable"}),
            element("w:tblW", {"w:w": sum(widths), "w:type": "dxa"}),
            element("w:tblLayout", {"w:type": "fixed"}),
            element("w:tblLook", {"w:val": "0420", "w:firstRow": 1, "w:noVBand": 1})),
        element("w:tblGrid", None, [element("w:gridCol", {"w:w": width}) for width in widths]),
        [_row(row, widths, is_header=index == 0) for index, row in enumerate(rows)],
    )


def _row(cells, widths, is_header):
    properties = element("w:trPr", None, element("w:tblHeader")) if is_header else None
    return element("w:tr", None, properties, [
        element("w:tc", None,
            element("w:tcPr", None, element("w:tcW", {"w:w": width, "w:type": "dxa"})),
            _paragraph("TableText", _text(cell)))
        for cell, width in zip(cells, widths)
    ])


def _picture(link, identity, description, width, height):
    size = {"cx": width * _EMU_PER_PIXEL, "cy": height * _EMU_PER_PIXEL}
    naming = {"id": identity, "name": description, "descr": description}
    picture = element("pic:pic", None,
        element("pic:nvPicPr", None, element("pic:cNvPr", naming), element("pic:cNvPicPr")),
        element("pic:blipFill", None,
            element("a:blip", {"r:embed": link}), Xml("<a:stretch><a:fillRect/></a:stretch>")),
        element("pic:spPr", None,
            element("a:xfrm", None, element("a:off", {"x": 0, "y": 0}), element("a:ext", size)),
            element("a:prstGeom", {"prst": "rect"}, element("a:avLst"))),
    )
    inline = element("wp:inline", None,
        element("wp:extent", size),
        element("wp:docPr", naming),
        element("a:graphic", None, element("a:graphicData", {"uri": ooxml.PICTURE}, picture)),
    )
    return element("w:r", None, element("w:drawing", None, inline))


def _footer():
    field = [
        content(_text(lead), element("w:fldSimple", {"w:instr": code}, _text(number)))
        for lead, code, number in ((" · page ", "PAGE", "1"), (" of ", "NUMPAGES", "3"))
    ]
    return _paragraph("Footer", _text(company.NAME), field)


def _section():
    margins = {"top": 1134, "right": 1434, "bottom": 1134, "left": 1434,
               "header": 709, "footer": 567, "gutter": 0}
    return element("w:sectPr", None,
        element("w:footerReference", {"w:type": "default", "r:id": "rId3"}),
        element("w:pgSz", {"w:w": 11906, "w:h": 16838}),
        element("w:pgMar", {f"w:{side}": value for side, value in margins.items()}),
    )
