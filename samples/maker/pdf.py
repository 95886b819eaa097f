# SPDX-License-Identifier: Apache-2.0
"""A small PDF writer: pages of vector graphics and text in the standard fonts."""

import hashlib
import zlib

from . import company
from .markup import element, namespaces

WIDTH, HEIGHT = 595, 842

# Resource name and standard font.
_FONTS = {
    "F1": "Helvetica",
    "F2": "Helvetica-Bold",
    "F3": "Helvetica-Oblique",
    "F4": "Times-Italic",
}
SANS, BOLD, OBLIQUE, ITALIC = _FONTS

# Advance widths of Helvetica from space to tilde, in thousandths of the size.
_WIDTHS = (
    278, 278, 355, 556, 556, 889, 667, 191, 333, 333, 389, 584, 278, 333, 278, 278, 556, 556, 556,
    556, 556, 556, 556, 556, 556, 556, 278, 278, 584, 584, 584, 556, 1015, 667, 667, 722, 722, 667,
    611, 778, 722, 278, 500, 667, 556, 833, 722, 778, 667, 778, 722, 667, 611, 722, 667, 944, 667,
    667, 611, 278, 278, 278, 469, 556, 333, 556, 556, 500, 556, 556, 278, 556, 556, 222, 222, 500,
    222, 833, 556, 556, 556, 556, 333, 500, 278, 556, 500, 722, 500, 500, 500, 334, 260, 334, 584,
)
_OTHER_WIDTH = 556

# How far a Bézier curve's handles reach for a quarter of a circle.
_ROUND = 0.5523


def text_width(text, size):
    """The width of a text in Helvetica."""
    return sum(_letter_width(letter) for letter in text) * size / 1000


def wrap(text, size, width):
    """The text in lines that are no wider than width in Helvetica."""
    lines = [""]
    for word in text.split():
        longer = f"{lines[-1]} {word}".strip()
        if text_width(longer, size) <= width:
            lines[-1] = longer
        else:
            lines.append(word)
    return lines


class Page:
    """A page under construction; coordinates are points from the top left, colours RRGGBB."""

    def __init__(self, title):
        self.title = title
        self._operations = []

    def rect(self, x, y, width, height, color):
        self._paint(color, f"{_number(x)} {_up(y + height)} {_number(width)} {_number(height)} re")

    def polygon(self, points, color):
        first, *others = points
        self.shape(first, others, color)

    def disc(self, x, y, radius, color):
        handle = radius * _ROUND
        self.shape((x + radius, y), [
            (x + radius, y + handle, x + handle, y + radius, x, y + radius),
            (x - handle, y + radius, x - radius, y + handle, x - radius, y),
            (x - radius, y - handle, x - handle, y - radius, x, y - radius),
            (x + handle, y - radius, x + radius, y - handle, x + radius, y),
        ], color)

    def shape(self, start, curves, color):
        """Fills an outline: a curve has two handles and an end, a straight side only an end."""
        self._paint(color, f"{_point(*start)} m", *_outline(curves), "h")

    def stroke(self, start, curves, width, color):
        """Draws the same kind of outline as an open line with round ends."""
        self._add("q", f"{_color(color)} RG {_number(width)} w 1 J 1 j", f"{_point(*start)} m",
                  *_outline(curves), "S Q")

    def text(self, x, y, text, size, color, font=SANS):
        """One line with its baseline at y."""
        self._add(f"BT /{font} {size} Tf {_color(color)} rg", f"{_point(x, y)} Td",
                  f"{_string(text)} Tj ET")

    def text_right(self, x, y, text, size, color):
        """One line in Helvetica that ends at x."""
        self.text(x - text_width(text, size), y, text, size, color)

    def paragraph(self, x, y, width, text, size, color):
        """Lines in Helvetica, the first with its baseline at y; returns the next free baseline."""
        for line in wrap(text, size, width):
            self.text(x, y, line, size, color)
            y += size * 1.45
        return y

    def content(self):
        return "\n".join(self._operations).encode("cp1252")

    def _paint(self, color, *outline):
        self._add(f"{_color(color)} rg", *outline, "f")

    def _add(self, *operations):
        self._operations.extend(operations)


def write(pages, title, subject, keywords):
    """The file's bytes: pages with an outline entry each."""
    objects = _Objects()
    info = objects.add(_information(title, subject, keywords))
    kind = b"/Type /Metadata /Subtype /XML "
    metadata = objects.add_stream(kind, _xmp(title, subject), packed=False)
    fonts = " ".join(f"/{name} {objects.add(_font(base))} 0 R" for name, base in _FONTS.items())
    tree = objects.reserve()
    kids = [objects.add(_page_object(page, objects, tree, fonts)) for page in pages]
    listed = " ".join(f"{kid} 0 R" for kid in kids)
    objects.put(tree, f"<< /Type /Pages /Count {len(kids)} /Kids [ {listed} ] >>")
    outlines = _outlines(objects, pages, kids)
    catalog = objects.add(f"<< /Type /Catalog /Pages {tree} 0 R /Outlines {outlines} 0 R "
                          f"/Metadata {metadata} 0 R /Lang (en-GB) >>")
    return objects.file(catalog, info)


