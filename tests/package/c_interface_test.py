# SPDX-License-Identifier: Apache-2.0
"""Checks that the C interface still contains everything in c_interface.txt, unchanged: functions with their parameters,
enumerators with their values, and the fields of structs at their places. Additions are allowed.

    c_interface_test.py LIBRARY=HEADER ...    check the headers, and that each library exports exactly its functions
    c_interface_test.py --record              add what is new to c_interface.txt"""
import pathlib
import re
import subprocess
import sys

HEADERS = pathlib.Path(__file__).resolve().parents[2] / "include/oqsdk/c"
RECORDED = pathlib.Path(__file__).with_name("c_interface.txt")


def plain(declaration):
    """The declaration without differences of formatting."""
    return re.sub(r"\s*\*\s*", " *", " ".join(declaration.split())).replace("( *", "(*")


def interface(header):
    """Returns the lines that describe the header's declarations, and the names of its functions."""
    text = re.sub(r"/\*.*?\*/|^\s*#[^\n]*", "", header.read_text(encoding="utf-8"), flags=re.S | re.M)
    lines, names = [], []
    for declaration in re.findall(r"(?:OQ_API|__attribute__\(\(.*?\)\)) ([^;]+);", text):
        lines.append("function " + plain(declaration))
        names.append(re.search(r"(\w+)\((?!\*)", declaration).group(1))
    for kind, tag, body, name in re.findall(r"\b(enum|struct)\s*(\w*)\s*\{(.*?)\}\s*(\w*)", text, flags=re.S):
        if kind == "enum":
            lines += [f"enum {plain(entry)}" for entry in body.split(",") if entry.strip()]
        else:
            fields = [plain(field) for field in body.split(";") if field.strip()]
            lines += [f"field {tag or name} {place} {field}" for place, field in enumerate(fields)]
    return lines, names


def exported(library):
    """The C functions that the library exports, as NAME@@VERSION. Left out are C++ functions, which have the versions
    OQSDK_0... and OQSDK_PRIVATE..."""
    listing = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True)
    return {line.split()[2] for line in listing.stdout.splitlines() if line.split()[1] != "A" and "@@OQSDK_0" not in line
            and "@@OQSDK_PRIVATE" not in line}


def main():
    recorded = RECORDED.read_text(encoding="utf-8").splitlines() if RECORDED.exists() else []
    current = [line for header in sorted(HEADERS.glob("*.h")) for line in interface(header)[0]]
    if sys.argv[1:] == ["--record"]:
        recorded += [line for line in current if line not in recorded]
        RECORDED.write_text("".join(f"{line}\n" for line in recorded), encoding="utf-8")
        return
    problems = [f"gone or changed: {line}" for line in recorded if line not in current]
    if len(recorded) < 150:
        problems.append(f"only {len(recorded)} declarations are recorded")
    for library, header in (argument.split("=") for argument in sys.argv[1:]):
        expected = {f"{name}@@OQSDK_C_1" for name in interface(HEADERS / header)[1]}
        assert expected, header
        problems += [f"{header}: {name} is not exported" for name in sorted(expected - exported(library))]
        problems += [f"{library}: {name} is not in {header}" for name in sorted(exported(library) - expected)]
    print(f"{len(recorded)} recorded declarations, {len(problems)} problems", *problems, sep="\n")
    sys.exit(1 if problems or len(sys.argv) < 2 else 0)


main()
