# SPDX-License-Identifier: Apache-2.0
"""Checks that the C interface still contains everything in c_interface.txt, unchanged: functions with their parameters,
types, enumerators with their values, the fields of structs with their places in memory, and the INIT macros. Additions
are allowed.

    c_interface_test.py LIBRARY=HEADER ...    check the headers, and that each library exports exactly its functions
    c_interface_test.py --record              add what is new to c_interface.txt"""
import pathlib
import re
import subprocess
import sys
import tempfile

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
    lines += [f"type {plain(name)}" for name in re.findall(r"typedef struct \w+ \w+;", text)]
    for kind, tag, body, name in re.findall(r"\b(enum|struct)\s*(\w*)\s*\{(.*?)\}\s*(\w*)", text, flags=re.S):
        if kind == "enum":
            lines += [f"enum {plain(entry)}" for entry in body.split(",") if entry.strip()]
        else:
            fields = [plain(field) for field in body.split(";") if field.strip()]
            lines += [f"field {tag or name} {place} {field}" for place, field in enumerate(fields)]
    return lines, names


def layout(header):
    """What a compiler makes of oqsdk.h on a machine of 64 bits: the places and sizes of all fields, the values of the
    INIT macros byte by byte, the enumerators, and the version."""
    text = re.sub(r"/\*.*?\*/", "", header.read_text(encoding="utf-8"), flags=re.S)
    out = [f'#include "{header}"', "#include <stdio.h>", "#include <string.h>", "int main(void) {",
           'printf("value OQ_INTERFACE %d\\n", OQ_INTERFACE);']
    for name in re.findall(r"\b(OQ_[A-Z_]+)\s*=", text):
        out.append(f'printf("value {name} %d\\n", (int){name});')
    for tag, body in re.findall(r"typedef struct (\w+) \{(.*?)\}", text, flags=re.S):
        fields = re.findall(r"(\w+)(?:\[\d+\])?(?:\)\([^;]*\))?;", body)
        for field in fields:
            out.append(f'printf("place {tag}.{field} %zu %zu\\n", offsetof({tag}, {field}), '
                       f"sizeof((({tag}*)0)->{field}));")
        if fields[0] == "size":
            out.append(f'if (offsetof({tag}, {fields[-1]}) + sizeof((({tag}*)0)->{fields[-1]}) != sizeof({tag})) '
                       f'printf("{tag} has padding at its end\\n");')
    for macro in re.findall(r"#define (OQ_(\w+)_INIT)\b", text):
        tag = "oq_" + macro[1].lower()
        out.append(f'{{ {tag} v; memset(&v, 255, sizeof v); v = ({tag}){macro[0]};')
        body = re.search(rf"typedef struct {tag} \{{(.*?)\}}", text, flags=re.S)[1]
        for field in re.findall(r"(\w+)(?:\[\d+\])?(?:\)\([^;]*\))?;", body)[1:]:  # without the size
            out.append(f'printf("initial {tag}.{field} "); for (size_t i = 0; i < sizeof v.{field}; ++i) '
                       f'printf("%02x", ((unsigned char*)&v.{field})[i]); puts("");')
        out.append("}")
    out.append("}")
    with tempfile.TemporaryDirectory() as folder:
        program = pathlib.Path(folder) / "layout"
        subprocess.run(["cc", "-std=c99", "-xc", "-", "-o", program], input="\n".join(out), text=True, check=True)
        return subprocess.run([program], check=True, capture_output=True, text=True).stdout.splitlines()


def exported(library):
    """The C functions that the library exports, as NAME@@VERSION. Left out are C++ functions, which have the versions
    OQSDK_0... and OQSDK_PRIVATE..."""
    listing = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True)
    return {line.split()[2] for line in listing.stdout.splitlines() if line.split()[1] != "A" and "@@OQSDK_0" not in line
            and "@@OQSDK_PRIVATE" not in line}


def main():
    recorded = RECORDED.read_text(encoding="utf-8").splitlines() if RECORDED.exists() else []
    current = [line for header in sorted(HEADERS.glob("*.h")) for line in interface(header)[0]]
    if sys.maxsize > 2**32:
        current += layout(HEADERS / "oqsdk.h")
    else:
        recorded = [line for line in recorded if not re.match("place|value|initial", line)]
    if sys.argv[1:] == ["--record"]:
        recorded += [line for line in current if line not in recorded]
        RECORDED.write_text("".join(f"{line}\n" for line in recorded), encoding="utf-8")
        return
    problems = [f"gone or changed: {line}" for line in recorded if line not in current]
    problems += [line for line in current if line.endswith("has padding at its end")]
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
