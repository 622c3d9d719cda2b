"""What the checks need of a Markdown file: fenced blocks, links, anchors and tables."""

import dataclasses
import pathlib
import re

FENCE = re.compile(r"^(?P<indent> {0,3})(?P<fence>```+|~~~+)\s*(?P<language>[^\s`]*)\s*$")
MARKER = re.compile(r"^<!-- (?P<mode>run|check|from (?P<source>\S+)) -->$")
HEADING = re.compile(r"^#{1,6} +(?P<text>.*?) *#*$")
LINK = re.compile(r"!?\[(?:[^\[\]]|\[[^\]]*\])*\]\((?P<target>[^()\s]+)\)")
INLINE_CODE = re.compile(r"`[^`\n]+`")


@dataclasses.dataclass
class Block:
    """A fenced block. `mode` is what the comment before it wants: run, check, from or nothing."""

    file: pathlib.Path
    line: int
    language: str
    text: str
    mode: str = ""
    source: str = ""


class Document:
    """A page. `folder` is the one that its links start from."""

    def __init__(self, file, folder=None):
        self.file = pathlib.Path(file)
        self.folder = pathlib.Path(folder or self.file.parent)
        self.blocks = []
        # The lines outside blocks, each with its number.
        self.prose = []
        self._read(self.file.read_text(encoding="utf-8").splitlines())

    def _read(self, lines):
        number = 0
        marker = None
        while number < len(lines):
            line = lines[number]
            opening = FENCE.match(line)
            if not opening:
                marker = MARKER.match(line)
                self.prose.append((number + 1, line))
                number += 1
                continue
            end = number + 1
            while end < len(lines) and lines[end].strip() != opening["fence"]:
                end += 1
            if end == len(lines):
                raise ValueError(f"{self.file}:{number + 1}: the block does not end")
            block = Block(self.file, number + 2, opening["language"],
                          "".join(text + "\n" for text in lines[number + 1:end]))
            if marker:
                block.mode = marker["mode"].split()[0]
                block.source = marker["source"] or ""
            self.blocks.append(block)
            marker = None
            number = end + 1

    def links(self):
        """Line numbers and targets of the links; what looks like one in code is none."""
        for number, line in self.prose:
            for link in LINK.finditer(INLINE_CODE.sub("", line)):
                yield number, link["target"]

    def anchors(self):
        """The names by which headings are linked to, as GitHub makes them."""
        found = {}
        for _, line in self.prose:
            heading = HEADING.match(line)
            if not heading:
                continue
            text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading["text"])
            name = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
            count = found.get(name, 0)
            found[name] = count + 1
            yield f"{name}-{count}" if count else name

    def tables(self):
        """The cells of the rows of each table, the heads first, the lines below them left out."""
        table = []
        for _, line in [*self.prose, (0, "")]:
            if line.startswith("|"):
                # A bar in a cell is written with a backslash.
                cells = re.split(r"(?<!\\)\|", line.strip().strip("|"))
                if not all(re.fullmatch(r"\s*:?-+:?\s*", cell) for cell in cells):
                    table.append([cell.strip().replace(r"\|", "|") for cell in cells])
            elif table:
                yield table
                table = []


def documents(root):
    """All documents of the project. The package's first page is written as it stands there: its
    links start from the folder that holds docs and examples."""
    files = [root / "README.md", root / "CONTRIBUTING.md", *(root / "docs").rglob("*.md"),
             *(root / "examples").rglob("README.md")]
    return [Document(root / "package/README.md.in", root),
            *(Document(file) for file in sorted(files))]
