#!/usr/bin/env python3
"""Checks that the links of a folder's Markdown pages lead to files and headings in it.

    checklinks.py FOLDER
"""

import pathlib
import re
import sys


def without_code(page: str) -> str:
    return re.sub(r"^```.*?^```", "", page, flags=re.DOTALL | re.MULTILINE)


def anchors(page: pathlib.Path) -> set[str]:
    """The names that headings get: lower case, punctuation dropped, spaces to hyphens."""
    headings = re.findall(r"^#+ +(.*?) *$", without_code(page.read_text()), flags=re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def broken_links(folder: pathlib.Path, page: pathlib.Path) -> tuple[int, list[str]]:
    links = re.findall(r"\]\(([^)\s]+)\)", without_code(page.read_text()))
    local = [link for link in links if not re.match(r"[a-z]+:", link)]
    broken = []
    for link in local:
        name, _, anchor = link.partition("#")
        target = (page.parent / name).resolve() if name else page
        if not target.is_relative_to(folder) or not target.exists():
            broken.append(f"{page.relative_to(folder)}: {link} does not exist")
        elif anchor and anchor not in anchors(target):
            broken.append(f"{page.relative_to(folder)}: {link} has no such heading")
    return len(local), broken


def main() -> None:
    folder = pathlib.Path(sys.argv[1]).resolve()
    results = [broken_links(folder, page) for page in sorted(folder.rglob("*.md"))]
    count = sum(number for number, _ in results)
    broken = [line for _, lines in results for line in lines]
    if broken or count == 0:
        sys.exit("\n".join(broken) or "no links found")
    print(f"{count} links in {len(results)} pages")


main()
