#!/usr/bin/env python3
"""Adds to a package what it must say about itself: the licences of what is linked into its
programs, and the bill of materials, an SPDX document.

    inventory.py PACKAGE-FOLDER DEBUG-FOLDER VERSION

The debug folder holds the programs' separated debug information: a program contains a library of
which it has a symbol, or of whose headers it has code. The time is taken from SOURCE_DATE_EPOCH.
"""

import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
from typing import NamedTuple


class Component(NamedTuple):
    """A library that may be linked in. It is known by a symbol or by the folder of its headers."""

    name: str
    debian_package: str
    licence: str
    licence_file: str
    symbol: str = ""
    headers: str = ""


GCC_LICENCE = "GPL-3.0-or-later WITH GCC-exception-3.1"
# The runtime of mingw-w64 is a collection of permissively licensed parts.
MINGW_LICENCE = "LicenseRef-mingw-w64"
COMPONENTS = (
    Component("libstdc++", "g++-mingw-w64-x86-64-posix", GCC_LICENCE, "gcc.txt",
              symbol="__gxx_personality_seh0"),
    Component("libgcc", "gcc-mingw-w64-x86-64-posix", GCC_LICENCE, "gcc.txt",
              symbol="_Unwind_Resume"),
    Component("libssp", "gcc-mingw-w64-x86-64-posix", GCC_LICENCE, "gcc.txt",
              symbol="__stack_chk_fail"),
    Component("mingw-w64-crt", "mingw-w64-x86-64-dev", MINGW_LICENCE, "mingw-w64.txt",
              symbol="_pei386_runtime_relocator"),
    Component("winpthreads", "mingw-w64-x86-64-dev", "MIT AND BSD-3-Clause", "mingw-w64.txt",
              symbol="pthread_mutex_lock"),
    Component("utfcpp", "libutfcpp-dev", "BSL-1.0", "utfcpp.txt", headers="/usr/include/utf8cpp"),
    Component("CLI11", "libcli11-dev", "BSD-3-Clause", "cli11.txt", headers="/usr/include/CLI"),
    Component("nlohmann-json", "nlohmann-json3-dev", "MIT", "nlohmann-json.txt",
              headers="/usr/include/nlohmann"),
    Component("stb", "libstb-dev", "MIT", "stb.txt", headers="/usr/include/stb"),
)
PROGRAM_SUFFIXES = {".exe", ".dll", ".sys"}
# The licence that gcc.txt refers to.
GPL = pathlib.Path("/usr/share/common-licenses/GPL-3")


def output_of(*command: str) -> str:
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def contains(program: pathlib.Path, debug_information: bytes, component: Component) -> bool:
    if component.symbol:
        symbols = output_of("x86_64-w64-mingw32-nm", str(program)).splitlines()
        return component.symbol in (line.split()[-1] for line in symbols)
    # The end of the text, or a folder beneath it.
    folder = re.escape(component.headers.encode()) + b"[\0/]"
    return re.search(folder, debug_information) is not None


def linked_components(folder: pathlib.Path,
                      debug_folder: pathlib.Path) -> dict[str, list[Component]]:
    linked = {}
    for program in sorted(folder.glob("bin/*")):
        if program.suffix in PROGRAM_SUFFIXES:
            debug = (debug_folder / f"{program.name}.debug").read_bytes()
            linked[f"bin/{program.name}"] = [component for component in COMPONENTS
                                             if contains(program, debug, component)]
    return linked


def copy_licences(folder: pathlib.Path, components: list[Component]) -> None:
    licences = folder / "licenses"
    licences.mkdir()
    for component in components:
        source = pathlib.Path("/usr/share/doc", component.debian_package, "copyright")
        (licences / component.licence_file).write_bytes(source.read_bytes())
    (licences / "GPL-3.txt").write_bytes(GPL.read_bytes())


def identifier(*parts: str) -> str:
    """What SPDX allows as the name of an element."""
    return "SPDXRef-" + "-".join(re.sub(r"[^A-Za-z0-9.]", "-", part) for part in parts)


