"""Checks and runs blocks of shell commands.

What is only checked must be there: scripts with their arguments, presets, targets and cache
variables, folders, programs, files. A compiler is run all the same. What is run must succeed, or
end as its comment says ("# ends with 3"). `ridge` is run against a simulated scanner; where it
cannot be, it is started without a scanner in reach, which tells whether it understands its
arguments.
"""

import json
import pathlib
import re
import shlex

from wine import Failure, Scanner, run

WRAPPERS = {"wine", "ridge-launch", "start"}
# Run as they are, in a folder of the block's own.
SYSTEM_PROGRAMS = {"openssl"}
# On Windows the compiler has the short name.
COMPILERS = {"gcc": "x86_64-w64-mingw32-gcc", "g++": "x86_64-w64-mingw32-g++",
             "x86_64-w64-mingw32-gcc": "x86_64-w64-mingw32-gcc",
             "x86_64-w64-mingw32-g++": "x86_64-w64-mingw32-g++"}
# Where the package has what the project has elsewhere.
PACKAGE_OPTIONS = {"-Iinclude": "-Isdk/include", "-Llib": "-Lbuild/windows/lib",
                   "-lridge-sdk": "-lridge-sdk.dll"}
PACKAGE_FOLDERS = ("bin/", "lib/")
# What the package's own file makes pkg-config say.
PKG_CONFIG = "$(pkg-config --cflags --libs ridge-sdk)"
PKG_CONFIG_OUTPUT = "-Iinclude -Llib -lridge-sdk"
# They read what the compiler has made.
DEBUGGING_TOOLS = {"addr2line": "x86_64-w64-mingw32-addr2line"}
# Only on Windows: what can be checked here are the files that they are given.
WINDOWS_PROGRAMS = {"cl", "lib", "copy"}
FILE_OF_THE_PROJECT = re.compile(
    r"\b(?:sdk|common|examples|tests|docs|scripts|build|bin|lib)(?:/[\w.-]+)+")
# What ridge ends with when no scanner is in reach, and when it does not understand its arguments.
NO_SCANNER = 2
NO_PORT = "COM199"
SEPARATORS = {"&&", "||", ";", "|", "&"}


class Command:
    """One command of a block: `first_word` as it is written, `program` its name alone. What it is
    started through comes before it, in `wrappers`."""

    def __init__(self, words, background, expected_status):
        names = [pathlib.PurePosixPath(word).name.removesuffix(".exe") for word in words]
        start = 0
        while names[start] in WRAPPERS and start + 1 < len(words):
            start += 1
        self.wrappers = words[:start]
        self.first_word = words[start]
        self.program = names[start]
        self.arguments = words[start + 1:]
        self.background = background
        self.expected_status = expected_status

    def __str__(self):
        return shlex.join([self.program, *self.arguments])


def parse(text):
    """The commands of a block, in order."""
    for line in text.replace("\\\n", " ").replace(PKG_CONFIG, PKG_CONFIG_OUTPUT).splitlines():
        ends_with = re.search(r"#.*\bends with (\d+)", line)
        lexer = shlex.shlex(line, posix=True, punctuation_chars="|&;")
        lexer.whitespace_split = True
        try:
            tokens = list(lexer)
        except ValueError as mistake:
            raise Failure(f"{line}: {mistake}") from mistake
        words = []
        for word in [*tokens, ";"]:
            if word not in SEPARATORS:
                words.append(word)
                continue
            while words and re.match(r"export$|[A-Z_]+=", words[0]):
                words.pop(0)
            if words:
                yield Command(words, word == "&" or words[0] == "start",
                              int(ends_with[1]) if ends_with else 0)
            words = []


def console_entries(text):
    """The commands of a console's copy, which follow a prompt, each with its output."""
    entries = []
    for line in text.splitlines():
        if re.match(r"[>$] ", line):
            entries.append([line[2:], ""])
        elif entries:
            entries[-1][1] += line + "\n"
        else:
            raise Failure("output comes before the first prompt")
    return entries


