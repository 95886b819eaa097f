# SPDX-License-Identifier: Apache-2.0
"""The invented company whose papers the samples are, and the look that they share."""

NAME = "Quillbeck Paperworks"
ADDRESS = ("Quillbeck Paperworks", "12 Mill Lane", "Quillbeck")
MAIL = "office@quillbeck.example"

# Every document claims to be written at this moment, so that two runs give the same bytes.
YEAR, MONTH, DAY = 2024, 3, 1
DATE_LONG = "1 March 2024"
TIMESTAMP = "2024-03-01T09:00:00Z"

# Colours as RRGGBB.
TEAL = "1F4E5F"
AMBER = "D9902F"
SAGE = "7A9E87"
PAPER = "F6F1E7"
MIST = "DCE8EA"
INK = "26323A"
WHITE = "FFFFFF"

SANS = "Liberation Sans"
SERIF = "Liberation Serif"
