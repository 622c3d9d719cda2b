#!/usr/bin/env python3
"""What is wrong in a document must be found.

    checkers_test.py BUILD_FOLDER

BUILD_FOLDER is that of the windows preset.
"""

import importlib.machinery
import importlib.util
import pathlib
import shutil
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "tests" / "documents"))

import check_reference  # noqa: E402
import links  # noqa: E402
import messages  # noqa: E402
import promises  # noqa: E402
from markdown import Document, documents  # noqa: E402

LOADER = importlib.machinery.SourceFileLoader("check_documents",
                                              str(ROOT / "scripts/check-documents"))
check_documents = importlib.util.module_from_spec(
    importlib.util.spec_from_loader(LOADER.name, LOADER))
LOADER.exec_module(check_documents)

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()


class DocumentTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)

    def document(self, text, name="document.md"):
        file = self.folder / name
        file.write_text(text, encoding="utf-8")
        return Document(file)

    def changed(self, path, old, new):
        """A copy of one of the project's files with a change."""
        text = (ROOT / path).read_text(encoding="utf-8")
        self.assertIn(old, text)
        file = self.folder / pathlib.Path(path).name
        file.write_text(text.replace(old, new, 1), encoding="utf-8")
        return file


class BlockTest(DocumentTest):
    def complaints(self, language, text, marker=""):
        document = self.document(f"{marker}\n```{language}\n{text}```\n")
        checker = check_documents.BlockChecker(ROOT, BUILD, self.folder)
        checker.check(document.blocks)
        return "\n".join(checker.complaints)

    def test_CodeThatCompiles_Passes(self):
        self.assertEqual(self.complaints("c", "int f(void);\nint f(void) { return 0; }\n"), "")

    def test_CodeThatDoesNotCompile_IsNamedByItsLine(self):
        self.assertIn("document.md:4:",
                      self.complaints("c", "int f(void);\nint f(void) { retrn; }\n"))

    def test_Warning_IsAComplaint(self):
        self.assertIn("does not compile",
                      self.complaints("c", "int f(int x) { int y; return x; }\n"))

    def test_FunctionThatTheHeaderLacks_IsAComplaint(self):
        self.assertIn("does not compile",
                      self.complaints("c", "void f(void) { ridgeTakeOff(); }\n"))

    def test_ProgramThatDoesNotLink_IsAComplaint(self):
        self.assertIn("does not compile",
                      self.complaints("c", "int g(void);\nint main(void) { return g(); }\n"))

    def test_ProgramThatFails_IsAComplaint(self):
        self.assertIn("ends with 5",
                      self.complaints("c", "int main(void) { return 5; }\n", "<!-- run -->"))

    def test_FunctionMarkedToRun_IsAComplaint(self):
        self.assertIn("cannot be marked", self.complaints("c", "int x;\n", "<!-- run -->"))

    def test_BlockWithoutLanguage_IsAComplaint(self):
        self.assertIn("no check for the language ''", self.complaints("", "text\n"))

    def test_UnknownLanguage_IsAComplaint(self):
        self.assertIn("no check for the language 'rust'", self.complaints("rust", "fn main() {}\n"))

    def test_UnmarkedCommands_AreAComplaint(self):
        self.assertIn("neither <!-- run -->", self.complaints("sh", "ridge list\n"))

    def test_CommandThatFails_IsAComplaint(self):
        self.assertIn("ridge capture ends with 1", self.complaints("sh", "ridge capture\n",
                                                                   "<!-- run -->"))

    def test_CommandThatEndsAsItSays_Passes(self):
        self.assertEqual(self.complaints("sh", "ridge capture # ends with 1: no file\n",
                                         "<!-- run -->"), "")

    def test_OptionThatTheProgramLacks_IsAComplaint(self):
        self.assertIn("ends with 1", self.complaints("sh", "ridge info --colour red\n",
                                                     "<!-- check -->"))

    def test_ScannerThatDoesNotStart_IsAComplaint(self):
        self.assertIn("does not start", self.complaints(
            "sh", 'ridge-scanner --virtual COM8 --fault "PING: explode"\n', "<!-- run -->"))

    def test_WhatIsNotThere_IsNamed(self):
        for text, complaint in [
                ("./scripts/dance\n", "there is no ./scripts/dance"),
                ("scripts/wine ridge-launch.exe kettle.exe\n", "'kettle.exe' is not among"),
                ("./scripts/test everything\n", "test knows no 'everything'"),
                ("cmake --preset toaster\n", "there is no preset toaster"),
                ("cmake --build --preset windows --target kettle\n", "there is no target kettle"),
                ("cmake -DRIDGE_TEAPOT=1\n", "there is no variable RIDGE_TEAPOT"),
                ("cd no/such/folder\n", "there is no folder no/such/folder"),
                ("frobnicate now\n", "'frobnicate' is not among what is checked"),
                ("# nothing\n", "there is no command in it")]:
            with self.subTest(text):
                self.assertIn(complaint, self.complaints("sh", text, "<!-- check -->"))

    def test_CommandThatIsNoCommand_IsAComplaint(self):
        self.assertIn("No closing quotation", self.complaints("sh", 'ridge "list\n',
                                                              "<!-- check -->"))

    def test_CommandOfAConsolesCopy_IsChecked(self):
        self.assertIn("there is no ./scripts/dance",
                      self.complaints("console", "$ ./scripts/dance\nla la\n", "<!-- check -->"))

    def test_OutputThatDiffers_IsAComplaint(self):
        self.assertIn("ridge list prints:", self.complaints("console", "> ridge list\nCOM7\n",
                                                            "<!-- run -->"))

    def test_CompilationThatFails_IsAComplaint(self):
        self.assertIn("x86_64-w64-mingw32-gcc ends with 1", self.complaints(
            "sh", "x86_64-w64-mingw32-gcc examples/capture/capture.c -o capture.exe\n",
            "<!-- check -->"))

    def test_FileOfACommandOfWindowsThatIsNotThere_IsNamed(self):
        self.assertIn("there is no sdk/src/nothing.def", self.complaints(
            "bat", "lib /def:sdk\\src\\nothing.def\n", "<!-- check -->"))
        self.assertIn("there is no bin/nothing.dll", self.complaints(
            "bat", "copy bin\\nothing.dll .\n", "<!-- check -->"))

    def test_CommandOfWindowsThatFails_IsAComplaint(self):
        self.assertIn("ridge capture ends with 1", self.complaints("bat", "bin\\ridge capture\n",
                                                                   "<!-- run -->"))

    def test_ScannerInAWindowOfItsOwn_StaysForTheCommandsAfterIt(self):
        self.assertEqual(self.complaints("bat", "start bin\\ridge-scanner --port COM8\n"
                                         "bin\\ridge info --port COM8\n", "<!-- run -->"), "")

    def test_CompilationWithPkgConfig_IsTheOneOfThePackage(self):
        command = ("gcc examples/capture/capture.c -o capture.exe "
                   "$(pkg-config --cflags --libs ridge-sdk)\n")
        self.assertEqual(self.complaints("sh", command, "<!-- check -->"), "")

    def test_DebugInformationThatIsNotThere_IsAComplaint(self):
        self.assertEqual(self.complaints("sh", "addr2line -e bin/ridge-sdk.dll.debug 0x0\n",
                                         "<!-- check -->"), "")
        self.assertIn("addr2line ends with 1", self.complaints(
            "sh", "addr2line -e bin/nothing.debug 0x0\n", "<!-- check -->"))

    def test_WrongCMake_IsAComplaint(self):
        self.assertIn("is no CMake code", self.complaints("cmake", "add(\n", "<!-- check -->"))
        self.assertIn("there is no target ridge::kettle", self.complaints(
            "cmake", "target_link_libraries(x PRIVATE ridge::kettle)\n", "<!-- check -->"))

    def test_UnknownFault_IsAComplaint(self):
        self.assertIn("does not start", self.complaints("faults", "PING: explode\n"))

    def test_BlockThatItsFileLacks_IsAComplaint(self):
        self.assertIn("does not stand in VERSION",
                      self.complaints("c", "int x;\n", "<!-- from VERSION -->"))

    def test_BlockWithoutEnd_IsAComplaint(self):
        with self.assertRaisesRegex(ValueError, "document.md:1: the block does not end"):
            self.document("```c\nint x;\n")


