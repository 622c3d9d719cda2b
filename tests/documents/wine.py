"""The programs of the windows build, under Wine, and simulated scanners for them to talk to."""

import pathlib
import subprocess

# Only so that a broken program ends in a failure and not in a hang.
PATIENCE = 120


class Failure(Exception):
    """What a block says does not work."""


def run(command, folder):
    """Exit status and output."""
    ended = subprocess.run(command, cwd=folder, text=True, stdin=subprocess.DEVNULL,
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=PATIENCE,
                           check=False)
    return ended.returncode, ended.stdout


class Scanner:
    """A simulated scanner on a virtual port; it ends with its standard input."""

    def __init__(self, programs, options):
        # A document does not wait for the line.
        extra = [] if "--baud" in options else ["--baud", "0"]
        self.process = subprocess.Popen(
            programs.command(programs.find("ridge-scanner"), [*options, *extra, "--commands"]),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        output = ""
        for line in self.process.stdout:
            output += line
            if line.startswith("ready"):
                return
        self.end()
        raise Failure(f"the simulated scanner does not start: {output}")

    def end(self):
        self.process.communicate(timeout=PATIENCE)


class Programs:
    """The programs of a build folder."""

    def __init__(self, root, build):
        self.root = pathlib.Path(root)
        self.build = pathlib.Path(build)
        self.scanner = None

    def find(self, name):
        """The path of one of the build's programs; an example's name may be short. Or None."""
        for file_name in (f"{name}.exe", f"example-{name}.exe"):
            if (self.build / "bin" / file_name).exists():
                return self.build / "bin" / file_name
        return None

    def command(self, program, arguments):
        return [str(self.root / "scripts/wine"), str(self.build / "bin/ridge-launch.exe"),
                str(program), *arguments]

    def run(self, program, arguments, folder):
        return run(self.command(program, arguments), folder)

    def attach_scanner(self):
        """The scanner for all that do not start one of their own."""
        if not self.scanner:
            self.scanner = Scanner(self, ["--virtual", "COM7", "--finger-delay", "0"])

    def detach_scanner(self):
        if self.scanner:
            self.scanner.end()
            self.scanner = None
