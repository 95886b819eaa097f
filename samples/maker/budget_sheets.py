# SPDX-License-Identifier: Apache-2.0
"""The numbers of budget.xlsx: every formula comes with the value that it has."""

from dataclasses import dataclass
from decimal import Decimal

_MONTHS = ("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")

# The day number that spreadsheets give to Monday, 1 January 2024.
_FIRST_MONDAY = 45292
_ENTRY_COUNT = 72
_OPENING_CENTS = 1284050
# Counterpart, account, usual amount in cents (money that leaves is negative).
_ENTRIES = (
    ("Harbour Library, laid paper", "Sales", 148200),
    ("Linen rags, collection round", "Fibre", -31250),
    ("Saturday market", "Sales", 62480),
    ("Wages, vat hall", "Wages", -118000),
    ("Gelatine and wheat starch", "Size and dye", -8640),
    ("Museum shop, notebooks", "Sales", 93500),
    ("Firewood, two cords", "Energy", -24000),
    ("School class, guided visit", "Visits", 12600),
    ("Felts for the press", "Tools", -17320),
    ("Bookbinder’s guild, end papers", "Sales", 120750),
    ("Postage and boxes", "Dispatch", -9915),
    ("Wages, drying loft", "Wages", -86500),
)

# Name, remark, and euros planned for an ordinary month.
_INCOME = (
    ("Sheets, white", "Vat 1, all weights", 4200),
    ("Sheets, dyed", "Madder, walnut, indigo", 2350),
    ("Notebooks", "Sewn in the loft", 1880),
    ("Envelopes", "Cut from second choice", 640),
    ("Workshops", "Two Saturdays a month", 900),
    ("Guided visits", "Schools free of charge", 310),
)
_COSTS = (
    ("Fibre", "Linen, cotton, hemp", 1150),
    ("Size and dye", "Gelatine, starch, madder", 420),
    ("Energy", "Wood, current", 780),
    ("Tools", "Moulds, felts, knives", 350),
    ("Dispatch", "Boxes, postage", 460),
    ("Wages", "Four people, part time", 4900),
    ("Upkeep of the mill", "Wheel, race, roof", 520),
    ("File server", "Current, discs, off-site copy", 95),
)
# Per cent of an ordinary month: the race is cleaned in July, and letters are written in December.
_SEASON = (92, 94, 104, 98, 106, 102, 70, 96, 108, 110, 114, 106)


@dataclass(frozen=True)
class Cell:
    """A value (text, number, or None for an empty cell), a style, and perhaps a formula."""

    value: object
    style: str
    formula: str = ""


@dataclass(frozen=True)
class Sheet:
    """A sheet: widths in characters, rows from the first on, head_row repeated on each page."""

    name: str
    widths: tuple
    head_row: int
    rows: list
    orientation: str = "portrait"


def sheets():
    return [_ledger(), _plan()]


def column(index):
    """The letter of a column, counted from 0; no sheet here has more than 26."""
    return chr(ord("A") + index)


def _ledger():
    head = ("Date", "Voucher", "Counterpart", "Account", "In", "Out", "Balance")
    rows = [
        [Cell("Ledger, January and February 2024", "title")],
        [Cell("One line for each voucher; the balance is carried forward.", "note")],
        [],
        _head(head, first_number=4),
        [Cell(None, "text"), Cell(None, "text"), Cell("Brought forward", "text"),
         *[Cell(None, "text")] * 3, Cell(_euros(_OPENING_CENTS), "money")],
    ]
    amounts = [_amount(index) for index in range(_ENTRY_COUNT)]
    balance = _OPENING_CENTS
    for index, amount in enumerate(amounts):
        balance += amount
        rows.append(_entry(index, amount, balance, len(rows) + 1))
    rows.append(_ledger_sum(amounts, balance, len(rows)))
    return Sheet("Ledger", (10.5, 9, 26, 11.5, 11, 11, 11.5), 4, rows)


def _amount(index):
    usual = _ENTRIES[index % len(_ENTRIES)][2]
    return usual * (88 + index * 37 % 25) // 100


def _entry(index, amount, balance, row):
    counterpart, account, _ = _ENTRIES[index % len(_ENTRIES)]
    workday = 1 + index * 42 // (_ENTRY_COUNT - 1)
    serial = _FIRST_MONDAY + workday // 5 * 7 + workday % 5
    return [
        Cell(serial, "date"),
        Cell(f"V-{index + 1:03}", "text"),
        Cell(counterpart, "text"),
        Cell(account, "text"),
        Cell(_euros(amount) if amount > 0 else None, "money"),
        Cell(_euros(-amount) if amount < 0 else None, "money"),
        Cell(_euros(balance), "money", f"G{row - 1}+E{row}-F{row}"),
    ]


