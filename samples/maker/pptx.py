# SPDX-License-Identifier: Apache-2.0
"""pitch.pptx: three slides that offer the mill's paper to a library."""

from . import company, ooxml, pictures, pptx_frame
from .markup import element
from .pptx_frame import emu, slide_tree, text_body

_TYPE = "application/vnd.openxmlformats-officedocument.presentationml"
_TITLE = "Paper for the harbour library"
_REASONS = (
    "Made of rags and water: no acid, no bleach, no hurry",
    "Lasts: the oldest sheets in our loft are older than the loft",
    "Repairs well: thin tissue from 8 g/m², dyed to match",
    "Near: a sheet ordered on Monday is with you on Friday",
)
_OFFER = (
    ("What", "How much", "Price"),
    ("Laid paper, A3, 90 g/m²", "400 sheets", "620.00 €"),
    ("Mending tissue, 8 g/m²", "60 sheets", "174.00 €"),
    ("End papers, walnut brown", "120 sheets", "153.60 €"),
    ("Guest book, linen cover", "2 pieces", "78.00 €"),
    ("Together", "", "1 025.60 €"),
)


def make():
    """The document's bytes."""
    slides = [
        _slide(1, 1, _opening(), {"rId2": ("image", "ppt/media/mill.png")}),
        _slide(2, 2, _reasons(), {"rId2": ("image", "ppt/media/logo.png")}),
        _slide(3, 2, _offer(), {}),
    ]
    media = [
        ooxml.Part("ppt/media/mill.png", "image/png", pictures.mill().png()),
        ooxml.Part("ppt/media/logo.png", "image/png", pictures.logo().png()),
    ]
    links = {
        "rId1": ("slideMaster", "ppt/slideMasters/slideMaster1.xml"),
        "rId2": ("theme", "ppt/theme/theme1.xml"),
        **{f"rId{10 + index}": ("slide", slide.path) for index, slide in enumerate(slides)},
    }
    main = ooxml.Part("ppt/presentation.xml", f"{_TYPE}.presentation.main+xml",
                      _presentation(len(slides)), links)
    return ooxml.package(main, [*slides, *pptx_frame.parts(), *media], _TITLE)


def _presentation(count):
    return element("p:presentation", pptx_frame.PREFIXES,
        element("p:sldMasterIdLst", None,
            element("p:sldMasterId", {"id": 2147483648, "r:id": "rId1"})),
        element("p:sldIdLst", None, [
            element("p:sldId", {"id": 256 + index, "r:id": f"rId{10 + index}"})
            for index in range(count)]),
        element("p:sldSz", {"cx": emu(pptx_frame.WIDTH), "cy": emu(pptx_frame.HEIGHT)}),
        element("p:notesSz", {"cx": emu(19), "cy": emu(25.4)}),
    )


def _slide(number, layout, shapes, links):
    data = element("p:sld", pptx_frame.PREFIXES, element("p:cSld", None, slide_tree(shapes)))
    layout_link = ("slideLayout", f"ppt/slideLayouts/slideLayout{layout}.xml")
    return ooxml.Part(f"ppt/slides/slide{number}.xml", f"{_TYPE}.slide+xml", data,
                      {"rId1": layout_link, **links})


def _opening():
    return [
        _picture(4, "The mill", "rId2", (0, 0, pptx_frame.WIDTH, 12.25), cut_top=12.5),
        _band(5, 0, 11, pptx_frame.WIDTH, pptx_frame.HEIGHT - 11),
        _placeholder(2, "ctrTitle", [_TITLE]),
        _placeholder(3, "subTitle", [f"An offer from {company.NAME}"], index=1),
    ]


def _reasons():
    return [
        _placeholder(2, "title", ["Four good reasons"]),
        _placeholder(3, None, _REASONS, index=1),
        _picture(4, "Logo", "rId2", (23.2, 10.9, 3.2, 3.2)),
    ]


def _offer():
    return [
        _placeholder(2, "title", ["The offer"]),
        _table(4, _OFFER, (13.6, 5.6, 5.6)),
        pptx_frame.text_shape(5, "Note", (1.6, 13.2, 24.8, 1.2),
            text_body(["Delivery within four weeks; samples travel ahead by post."],
                      size=16, color=company.TEAL)),
    ]


def _placeholder(identity, kind, paragraphs, index=None):
    """A shape that takes its place and look from the layout."""
    name = {"id": identity, "name": f"{kind or 'content'} {identity}"}
    return element("p:sp", None,
        element("p:nvSpPr", None, element("p:cNvPr", name), element("p:cNvSpPr"),
            element("p:nvPr", None, element("p:ph", {"type": kind, "idx": index}))),
        element("p:spPr"),
        text_body(paragraphs))


def _picture(identity, name, link, place, cut_top=None):
    """A picture; cut_top is the percentage that is left out at its upper edge."""
    crop = element("a:srcRect", {"t": round(cut_top * 1000)}) if cut_top else None
    return element("p:pic", None,
        element("p:nvPicPr", None,
            element("p:cNvPr", {"id": identity, "name": name, "descr": name}),
            element("p:cNvPicPr"), element("p:nvPr")),
        element("p:blipFill", None, element("a:blip", {"r:embed": link}), crop,
            element("a:stretch", None, element("a:fillRect"))),
        element("p:spPr", None, pptx_frame.placed("a:xfrm", *place), pptx_frame.RECTANGLE))


def _band(identity, x, y, width, height):
    return pptx_frame.text_shape(identity, "Band", (x, y, width, height), text_body([""]),
                                 pptx_frame.solid_fill(company.TEAL))


def _table(identity, rows, widths):
    height = 1.5
    grid = element("a:tblGrid", None, [element("a:gridCol", {"w": emu(width)}) for width in widths])
    lines = [
        element("a:tr", {"h": emu(height)}, [
            _cell(text, _row_look(index, len(rows)), "l" if column == 0 else "r")
            for column, text in enumerate(row)])
        for index, row in enumerate(rows)
    ]
    table = element("a:tbl", None, element("a:tblPr", {"firstRow": 1, "bandRow": 1}), grid, lines)
    kind = {"uri": "http://schemas.openxmlformats.org/drawingml/2006/table"}
    return element("p:graphicFrame", None,
        element("p:nvGraphicFramePr", None,
            element("p:cNvPr", {"id": identity, "name": "Offer"}),
            element("p:cNvGraphicFramePr"), element("p:nvPr")),
        pptx_frame.placed("p:xfrm", 1.6, 3.6, sum(widths), height * len(rows)),
        element("a:graphic", None, element("a:graphicData", kind, table)))


def _row_look(index, count):
    """Fill, colour and boldness of a table row."""
    if index == 0:
        return company.TEAL, company.WHITE, True
    if index == count - 1:
        return company.MIST, company.INK, True
    return (company.PAPER if index % 2 else company.WHITE), company.INK, False


def _cell(text, look, align):
    fill, color, bold = look
    return element("a:tc", None,
        text_body([text], size=18, color=color, bold=bold, align=align, name="a:txBody"),
        element("a:tcPr", {"anchor": "ctr"}, pptx_frame.solid_fill(fill)))
