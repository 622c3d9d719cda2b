#!/usr/bin/env python3
"""Compares doxygen's XML with the definition file: the reference has exactly the exported
functions, each with a description, all its parameters and what it returns.

    check_reference.py XML_FOLDER DEFINITION_FILE
"""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree

sys.path.insert(0, str(pathlib.Path(__file__).parent))
from exports import exported_functions  # noqa: E402


def text_of(element):
    return "".join(element.itertext()).strip()


def complaints_about(function):
    """What the description of one function lacks."""
    declared = [text_of(name) for name in function.findall("param/declname")]
    documented = [text_of(name) for name in function.iter("parametername")]
    if documented != declared:
        yield f"parameters {documented} are documented, {declared} are there"
    if not text_of(function.find("briefdescription")):
        yield "no description"
    returns = [text_of(section) for section in function.iter("simplesect")
               if section.get("kind") == "return"]
    if text_of(function.find("type")) == "void":
        if returns:
            yield "returns nothing, but says what"
    elif not returns or not all(returns):
        yield "does not say what it returns"


def check(xml_folder, definition_file):
    functions = {}
    for file in sorted(pathlib.Path(xml_folder).glob("*.xml")):
        for member in ElementTree.parse(file).iter("memberdef"):
            if member.get("kind") == "function":
                functions[text_of(member.find("name"))] = member
    complaints = []
    exported = exported_functions(definition_file)
    for name in sorted(set(exported) ^ set(functions)):
        where = "the reference" if name in exported else "the DLL's exports"
        complaints.append(f"{name} is missing in {where}")
    for name, function in sorted(functions.items()):
        complaints += [f"{name}: {complaint}" for complaint in complaints_about(function)]
    return len(functions), complaints


def main():
    count, complaints = check(*sys.argv[1:])
    for complaint in complaints:
        print(f"reference: {complaint}", file=sys.stderr)
    if complaints:
        return 1
    print(f"[  PASSED  ] {count} functions of the reference")
    return 0


if __name__ == "__main__":
    sys.exit(main())
