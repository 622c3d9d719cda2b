#!/usr/bin/env python3
"""Prints the rows of result files as one table, ready for docs/performance.md, and puts them into
one file. Says when, by what compilers and on what processor.

    bench/table.py OUTPUT INPUT...
"""

import datetime
import json
import os
import pathlib
import re
import sys

# A target that is the benchmark's own has this behind it.
OWN = " (ours)"


def meets(ratio, wanted):
    """Whether a ratio is as wanted, such as ">= 1.5" or "0.9 .. 1.1"; None when nothing is."""
    if wanted is None or ratio is None:
        return None
    first, *rest = wanted.removesuffix(OWN).split()
    if first == "<=":
        return ratio <= float(rest[0])
    if first == ">=":
        return ratio >= float(rest[0])
    between, greatest = rest
    if between != "..":
        sys.exit(f"table.py: not a target: {wanted}")
    return float(first) <= ratio <= float(greatest)


def verdict(row):
    if meets(row["ratio"], row["stretch"]):
        return "stretch"
    met = meets(row["ratio"], row["target"])
    if met is None:
        return "-" if row["stretch"] is None else "no"
    return "yes" if met else "MISSED"


def number(value, digits=4):
    if value is None:
        return "-"
    if abs(value) >= 10 ** digits:
        return f"{value:.0f}"
    return f"{value:#.{digits}g}".rstrip(".")


def ratio(value):
    """Targets have five digits."""
    return number(value, 5)


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
        ratio(row["ratio"]),
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


def processor():
    names = re.findall(r"^model name\s*: (.+)$", pathlib.Path("/proc/cpuinfo").read_text(),
                       re.MULTILINE)
    return f"{os.cpu_count()} cores of {names[0] if names else 'an unknown processor'}"


def main():
    output, *inputs = map(pathlib.Path, sys.argv[1:])
    parts = [json.loads(path.read_text()) for path in inputs]
    rows = [row for part in parts for row in part["rows"]]
    for row in rows:
        row["met"] = verdict(row)
    results = {
        "date": datetime.date.today().isoformat(),
        "compilers": [part["compiler"] for part in parts],
        "processor": processor(),
        "rows": rows,
    }
    output.write_text(json.dumps(results, indent=2) + "\n")
    print(f"{results['date']}, {', '.join(results['compilers'])}, {results['processor']}.\n")
    print(table(rows))


if __name__ == "__main__":
    main()
