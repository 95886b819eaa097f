# SPDX-License-Identifier: Apache-2.0
"""Theme, master and layouts of pitch.pptx, and the shapes that slides share with them."""

from . import company, ooxml
from .markup import Xml, element, namespaces

_TYPE = "application/vnd.openxmlformats-officedocument"
_EMU_PER_CM = 360000

PREFIXES = namespaces({
    "a": ooxml.DRAWING,
    "r": ooxml.RELATIONSHIPS,
    "p": "http://schemas.openxmlformats.org/presentationml/2006/main",
})
WIDTH, HEIGHT = 28, 15.75
RECTANGLE = element("a:prstGeom", {"prst": "rect"}, element("a:avLst"))

_TITLE_PLACE = (1.6, 0.9, 22, 1.7)
_BODY_PLACE = (1.6, 3.6, 24.8, 9)
_COLORS = {
    "dk1": company.INK, "lt1": company.WHITE, "dk2": company.TEAL, "lt2": company.PAPER,
    "accent1": company.TEAL, "accent2": company.AMBER, "accent3": company.SAGE,
    "accent4": "5E97A8", "accent5": "A9C4B4", "accent6": "F3C978",
    "hlink": company.TEAL, "folHlink": company.SAGE,
}
_COLOR_MAP = {
    "bg1": "lt1", "tx1": "dk1", "bg2": "lt2", "tx2": "dk2", "hlink": "hlink",
    "folHlink": "folHlink", **{f"accent{n}": f"accent{n}" for n in range(1, 7)},
}


def parts():
    """The parts that stand behind the slides."""
    links = {
        "rId1": ("slideLayout", "ppt/slideLayouts/slideLayout1.xml"),
        "rId2": ("slideLayout", "ppt/slideLayouts/slideLayout2.xml"),
        "rId3": ("theme", "ppt/theme/theme1.xml"),
    }
    return [
        ooxml.Part("ppt/slideMasters/slideMaster1.xml",
                   f"{_TYPE}.presentationml.slideMaster+xml", _master(), links),
        _layout(1, "title", "Opening", _opening_shapes()),
        _layout(2, "obj", "Title and content", _content_shapes()),
        ooxml.Part("ppt/theme/theme1.xml", f"{_TYPE}.theme+xml", _theme()),
    ]


def emu(centimetres):
    """The length in the unit of DrawingML."""
    return round(centimetres * _EMU_PER_CM)


def slide_tree(shapes):
    """The tree of shapes of a slide, layout or master."""
    return element("p:spTree", None,
        element("p:nvGrpSpPr", None,
            element("p:cNvPr", {"id": 1, "name": ""}), element("p:cNvGrpSpPr"), element("p:nvPr")),
        element("p:grpSpPr"),
        shapes)


def placed(name, x, y, width, height):
    return element(name, None,
        element("a:off", {"x": emu(x), "y": emu(y)}),
        element("a:ext", {"cx": emu(width), "cy": emu(height)}))


def solid_fill(color):
    return element("a:solidFill", None, element("a:srgbClr", {"val": color}))


def text_shape(identity, name, place, body, fill=None):
    """A rectangle with text that stands for itself, not for a placeholder."""
    return element("p:sp", None,
        element("p:nvSpPr", None,
            element("p:cNvPr", {"id": identity, "name": name}),
            element("p:cNvSpPr"), element("p:nvPr")),
        element("p:spPr", None, placed("a:xfrm", *place), RECTANGLE, fill),
        body)


def text_body(paragraphs, size=None, color=None, bold=False, align=None, name="p:txBody"):
    """Paragraphs of plain text; what is not given comes from the layout."""
    properties = {"lang": "en-GB", "sz": size * 100 if size else None, "b": 1 if bold else None}
    fill = solid_fill(color) if color else None
    runs = [
        element("a:p", None,
            element("a:pPr", {"algn": align}) if align else None,
            element("a:r", None, element("a:rPr", properties, fill),
                    element("a:t", None, text)) if text else None)
        for text in paragraphs
    ]
    return element(name, None, element("a:bodyPr"), element("a:lstStyle"), runs)


def _holder(identity, kind, place, text, style=None, index=None):
    """A placeholder of a layout or the master; style is the look of its first level."""
    return element("p:sp", None,
        element("p:nvSpPr", None,
            element("p:cNvPr", {"id": identity, "name": f"Place {identity}"}),
            element("p:cNvSpPr", None, element("a:spLocks", {"noGrp": 1})),
            element("p:nvPr", None, element("p:ph", {"type": kind, "idx": index}))),
        element("p:spPr", None, placed("a:xfrm", *place), RECTANGLE),
        element("p:txBody", None,
            element("a:bodyPr", {"anchor": "t" if kind == "body" or kind is None else "ctr"},
                    element("a:normAutofit")),
            element("a:lstStyle", None, style),
            element("a:p", None, element("a:r", None,
                element("a:rPr", {"lang": "en-GB"}), element("a:t", None, text)))))


