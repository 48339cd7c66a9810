# SPDX-License-Identifier: Apache-2.0
"""Every C++ snippet of the documents compiles: snippets_test.py COMPILER FLAG...

A snippet that begins with an #include is a complete file; any other is the body of a function. Other declarations that
it needs are in a comment before it: <!-- given: DECLARATIONS -->. Documents that quote a source file of this tree are
left out: other tests build that file, and documents_test.py compares the two.
"""
import pathlib
import re
import subprocess
import sys
import textwrap
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMMAND = [*sys.argv[1:], "-fsyntax-only", "-x", "c++", "-"]
DOCUMENTS = [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]
SNIPPET = re.compile(r"(?:<!-- given: (?P<given>.*?) -->\s*)?^(?P<indent> *)```cpp\n(?P<code>.*?)^ *```",
                     re.MULTILINE | re.DOTALL)
INCLUDES = "#include <glib.h>\n#include <gtkmm.h>\n#include <oqsdk/gtk/GtkHost.h>\n#include <oqsdk/oqsdk.h>\n" \
           "#include <oqsdk/qt/QtHost.h>\n#include <oqsdk/sdl/SdlHost.h>\n#include <SDL2/SDL.h>\n#include <iostream>\n"


def snippets():
    """Yields pairs: whether the snippet is a complete file, and the code to compile."""
    for document in DOCUMENTS:
        if document.name in ("guide.md", "hosts.md"):
            continue
        text = document.read_text(encoding="utf-8")
        for number, found in enumerate(SNIPPET.finditer(text)):
            line = text.count("\n", 0, found.start("code")) + 1
            code = f'#line {line} "{document}"\n' + textwrap.dedent(found["code"])
            name = re.sub(r"\W", "_", document.stem) + str(number)
            if code.partition("\n")[2].startswith("#include"):
                yield True, code
            else:
                yield False, f"namespace {name} {{ {found['given'] or ''}\nvoid run() {{\n{code}}}\n}}\n"


class Snippets(unittest.TestCase):
    def test_all_snippets_compile(self):
        found = list(snippets())
        files = [code for is_file, code in found if is_file]
        bodies = [code for is_file, code in found if not is_file]
        self.assertTrue(files and len(bodies) > 4, found)
        # Complete files come first, so that they compile with only their own includes.
        source = "".join([*files, INCLUDES, *bodies])
        compiled = subprocess.run(COMMAND, input=source, capture_output=True, text=True)
        self.assertEqual(compiled.returncode, 0, compiled.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
