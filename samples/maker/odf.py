# SPDX-License-Identifier: Apache-2.0
"""What the four OpenDocument families share: package, properties, styles."""

from . import archive, company
from .markup import content, document, element, namespaces

_URN = "urn:oasis:names:tc:opendocument:xmlns:"
_PREFIXES = namespaces({
    **{name: f"{_URN}{name}:1.0"
       for name in ("office", "style", "text", "table", "meta", "presentation", "manifest")},
    "draw": f"{_URN}drawing:1.0",
    "fo": f"{_URN}xsl-fo-compatible:1.0",
    "svg": f"{_URN}svg-compatible:1.0",
    "number": f"{_URN}datastyle:1.0",
    "of": f"{_URN}of:1.2",
    "xlink": "http://www.w3.org/1999/xlink",
    "dc": "http://purl.org/dc/elements/1.1/",
})
_VERSION = {"office:version": "1.2"}
_MEDIA = "application/vnd.oasis.opendocument."


def package(family, title, body, automatic, styles, pictures=None):
    """The document's bytes.

    family names both the media type and the body's element; automatic are the styles of the
    content, styles the children of styles.xml, pictures maps names to PNG bytes.
    """
    media = {"drawing": "graphics"}.get(family, family)
    pictures = {f"Pictures/{name}": data for name, data in (pictures or {}).items()}
    text = (
        element("office:automatic-styles", None, automatic),
        element("office:body", None, element("office:" + family, None, body)),
    )
    members = [
        ("mimetype", _MEDIA + media),
        ("content.xml", _file("content", *text)),
        ("styles.xml", _file("styles", styles)),
        ("meta.xml", _file("meta", _meta(title))),
        *pictures.items(),
        ("META-INF/manifest.xml", _manifest(_MEDIA + media, pictures)),
    ]
    return archive.pack(members, stored=("mimetype",))


def fonts():
    """The declaration of the fonts that all documents use."""
    return element("office:font-face-decls", None, [
        element("style:font-face", {
            "style:name": font, "svg:font-family": f"'{font}'", "style:font-family-generic": generic
        })
        for font, generic in ((company.SANS, "swiss"), (company.SERIF, "roman"))
    ])


def style(name, family, *properties, **attributes):
    """One style; keyword attributes are those of the style namespace, "_" standing for "-"."""
    table = {"style:name": name, "style:family": family, **_prefixed("style", attributes)}
    return element("style:style", table, properties)


def text_properties(size=None, color=None, bold=False, italic=False, font=company.SANS):
    return element("style:text-properties", {
        "style:font-name": font,
        "fo:font-size": f"{size}pt" if size else None,
        "fo:color": f"#{color}" if color else None,
        "fo:font-weight": "bold" if bold else None,
        "fo:font-style": "italic" if italic else None,
        "fo:language": "en",
        "fo:country": "GB",
    })


def paragraph_properties(**attributes):
    """Keywords are attributes of the fo namespace, "_" standing for "-"."""
    return element("style:paragraph-properties", _prefixed("fo", attributes))


def page_layout(name, width, height, margin, *, extra=(), **attributes):
    """A page of that size in centimetres; extra may hold its footer_space."""
    properties = {
        "fo:page-width": f"{width}cm",
        "fo:page-height": f"{height}cm",
        "fo:margin": f"{margin}cm",
        "style:print-orientation": "landscape" if width > height else "portrait",
        **_prefixed("style", attributes),
    }
    return element("style:page-layout", {"style:name": name},
                   element("style:page-layout-properties", properties), extra)


def footer_space(height, gap):
    """The room that a page keeps for its footer."""
    properties = {"fo:min-height": f"{height}cm", "fo:margin-top": f"{gap}cm"}
    return element("style:footer-style", None, element("style:header-footer-properties", properties))


def paragraph(style_name, *children):
    return element("text:p", {"text:style-name": style_name}, children)


def image(name):
    return element("draw:image", {
        "xlink:href": f"Pictures/{name}", "xlink:type": "simple", "xlink:show": "embed",
        "xlink:actuate": "onLoad",
    })


def page_number():
    return content(element("text:page-number", None, "1"))


def _prefixed(prefix, attributes):
    return {f"{prefix}:{key.replace('_', '-')}": value for key, value in attributes.items()}


def _file(kind, *children):
    return document(element(f"office:document-{kind}", {**_PREFIXES, **_VERSION}, children))


def _meta(title):
    return element("office:meta", None,
        element("meta:generator", None, "make-samples"),
        element("dc:title", None, title),
        element("dc:creator", None, company.NAME),
        element("meta:initial-creator", None, company.NAME),
        element("dc:language", None, "en-GB"),
        element("meta:creation-date", None, company.TIMESTAMP),
        element("dc:date", None, company.TIMESTAMP),
    )


def _manifest(media, pictures):
    files = {"/": media, **{f"{name}.xml": "text/xml" for name in ("content", "styles", "meta")}}
    files.update({name: "image/png" for name in pictures})
    entries = [
        element("manifest:file-entry", {"manifest:full-path": path, "manifest:media-type": kind})
        for path, kind in files.items()
    ]
    attributes = {"xmlns:manifest": _PREFIXES["xmlns:manifest"], "manifest:version": "1.2"}
    return document(element("manifest:manifest", attributes, entries))