class CommandWalker:
    """Goes through the commands of a block. A simulated scanner is started in any case, and ends
    with the block, at once if it does not stay in the background."""

    def __init__(self, programs, folder):
        self.programs = programs
        self.folder = folder

    def do_block(self, text):
        scanners = []
        commands = list(parse(text))
        if not commands:
            raise Failure("there is no command in it")
        try:
            for command in commands:
                if command.program != "ridge-scanner":
                    self.do(command, bool(scanners))
                    continue
                self.programs.detach_scanner()
                # A null-modem pair has no place here: a virtual port takes the same options.
                scanner = Scanner(self.programs, ["--virtual" if word == "--port" else word
                                                  for word in command.arguments])
                if command.background:
                    scanners.append(scanner)
                else:
                    scanner.end()
        finally:
            for scanner in scanners:
                scanner.end()

    def do_windows_block(self, text):
        self.do_block(text.replace("\\", "/"))

    def do(self, command, has_scanner):
        raise NotImplementedError


class CommandRunner(CommandWalker):
    def __init__(self, programs, folder):
        super().__init__(programs, folder)
        self.output = ""

    def do_console(self, text):
        """Each command meets a scanner that has just been switched on."""
        for line, expected in console_entries(text):
            self.programs.detach_scanner()
            self.output = ""
            self.do_block(line)
            if self.output != expected:
                raise Failure(f"{line} prints:\n{self.output}")

    def do(self, command, has_scanner):
        if built := self.programs.find(command.program):
            if not has_scanner:
                self.programs.attach_scanner()
            status, output = self.programs.run(built, command.arguments, self.folder)
        elif command.program in SYSTEM_PROGRAMS:
            status, output = run([command.program, *command.arguments], self.folder)
        else:
            raise Failure(f"'{command.program}' is not among what is run")
        if status != command.expected_status:
            raise Failure(f"{command} ends with {status}:\n{output}")
        self.output += output


