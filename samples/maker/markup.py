# SPDX-License-Identifier: Apache-2.0
"""XML as text: plain strings are escaped on their way in, markup is not."""

from xml.sax.saxutils import escape, quoteattr

DECLARATION = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n'


class Xml(str):
    """Text that is markup already."""


def content(*children):
    """Joins markup, plain strings (escaped), lists of either, and None (nothing)."""
    return Xml("".join(_piece(child) for child in children))


def element(name, attributes=None, *children):
    """One element; an attribute whose value is None is left out."""
    inner = content(*children)
    opening = name + "".join(
        f" {key}={quoteattr(str(value))}"
        for key, value in (attributes or {}).items()
        if value is not None
    )
    return Xml(f"<{opening}>{inner}</{name}>" if inner else f"<{opening}/>")


def document(root):
    """A whole XML file with the given root element."""
    return DECLARATION + root + "\n"


def namespaces(table):
    """The attributes that declare the prefixes of the table."""
    return {f"xmlns:{prefix}": address for prefix, address in table.items()}


def _piece(child):
    if child is None:
        return ""
    if isinstance(child, Xml):
        return child
    if isinstance(child, str):
        return escape(child)
    return content(*child)
