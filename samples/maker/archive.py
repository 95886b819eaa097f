# SPDX-License-Identifier: Apache-2.0
"""ZIP archives whose bytes depend on nothing but their members."""

import io
import zipfile

from . import company


def pack(members, stored=()):
    """The archive's bytes: members is a list of (name, text or bytes), kept in order.

    The names in stored are not compressed, which ODF and EPUB ask of their "mimetype".
    """
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w") as archive:
        for name, data in members:
            method = zipfile.ZIP_STORED if name in stored else zipfile.ZIP_DEFLATED
            archive.writestr(_entry(name), data, compress_type=method, compresslevel=9)
    return buffer.getvalue()


def _entry(name):
    entry = zipfile.ZipInfo(name, (company.YEAR, company.MONTH, company.DAY, 9, 0, 0))
    entry.create_system = 3  # otherwise the system that runs the script is recorded
    entry.external_attr = 0o644 << 16
    return entry
