"""No line of code is wider than an editor beside another one shows. Prose and data break where they must."""
import pathlib
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("bench", "cmake", "docs", "examples", "fuzz", "hosts", "include", "platform", "scripts", "server", "src",
           "tests", "tools")
KINDS = {".h", ".cpp", ".py", ".sh", ".cmake", ".in"}
WIDTH = 120


def code():
    files = [file for folder in FOLDERS for file in (ROOT / folder).rglob("*")]
    for file in [*ROOT.iterdir(), *files]:
        if file.is_file() and (file.suffix in KINDS or file.name == "CMakeLists.txt"):
            yield file


class LineWidth(unittest.TestCase):
    def test_of_all_code(self):
        wide = [f"{file.relative_to(ROOT)}:{number}: {len(line)}"
                for file in code()
                for number, line in enumerate(file.read_text(encoding="utf-8").split("\n"), 1) if len(line) > WIDTH]
        if wide:
            self.fail("wider than {}:\n{}".format(WIDTH, "\n".join(wide)))

    def test_looks_at_every_kind(self):
        self.assertEqual({file.suffix for file in code()} - {".txt"}, KINDS)


if __name__ == "__main__":
    unittest.main()
