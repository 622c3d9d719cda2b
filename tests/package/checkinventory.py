#!/usr/bin/env python3
"""Checks a package's bill of materials: an SPDX 2.3 document that has what the format requires,
tells of every file, and of what is linked in, with its licence in the package.

    checkinventory.py FOLDER VERSION
"""

import hashlib
import json
import pathlib
import re
import sys

# What each program is known to be linked with.
RUNTIME = {"libgcc", "libssp", "libstdc++", "mingw-w64-crt", "winpthreads"}
LINKED = {
    "bin/ridge-sdk.dll": RUNTIME | {"utfcpp"},
    "bin/ridge.exe": RUNTIME | {"CLI11", "nlohmann-json", "stb"},
    "bin/ridge-scanner.exe": RUNTIME | {"CLI11", "stb"},
    "bin/ridge-launch.exe": RUNTIME,
    "bin/ridge-wine-mend.dll": RUNTIME,
}
DOCUMENT_FIELDS = {"spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace",
                   "creationInfo", "packages", "files", "relationships"}
PACKAGE_FIELDS = {"SPDXID", "name", "versionInfo", "downloadLocation", "filesAnalyzed",
                  "licenseConcluded", "licenseDeclared", "copyrightText"}
FILE_FIELDS = {"SPDXID", "fileName", "checksums", "licenseConcluded", "copyrightText"}


def expect(condition: bool, what: str) -> None:
    if not condition:
        sys.exit(f"bill of materials: {what}")


def expect_fields(entry: dict, fields: set[str]) -> None:
    expect(fields <= entry.keys(),
           f"{entry.get('SPDXID')} lacks {sorted(fields - entry.keys())}")


def check_document(document: dict, version: str) -> None:
    expect_fields(document, DOCUMENT_FIELDS)
    expect(document["spdxVersion"] == "SPDX-2.3", "is not SPDX 2.3")
    expect(document["dataLicense"] == "CC0-1.0", "has another data licence than the format's")
    expect(document["SPDXID"] == "SPDXRef-DOCUMENT", "has a wrong identifier")
    expect(document["name"] == f"ridge-sdk-{version}-win64", "has a wrong name")
    expect(re.fullmatch(r"https://[^#\s]+", document["documentNamespace"]) is not None,
           "has a wrong namespace")
    creation = document["creationInfo"]
    expect(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", creation["created"]) is not None,
           "has a wrong time")
    expect(len(creation["creators"]) > 0, "names no creator")
    elements = document["packages"] + document["files"]
    identifiers = [entry["SPDXID"] for entry in elements]
    expect(len(set(identifiers)) == len(identifiers), "uses an identifier twice")
    for identifier in identifiers:
        expect(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", identifier) is not None,
               f"{identifier} is not an identifier")
    known = {*identifiers, "SPDXRef-DOCUMENT"}
    for relationship in document["relationships"]:
        expect({relationship["spdxElementId"], relationship["relatedSpdxElement"]} <= known,
               f"{relationship} names something unknown")


def check_files(document: dict, folder: pathlib.Path, own_name: str) -> None:
    recorded = {}
    for entry in document["files"]:
        expect_fields(entry, FILE_FIELDS)
        recorded[entry["fileName"]] = {checksum["algorithm"]: checksum["checksumValue"]
                                       for checksum in entry["checksums"]}
    present = {}
    for path in folder.rglob("*"):
        if path.is_file() and path.name != own_name:
            content = path.read_bytes()
            present[f"./{path.relative_to(folder).as_posix()}"] = {
                "SHA1": hashlib.sha1(content).hexdigest(),
                "SHA256": hashlib.sha256(content).hexdigest(),
            }
    for name in sorted(recorded.keys() | present.keys()):
        expect(recorded.get(name) == present.get(name), f"{name} differs from the file")
    code = hashlib.sha1("".join(sorted(hashes["SHA1"] for hashes in present.values())).encode())
    package = document["packages"][0]["packageVerificationCode"]
    expect(package["packageVerificationCodeValue"] == code.hexdigest(), "has a wrong code")
    expect(package["packageVerificationCodeExcludedFiles"] == [f"./{own_name}"],
           "excludes other files than itself")


def check_relationships(document: dict, folder: pathlib.Path) -> None:
    package = document["packages"][0]["SPDXID"]
    names = {entry["SPDXID"]: entry["fileName"].removeprefix("./") for entry in document["files"]}
    names |= {entry["SPDXID"]: entry["name"] for entry in document["packages"]}
    relationships = {(entry["spdxElementId"], entry["relationshipType"],
                      entry["relatedSpdxElement"]) for entry in document["relationships"]}
    expect(("SPDXRef-DOCUMENT", "DESCRIBES", package) in relationships, "describes no package")
    for entry in document["files"]:
        expect((package, "CONTAINS", entry["SPDXID"]) in relationships,
               f"{entry['fileName']} is in no package")
    linked: dict[str, set[str]] = {}
    for subject, kind, related in relationships:
        if kind == "STATIC_LINK":
            linked.setdefault(names[subject], set()).add(names[related])
    for program in sorted(LINKED.keys() | linked.keys()):
        named, expected = linked.get(program, set()), LINKED.get(program, set())
        expect(named == expected, f"{program} lacks {sorted(expected - named)}, "
                                  f"and should not have {sorted(named - expected)}")
    for program in linked:
        expect((folder / program).exists(), f"{program} is not in the package")


def check_packages(document: dict, folder: pathlib.Path, version: str) -> None:
    own, *components = document["packages"]
    expect((own["name"], own["versionInfo"]) == ("ridge-sdk", version), "describes something else")
    expect({component["name"] for component in components} == set().union(*LINKED.values()),
           "names other components than are linked in")
    for entry in document["packages"]:
        expect_fields(entry, PACKAGE_FIELDS)
    extracted = {entry["licenseId"]: entry for entry in document["hasExtractedLicensingInfos"]}
    for component in components:
        expect(re.match(r"\d", component["versionInfo"]) is not None,
               f"{component['name']} has no version")
        expect(component["externalRefs"][0]["referenceLocator"].startswith("pkg:deb/debian/"),
               f"{component['name']} has no package name")
        for licence in re.findall(r"LicenseRef-[\w.-]+", component["licenseDeclared"]):
            expect(extracted[licence]["extractedText"] != "", f"{licence} has no text")
        text = re.search(r"licenses/\S+\.txt", component["licenseComments"])
        expect(text is not None and (folder / text.group()).stat().st_size > 0,
               f"{component['name']} has no licence in the package")


def main() -> None:
    folder, version = pathlib.Path(sys.argv[1]), sys.argv[2]
    own_name = f"ridge-sdk-{version}.spdx.json"
    document = json.loads((folder / own_name).read_text())
    check_document(document, version)
    check_files(document, folder, own_name)
    check_relationships(document, folder)
    check_packages(document, folder, version)
    print(f"{len(document['files'])} files, {len(document['packages']) - 1} components")


main()