class _Objects:
    """The numbered objects of a file, and the table that says where each begins."""

    def __init__(self):
        self._bodies = []

    def reserve(self):
        self._bodies.append(None)
        return len(self._bodies)

    def put(self, number, body):
        self._bodies[number - 1] = body if isinstance(body, bytes) else body.encode("cp1252")

    def add(self, body):
        number = self.reserve()
        self.put(number, body)
        return number

    def add_stream(self, entries, data, packed=True):
        if packed:
            data = zlib.compress(data, 9)
            entries += b"/Filter /FlateDecode "
        head = b"<< " + entries + b"/Length %d >>\nstream\n" % len(data)
        return self.add(head + data + b"\nendstream")

    def file(self, catalog, info):
        data = b"%PDF-1.7\n%\xe2\xe3\xcf\xd3\n"
        offsets = []
        for number, body in enumerate(self._bodies, start=1):
            offsets.append(len(data))
            data += b"%d 0 obj\n%s\nendobj\n" % (number, body)
        entries = "".join(f"{offset:010} 00000 n \n" for offset in offsets)
        identity = hashlib.sha256(data).hexdigest()[:32].upper()
        end = (
            f"xref\n0 {len(offsets) + 1}\n0000000000 65535 f \n{entries}"
            f"trailer\n<< /Size {len(offsets) + 1} /Root {catalog} 0 R /Info {info} 0 R "
            f"/ID [ <{identity}> <{identity}> ] >>\nstartxref\n{len(data)}\n%%EOF\n"
        )
        return data + end.encode("ascii")


def _page_object(page, objects, tree, fonts):
    content = objects.add_stream(b"", page.content())
    return (f"<< /Type /Page /Parent {tree} 0 R /MediaBox [ 0 0 {WIDTH} {HEIGHT} ] "
            f"/Resources << /Font << {fonts} >> >> /Contents {content} 0 R >>")


def _outlines(objects, pages, kids):
    root = objects.reserve()
    numbers = [objects.reserve() for _ in pages]
    for index, (page, number) in enumerate(zip(pages, numbers)):
        neighbours = f"/Prev {numbers[index - 1]} 0 R " if index else ""
        if index + 1 < len(numbers):
            neighbours += f"/Next {numbers[index + 1]} 0 R "
        objects.put(number, f"<< /Title {_string(page.title)} /Parent {root} 0 R {neighbours}"
                            f"/Dest [ {kids[index]} 0 R /Fit ] >>")
    objects.put(root, f"<< /Type /Outlines /First {numbers[0]} 0 R /Last {numbers[-1]} 0 R "
                      f"/Count {len(numbers)} >>")
    return root


def _information(title, subject, keywords):
    stamp = f"(D:{company.YEAR}{company.MONTH:02}{company.DAY:02}090000Z)"
    texts = {"Title": title, "Author": company.NAME, "Subject": subject, "Keywords": keywords,
             "Creator": "make-samples", "Producer": "make-samples"}
    entries = " ".join(f"/{key} {_string(text)}" for key, text in texts.items())
    return f"<< {entries} /CreationDate {stamp} /ModDate {stamp} >>"


def _xmp(title, subject):
    prefixes = {"dc": "http://purl.org/dc/elements/1.1/", "xmp": "http://ns.adobe.com/xap/1.0/"}

    def in_language(name, text):
        entry = element("rdf:li", {"xml:lang": "x-default"}, text)
        return element(name, None, element("rdf:Alt", None, entry))

    description = element("rdf:Description", {"rdf:about": "", **namespaces(prefixes)},
        in_language("dc:title", title),
        in_language("dc:description", subject),
        element("dc:creator", None,
                element("rdf:Seq", None, element("rdf:li", None, company.NAME))),
        element("xmp:CreatorTool", None, "make-samples"),
        element("xmp:CreateDate", None, company.TIMESTAMP),
        element("xmp:ModifyDate", None, company.TIMESTAMP))
    rdf_prefix = namespaces({"rdf": "http://www.w3.org/1999/02/22-rdf-syntax-ns#"})
    rdf = element("rdf:RDF", rdf_prefix, description)
    packet = element("x:xmpmeta", {"xmlns:x": "adobe:ns:meta/"}, rdf)
    head = '<?xpacket begin="\ufeff" id="W5M0MpCehiHzreSzNTczkc9d"?>\n'
    return (head + packet + '\n<?xpacket end="r"?>').encode("utf-8")


def _font(base):
    return f"<< /Type /Font /Subtype /Type1 /BaseFont /{base} /Encoding /WinAnsiEncoding >>"


def _letter_width(letter):
    index = ord(letter) - ord(" ")
    return _WIDTHS[index] if 0 <= index < len(_WIDTHS) else _OTHER_WIDTH


def _outline(curves):
    return [
        " ".join(_point(*curve[at : at + 2]) for at in range(0, len(curve), 2))
        + (" c" if len(curve) == 6 else " l")
        for curve in curves
    ]


def _point(x, y):
    return f"{_number(x)} {_up(y)}"


def _up(y):
    return _number(HEIGHT - y)


def _number(value):
    return f"{round(value, 2):g}"


def _color(color):
    return " ".join(_number(channel / 255) for channel in bytes.fromhex(color))


def _string(text):
    """A string object; the text must be of the Windows Latin alphabet."""
    for letter in "\\()":
        text = text.replace(letter, "\\" + letter)
    return f"({text})"
