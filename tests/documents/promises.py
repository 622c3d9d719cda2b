"""Compares the guide on threads with the header: a row for each function of the DLL, which promises
neither more nor less than the function's own comment."""

import pathlib
import re

from exports import exported_functions
from markdown import Document

HEADS = ["function", "owner", "other threads", "callback", "blocks on", "at most"]
COMMENTED_FUNCTION = re.compile(
    r"/\*\*((?:(?!\*/).)*)\*/\s*RIDGE_API [^(;]*?(ridge\w+)\(", re.DOTALL)


def comments(header):
    return {name: " ".join(re.sub(r"^ \* ?", "", comment, flags=re.MULTILINE).split())
            for comment, name in COMMENTED_FUNCTION.findall(header)}


def row_complaints(row, comment):
    _, owner, others, callback, blocks_on, at_most = row
    if "" in row:
        yield "has an empty cell"
    if owner != "yes":
        yield "may be called by the context's owner"
    if others.startswith("yes") != ("Any thread" in comment):
        yield "differs from the header on other threads"
    if callback.startswith("yes") and others == "no":
        yield "cannot be for callbacks, which are another thread"
    does_not_block = bool(re.search(r"\b[Dd]oes not block", comment))
    if (blocks_on == "nothing") != does_not_block:
        yield "differs from the header on blocking"
    if (at_most == "–") != does_not_block:
        yield "differs from the header on how long it blocks"


def complaints(root, guide=None):
    root = pathlib.Path(root)
    tables = [table for table in Document(guide or root / "docs/guides/threads.md").tables()
              if table[0] == HEADS]
    if len(tables) != 1:
        yield f"threads.md has {len(tables)} tables of the functions"
        return
    rows = {row[0].strip("`"): row for row in tables[0][1:]}
    exported = exported_functions(root / "sdk/src/ridge-sdk.def")
    if len(tables[0]) - 1 != len(rows) or set(rows) != set(exported):
        yield (f"threads.md: the table has {len(tables[0]) - 1} rows, not one for each of the "
               f"{len(exported)} functions; {sorted(set(rows) ^ set(exported))}")
        return
    described = comments((root / "sdk/include/ridge-sdk.h").read_text(encoding="utf-8"))
    for name, row in rows.items():
        if len(row) != len(HEADS):
            yield f"threads.md: the row of {name} has {len(row)} cells"
            continue
        for complaint in row_complaints(row, described[name]):
            yield f"threads.md: {name} {complaint}"
