# SPDX-License-Identifier: Apache-2.0
"""Checks the documents: the targets of links and the named files exist, and quotes of source files are exact."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")]
FOLDERS = "bench|cmake|docs|examples|fuzz|hosts|include|platform|resources|scripts|server|src|tests|tools"


class Documents(unittest.TestCase):
    def test_linked_and_named_files_exist(self):
        self.assertGreater(len(DOCUMENTS), 10)
        for document in DOCUMENTS:
            text = document.read_text(encoding="utf-8")
            links = [document.parent / link for link in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", text)]
            named = [ROOT / name for name in re.findall(rf"`(?:\./)?((?:{FOLDERS})/[\w./+-]+)`", text)]
            for target in links + named:
                with self.subTest(f"{document.name}: {target}"):
                    # "X" may stand for X.h and X.cpp.
                    known = target.exists() or any(target.parent.glob(target.name + "*"))
                    self.assertTrue(known)

    def test_quoted_examples_are_exact(self):
        example = "examples/first-window/"
        others = {"c": example + "main.c", "python": example + "main.py"}
        for document, files in (("guide.md", {"cpp": example + "main.cpp", "cmake": example + "CMakeLists.txt",
                                              "json": example + "campaigns.json", **others}),
                                ("languages.md", {"vala": example + "main.vala", **others}),
                                ("hosts.md", {"cpp": "tests/support/PollHost.h"})):
            sources = {language: (ROOT / name).read_text(encoding="utf-8") for language, name in files.items()}
            text = (ROOT / "docs" / document).read_text(encoding="utf-8")
            quotes = re.findall(r"^```(cpp|cmake|json|c|python|vala)\n(.*?)^```", text, re.MULTILINE | re.DOTALL)
            self.assertEqual({language for language, _ in quotes}, set(sources))
            for language, quote in quotes:
                for line in quote.splitlines():
                    with self.subTest(f"{document}: {line}"):
                        self.assertIn(line.strip(), sources[language])


if __name__ == "__main__":
    unittest.main()
