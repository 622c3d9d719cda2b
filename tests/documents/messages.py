"""Compares the guide on errors with the sources: each status has a row, each message that the
library can give has one with its status, and no row names what the library does not have."""

import pathlib
import re

from markdown import Document

# Calls that make a message for the host. What they are given as a status comes before it.
CALLS = re.compile(r"\b(?:RIDGE_EXCEPTION|fail|report|formatText|(?:\.|->)?onError)\(")
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
STATUS = re.compile(r"\b(?:status::(\w+)|(RIDGE_[A-Z_]+))")
# Texts that are no literals: the system's own, and the time-outs of the commands.
VARIABLE_TEXT = re.compile(r"lastErrorText\(\)|timeoutMessage|\.\.\.")
TIMEOUT_MESSAGE = re.compile(r'"(Timeout [^"]*)"')
ENUMERATOR = re.compile(r"^\s*(RIDGE_[A-Z_]+) = (\d+)", re.MULTILINE)
STATUS_CHECK = re.compile(r"static_assert\(status::(\w+) == (RIDGE_[A-Z_]+)\)")
FOLDERS = ["sdk/src", "common/generic", "common/generic/win"]
# They make log lines and names of ports, and pass texts on.
NO_MESSAGES = {"logline.cpp", "logger.cpp", "printfformat.cpp", "printfformat.h",
               "deviceenumeration_win.cpp"}
# What is not a RidgeException has this status.
UNEXPECTED = "RIDGE_UNEXPECTED_FAILURE"
THROWN = re.compile(r"\bthrow std::\w+\(")
# Stands in the guide's status column where a text is only ever part of a message.
PART = "part"


def statuses(root):
    """Numbers by the names of the header and by those of the sources."""
    header = (root / "sdk/include/ridge-sdk.h").read_text(encoding="utf-8")
    numbers = {name: number for name, number in ENUMERATOR.findall(header)}
    exports = (root / "sdk/src/ridge-sdk.cpp").read_text(encoding="utf-8")
    return numbers, {inner: numbers[name] for inner, name in STATUS_CHECK.findall(exports)}


def call_text(source, opening):
    """What stands between the parenthesis at `opening` and the one that closes it."""
    depth = 0
    position = opening
    while True:
        literal = LITERAL.match(source, position)
        if literal:
            position = literal.end()
            continue
        depth += {"(": 1, ")": -1}.get(source[position], 0)
        if depth == 0:
            return source[opening + 1:position]
        position += 1


def first_text(arguments):
    """The first string, put together of its literals; where it begins."""
    first = LITERAL.search(arguments)
    if not first:
        return "", len(arguments)
    text, end = first[1], first.end()
    while following := re.compile(r"\s*" + LITERAL.pattern).match(arguments, end):
        text += following[1]
        end = following.end()
    return text.replace(r"\"", '"'), first.start()


def messages_of(source, numbers, inner_numbers):
    """Status and format of each message that a source file makes."""
    without_comments = re.sub(r"^\s*//.*$", "", source, flags=re.MULTILINE)
    inside_of_another = -1
    for call in CALLS.finditer(without_comments):
        arguments = call_text(without_comments, call.end() - 1)
        text, start = first_text(arguments)
        if call.start() < inside_of_another:
            continue
        if not text or text == "%s":
            if call[0] == "RIDGE_EXCEPTION(" and not re.search(VARIABLE_TEXT, arguments):
                raise ValueError(f"what is the message of RIDGE_EXCEPTION({arguments})?")
            continue
        inside_of_another = call.end() + len(arguments)
        status = STATUS.search(arguments[:start])
        if status:
            yield (inner_numbers[status[1]] if status[1] else numbers[status[2]]), text
        else:
            yield PART, text
    for thrown in THROWN.finditer(without_comments):
        text, _ = first_text(call_text(without_comments, thrown.end() - 1))
        yield numbers[UNEXPECTED], text


def messages(root):
    numbers, inner_numbers = statuses(root)
    found = set()
    for folder in FOLDERS:
        for file in sorted((root / folder).iterdir()):
            if file.suffix not in {".cpp", ".h"} or file.name in NO_MESSAGES:
                continue
            source = file.read_text(encoding="utf-8")
            found.update(messages_of(source, numbers, inner_numbers))
            if file.name == "defaultridgecommands.cpp":
                # The time-outs of the commands are handed on by a variable.
                found.update((numbers["RIDGE_NO_RESPONSE"], text)
                             for text in TIMEOUT_MESSAGE.findall(source))
    return found


def documented_statuses(guide):
    """Numbers by names, of the guide's table of statuses."""
    return {row[1].strip("`"): row[0] for table in Document(guide).tables()
            if table[0][:2] == ["status", "name"] for row in table[1:]}


def documented_messages(guide):
    """Status and message of the guide's rows: where the second column holds a text in backticks."""
    for table in Document(guide).tables():
        if table[0][:2] != ["status", "message"]:
            continue
        for row in table[1:]:
            message = re.fullmatch(r"`(.*)`", row[1])
            if message:
                yield row[0], message[1]


def complaints(root, guide=None):
    root = pathlib.Path(root)
    guide = guide or root / "docs/guides/errors.md"
    for name, number in sorted(set(statuses(root)[0].items()) ^
                               set(documented_statuses(guide).items())):
        yield f"errors.md and the header differ on the status {name} {number}"
    in_sources = messages(root)
    rows = list(documented_messages(guide))
    for row in sorted(set(rows)):
        if rows.count(row) > 1:
            yield f"errors.md names twice: {row[0]} {row[1]}"
    for status, text in sorted(in_sources - set(rows)):
        yield f"errors.md has no row for: {status} {text}"
    for status, text in sorted(set(rows) - in_sources):
        yield f"errors.md names what the library does not have: {status} {text}"
