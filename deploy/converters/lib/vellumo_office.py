# SPDX-License-Identifier: Apache-2.0
"""Starts an office, and loads, updates and exports documents in it."""

import os
import subprocess
import time

import uno
from com.sun.star.beans import PropertyValue
from com.sun.star.connection import NoConnectException
from com.sun.star.lang import DisposedException
from com.sun.star.uno import Exception as UnoException

LOAD_FAILED = 5
OFFICE_FAILED = 6

OFFICE = os.path.dirname(os.path.realpath('/usr/bin/soffice')) + '/soffice.bin'
# By default the office looks for its profile in the home directory of its user's account, and its user
# has none.
PROFILE = '-env:UserInstallation=file://' + os.environ['HOME'] + '/.config/libreoffice/4'
PROFILE_MAKER = os.path.dirname(os.path.abspath(__file__)) + '/../bin/office-profile'
START_AGAIN = 81  # the office's exit status after it has set up a new profile
START_LIMIT = 60  # seconds
POLL = 0.02  # seconds
END_LIMIT = 0.2  # seconds within which an office that has dropped a call also ends

# The first service that a document supports decides.
EXPORT_FILTERS = (
    ('com.sun.star.text.WebDocument', 'writer_web_pdf_Export'),
    ('com.sun.star.text.GlobalDocument', 'writer_globaldocument_pdf_Export'),
    ('com.sun.star.text.TextDocument', 'writer_pdf_Export'),
    ('com.sun.star.sheet.SpreadsheetDocument', 'calc_pdf_Export'),
    ('com.sun.star.presentation.PresentationDocument', 'impress_pdf_Export'),
    ('com.sun.star.drawing.DrawingDocument', 'draw_pdf_Export'),
    ('com.sun.star.formula.FormulaProperties', 'math_pdf_Export'),
)


class Failure(Exception):
    """The reason why a document could not be converted, with unoconv's exit status for it."""

    def __init__(self, status, message):
        super().__init__(message)
        self.status = status


def properties(**values):
    return tuple(PropertyValue(name, 0, value, 0) for name, value in values.items())


class Office:
    """A context manager that runs an office with its own profile in $HOME and kills it at the end
    of the block. `options` are arguments for subprocess.Popen."""

    def __init__(self, **options):
        self.options = options
        # Every user of the machine can see the name, but only this user may connect.
        self.address = f'pipe,name=vellumo{os.getpid()};urp;'
        self.process = None

    def __enter__(self):
        subprocess.run([PROFILE_MAKER], check=True)
        self.start()
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()

    def start(self):
        self.process = subprocess.Popen(
            [OFFICE, PROFILE, '--headless', '--invisible', '--norestore', '--nologo', '--nodefault',
             '--nolockcheck', '--nofirststartwizard', '--accept=' + self.address],
            stdin=subprocess.DEVNULL, **self.options)

    def desktop(self):
        local = uno.getComponentContext()
        resolver = local.ServiceManager.createInstanceWithContext(
            'com.sun.star.bridge.UnoUrlResolver', local)
        deadline = time.monotonic() + START_LIMIT
        while time.monotonic() < deadline:
            try:
                context = resolver.resolve(f'uno:{self.address}StarOffice.ComponentContext')
                return context.ServiceManager.createInstanceWithContext(
                    'com.sun.star.frame.Desktop', context)
            except NoConnectException:
                self.check_start()
                time.sleep(POLL)
        raise Failure(OFFICE_FAILED, f'the office did not start within {START_LIMIT} s')

    def check_start(self):
        status = self.process.poll()
        if status == START_AGAIN:
            self.start()
        elif status is not None:
            raise Failure(OFFICE_FAILED, f'the office ended with status {status}')

    def killed(self):
        """The exit status, as a shell counts it, if a signal has ended the office; else None."""
        try:
            status = self.process.wait(END_LIMIT)
        except subprocess.TimeoutExpired:
            return None
        return 128 - status if status < 0 else None


def load(desktop, source):
    # NEVER_EXECUTE macros, NO_UPDATE of links: 0 is the strictest value of both.
    options = properties(Hidden=True, ReadOnly=True, MacroExecutionMode=0, UpdateDocMode=0)
    try:
        document = desktop.loadComponentFromURL(
            uno.systemPathToFileUrl(os.path.abspath(source)), '_blank', 0, options)
    except UnoException as error:
        raise Failure(LOAD_FAILED, f'{source}: {error}') from error
    if document is None:
        raise Failure(LOAD_FAILED, f'{source} could not be loaded')
    return document


def update_indexes(document):
    """Updates them twice: a table of contents that grows moves the pages that it refers to."""
    if not hasattr(document, 'getDocumentIndexes'):
        return
    indexes = document.getDocumentIndexes()
    for _ in range(2 if indexes.getCount() else 0):
        document.refresh()
        for i in range(indexes.getCount()):
            indexes.getByIndex(i).update()


def hide_tracked_changes(document):
    if hasattr(document, 'ShowChanges'):
        document.ShowChanges = False


def fit_sheets_to_page_width(document):
    if not hasattr(document, 'Sheets'):
        return
    styles = document.StyleFamilies.getByName('PageStyles')
    for name in {sheet.PageStyle for sheet in document.Sheets}:
        style = styles.getByName(name)
        style.ScaleToPagesY = 0  # as many pages as necessary
        style.ScaleToPagesX = 1


def export(document, target, page_range):
    for service, name in EXPORT_FILTERS:
        if document.supportsService(service):
            break
    else:
        raise Failure(OFFICE_FAILED, 'there is no PDF of this kind of document')
    values = properties(PageRange=page_range) if page_range else ()
    data = uno.Any('[]com.sun.star.beans.PropertyValue', values)
    document.storeToURL(uno.systemPathToFileUrl(os.path.abspath(target)),
                        properties(FilterName=name, FilterData=data))


def refresh(document, fit):
    """Does what unoconv, unlike soffice, does to a document before it exports it."""
    update_indexes(document)
    hide_tracked_changes(document)
    if fit:
        fit_sheets_to_page_width(document)
