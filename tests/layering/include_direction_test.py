# SPDX-License-Identifier: Apache-2.0
"""Checks every #include: a folder may include only the folders that the architecture allows."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# For each folder, the folders whose headers its files may include.
MAY_INCLUDE = {
    "include": {"include"},
    "platform": {"include", "platform"},
    "src": {"include", "platform", "src"},
    "hosts": {"include", "platform", "hosts"},
    "bindings": {"include", "platform", "bindings"},
    "server": {"server"},
    "examples": {"include", "examples"},
    "tests": {"include", "platform", "src", "hosts", "bindings", "server", "tests"},
    "bench": {"include", "platform", "src", "hosts", "bench", "tests"},
    "tools": {"include", "platform", "src", "tests", "tools"},
    "fuzz": {"include", "platform", "src", "server", "fuzz", "tests"},
}
# The folders of src, lowest first: a file includes headers of its own folder and of those before it.
SRC_ORDER = ["Utils", "Hooks", "Model", "Storage", "Matching", "Requests", "Pages", "UI", "Engine", "Tools"]
# The library headers that a folder may include. Folders that are not listed may include any.
LIBRARIES = {
    "include": re.compile(r"[a-z_]+"),
    "include/oqsdk/c": re.compile(r"std(bool|def|int)\.h|gtk/gtk\.h|glib-object\.h"),
    "include/oqsdk/gtk": re.compile(r"[a-z_]+|gtkmm/.*"),
    "platform": re.compile(r"(?!gtk|gdk/|gdkmm|glibmm|giomm|webkit).*"),
    "src": re.compile(r"[a-z_]+|boost/(json|container)/.*"),
}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)


def target_of(file, name):
    """The path of our header that an include refers to, or None for a library's header."""
    folders = ("include", "platform", "src", "hosts", "bindings", "server", "tests", "tools")
    for place in [file.parent, *(ROOT / folder for folder in folders)]:
        target = (place / name).resolve()
        if target.is_file() and target.is_relative_to(ROOT):
            return target.relative_to(ROOT)
    return None


def points_up(path, target):
    """Whether an include goes from a folder of src to one above it."""
    if path.parts[0] != "src" or target.parts[0] != "src":
        return False
    return SRC_ORDER.index(target.parts[1]) > SRC_ORDER.index(path.parts[1])


def problems_of(file, text):
    path = file.relative_to(ROOT)
    folder = path.parts[0]
    libraries = [allowed for folder, allowed in LIBRARIES.items() if path.is_relative_to(folder)]
    for name in INCLUDE.findall(text):
        target = target_of(file, name)
        if target and target.parts[0] not in MAY_INCLUDE[folder]:
            yield f"{path} includes {name}: {folder} may not include from {target.parts[0]}"
        elif target and points_up(path, target):
            yield f"{path} includes {name}: {target.parts[1]} is above {path.parts[1]}"
        elif not target and libraries and not libraries[-1].fullmatch(name):
            yield f"{path} includes {name}: not for {folder}"


class IncludeDirection(unittest.TestCase):
    def test_every_include_is_allowed(self):
        for folder in MAY_INCLUDE:
            files = [file for kind in ("*.h", "*.cpp") for file in (ROOT / folder).rglob(kind)]
            self.assertTrue(files, folder)
            for file in files:
                with self.subTest(file.name):
                    self.assertEqual(list(problems_of(file, file.read_text(encoding="utf-8"))), [])

    def test_the_diagram_shows_every_allowed_direction(self):
        diagram = (ROOT / "docs/images/architecture.svg").read_text(encoding="utf-8")
        drawn = set(re.findall(r'data-from="(\w+)" data-to="(\w+)"', diagram))
        boxes = {box for arrow in drawn for box in arrow}
        self.assertGreater(len(boxes), 4)
        self.assertEqual(drawn, {(box, end) for box in boxes for end in MAY_INCLUDE[box] if box != end})


if __name__ == "__main__":
    unittest.main()
