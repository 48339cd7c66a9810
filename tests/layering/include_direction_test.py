"""Arrows between the folders point one way, and only where the architecture lets them: reads every #include."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
# A folder, and whose headers its files may include besides those of libraries.
MAY_INCLUDE = {
    "include": {"include"},
    "platform": {"include", "platform"},
    "src": {"include", "platform", "src"},
    "hosts": {"include", "platform", "hosts"},
    "server": {"server"},
    "examples": {"include", "examples"},
    "tests": {"include", "platform", "src", "hosts", "server", "tests"},
    "bench": {"include", "platform", "src", "hosts", "bench", "tests"},
    "tools": {"include", "platform", "src", "tests", "tools"},
    "fuzz": {"include", "platform", "src", "server", "fuzz", "tests"},
}
# Headers of libraries that a folder may see; where a folder is not named, any.
LIBRARIES = {
    "include": re.compile(r"[a-z_]+"),
    "include/oqsdk/gtk": re.compile(r"[a-z_]+|gtkmm/.*"),
    "platform": re.compile(r"(?!gtk|gdk/|gdkmm|glibmm|giomm|webkit).*"),
    "src": re.compile(r"[a-z_]+|boost/(json|container)/.*"),
}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)


def folder_of(file, name):
    """The folder of ours that an include ends in, or None for a library's header."""
    places = [file.parent] + [ROOT / folder for folder in ("include", "platform", "src", "hosts", "server", "tests", "tools")]
    for place in places:
        target = (place / name).resolve()
        if target.is_file() and target.is_relative_to(ROOT):
            return target.relative_to(ROOT).parts[0]
    return None


def problems_of(file, text):
    path = file.relative_to(ROOT)
    folder = path.parts[0]
    libraries = [allowed for folder, allowed in LIBRARIES.items() if path.is_relative_to(folder)]
    for name in INCLUDE.findall(text):
        target = folder_of(file, name)
        if target in MAY_INCLUDE[folder]:
            continue
        if target:
            yield f"{path} includes {name}: {folder} may not include from {target}"
        elif libraries and not libraries[-1].fullmatch(name):
            yield f"{path} includes {name}: not for {folder}"


class IncludeDirection(unittest.TestCase):
    def test_every_include(self):
        for folder in MAY_INCLUDE:
            files = [file for kind in ("*.h", "*.cpp") for file in (ROOT / folder).rglob(kind)]
            self.assertTrue(files, folder)
            for file in files:
                with self.subTest(file.name):
                    self.assertEqual(list(problems_of(file, file.read_text(encoding="utf-8"))), [])

    def test_the_diagram_draws_every_arrow_between_its_boxes(self):
        diagram = (ROOT / "docs/images/architecture.svg").read_text(encoding="utf-8")
        drawn = set(re.findall(r'data-from="(\w+)" data-to="(\w+)"', diagram))
        boxes = {box for arrow in drawn for box in arrow}
        self.assertGreater(len(boxes), 4)
        self.assertEqual(drawn, {(box, end) for box in boxes for end in MAY_INCLUDE[box] if box != end})

    def test_sees_what_points_the_wrong_way(self):
        for path, include in (
            ("platform/Foundation/Files/X.cpp", '#include "Engine/OQSDKManager.h"'),
            ("platform/UIKit/X.h", "#include <gtkmm/window.h>"),
            ("src/Engine/X.cpp", "#include <unistd.h>"),
            ("src/UI/X.cpp", '#  include "gtk/Surface.h"'),
            ("hosts/gtk/X.cpp", '#include "Utils/OQLogger.h"'),
            ("include/oqsdk/X.h", '#include "Foundation/Values/Date.h"'),
            ("include/oqsdk/X.h", "#include <gtkmm/window.h>"),
            ("include/oqsdk/X.h", "#include <boost/json.hpp>"),
            ("server/X.cpp", "#include <oqsdk/oqsdk.h>"),
            ("examples/gtk-shop/X.cpp", '#include "UIKit/Views/UIView.h"'),
        ):
            with self.subTest(include):
                self.assertEqual(len(list(problems_of(ROOT / path, include))), 1)


if __name__ == "__main__":
    unittest.main()