class LinkTest(DocumentTest):
    def test_PackagesFirstPage_IsAmongTheDocuments(self):
        self.assertIn(ROOT / "package/README.md.in",
                      [document.file for document in documents(ROOT)])

    def test_LinksThatLeadSomewhere_Pass(self):
        document = self.document("# A *heading*, twice\n# A heading, twice\n"
                                 "[up](#a-heading-twice) [file](document.md#a-heading-twice-1) "
                                 "`[no](link)` [far](https://example.org/x)\n")
        self.assertEqual(list(links.broken_links([document])), [])

    def test_LinksOfAPageThatIsForAnotherFolder_StartThere(self):
        page = self.document("[there](docs/README.md) [here](#top)\n# Top\n")
        self.assertEqual(list(links.broken_links([Document(page.file, ROOT)])), [])
        self.assertEqual(list(links.broken_links([page])),
                         [f"{page.file}:1: there is no docs/README.md"])

    def test_LinkToNoFile_IsNamed(self):
        document = self.document("text\n[there](nowhere.md)\n")
        self.assertEqual(list(links.broken_links([document])),
                         [f"{document.file}:2: there is no nowhere.md"])

    def test_LinkToNoHeading_IsNamed(self):
        document = self.document("[there](#nothing)\n")
        self.assertEqual(list(links.broken_links([document])),
                         [f"{document.file}:1: there is no heading #nothing in document.md"])