def _level(size, color, bold=False, bullet=False):
    """The look of a paragraph of the first level."""
    hanging = {"marL": emu(0.9), "indent": -emu(0.9)} if bullet else {"marL": 0, "indent": 0}
    mark = [
        element("a:buClr", None, element("a:srgbClr", {"val": company.AMBER})),
        element("a:buFont", {"typeface": company.SANS}),
        element("a:buChar", {"char": "•"}),
    ]
    return element("a:lvl1pPr", hanging,
        element("a:spcBef", None, element("a:spcPts", {"val": 1200})),
        mark if bullet else element("a:buNone"),
        element("a:defRPr", {"sz": size * 100, "b": 1 if bold else 0},
            solid_fill(color),
            element("a:latin", {"typeface": "+mn-lt"}),
            element("a:ea", {"typeface": "+mn-ea"}),
            element("a:cs", {"typeface": "+mn-cs"})))


def _bar(identity, color, x, y, width, height):
    return text_shape(identity, f"Bar {identity}", (x, y, width, height), text_body([""]),
                      solid_fill(color))


def _master():
    shapes = [
        _holder(2, "title", _TITLE_PLACE, "Title"),
        _holder(3, "body", _BODY_PLACE, "Text", index=1),
    ]
    white = element("p:bg", None, element("p:bgPr", None, solid_fill(company.WHITE),
                                          element("a:effectLst")))
    return element("p:sldMaster", PREFIXES,
        element("p:cSld", None, white, slide_tree(shapes)),
        element("p:clrMap", _COLOR_MAP),
        element("p:sldLayoutIdLst", None, [
            element("p:sldLayoutId", {"id": 2147483648 + number, "r:id": f"rId{number}"})
            for number in (1, 2)]),
        element("p:txStyles", None,
            element("p:titleStyle", None, _level(32, company.TEAL, bold=True)),
            element("p:bodyStyle", None, _level(22, company.INK, bullet=True)),
            element("p:otherStyle")),
    )


def _layout(number, kind, name, shapes):
    data = element("p:sldLayout", {**PREFIXES, "type": kind, "preserve": 1},
        element("p:cSld", {"name": name}, slide_tree(shapes)),
        element("p:clrMapOvr", None, element("a:masterClrMapping")))
    return ooxml.Part(f"ppt/slideLayouts/slideLayout{number}.xml",
                      f"{_TYPE}.presentationml.slideLayout+xml", data,
                      {"rId1": ("slideMaster", "ppt/slideMasters/slideMaster1.xml")})


def _opening_shapes():
    return [
        _holder(2, "ctrTitle", (1.6, 11.3, 24.8, 2), "Title", _level(40, company.WHITE, bold=True)),
        _holder(3, "subTitle", (1.6, 13.3, 24.8, 1.4), "Subtitle", _level(20, company.PAPER), 1),
    ]


def _content_shapes():
    return [
        _bar(4, company.TEAL, 0, 0, 0.6, HEIGHT),
        _bar(5, company.AMBER, 1.85, 2.7, 4, 0.12),
        _holder(2, "title", _TITLE_PLACE, "Title"),
        _holder(3, None, _BODY_PLACE, "Text", index=1),
    ]


def _theme():
    colors = [
        element("a:" + name, None, element("a:srgbClr", {"val": color}))
        for name, color in _COLORS.items()
    ]
    return element("a:theme", {"xmlns:a": ooxml.DRAWING, "name": "Paper"},
        element("a:themeElements", None,
            element("a:clrScheme", {"name": "Paper"}, colors),
            element("a:fontScheme", {"name": "Paper"},
                    _fonts("a:majorFont"), _fonts("a:minorFont")),
            _format_scheme()))


def _fonts(name):
    return element(name, None,
        element("a:latin", {"typeface": company.SANS}),
        element("a:ea", {"typeface": ""}), element("a:cs", {"typeface": ""}))


def _format_scheme():
    """Plain fills, lines and effects; a theme must name three of each."""
    fill = Xml('<a:solidFill><a:schemeClr val="phClr"/></a:solidFill>')
    effect = Xml("<a:effectStyle><a:effectLst/></a:effectStyle>")
    lines = [element("a:ln", {"w": width}, fill) for width in (6350, 12700, 19050)]
    return element("a:fmtScheme", {"name": "Paper"},
        element("a:fillStyleLst", None, [fill] * 3),
        element("a:lnStyleLst", None, lines),
        element("a:effectStyleLst", None, [effect] * 3),
        element("a:bgFillStyleLst", None, [fill] * 3))