def package_entry(component: Component) -> dict:
    version = output_of("dpkg-query", "-W", "-f=${Version}", component.debian_package)
    return {
        "SPDXID": identifier("Component", component.name),
        "name": component.name,
        "versionInfo": version,
        "supplier": "Organization: Debian",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": component.licence,
        "licenseDeclared": component.licence,
        "licenseComments": f"The whole text is in licenses/{component.licence_file}.",
        "copyrightText": "NOASSERTION",
        "externalRefs": [{
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": "pkg:deb/debian/{}@{}".format(
                component.debian_package.replace("+", "%2B"), version.replace("+", "%2B")),
        }],
    }


def file_entry(folder: pathlib.Path, path: pathlib.Path) -> dict:
    content = path.read_bytes()
    name = path.relative_to(folder).as_posix()
    return {
        "SPDXID": identifier("File", name),
        "fileName": f"./{name}",
        "checksums": [
            {"algorithm": "SHA1", "checksumValue": hashlib.sha1(content).hexdigest()},
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(content).hexdigest()},
        ],
        "licenseConcluded": "NOASSERTION",
        "copyrightText": "NOASSERTION",
    }


def relationship(subject: str, kind: str, related: str) -> dict:
    return {"spdxElementId": subject, "relationshipType": kind, "relatedSpdxElement": related}


def bill_of_materials(folder: pathlib.Path, version: str, linked: dict[str, list[Component]],
                      components: list[Component], own_name: str) -> dict:
    files = [file_entry(folder, path) for path in sorted(folder.rglob("*")) if path.is_file()]
    file_hashes = sorted(file["checksums"][0]["checksumValue"] for file in files)
    code = hashlib.sha1("".join(file_hashes).encode()).hexdigest()
    created = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]),
                                              datetime.timezone.utc)
    package = identifier("Package", "ridge-sdk")
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"ridge-sdk-{version}-win64",
        # The files' contents take the place of a random number.
        "documentNamespace": f"https://spdx.org/spdxdocs/ridge-sdk-{version}-win64-{code}",
        "creationInfo": {
            "created": created.strftime("%Y-%m-%dT%H:%M:%SZ"),
            "creators": [f"Tool: ridge-sdk-package-{version}"],
        },
        "packages": [{
            "SPDXID": package,
            "name": "ridge-sdk",
            "versionInfo": version,
            "downloadLocation": "NOASSERTION",
            "filesAnalyzed": True,
            "packageVerificationCode": {
                "packageVerificationCodeValue": code,
                "packageVerificationCodeExcludedFiles": [f"./{own_name}"],
            },
            "licenseConcluded": "NOASSERTION",
            "licenseDeclared": "NOASSERTION",
            "copyrightText": "NOASSERTION",
        }] + [package_entry(component) for component in components],
        "files": files,
        "hasExtractedLicensingInfos": [{
            "licenseId": MINGW_LICENCE,
            "name": "Licences of the mingw-w64 runtime",
            "extractedText": (folder / "licenses" / "mingw-w64.txt").read_text(),
        }],
        "relationships": [relationship("SPDXRef-DOCUMENT", "DESCRIBES", package)]
        + [relationship(package, "CONTAINS", file["SPDXID"]) for file in files]
        + [relationship(identifier("File", program), "STATIC_LINK",
                        identifier("Component", component.name))
           for program, contained in linked.items() for component in contained],
    }


def main() -> None:
    folder, debug_folder = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    version = sys.argv[3]
    linked = linked_components(folder, debug_folder)
    components = [component for component in COMPONENTS
                  if any(component in contained for contained in linked.values())]
    copy_licences(folder, components)
    name = f"ridge-sdk-{version}.spdx.json"
    document = bill_of_materials(folder, version, linked, components, name)
    (folder / name).write_text(json.dumps(document, indent=2) + "\n")


main()
