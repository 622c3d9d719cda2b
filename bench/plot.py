#!/usr/bin/env python3
"""Draws what grows of the results into two pictures for docs/performance.md.

    bench/plot.py RESULTS FOLDER
"""

import collections
import json
import pathlib
import re
import subprocess
import sys

CAPTURE = re.compile(r"a byte beyond \d+ of a capture of (\d+), chunks of (\d+), / of (\d+)")
CONNECTIONS = re.compile(r"(.+), (\d+) connections, / 1 x (\d+) cores")


def capture_lines(rows):
    """Nanoseconds per byte over the block's length, by the length of a chunk."""
    lines = collections.defaultdict(dict)
    for row in rows:
        if match := CAPTURE.fullmatch(row["measure"]):
            longest, chunk, length = map(int, match.groups())
            line = lines[f"chunks of {chunk}"]
            line[longest] = row["ours"]
            line[length] = row["reference"]
    return lines


def connection_lines(rows):
    """How many times as fast as one connection, over the number of connections."""
    lines = collections.defaultdict(dict)
    for row in rows:
        if match := CONNECTIONS.fullmatch(row["measure"]):
            name, count, cores = match.groups()
            lines[name][1] = 1
            lines[name][int(count)] = row["ratio"] * int(cores)
    return lines


def draw(picture, lines, settings):
    if not lines:
        sys.exit(f"plot.py: no rows for {picture}")
    blocks = "".join(
        f"$line{number} << END\n"
        + "".join(f"{x} {y}\n" for x, y in sorted(line.items()))
        + "END\n"
        for number, line in enumerate(lines.values()))
    curves = ", ".join(f"$line{number} with linespoints linewidth 2 pointtype 7 title '{name}'"
                       for number, name in enumerate(lines))
    script = f"""
set terminal svg size 640,400 font 'sans-serif,12' background 'white'
set output '{picture}'
set grid
set key outside below
set yrange [0:*]
{settings}
{blocks}
plot {curves}
"""
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def main():
    results, folder = map(pathlib.Path, sys.argv[1:])
    rows = json.loads(results.read_text())["rows"]
    draw(folder / "performance-captures.svg", capture_lines(rows),
         "set logscale xy\nset xrange [8000:200000]\nset yrange [0.1:20000]\n"
         "set xtics (10000, 20000, 50000, 100000, 140000)\n"
         "set xlabel 'bytes of a block'\nset ylabel 'ns per byte'")
    draw(folder / "performance-connections.svg", connection_lines(rows),
         "set logscale x 2\nset xrange [0.9:9]\nset xtics (1, 2, 4, 8)\n"
         "set xlabel 'connections at once'\nset ylabel 'times as fast as one'")


if __name__ == "__main__":
    main()
