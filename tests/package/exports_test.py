# SPDX-License-Identifier: Apache-2.0
"""Checks that shared libraries export exactly the symbols that headers mark with OQSDK_EXPORT:
exports_test.py LIBRARY=PUBLIC-HEADERS ... (a folder or files below include/oqsdk, separated by commas), or MODULE=module for a module, which
exports only C names that begin with oqsdk_."""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
MAJOR, MINOR = re.search(r"project\(OQSDK VERSION (\d+)\.(\d+)", (ROOT / "CMakeLists.txt").read_text("utf-8")).groups()
# Before 1.0 a minor version may change the interface.
PUBLIC_VERSION = f"OQSDK_{MAJOR}" if int(MAJOR) else f"OQSDK_{MAJOR}.{MINOR}"
C_VERSION = "OQSDK_C_1"
PARTS_OF_CLASSES = re.compile(r"(typeinfo|typeinfo name|vtable|VTT|(non-)?virtual thunk|construction vtable) (for|to) ")
CLASS = re.compile(r"^\s*(?:class|struct) OQSDK_EXPORT (\w+)", re.MULTILINE)
INNER = re.compile(r"^ +class (\w+);", re.MULTILINE)  # declared in a class, defined only inside the library
OTHER = re.compile(r"^\s*OQSDK_EXPORT [^(;]*?(\w+)(?:\(|\[|;)", re.MULTILINE)


def found(headers, *patterns):
    texts = [header.read_text(encoding="utf-8") for header in headers]
    return {name for text in texts for pattern in patterns for name in pattern.findall(text)}


def symbols(library):
    """Yields (qualified name without parameters, version) of every exported symbol."""
    listing = subprocess.run(["nm", "-DC", "--defined-only", library], check=True, capture_output=True,
                             text=True).stdout
    for line in listing.splitlines():
        kind, name = line[17:18], line[19:]
        if kind == "A":  # a symbol version, not a symbol
            continue
        name, _, version = name.partition("@")
        name = PARTS_OF_CLASSES.sub("", name)
        yield re.split(r"[(\[]", name)[0], version.lstrip("@")


def check(library, public, inner, private):
    problems, seen, count = [], set(), 0
    for name, version in symbols(library):
        count += 1
        words = set(name.split("::")[1:])
        if version == C_VERSION:  # c_interface_test.py checks these
            continue
        if not name.startswith("oq::"):
            problems.append(f"{name}: not ours")
        elif words & inner:
            problems.append(f"{name}: private to the library, but exported")
        elif words & public:
            seen |= words & public
            if version != PUBLIC_VERSION:
                problems.append(f"{name}: public, but has {version or 'no version'}")
        elif not words & private:
            problems.append(f"{name}: not marked with OQSDK_EXPORT")
        elif not version.startswith("OQSDK_PRIVATE_"):
            problems.append(f"{name}: only for our hosts, but has {version or 'no version'}")
    problems += [f"{name}: marked in a header, but not exported" for name in sorted(public - seen)]
    print(f"{pathlib.Path(library).name}: {count} symbols, {len(seen)} public names, {len(problems)} problems")
    return problems


def main():
    private = found([header for layer in ("platform", "hosts") for header in (ROOT / layer).rglob("*.h")], CLASS, OTHER)
    problems = []
    for argument in sys.argv[1:]:
        library, folder = argument.split("=")
        if folder == "module":
            problems += [f"{name}: the module must not export it" for name, _ in symbols(library)
                         if not name.startswith("oqsdk_")]
            continue
        places = [ROOT / "include/oqsdk" / place for place in folder.split(",")]
        headers = [header for place in places for header in ([place] if place.is_file() else place.glob("*.h"))]
        public = found(headers, CLASS, OTHER)
        assert public, folder
        problems += check(library, public, found(headers, INNER), private)
    print(*problems, sep="\n")
    sys.exit(1 if problems or len(sys.argv) < 2 else 0)


main()
