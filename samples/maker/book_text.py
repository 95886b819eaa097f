# SPDX-License-Identifier: Apache-2.0
"""The text of book.epub."""

from .markup import element

TITLE = "From Rag to Reader"
DESCRIPTION = "How a shirt becomes a sheet, a sheet a page, and a page a file that nobody loses."


def _p(text):
    return element("p", None, text)


def _h(text):
    return element("h2", None, text)


def _quote(text):
    return element("blockquote", None, _p(text))


def _list(name, *texts):
    return element(name, None, [element("li", None, text) for text in texts])


def _table(*rows):
    head, *lines = [
        element("tr", None, [element("td" if index else "th", None, cell) for cell in row])
        for index, row in enumerate(rows)
    ]
    return element("table", None, element("thead", None, head), element("tbody", None, lines))


_RAG = [
    _p("Every sheet that leaves the mill has been something else before. Mostly it was a shirt. "
       "Shirts of linen are best: washed a hundred times, they have lost everything that was hard "
       "about them, and what remains is fibre, soft and long."),
    _p("On Tuesdays the boxes come in from the valley. They stand at the baker’s, at the school "
       "and beside the bridge, and somebody always puts in a single sock, which is of no use to "
       "anyone. The sorting takes a morning. Buttons go into a jar; the jar is older than all of "
       "us, and no one has ever counted what is in it."),
    _h("What a rag must be able to do"),
    _list("ul",
          "It must be a plant: linen, cotton or hemp. Wool felts, and silk sulks.",
          "It must be clean, but it may be worn, faded and full of holes.",
          "It must tear. What cannot be torn by hand will not be parted by water."),
    _p("Then the knives have their turn, and after them the beater: a wheel in a trough, driven by "
       "the brook, that strokes the rags for four hours. Nothing is cut there. The water walks "
       "between the fibres, and they let go of each other, one by one."),
    element("p", {"class": "cover"},
            element("img", {"src": "images/mill.png", "alt": "The mill at its brook"})),
    _quote("A shirt gives up being a shirt much more easily than we give up being tired."),
    _p("In the evening the trough is full of something that looks like milk and feels like "
       "nothing. That is the pulp. Put in a finger, and it comes out wet. Put in a sieve, and it "
       "comes out with a sheet."),
]

_SHEET = [
    _p("The dip takes one breath. The mould goes in steep, lies down flat under the surface, and "
       "comes up level. Water runs off; the hands give it a shake from left to right and another "
       "from front to back, so that the fibres cross. Whoever thinks about it has spoiled the "
       "sheet. Whoever thinks about supper has a good one."),
    _h("The week of a sheet"),
    _table(("Day", "Where it is", "What happens to it"),
           ("Monday", "at the vat", "It is dipped, and laid on felt."),
           ("Tuesday", "under the press", "Ten tonnes squeeze out what the felt left in."),
           ("Wednesday", "in the loft", "It hangs, and the wind goes through."),
           ("Friday", "in the size", "Gelatine makes it ready for ink."),
           ("Sunday", "in the stack", "It lies, and becomes flat by being patient.")),
    _p("Not every sheet survives. One has a drop on it, the vatman’s tear, which is a thin round "
       "place where water fell from a sleeve. Another was lifted too soon and shows a fold like a "
       "frown. They are not thrown away. They go back into the trough and get another week; some "
       "sheets here have been dipped five times, and nobody can tell."),
    _p("People ask how thick a good sheet is. The answer is a weight: so and so many grams for a "
       "square metre. Ninety for letters to the office, one hundred and ten for letters to "
       "friends, three hundred for those who paint with a great deal of water."),
    _quote("Hold it against the light. If you see clouds, it is cheap. If you see rain, it is "
           "ours."),
]

_READER = [
    _p("A sheet is finished when somebody has read it. Until then it is only beautiful. That is "
       "why the last room of the mill is neither the loft nor the shop, but the small one behind "
       "the drying lines where a grey box hums: the file server."),
    _p("We were late with it. For years the letters of the house lay in cabinets, the recipes in "
       "a tin, and the plan of the upper floor in a drawer to which only the cat had access. Now "
       "all of it has been typed, drawn or scanned, and put into five folders with short names."),
    _h("Reading without opening"),
    _p("What we like best is that one can look at things. A recipe in a table, a plan of the "
       "house, the slides for the visitors: each is shown page by page, on any desk, by a browser "
       "that need not know what kind of document it is. Nothing is changed by looking. At the vat "
       "we have known this for centuries; it is pleasant that machines have learned it too."),
    _list("ol",
          "Choose a folder whose name says what you are looking for.",
          "Choose a document, and wait for as long as it takes to breathe in.",
          "Read. When you have finished, go back to what you were doing."),
    _p("At night, when nobody dips and nobody reads, the box makes a copy of everything and sends "
       "it to another house. In the morning there is a line in its book: so many files, so many "
       "pages, none lost. We print this line on the first sheet of every month. It hangs beside "
       "the door of the loft and moves a little when the wind goes through."),
    _quote("Paper is patient. Those who keep it well may be impatient about everything else."),
]

CHAPTERS = (("Rag", _RAG), ("Sheet", _SHEET), ("Reader", _READER))
