# SPDX-License-Identifier: Apache-2.0
"""Installs a build tree into an empty prefix, moves it, and builds programs against it outside the source tree:
install_test.py BUILD-TREE"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
CONSUMER = ROOT / "tests/package/consumer"
BUILD = pathlib.Path(sys.argv.pop())
VERSION = re.search(r"project\(OQSDK VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))[1]


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls._folder = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls._folder.name)
        cls.prefix = cls.folder / "moved"
        cls.run_program("cmake", "--install", BUILD, "--prefix", cls.folder / "first")
        shutil.move(cls.folder / "first", cls.prefix)

    @classmethod
    def tearDownClass(cls):
        cls._folder.cleanup()

    @classmethod
    def run_program(cls, *command, succeeds=True, **environment):
        done = subprocess.run([str(word) for word in command], cwd=cls.folder, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, env={**os.environ, "XDG_DATA_HOME": str(cls.folder / "data"),
                                                             **environment})
        if (done.returncode == 0) != succeeds:
            raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}")
        return done.stdout

    def configure(self, source, name, *options, **how):
        return self.run_program("cmake", "-G", "Ninja", "-S", source, "-B", self.folder / name,
                                f"-DCMAKE_PREFIX_PATH={self.prefix}", *options, **how)

    def test_a_program_of_ten_lines_finds_the_library_with_cmake(self):
        self.configure(CONSUMER, "by-cmake")
        self.run_program("cmake", "--build", "by-cmake")
        self.run_program("by-cmake/consumer")
        self.assertGreater((self.folder / "screen.png").stat().st_size, 100)

    def test_a_small_program_builds_and_runs_with_pkg_config(self):
        where = [str(path.parent) for path in self.prefix.rglob("oqsdk.pc")]
        flags = self.run_program("pkg-config", "--cflags", "--libs", "oqsdk-headless", PKG_CONFIG_PATH=":".join(where))
        libraries = next(self.prefix.rglob("liboqsdk.*")).parent
        self.run_program("c++", "-std=c++17", CONSUMER / "main.cpp", "-o", "by-pkg-config", *flags.split(),
                         f"-Wl,-rpath,{libraries}")
        self.run_program("./by-pkg-config")

    def test_a_program_in_c_builds_and_runs(self):
        where = next(self.prefix.rglob("oqsdk-c.pc")).parent
        flags = self.run_program("pkg-config", "--cflags", "--libs", "oqsdk-c", PKG_CONFIG_PATH=str(where)).split()
        self.run_program("cc", "-std=c99", CONSUMER / "main.c", "-o", "in-c", *flags, f"-Wl,-rpath,{where.parent}")
        self.assertIn(VERSION + ": application is NULL.", self.run_program("./in-c"))
        source = self.project("c-by-cmake", "enable_language(C)", "find_package(OQSDK REQUIRED COMPONENTS c)",
                              f"add_executable(in-c {CONSUMER / 'main.c'})", "target_link_libraries(in-c OQSDK::c)",
                              "find_package(OQSDK REQUIRED COMPONENTS gobject)", "file(WRITE object.c",
                              "\"#include <oqsdk/c/gobject.h>\\nint main(void) { return !OQSDK_TYPE_MESSAGES; }\")",
                              "add_executable(object object.c)", "target_link_libraries(object OQSDK::gobject)")
        self.configure(source, "c-by-cmake/build")
        self.run_program("cmake", "--build", "c-by-cmake/build")
        self.run_program("c-by-cmake/build/in-c")
        self.run_program("c-by-cmake/build/object")

    def test_the_first_programs_of_guide_and_readme_build_outside_the_tree(self):
        readme = (ROOT / "README.md").read_text(encoding="utf-8")
        (code,), (build,) = (re.findall(rf"^```{kind}\n(.*?)^```", readme, re.M | re.S) for kind in ("cpp", "cmake"))
        shop = self.project("shop", "add_executable(shop main.cpp)", build)
        (shop / "main.cpp").write_text(code + "int main() {}\n", encoding="utf-8")
        for source in (ROOT / "examples/first-window", shop):
            self.configure(source, source.name + "-build")
            self.run_program("cmake", "--build", source.name + "-build")

    def project(self, name, *lines):
        source = self.folder / name
        source.mkdir(exist_ok=True)
        head = ("cmake_minimum_required(VERSION 3.25)", f"project({name} LANGUAGES CXX)")
        (source / "CMakeLists.txt").write_text("\n".join([*head, *lines, ""]), encoding="utf-8")
        return source

    def test_programs_with_other_toolkits_find_their_hosts(self):
        programs = {"qt": "#include <oqsdk/qt/QtHost.h>\nint main() { return oq::qt::attach((QWidget*)nullptr); }\n",
                    "quick": "#include <oqsdk/qt/QuickHost.h>\n"
                             "int main() { return oq::qt::attach((QQuickWindow*)nullptr); }\n",
                    "sdl": "#include <oqsdk/sdl/SdlHost.h>\n"
                           "int main() { return oq::sdl::attach(nullptr) != nullptr; }\n"}
        lines = [f"find_package(OQSDK 0.8 REQUIRED COMPONENTS {' '.join(programs)})"]
        for name in programs:
            lines += [f"add_executable({name} {name}.cpp)", f"target_link_libraries({name} PRIVATE OQSDK::{name})"]
        source = self.project("toolkits", *lines)
        for name, code in programs.items():
            (source / f"{name}.cpp").write_text(code, encoding="utf-8")
        self.configure(source, "toolkits/build")
        self.run_program("cmake", "--build", "toolkits/build")
        for name in programs:  # refused with a reason, since there is no application and no window
            self.run_program(f"toolkits/build/{name}")

    def test_unknown_components_and_other_versions_are_refused(self):
        for text, wanted in (("find_package(OQSDK REQUIRED COMPONENTS telepathy)", 'unknown component "telepathy"'),
                             ("find_package(OQSDK 0.9 REQUIRED)", VERSION),
                             ("find_package(OQSDK 0.7 REQUIRED)", VERSION)):
            source = self.project("refused", text)
            self.assertIn(wanted, self.configure(source, "refused/build", "--fresh", succeeds=False))

    def test_as_a_subproject_only_the_libraries_are_built_and_nothing_is_installed(self):
        (self.folder / "program.cpp").write_text("int main() {}\n", encoding="utf-8")
        source = self.project("whole", f"add_subdirectory({ROOT} oqsdk)", "add_executable(program ../program.cpp)",
                              "target_link_libraries(program PRIVATE OQSDK::oqsdk OQSDK::headless OQSDK::gtk)")
        self.configure(source, "whole/build")
        targets = self.run_program("cmake", "--build", "whole/build", "--target", "help")
        self.assertRegex(targets, r"(?m)^oqsdk: ")
        for ours in ("core_tests", "oqsdk-server", "gtk-shop"):
            self.assertNotRegex(targets, rf"(?m)^{ours}: ")
        self.run_program("cmake", "--install", "whole/build", "--prefix", self.folder / "nothing")
        self.assertFalse((self.folder / "nothing").exists())

    def test_installs_the_server_the_resources_and_all_headers(self):
        self.assertIn(VERSION, self.run_program(self.prefix / "bin/oqsdk-server", "--version"))
        bundle = self.prefix / "share/oqsdk/OQSDK.bundle"
        ours = ROOT / "resources/OQSDK.bundle"
        self.assertEqual(sorted(path.name for path in bundle.iterdir()), sorted(path.name for path in ours.iterdir()))
        for header in (ROOT / "include").rglob("*.h"):
            self.assertTrue((self.prefix / header.relative_to(ROOT)).is_file(), header)


if __name__ == "__main__":
    unittest.main()
