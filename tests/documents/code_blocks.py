"""Compiles blocks in C and C++; links those that are programs, and runs those that want it."""

import re
import shutil

from wine import Failure, run

# What a block shows may be used by nobody in it. The rest of windows.h takes most of the time.
OPTIONS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-Wno-unused-function",
           "-DWIN32_LEAN_AND_MEAN"]
COMPILERS = {
    "c": ["x86_64-w64-mingw32-gcc-posix", "-std=c11"],
    "cpp": ["x86_64-w64-mingw32-g++-posix", "-std=c++17"],
}
# For functions that are shown without the file around them.
PRELUDE = """\
#include "ridge-sdk.h"
#include <windows.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
"""


def is_program(block):
    return bool(re.search(r"\bint main\(", block.text))


def compile_block(block, root, programs, folder):
    """Leaves a program's executable in `folder`, and returns its path."""
    source = folder / f"{block.file.stem}-{block.line}.{block.language}"
    prelude = "" if "#include" in block.text else PRELUDE
    source.write_text(f'{prelude}#line {block.line} "{block.file}"\n{block.text}',
                      encoding="utf-8")
    program = source.with_suffix(".exe")
    command = [*COMPILERS[block.language], *OPTIONS, "-I", str(root / "sdk/include"), str(source)]
    if is_program(block):
        command += ["-static", "-L", str(programs.build / "lib"), "-lridge-sdk.dll",
                    "-o", str(program)]
    else:
        command += ["-fsyntax-only"]
    status, output = run(command, folder)
    if status != 0:
        raise Failure(f"does not compile:\n{output}")
    return program


def run_program(program, programs, folder):
    if not (folder / "ridge-sdk.dll").exists():
        shutil.copy(programs.build / "bin/ridge-sdk.dll", folder)
    programs.attach_scanner()
    status, output = programs.run(program, [], folder)
    if status != 0:
        raise Failure(f"ends with {status}:\n{output}")
