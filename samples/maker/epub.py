# SPDX-License-Identifier: Apache-2.0
"""book.epub: a short book of three chapters with a cover."""

from . import archive, book_text, company, jpeg, pictures
from .markup import Xml, document, element

_XHTML = "http://www.w3.org/1999/xhtml"
_OPS = "http://www.idpf.org/2007/ops"
_OPF = "http://www.idpf.org/2007/opf"
_NCX = "http://www.daisy.org/z3986/2005/ncx/"
_DC = "http://purl.org/dc/elements/1.1/"
_IDENTIFIER = "urn:uuid:5f0c6a52-7d3e-4b1b-9a64-2c1d8e90b7a1"
_STYLE = f"""body {{ font-family: serif; line-height: 1.45; margin: 5%; color: #{company.INK}; }}
h1 {{ font-family: sans-serif; color: #{company.TEAL}; border-bottom: 3px solid #{company.AMBER};
     padding-bottom: 0.3em; margin: 1em 0; }}
h2 {{ font-family: sans-serif; color: #{company.AMBER}; font-size: 1.15em; }}
p {{ margin: 0 0 0.8em; text-align: justify; }}
blockquote {{ font-style: italic; color: #{company.TEAL}; margin: 1em 2em; }}
table {{ border-collapse: collapse; margin: 1em auto; }}
th {{ background: #{company.TEAL}; color: #{company.WHITE}; text-align: left; }}
th, td {{ padding: 0.3em 0.9em; border-bottom: 1px solid #{company.SAGE}; }}
img {{ max-width: 100%; }}
.cover {{ text-align: center; margin: 0; }}
"""


def make():
    """The document's bytes."""
    members = [
        ("mimetype", "application/epub+zip"),
        ("META-INF/container.xml", _container()),
        ("OEBPS/content.opf", _package()),
        ("OEBPS/nav.xhtml", _navigation()),
        ("OEBPS/toc.ncx", _ncx()),
        ("OEBPS/cover.xhtml", _page("Cover", _cover_page())),
        *[(f"OEBPS/{name}.xhtml", _page(title, body)) for name, title, body in _chapters()],
        ("OEBPS/style.css", _STYLE),
        ("OEBPS/images/cover.jpg", jpeg.encode(_cover())),
        ("OEBPS/images/mill.png", pictures.mill().png()),
    ]
    return archive.pack(members, stored=("mimetype",))


def _cover():
    title_lines = ["FROM RAG", "TO READER"]
    return pictures.cover(title_lines, company.NAME.upper())


def _chapters():
    """File name, title and body of each chapter."""
    return [
        (f"chapter-{number}", title, [element("h1", None, f"{number}. {title}"), body])
        for number, (title, body) in enumerate(book_text.CHAPTERS, start=1)
    ]


def _cover_page():
    image = {"src": "images/cover.jpg", "alt": book_text.TITLE}
    return element("p", {"class": "cover"}, element("img", image))


def _page(title, body):
    attributes = {"xmlns": _XHTML, "xmlns:epub": _OPS, "xml:lang": "en", "lang": "en"}
    return document(element("html", attributes,
        element("head", None,
            element("title", None, title),
            element("link", {"rel": "stylesheet", "type": "text/css", "href": "style.css"})),
        element("body", None, body)))


def _container():
    root = {"full-path": "OEBPS/content.opf", "media-type": "application/oebps-package+xml"}
    address = "urn:oasis:names:tc:opendocument:xmlns:container"
    return document(element("container", {"version": "1.0", "xmlns": address},
        element("rootfiles", None, element("rootfile", root))))


def _package():
    reading = ["cover", *[name for name, _, _ in _chapters()]]
    return document(element("package",
        {"xmlns": _OPF, "version": "3.0", "unique-identifier": "book-id", "xml:lang": "en"},
        _metadata(),
        _manifest(),
        element("spine", {"toc": "ncx"},
            [element("itemref", {"idref": name}) for name in reading]),
        element("guide", None, element("reference",
            {"type": "cover", "title": "Cover", "href": "cover.xhtml"}))))


def _metadata():
    return element("metadata", {"xmlns:dc": _DC},
        element("dc:identifier", {"id": "book-id"}, _IDENTIFIER),
        element("dc:title", None, book_text.TITLE),
        element("dc:creator", None, company.NAME),
        element("dc:language", None, "en"),
        element("dc:date", None, company.TIMESTAMP),
        element("dc:description", None, book_text.DESCRIPTION),
        element("meta", {"property": "dcterms:modified"}, company.TIMESTAMP),
        # Readers of EPUB 2 find the cover by this, those of EPUB 3 by the manifest's property.
        element("meta", {"name": "cover", "content": "cover-image"}),
    )


def _manifest():
    xhtml = "application/xhtml+xml"
    items = [
        ("nav", "nav.xhtml", xhtml, "nav"),
        ("ncx", "toc.ncx", "application/x-dtbncx+xml", None),
        ("cover", "cover.xhtml", xhtml, None),
        *[(name, f"{name}.xhtml", xhtml, None) for name, _, _ in _chapters()],
        ("style", "style.css", "text/css", None),
        ("cover-image", "images/cover.jpg", "image/jpeg", "cover-image"),
        ("mill", "images/mill.png", "image/png", None),
    ]
    return element("manifest", None, [
        element("item", {"id": name, "href": path, "media-type": kind, "properties": properties})
        for name, path, kind, properties in items
    ])


def _navigation():
    entries = [
        element("li", None, element("a", {"href": f"{name}.xhtml"}, title))
        for name, title, _ in _chapters()
    ]
    contents = element("nav", {"epub:type": "toc", "id": "toc"},
        element("h1", None, "Contents"), element("ol", None, entries))
    landmarks = Xml('<nav epub:type="landmarks" hidden="hidden"><ol>'
                    '<li><a epub:type="cover" href="cover.xhtml">Cover</a></li>'
                    '<li><a epub:type="bodymatter" href="chapter-1.xhtml">Text</a></li>'
                    "</ol></nav>")
    return _page("Contents", [contents, landmarks])


def _ncx():
    points = [
        element("navPoint", {"id": name, "playOrder": order},
            element("navLabel", None, element("text", None, title)),
            element("content", {"src": f"{name}.xhtml"}))
        for order, (name, title, _) in enumerate(_chapters(), start=1)
    ]
    head = {"dtb:uid": _IDENTIFIER, "dtb:depth": 1, "dtb:totalPageCount": 0, "dtb:maxPageNumber": 0}
    return document(element("ncx", {"xmlns": _NCX, "version": "2005-1"},
        element("head", None, [
            element("meta", {"name": name, "content": value}) for name, value in head.items()]),
        element("docTitle", None, element("text", None, book_text.TITLE)),
        element("navMap", None, points)))
