"""The functions that leave the DLL."""

import pathlib


def exported_functions(definition_file):
    lines = pathlib.Path(definition_file).read_text(encoding="utf-8").splitlines()
    return [line.strip() for line in lines[lines.index("EXPORTS") + 1:] if line.strip()]
