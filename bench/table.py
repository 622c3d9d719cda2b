#!/usr/bin/env python3
"""Prints the rows of result files as one table and puts them into one file.

    bench/table.py OUTPUT INPUT...
"""

import json
import operator
import pathlib
import sys

COMPARISONS = {"<=": operator.le, ">=": operator.ge}


def meets(ratio, wanted):
    """Whether a ratio is as wanted, such as ">= 1.5"; None when nothing is."""
    if wanted is None or ratio is None:
        return None
    sign, bound = wanted.split()
    return COMPARISONS[sign](ratio, float(bound))


def verdict(row):
    if meets(row["ratio"], row["stretch"]):
        return "stretch"
    met = meets(row["ratio"], row["target"])
    if met is None:
        return "-" if row["stretch"] is None else "no"
    return "yes" if met else "MISSED"


def number(value):
    return "-" if value is None else f"{value:#.4g}".rstrip(".")


def spread(value):
    """Half the inter-quartile range of the ratio, or its least and greatest."""
    if value is None:
        return "-"
    if isinstance(value, list):
        return "..".join(number(end) for end in value)
    return "±" + number(value)


def cells(row):
    return [
        row["measure"],
        number(row["ours"]),
        number(row["reference"]),
        row["unit"],
        number(row["ratio"]),
        spread(row["spread"]),
        row["target"] or "-",
        row["stretch"] or "-",
        row["met"],
    ]


HEADINGS = ["measure", "ours", "reference", "unit", "ratio", "spread", "target", "stretch", "met"]
TEXTS = {0, 3}


def table(rows):
    lines = [HEADINGS] + [cells(row) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADINGS))]
    rule = ["-" * (width - 1) + ("-" if column in TEXTS else ":")
            for column, width in enumerate(widths)]
    lines.insert(1, rule)
    return "\n".join(
        "| " + " | ".join(cell.ljust(width) if column in TEXTS else cell.rjust(width)
                          for column, (cell, width) in enumerate(zip(line, widths))) + " |"
        for line in lines)


def main():
    output, *inputs = map(pathlib.Path, sys.argv[1:])
    rows = [row for path in inputs for row in json.loads(path.read_text())["rows"]]
    for row in rows:
        row["met"] = verdict(row)
    output.write_text(json.dumps({"rows": rows}, indent=2) + "\n")
    print(table(rows))


if __name__ == "__main__":
    main()