def _ledger_sum(amounts, balance, last):
    income = sum(amount for amount in amounts if amount > 0)
    costs = -sum(amount for amount in amounts if amount < 0)
    return [
        Cell("Sum", "sum_text"),
        *[Cell(None, "sum_text")] * 3,
        Cell(_euros(income), "sum_money", f"SUM(E6:E{last})"),
        Cell(_euros(costs), "sum_money", f"SUM(F6:F{last})"),
        Cell(_euros(balance), "sum_money", f"G{last}"),
    ]


def _euros(cents):
    return Decimal(cents) / 100


def _plan():
    head = ("Account", "Remark", *_MONTHS, "Year", "Month Ø", "Share", "2023", "Change")
    income = [_months(usual) for _, _, usual in _INCOME]
    costs = [_months(usual, damping=2) for _, _, usual in _COSTS]
    first_cost = 5 + len(_INCOME) + 3
    rows = [
        [Cell("Year plan 2024", "title")],
        [Cell("Whole euros. The sheet is wider than a page on purpose: it is read best when it is "
              "fitted to the page’s width.", "note")],
        [],
        _head(head, first_number=2),
        *_group("Income", _INCOME, income, 6),
        *_group("Costs", _COSTS, costs, first_cost),
        [],
        _result(income, costs, first_cost),
    ]
    widths = (20, 26, *[9.5] * 12, 11, 10, 9, 11, 10)
    return Sheet("Year plan", widths, 4, rows, "landscape")


def _months(usual, damping=1):
    """The twelve months of an account; costs follow the season by half only."""
    return [usual * (100 + (season - 100) // damping) // 100 for season in _SEASON]


def _group(title, accounts, months, first):
    total_row = first + len(accounts)
    all_months = [sum(values) for values in zip(*months)]
    year = sum(all_months)
    rows = [[Cell(title, "group")]]
    for offset, ((name, remark, _), values) in enumerate(zip(accounts, months)):
        cells = [Cell(value, "whole") for value in values]
        row = first + offset
        last_year = _year_before(sum(values), offset)
        before = Cell(last_year, "whole")
        rows.append([Cell(name, "text"), Cell(remark, "text"), *cells,
                     *_row_figures(row, (sum(values), year, last_year), total_row, before, "")])
    last_year = sum(_year_before(sum(values), offset) for offset, values in enumerate(months))
    before = Cell(last_year, "sum_whole", _column_sum(17, first, total_row))
    sums = [
        Cell(value, "sum_whole", _column_sum(index, first, total_row))
        for index, value in enumerate(all_months, start=2)
    ]
    rows.append([Cell(f"{title} together", "sum_text"), Cell(None, "sum_text"), *sums,
                 *_row_figures(total_row, (year, year, last_year), total_row, before, "sum_")])
    return rows


def _row_figures(row, figures, total_row, before, kind):
    """Year, month's average, share, year before (given) and change of one row."""
    year, group_year, last_year = figures
    return [
        Cell(year, kind + "whole", f"SUM(C{row}:N{row})"),
        Cell(year / 12, kind + "whole", f"AVERAGE(C{row}:N{row})"),
        Cell(year / group_year, kind + "share", f"O{row}/O${total_row}"),
        before,
        Cell(year / last_year - 1, kind + "change", f"O{row}/R{row}-1"),
    ]


def _year_before(year, offset):
    return year * (90 + offset * 7 % 16) // 100


def _column_sum(index, first, total_row):
    return f"SUM({column(index)}{first}:{column(index)}{total_row - 1})"


def _result(income, costs, first_cost):
    income_row, costs_row = 6 + len(_INCOME), first_cost + len(_COSTS)
    months = [
        sum(gains) - sum(losses) for gains, losses in zip(zip(*income), zip(*costs))
    ]
    values = [*months, sum(months)]
    return [
        Cell("Result", "sum_text"),
        Cell("Income less costs", "sum_text"),
        *[
            Cell(value, "sum_whole", f"{column(index)}{income_row}-{column(index)}{costs_row}")
            for index, value in enumerate(values, start=2)
        ],
    ]


def _head(titles, first_number):
    """A heading row; the titles from first_number on stand above numbers."""
    return [
        Cell(title, "head_right" if index >= first_number else "head")
        for index, title in enumerate(titles)
    ]
