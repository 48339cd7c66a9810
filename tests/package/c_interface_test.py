# SPDX-License-Identifier: Apache-2.0
"""Checks that the C interface still contains everything in c_interface.txt, unchanged: functions with their parameters,
enumerators with their values, and the fields of structs at their places. Additions are allowed.

    c_interface_test.py HEADER LIBRARY     check the header, and that the library exports exactly its functions
    c_interface_test.py HEADER --record    add what is new to c_interface.txt"""
import pathlib
import re
import subprocess
import sys

RECORDED = pathlib.Path(__file__).with_name("c_interface.txt")


def interface(header):
    """Returns the lines that describe the header's declarations, and the names of its functions."""
    text = re.sub(r"/\*.*?\*/|^\s*#[^\n]*", "", header.read_text(encoding="utf-8"), flags=re.S | re.M)
    lines, names = [], []
    for declaration in re.findall(r"OQ_API ([^;]+);", text):
        lines.append("function " + " ".join(declaration.split()))
        names.append(re.search(r"(\w+)\((?!\*)", declaration).group(1))
    for kind, tag, body in re.findall(r"\b(enum|struct)\s*(\w*)\s*\{(.*?)\}", text, flags=re.S):
        if kind == "enum":
            lines += [f"enum {' '.join(entry.split())}" for entry in body.split(",") if entry.strip()]
        else:
            # "double x, y" declares two fields.
            fields = [" ".join(field.split()) for field in body.split(";") if field.strip()]
            single = []
            for field in fields:
                first, *others = re.split(r",\s*(?![^(]*\))", field)
                single += [first] + [f"{first.rsplit(' ', 1)[0]} {other}" for other in others]
            lines += [f"field {tag} {place} {field}" for place, field in enumerate(single)]
    return lines, names


def main():
    lines, names = interface(pathlib.Path(sys.argv[1]))
    recorded = RECORDED.read_text(encoding="utf-8").splitlines() if RECORDED.exists() else []
    if sys.argv[2] == "--record":
        RECORDED.write_text("".join(f"{line}\n" for line in recorded + [l for l in lines if l not in recorded]))
        return
    problems = [f"gone or changed: {line}" for line in recorded if line not in lines]
    if len(recorded) < 100 or len(names) < 40:
        problems.append(f"only {len(recorded)} recorded declarations and {len(names)} functions were read")
    listing = subprocess.run(["nm", "-D", "--defined-only", sys.argv[2]], check=True, capture_output=True, text=True)
    symbols = {line.split()[2] for line in listing.stdout.splitlines() if line.split()[1] != "A"}
    exported = {symbol.split("@")[0] for symbol in symbols}
    problems += [f"not exported: {name}" for name in sorted(set(names) - exported)]
    problems += [f"exported, but not in the header: {name}" for name in sorted(exported - set(names))]
    problems += [f"without the version OQSDK_C_1: {name}" for name in symbols if not name.endswith("@@OQSDK_C_1")]
    print(f"{len(recorded)} recorded declarations, {len(names)} functions, {len(problems)} problems", *problems, sep="\n")
    sys.exit(bool(problems))


main()