class MessageTest(DocumentTest):
    def test_StatusThatTheGuideLacks_IsNamed(self):
        guide = self.changed("docs/guides/errors.md", "| 8 | `RIDGE_CONTEXT_IN_USE` |", "| 8 | |")
        self.assertIn("errors.md and the header differ on the status RIDGE_CONTEXT_IN_USE 8",
                      list(messages.complaints(ROOT, guide)))

    def test_MessageThatTheGuideLacks_IsNamed(self):
        guide = self.changed("docs/guides/errors.md", "`Context in use.`", "a text")
        self.assertEqual(list(messages.complaints(ROOT, guide)),
                         ["errors.md has no row for: 8 Context in use."])

    def test_MessageThatTheSourcesLack_IsNamed(self):
        guide = self.changed("docs/guides/errors.md", "| 8 | `Context in use.`",
                             "| 8 | `Context is in use.` | – | – |\n| 8 | `Context in use.`")
        self.assertEqual(list(messages.complaints(ROOT, guide)),
                         ["errors.md names what the library does not have: 8 Context is in use."])

    def test_WrongStatus_IsNamed(self):
        guide = self.changed("docs/guides/errors.md", "| 7 | `Capture timeout`",
                             "| 9 | `Capture timeout`")
        self.assertEqual(list(messages.complaints(ROOT, guide)),
                         ["errors.md has no row for: 7 Capture timeout",
                          "errors.md names what the library does not have: 9 Capture timeout"])

    def test_MessageOfOneLineOrSeveral_IsRead(self):
        numbers = {"RIDGE_TIMEOUT": "7", "RIDGE_UNEXPECTED_FAILURE": "4"}
        source = ('throw RIDGE_EXCEPTION(status::timeout, "one "\n "two (%d)", f(")"));\n'
                  '// fail(context, RIDGE_TIMEOUT, "a comment");\n'
                  'return fail(context, RIDGE_TIMEOUT, formatText("three %s", text));\n'
                  'throw std::out_of_range("four");\n')
        self.assertEqual(list(messages.messages_of(source, numbers, {"timeout": "7"})),
                         [("7", "one two (%d)"), ("7", "three %s"), ("4", "four")])

    def test_MessageThatCannotBeRead_IsAFailure(self):
        with self.assertRaisesRegex(ValueError, "what is the message"):
            list(messages.messages_of("throw RIDGE_EXCEPTION(status::timeout, text);", {}, {}))


class PromiseTest(DocumentTest):
    def complaints(self, old, new):
        return list(promises.complaints(ROOT, self.changed("docs/guides/threads.md", old, new)))

    def test_FunctionWithoutARow_IsNamed(self):
        self.assertEqual(self.complaints("| `ridgeGetInfo` | yes | no | no | nothing | – |\n", ""),
                         ["threads.md: the table has 25 rows, not one for each of the 26 "
                          "functions; ['ridgeGetInfo']"])

    def test_PromiseThatTheHeaderDoesNotMake_IsNamed(self):
        self.assertEqual(self.complaints("| `ridgeGetInfo` | yes | no |",
                                         "| `ridgeGetInfo` | yes | yes |"),
                         ["threads.md: ridgeGetInfo differs from the header on other threads"])
        self.assertEqual(self.complaints("| one command | 6 s |", "| nothing | – |"),
                         ["threads.md: ridgeSettingsSet differs from the header on blocking",
                          "threads.md: ridgeSettingsSet differs from the header on how long it "
                          "blocks"])


class ReferenceTest(DocumentTest):
    EXPORTS = "LIBRARY x.dll\nEXPORTS\n    land\n    start\n"
    FUNCTION = ('<memberdef kind="function"><type>int</type><name>{name}</name>'
                "<param><declname>speed</declname></param>"
                "<briefdescription><para>{brief}</para></briefdescription>"
                "<detaileddescription><parametername>{parameter}</parametername>"
                '<simplesect kind="return">{returned}</simplesect></detaileddescription>'
                "</memberdef>")
    COMPLETE = {"brief": "Words.", "parameter": "speed", "returned": "A number."}

    def complaints(self, *functions):
        (self.folder / "exports.def").write_text(self.EXPORTS, encoding="utf-8")
        (self.folder / "header.xml").write_text(
            "<doxygen>" + "".join(self.FUNCTION.format(**{**self.COMPLETE, **function})
                                  for function in functions) + "</doxygen>", encoding="utf-8")
        return check_reference.check(self.folder, self.folder / "exports.def")[1]

    def test_CompleteReference_Passes(self):
        self.assertEqual(self.complaints({"name": "land"}, {"name": "start"}), [])

    def test_FunctionThatOnlyOneSideHas_IsNamed(self):
        self.assertEqual(self.complaints({"name": "start"}, {"name": "fly"}),
                         ["fly is missing in the DLL's exports",
                          "land is missing in the reference"])

    def test_WhatADescriptionLacks_IsNamed(self):
        self.assertEqual(
            self.complaints({"name": "land", "brief": "", "returned": ""},
                            {"name": "start", "parameter": "sped"}),
            ["land: no description", "land: does not say what it returns",
             "start: parameters ['sped'] are documented, ['speed'] are there"])


if __name__ == "__main__":
    outcome = unittest.main(exit=False, verbosity=1).result
    if not outcome.wasSuccessful():
        sys.exit(1)
    print(f"[  PASSED  ] {outcome.testsRun} tests of the checks")
