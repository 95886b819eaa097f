# SPDX-License-Identifier: Apache-2.0
"""What the three OOXML families share: parts, relationships, properties."""

from dataclasses import dataclass, field

from . import archive, company
from .markup import document, element, namespaces

_OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006"
_PACKAGE = "http://schemas.openxmlformats.org/package/2006"
_CORE_KIND = f"{_PACKAGE}/relationships/metadata/core-properties"
_CORE_TYPE = "application/vnd.openxmlformats-package.core-properties+xml"

RELATIONSHIPS = f"{_OFFICE}/relationships"
DRAWING = "http://schemas.openxmlformats.org/drawingml/2006/main"
PICTURE = "http://schemas.openxmlformats.org/drawingml/2006/picture"


@dataclass
class Part:
    """One part of a package; data is markup (its root) or the bytes of a PNG picture.

    Parts name each other by path; links maps a relationship's id to (kind, path).
    """

    path: str
    content_type: str
    data: object
    links: dict = field(default_factory=dict)


def package(main, parts, title):
    """The package's bytes: main is the part that a reader opens first."""
    core = Part("docProps/core.xml", _CORE_TYPE, _core(title))
    everything = [main, *parts, core]
    top = {"rId1": ("officeDocument", main.path), "rId2": (_CORE_KIND, core.path)}
    members = [("[Content_Types].xml", _content_types(everything)), _relationships("", top)]
    for part in everything:
        is_picture = isinstance(part.data, bytes)
        members.append((part.path, part.data if is_picture else document(part.data)))
        if part.links:
            members.append(_relationships(part.path, part.links))
    return archive.pack(members)


def _content_types(parts):
    defaults = [
        element("Default", {"Extension": extension, "ContentType": kind})
        for extension, kind in (
            ("rels", "application/vnd.openxmlformats-package.relationships+xml"),
            ("png", "image/png"),
        )
    ]
    overrides = [
        element("Override", {"PartName": "/" + part.path, "ContentType": part.content_type})
        for part in parts
        if not isinstance(part.data, bytes)
    ]
    return document(
        element("Types", {"xmlns": f"{_PACKAGE}/content-types"}, defaults, overrides)
    )


def _relationships(source, links):
    folder, _, name = source.rpartition("/")
    path = f"{folder}/_rels/{name}.rels" if folder else f"_rels/{name}.rels"
    entries = [
        element("Relationship", {
            "Id": identity,
            "Type": kind if "//" in kind else f"{RELATIONSHIPS}/{kind}",
            "Target": target if not source else "/" + target,
        })
        for identity, (kind, target) in links.items()
    ]
    return path, document(element("Relationships", {"xmlns": f"{_PACKAGE}/relationships"}, entries))


def _core(title):
    prefixes = {
        "cp": f"{_PACKAGE}/metadata/core-properties",
        "dc": "http://purl.org/dc/elements/1.1/",
        "dcterms": "http://purl.org/dc/terms/",
        "xsi": "http://www.w3.org/2001/XMLSchema-instance",
    }
    date_type = {"xsi:type": "dcterms:W3CDTF"}
    return element("cp:coreProperties", namespaces(prefixes),
        element("dc:title", None, title),
        element("dc:creator", None, company.NAME),
        element("dc:language", None, "en-GB"),
        element("dcterms:created", date_type, company.TIMESTAMP),
        element("dcterms:modified", date_type, company.TIMESTAMP),
    )