class CommandChecker(CommandWalker):
    def __init__(self, root, programs, folder):
        super().__init__(programs, folder)
        self.root = root
        self.current_folder = root
        self.presets = json.loads((root / "CMakePresets.json").read_text(encoding="utf-8"))
        self.cmake_text = "".join(
            file.read_text(encoding="utf-8")
            for file in [root / "CMakeLists.txt", *root.glob("[!b]*/**/CMakeLists.txt"),
                         *root.glob("[!b]*/**/*.cmake*")])

    def do_block(self, text):
        self.current_folder = self.root
        super().do_block(text)

    def do_console(self, text):
        self.do_block("".join(line + "\n" for line, _ in console_entries(text)))

    def do_cmake(self, text):
        """The language's grammar; files and targets exist."""
        script = self.folder / "block.cmake"
        script.write_text(f"function(shown)\n{text}\nendfunction()\n", encoding="utf-8")
        status, output = run(["cmake", "-P", str(script)], self.folder)
        if status != 0:
            raise Failure(f"is no CMake code:\n{output}")
        for target in re.findall(r"\b\w+::[\w-]+", text):
            if target not in self.cmake_text:
                raise Failure(f"there is no target {target}")
        self._check_files(text)

    def do(self, command, has_scanner):
        for wrapper in command.wrappers:
            if "scripts/" in wrapper:
                self._check_script(wrapper, [])
        if command.program == "ridge":
            self._check_ridge(command)
        elif command.program == "cd":
            self._enter(command.arguments[0])
        elif command.program in {"cmake", "ctest"}:
            self._check_cmake_call(command.arguments)
        elif re.search(r"(^|/)(scripts|\.ci)/", command.first_word):
            self._check_script(command.first_word, command.arguments)
        elif command.program in COMPILERS:
            self._compile(command)
        elif command.program in DEBUGGING_TOOLS:
            self._debug(command)
        elif command.program in WINDOWS_PROGRAMS:
            self._check_files(str(command))
        elif not self.programs.find(command.program):
            raise Failure(f"'{command.first_word}' is not among what is checked")

    def _enter(self, name):
        self.current_folder = (self.current_folder / name).resolve()
        built = self.current_folder == self.root / "build/windows/bin"
        if not built and not self.current_folder.is_dir():
            raise Failure(f"there is no folder {name}")

    def _check_ridge(self, command):
        arguments = command.arguments
        needs_scanner = not {"list", "--version", "--help"} & set(arguments)
        chosen = {"--port", "--serial"} & set(arguments)
        if needs_scanner and not chosen:
            arguments = [*arguments, "--port", NO_PORT]
        status, output = self.programs.run(self.programs.find("ridge"), arguments, self.folder)
        if status != (NO_SCANNER if needs_scanner else 0):
            raise Failure(f"{command} ends with {status}:\n{output}")

    def _compile(self, command):
        """As it stands, but for where the executable goes and the package's folders."""
        words = [PACKAGE_OPTIONS.get(word, word).replace("build/windows", str(self.programs.build))
                 for word in command.arguments]
        if "-o" not in words:
            raise Failure(f"{command.program} leaves its output in the project's folder")
        output_name = words.index("-o") + 1
        words[output_name] = str(self.folder / words[output_name])
        status, output = run([COMPILERS[command.program], *words], self.root)
        if status != 0:
            raise Failure(f"{command.program} ends with {status}:\n{output}")

    def _debug(self, command):
        """As it stands, but for the package's folders."""
        words = [str(self._file(word)) if word.startswith(PACKAGE_FOLDERS) else word
                 for word in command.arguments]
        status, output = run([DEBUGGING_TOOLS[command.program], *words], self.folder)
        if status != 0:
            raise Failure(f"{command.program} ends with {status}:\n{output}")

    def _check_files(self, text):
        for name in FILE_OF_THE_PROJECT.findall(text):
            if not self._file(name).exists():
                raise Failure(f"there is no {name}")

    def _file(self, name):
        """Where the project or its build has a file of its own or of the package."""
        if name.startswith(PACKAGE_FOLDERS):
            return self.programs.build / name
        if name.startswith("build/windows/"):
            return self.programs.build / name.removeprefix("build/windows/")
        return self.root / name

    def _check_cmake_call(self, arguments):
        names = {preset["name"] for kind in ("configurePresets", "buildPresets", "testPresets")
                 for preset in self.presets[kind] if not preset.get("hidden")}
        target_wanted = False
        for position, word in enumerate(arguments):
            if word == "--preset" and arguments[position + 1] not in names:
                raise Failure(f"there is no preset {arguments[position + 1]}")
            if definition := re.match(r"-D(\w+)", word):
                known = re.search(rf"\b{definition[1]}\b", self.cmake_text)
                if not known and run(["cmake", "--help-variable", definition[1]], self.root)[0] != 0:
                    raise Failure(f"there is no variable {definition[1]}")
            if word.startswith("-"):
                target_wanted = word == "--target"
            elif target_wanted and not re.search(rf"\(\s*{re.escape(word)}\b", self.cmake_text):
                raise Failure(f"there is no target {word}")

    def _check_script(self, first_word, arguments):
        script = self.root / re.sub(r"^(\.\.?/)+", "", first_word)
        if not script.is_file():
            raise Failure(f"there is no {first_word}")
        text = re.sub(r"^\s*#.*$", "", script.read_text(encoding="utf-8"), flags=re.MULTILINE)
        corpora = {folder.name for folder in (self.root / "tests/fuzz/corpora").iterdir()}
        for word in arguments:
            # Numbers and files are whatever the reader likes.
            if re.fullmatch(r"-*[a-z][a-z-]*", word) and word not in corpora:
                if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text):
                    raise Failure(f"{script.name} knows no '{word}'")
