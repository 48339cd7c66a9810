# SPDX-License-Identifier: Apache-2.0
"""Each public header compiles alone, as C++17 or C99 and without warnings: headers_test.py FLAG... -- COMPILER...
FLAG... are the additional flags that the headers of the GTK host and of the GObject need."""
import concurrent.futures
import os
import pathlib
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
cut = sys.argv.index("--")
GTK, COMPILERS = sys.argv[1:cut], sys.argv[cut + 1:]
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror"]
# Programs without RTTI and exceptions can be hosts, too. Only GTK 4's C++ binding needs these features.
WITHOUT = ["-fno-rtti", "-fno-exceptions"]
# A compiler checks templates completely only where they are used, so this code uses those of the public headers.
USES = """#include <memory>
#include <oqsdk/oqsdk.h>
namespace {
class Shop : public oq::Object {
  OQ_CLASS(Shop)
  void _save(const oq::Value&, const std::string&, const oq::UploadHandler&) {}
};
oq::Class* Shop::staticClass() {
  return oq::registerClass("Shop", oq::Object::staticClass(), {oq::method<&Shop::_save>(oq::saveUploadInfo)});
}
}
void use(long long count, unsigned long long size, float ratio, long double share, char letter,
         const std::string& text) {
  const oq::Value all[] = {count, size, ratio, share, letter, text, text.c_str(), nullptr, true, {{"k", {{"a", 1}}}}};
  oq::Array list{count, size, ratio, oq::Array{1, "b"}};
  for (const oq::Value& each : list) list.push_back(each == all[0]);
  oq::Dictionary event{{"count", count}, {"size", size}, {"ratio", ratio}, {text, std::string_view(text)}, {"l", list}};
  event["own"]["key"] = letter;
  oq::send(*std::make_unique<Shop>(), oq::saveUploadInfo, event, text, nullptr);
  (void)oq::TorvelinOqManager::engine().diagnostics().at("windows").at(0).at("count").toInteger();
}
"""


def compile_alone(compiler, flags, code, language=("-std=c++17", "-x", "c++")):
    return subprocess.run([compiler, "-fsyntax-only", *WARNINGS, *flags, f"-I{ROOT / 'include'}", *language, "-"],
                          input=code, capture_output=True, text=True).stderr


def flags_of(header, otherwise):
    return GTK if "gtk" in str(header) or header.name == "gobject.h" else otherwise


class Headers(unittest.TestCase):
    def test_each_public_header_compiles_alone(self):
        headers = [header.relative_to(ROOT / "include") for header in (ROOT / "include").rglob("*.h")]
        jobs = [("every header, used", WITHOUT, USES)]
        for header in headers:
            jobs.append((str(header), flags_of(header, WITHOUT), f"#include <{header}>\n"))
        self.assertGreater(len(jobs), 12)
        c_headers = [header for header in headers if "c" in header.parts]
        self.assertTrue(c_headers)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            runs = [(name, compiler, pool.submit(compile_alone, compiler, flags, code))
                    for compiler in COMPILERS for name, flags, code in jobs]
            runs += [(f"{header} in C", compiler, pool.submit(compile_alone, compiler, flags_of(header, []),
                                                              f"#include <{header}>\n", ("-std=c99", "-x", "c")))
                     for compiler in COMPILERS for header in c_headers]
        self.assertEqual([(name, compiler, run.result()) for name, compiler, run in runs if run.result()], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
