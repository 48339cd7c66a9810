#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Draws one-line faults by a seed, puts each into a copy of the tree, and reports which ones the tests find.

    draw_faults.py --count 130 --seed 1          draw, build, run, report
    draw_faults.py --count 130 --seed 1 --list   print the faults and stop
    draw_faults.py --again RESULTS               try again the faults that an earlier draw found

The draw depends only on the commit, the seed and the count. It contains no faults in headers, since each of them would
cause half of the tree to be compiled. All work is done on a clone in build/faults. One run of every test there records
which lines the test covers. Each fault is then tried on the tests that cover its line, the most specific ones first.
The results are kept in build/faults. --resume continues an interrupted draw and runs the remaining tests of
survivors."""
import argparse
import collections
import concurrent.futures
import contextlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "faults"
TREE = WORK / "tree"
BUILD = TREE / "build" / "dev"
FOLDERS = ("src", "platform", "server", "hosts", "bindings")
JOBS = 2
LEAST_PER_FOLDER = 3
# These tests check the source tree or an installed copy of it, not behaviour.
LEFT_OUT = re.compile(r"^(documents|layering|package)\.|^format$|^server_schema$")
# Test programs list their cases when ctest starts, not when they are built: a program with a fault may be unable to
# list them, and then the build would fail.
CONFIGURE = ["cmake", "--preset", "dev", "-DCMAKE_CXX_FLAGS=--coverage -fprofile-filter-files=/tree/",
             "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
LLD = [f"-DCMAKE_{kind}_LINKER_FLAGS=-fuse-ld=lld" for kind in ("EXE", "SHARED", "MODULE")]


# ---- The draw

Fault = collections.namedtuple("Fault", "id file line kind old new")
SKIPPED = re.compile(r"""R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)'(?:\\.|[^'\\\n])+'|//[^\n]*|/\*.*?\*/"""
                     r"|^[ \t]*\#(?:\\\n|[^\n])*", re.S | re.M)
NOT_BEHAVIOUR = re.compile(r"\b(?:static_)?assert\s*\([^;]*;|\benum\b[^;{]*\{[^}]*\}|\btemplate <[^\n]*"
                           r"|\b(?:using|namespace)\b[^\n;{]*[;{]")
IS_LOG = re.compile(r"\w*[lL]og(?:Written)?\(|std::cerr|g_(?:warning|message|critical)\(")
SWAPS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&", "+": "-", "-": "+",
         "+=": "-=", "-=": "+=", "true": "false", "false": "true"}
PATTERNS = [("comparison", re.compile(r"(?<=[^r] )(?:<=|>=|==|!=|<|>)(?= )")),
            ("logic", re.compile(r"(?<= )(?:&&|\|\|)(?= )")),
            ("arithmetic", re.compile(r"(?<=[\w)\]] )[+-]=?(?= )")), ("flag", re.compile(r"\b(?:true|false)\b"))]
NUMBER = re.compile(r"(?<![\w.'])(\d+(?:\.\d+)?)(?![\w.'])")
ORED_FLAG = re.compile(r" \| [\w:]+(?=[,;) ])|\b[\w:]+ \| (?=\w)")
CALL = re.compile(r"^\s*(?!return\b|throw\b|delete\b|if\b|for\b|while\b|switch\b|co_)[\w:.\[\]*<>-]+\(.*\);$")
EARLY = re.compile(r"^(\s*(?:\} )?(?:else )?if \(.*\) )(?:return\b.*|continue|break);$")
LONE_EARLY = re.compile(r"^\s*(?:return\b.*|continue);$")
TERNARY = re.compile(r" \? ([^?:;,()]*(?:\([^?()]*\))?[^?:;,()]*) : ([^?:;,()]*(?:\([^?()]*\))?[^?:;,()]*)(?=[;,)])")


def masked(text):
    """Returns the text with comments and directives blanked and strings masked. All characters keep their positions."""
    def cover(match):
        found = match.group()
        if found[0] in "\"'R":
            return re.sub(r"[^\n\"']|(?<=\\)[\"']", "~", found)
        return re.sub(r"[^\n]", " ", found)
    text = SKIPPED.sub(cover, text)
    return NOT_BEHAVIOUR.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)


def changed_number(digits, rng):
    if "." in digits:
        return rng.choice([repr(float(digits) * 2), repr(float(digits) + 1)] + ["0.0"] * (float(digits) != 0))
    value = int(digits)
    return str(rng.choice([v for v in {value + 1, value - 1, value * 2, 0} if v != value and v >= 0]))


def faults_of_line(line, mask, before, rng):
    """Yields (kind, new line) for each fault of the line; `before` is the masked code before the line."""
    def put(start, end, replacement):
        return line[:start] + replacement + line[end:]

    starts_statement = before.endswith((";", "{", "}", ")", ":", "else")) or not before
    for kind, pattern in PATTERNS:
        for match in pattern.finditer(mask):
            yield kind, put(match.start(), match.end(), SWAPS[match.group()])
    for match in NUMBER.finditer(mask):
        yield "constant", put(*match.span(), changed_number(match.group(), rng))
    for match in re.finditer(r'"(~+)"', mask):
        places = [i for i in range(*match.span(1)) if re.match(r"[A-Za-z0-9]", line[i]) and line[i - 1] not in "\\%"]
        if places:
            place = rng.choice(places)
            other = {"z": "y", "Z": "Y", "9": "8"}.get(line[place]) or chr(ord(line[place]) + 1)
            yield "log text" if IS_LOG.search(before[-200:] + mask) else "string", put(place, place + 1, other)
    for match in ORED_FLAG.finditer(mask):
        yield "flag", put(*match.span(), "")
    for match in re.finditer(r"(?<!\w)!(?=[\w(])", mask):
        yield "negation", put(*match.span(), "")
    for match in TERNARY.finditer(mask):
        yield "ternary", put(*match.span(), f" ? {line[slice(*match.span(2))]} : {line[slice(*match.span(1))]}")
    if starts_statement and CALL.match(mask) and mask.count("(") == mask.count(")"):
        yield "removed call", re.sub(r"\S.*", "{}", line)
    if match := EARLY.match(mask):
        yield "early return", line[:match.end(1)] + "{}"
    elif LONE_EARLY.match(mask) and before.endswith((")", "else", ";")) and line.startswith("    "):
        yield "early return", re.sub(r"\S.*", "{}", line)


def faults_of_folder(folder, seed):
    """Returns the number of code lines, and the faults in drawn order: all kinds equally likely, one fault per line."""
    rng, kinds = random.Random(f"{seed}:{folder}"), collections.defaultdict(list)
    code_lines = 0
    for path in sorted((ROOT / folder).glob("*.cpp")):
        text, before = path.read_text(), ""
        for number, (line, mask) in enumerate(zip(text.split("\n"), masked(text).split("\n")), 1):
            if not mask.strip():
                continue
            code_lines += 1
            for kind, new in faults_of_line(line, mask, before, rng):
                kinds[kind].append((str(path.relative_to(ROOT)), number, kind, line, new))
            before = (before + " " + mask.strip())[-240:] if not before.endswith((";", "{", "}")) else mask.strip()
    order, taken = [], set()
    while kinds:
        kind = rng.choice(sorted(kinds))
        fault = kinds[kind].pop(rng.randrange(len(kinds[kind])))
        if not kinds[kind]:
            del kinds[kind]
        if fault[:2] not in taken:
            taken.add(fault[:2])
            order.append(Fault(f"{folder.replace('/', '.')}.{len(order) + 1}", *fault))
    return code_lines, order


def draw(count, seed):
    """Returns for each folder how many faults to count, and all of its faults in drawn order."""
    folders = sorted({str(path.parent.relative_to(ROOT)) for top in FOLDERS for path in (ROOT / top).rglob("*.cpp")})
    drawn = {folder: faults_of_folder(folder, seed) for folder in folders}
    total = sum(lines for lines, _ in drawn.values())
    share = {folder: max(LEAST_PER_FOLDER, round(count * lines / total)) for folder, (lines, _) in drawn.items()}
    while (rest := count - sum(share.values())) and (rest > 0 or max(share.values()) > LEAST_PER_FOLDER):
        share[max(share, key=lambda folder: (share[folder], folder))] += 1 if rest > 0 else -1
    return {folder: (share[folder], drawn[folder][1]) for folder in folders}


def found_again(results):
    """Yields the faults that an earlier draw found, each at the nearest equal line of a file with the same name, or
    else at the only equal line of the tree. Prints the faults whose line is not found."""
    lines = collections.defaultdict(list)
    for path in sorted(path for top in FOLDERS for path in (ROOT / top).rglob("*.cpp")):
        for number, line in enumerate(path.read_text().split("\n"), 1):
            lines[line].append((path, number))
    for entry in results.values():
        if entry["result"] != "found":
            continue
        places = lines[entry["old"]]
        named = [place for place in places if place[0].name == pathlib.Path(entry["file"]).name]
        nearest = sorted(named, key=lambda place: abs(place[1] - entry["line"])) or (places if len(places) == 1 else [])
        if nearest:
            path, number = nearest[0]
            yield Fault(entry["id"], str(path.relative_to(ROOT)), number, entry["kind"], entry["old"], entry["new"])
        else:
            print(f"{entry['id']}: its line is gone: {entry['old'].strip()}")


# ---- Building and running

def run(command, **options):
    return subprocess.run([str(part) for part in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **options)


def prepare(commit):
    """Brings the clone to the commit, undoes the changes that an interrupted draw has left there, and builds it."""
    WORK.mkdir(parents=True, exist_ok=True)
    if not TREE.exists():
        subprocess.run(["git", "clone", "-q", "--shared", str(ROOT), str(TREE)], check=True)
    subprocess.run(["git", "-C", str(TREE), "fetch", "-q", "origin"], check=True)
    subprocess.run(["git", "-C", str(TREE), "checkout", "-q", "--force", "--detach", commit], check=True)
    for step in (CONFIGURE + (LLD if shutil.which("ld.lld") else []), ["ninja", "-C", BUILD, "-j", JOBS, "--quiet"]):
        done = run(step, cwd=TREE)
        if done.returncode:
            sys.exit(done.stdout[-4000:])


class Test:
    """A test of ctest, or one case of a script. It runs without ctest, which takes half a second to start."""
    locks = collections.defaultdict(threading.Lock)

    def __init__(self, entry, case=None):
        properties = {item["name"]: item["value"] for item in entry.get("properties", [])}
        self.name = entry["name"] + (f":{case}" if case else "")
        self.command = entry["command"] + ([case] if case else [])
        self.folder = properties.get("WORKING_DIRECTORY", str(BUILD))
        self.environment = dict(item.split("=", 1) for item in properties.get("ENVIRONMENT", []))
        self.lock = self.locks["resource" if "RESOURCE_LOCK" in properties else self.name]
        self.is_script = not any(part.startswith("--gtest_filter") for part in self.command)
        self.seconds, self.timeout, self.covered = 0.0, float(properties.get("TIMEOUT", 600)), {}
        files = [pathlib.Path(part) for part in self.command]
        self.programs = [str(file.relative_to(BUILD)) for file in files
                         if file.is_relative_to(BUILD) and file.is_file()] or ["all"]
        self.process = None

    @staticmethod
    def of(entry):
        """Returns one test, or one per case of a Python script that accepts the names of its cases as arguments."""
        scripts = [pathlib.Path(part) for part in entry["command"] if part.endswith("_test.py")]
        text = scripts[0].read_text() if scripts else ""
        if not re.search(r"(unittest|driver)\.main\((?!argv)", text):
            return [Test(entry)]
        classes = re.finditer(r"^class (\w+)(.*?)^(?=\S)", text, re.M | re.S)
        return [Test(entry, f"{owner.group(1)}.{case}") for owner in classes
                for case in re.findall(r"^    def (test_\w+)", owner.group(2), re.M)]

    def passes(self):
        """Runs the test. Its coverage data go to a temporary folder: if they could not be written, the errors would
        appear in the output of tests."""
        with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as folder:
            return self._passes(folder)

    def _passes(self, coverage):
        environment = {key: value for key, value in os.environ.items()
                       if key not in ("SSL_CERT_FILE", "SSL_CERT_DIR", "DISPLAY", "WAYLAND_DISPLAY", "XDG_DATA_HOME")}
        environment.update(self.environment, GCOV_PREFIX=str(coverage), GCOV_PREFIX_STRIP=str(len(BUILD.parts) - 1))
        with self.lock:
            self.process = subprocess.Popen(
                self.command, cwd=self.folder, env=environment, start_new_session=True,
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            try:
                return self.process.wait(self.timeout) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                self.end()

    def end(self):
        """Ends the test and the processes that it has started."""
        if self.process:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()

    def measure(self):
        """Runs the test without a fault; stores its time and the lines it covers. Returns False if it fails twice."""
        folder = WORK / "coverage" / re.sub(r"\W", "_", self.name)
        shutil.rmtree(folder, ignore_errors=True)
        begin = time.monotonic()
        passed = self._passes(folder)
        self.seconds = time.monotonic() - begin
        passed = passed or self._passes(folder)
        data = [file for file in folder.rglob("*.gcda")
                if file.relative_to(folder).parts[0] in ("CMakeFiles", *FOLDERS)]
        for file in data:
            file.with_suffix(".gcno").symlink_to(BUILD / file.relative_to(folder).with_suffix(".gcno"))
        reports = run(["gcov", "--json-format", "--stdout", *data]).stdout if data else ""
        for report in reports.splitlines():
            for file in json.loads(report)["files"] if report.startswith("{") else []:
                path = os.path.relpath(os.path.join(BUILD, file["file"]), TREE)
                if path.endswith(".cpp") and path.startswith(FOLDERS):
                    known = self.covered.setdefault(path, {})
                    for line in file["lines"]:
                        known[line["line_number"]] = known.get(line["line_number"], False) or line["count"] > 0
        shutil.rmtree(folder, ignore_errors=True)
        return passed


class Tests:
    """All tests of the tree, with the results of a run without a fault, which a file keeps for the next run."""

    def __init__(self, commit):
        listed = json.loads(run(["ctest", "--show-only=json-v1"], cwd=BUILD).stdout)
        self.all = [test for entry in listed["tests"] if not LEFT_OUT.search(entry["name"]) for test in Test.of(entry)]
        kept, self.lines = WORK / f"baseline-{commit}.json", collections.defaultdict(set)
        if not kept.exists():
            print(f"running {len(self.all)} tests without a fault", flush=True)
            with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
                passed = list(pool.map(Test.measure, self.all))
            kept.write_text(json.dumps({test.name: [ok, test.seconds, test.covered]
                                        for test, ok in zip(self.all, passed)}))
        measured = json.loads(kept.read_text())
        self.failing = [name for name, (passed, _, _) in measured.items() if not passed]
        for test in self.all:
            _, test.seconds, covered = measured.get(test.name, (False, 0, {}))
            test.timeout = 3 * test.seconds + 10
            test.covered = {file: {int(line) for line, hit in lines.items() if hit} for file, lines in covered.items()}
            for file, lines in covered.items():
                self.lines[file].update(map(int, lines))
        self.all = [test for test in self.all if test.name not in self.failing]
        self._size = {test.name: sum(map(len, test.covered.values())) for test in self.all}

    def covering(self, fault):
        """Returns the tests that run the fault's line, the most specific and fastest first, scripts last."""
        line, text = fault.line, (TREE / fault.file).read_text().split("\n")
        while line not in self.lines[fault.file] and text[line - 1][:1] in (" ", ""):
            line -= 1
        at_file_scope = line not in self.lines[fault.file]
        chosen = [test for test in self.all if (test.covered.get(fault.file) if at_file_scope
                                                else line in test.covered.get(fault.file, ()))]
        # If all programs of a script were killed, there are no coverage data of the script. Then it counts as covering
        # every file of the programs that it starts.
        chosen += [test for test in self.all if not self._size[test.name] and self._starts(test, fault.file) and
                   (not chosen or fault.file.startswith(("hosts", "server", "bindings")))]

        def unspecific(test):
            share = len(test.covered.get(fault.file, ())) / max(1, self._size[test.name])
            return test.is_script, (test.seconds + 0.05) / (share + 0.001)
        return sorted(chosen, key=unspecific)

    def _starts(self, test, file):
        if not hasattr(test, "inputs"):
            test.inputs = run(["ninja", "-C", BUILD, "-t", "inputs", *test.programs]).stdout
        return file + ".o" in test.inputs or file.split("/", 1)[1] + ".o" in test.inputs


def try_fault(fault, tests, budget, earlier):
    """Builds with one fault, and runs the tests that an earlier try has not run yet. Then restores the file."""
    path = TREE / fault.file
    original = path.read_text()
    lines = original.split("\n")
    assert lines[fault.line - 1] == fault.old, f"{fault.file}:{fault.line} is another line than the draw saw"
    lines[fault.line - 1] = fault.new
    chosen, begin = tests.covering(fault), time.monotonic()
    path.write_text("\n".join(lines))
    try:
        # Build the object file first. If the compiler rejects the fault or warns about it, the fault does not count.
        if run(["ninja", "-C", BUILD, "-j", JOBS, f"{path}^"]).returncode:
            return {"result": "does not compile"}
        done = earlier.get("ran", 0)
        result = Trial(chosen[done:], budget).run()
        result["ran"] += done
        result["seconds"] = round(time.monotonic() - begin + earlier.get("seconds", 0))
        return result | {"covering": len(chosen)}
    finally:
        path.write_text(original)


class Trial:
    """Runs tests until one fails twice, or until the budget, in seconds of test time, is used up."""

    def __init__(self, chosen, budget):
        self._waiting, self._budget, self._spent, self._ran = list(chosen), budget, 0.0, 0
        self._mutex, self._running, self._built, self._flaky = threading.Lock(), set(), set(), []
        self._result, self._begin = None, time.monotonic()

    def run(self):
        survived = "survived" if self._waiting else "not covered"
        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            for worker in [pool.submit(self._work) for _ in range(JOBS)]:
                worker.result()
        return (self._result or {"result": survived}) | {"ran": self._ran, "flaky": self._flaky}

    def _work(self):
        while test := self._next():
            begin = time.monotonic()
            failed = not test.passes()
            confirmed = failed and not self._result and not test.passes()
            with self._mutex:
                self._running.discard(test)
                self._spent += time.monotonic() - begin
                self._ran += 1
                if confirmed and not self._result:
                    after = round(time.monotonic() - self._begin, 1)
                    self._result = {"result": "found", "by": test.name, "after": after}
                    for other in self._running:
                        other.end()
                elif failed and not self._result:
                    self._flaky.append(test.name)

    def _next(self):
        with self._mutex:
            if self._result or not self._waiting or (self._budget and self._spent > self._budget):
                return None
            test = self._waiting.pop(0)
            if not self._built.issuperset(test.programs):
                if run(["ninja", "-C", BUILD, "-j", JOBS, *test.programs]).returncode:
                    self._result = {"result": "does not compile"}
                    return None
                self._built.update(test.programs)
            self._running.add(test)
            return test


# ---- The report

def report(results, failing, out):
    """Writes the totals and the lists of found and surviving faults as Markdown."""
    counted = [entry for entry in results.values() if entry["result"] != "does not compile"]
    found = [entry for entry in counted if entry["result"] == "found"]
    lost = [entry for entry in counted if entry["result"] != "found"]
    print(f"{len(counted)} faults: {len(found)} found, {len(lost)} survived "
          f"({sum(entry['result'] == 'not covered' for entry in lost)} of them in lines that no test covers); "
          f"{len(results) - len(counted)} did not compile.", file=out)
    if failing:
        print("\nLeft out, since they fail without a fault: " + ", ".join(failing), file=out)
    for title, of in (("folder", lambda entry: os.path.dirname(entry["file"])), ("kind", lambda entry: entry["kind"])):
        print(f"\n| {title} | faults | found |\n| --- | --- | --- |", file=out)
        for name, number in sorted(collections.Counter(map(of, counted)).items()):
            print(f"| {name} | {number} | {sum(of(entry) == name for entry in found)} |", file=out)
    for title, entries in (("Found", found), ("Survived", lost)):
        print(f"\n## {title}\n", file=out)
        for entry in entries:
            how = f"{entry['by']}, {entry['after']} s" if entry["result"] == "found" else (
                f"{entry['result']}, {entry['ran']} of {entry['covering']} covering tests run")
            print(f"- {describe(entry)}\n  {how}", file=out)


def describe(entry):
    return (f"{entry['id']} {entry['file']}:{entry['line']} {entry['kind']}\n"
            f"  `{entry['old'].strip()}`\n  `{entry['new'].strip()}`")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=130)
    parser.add_argument("--seed", default="1")
    parser.add_argument("--list", action="store_true", help="print the faults and stop")
    parser.add_argument("--only", metavar="ID", help="try one fault")
    parser.add_argument("--resume", action="store_true", help="keep the results that are there")
    parser.add_argument("--again", metavar="RESULTS", type=pathlib.Path, help="try again what these results found")
    parser.add_argument("--budget", type=float, default=120, help="seconds of test time for one fault; 0: no limit")
    options = parser.parse_args()
    if options.again:
        again = list(found_again(json.loads(options.again.read_text())))
        drawn = {fault.id: (1, [fault]) for fault in again}
    else:
        drawn = draw(options.count, options.seed)
    if options.list:
        for number, faults in drawn.values():
            for fault in faults[:number]:
                print(describe(fault._asdict()))
        return
    os.nice(10)
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the file with the fault is restored
    commit = run(["git", "rev-parse", "--short", "HEAD"], cwd=ROOT).stdout.strip()
    kept = WORK / f"{'again' if options.again else 'results'}-{commit}-{options.seed}-{options.count}.json"
    prepare(commit)
    tests = Tests(commit)
    results = json.loads(kept.read_text()) if (options.resume or options.only) and kept.exists() else {}

    def attempt(fault):
        outcome = try_fault(fault, tests, options.budget, results.get(fault.id, {}))
        results[fault.id] = fault._asdict() | outcome
        kept.write_text(json.dumps(results, indent=1))
        print(time.strftime("%H:%M:%S"), fault.id, outcome["result"], outcome.get("by", ""), flush=True)

    if options.only:
        results.pop(options.only, None)
        drawn = {folder: (len(faults), [fault for fault in faults if fault.id == options.only])
                 for folder, (_, faults) in drawn.items()}
    # Try the folders in turns, so that an interrupted draw has tried faults of all of them.
    queues = [[number, list(faults)] for number, faults in drawn.values()]
    while any(number and faults for number, faults in queues):
        for queue in queues:
            while queue[0] and queue[1]:
                fault = queue[1].pop(0)
                if fault.id not in results:
                    attempt(fault)
                if results[fault.id]["result"] != "does not compile":
                    queue[0] -= 1
                    break
    for entry in list(results.values()) if options.resume else []:
        if entry["result"] == "survived" and entry["ran"] < entry["covering"]:
            attempt(Fault(*(entry[name] for name in Fault._fields)))
    report(results, tests.failing, sys.stdout)


if __name__ == "__main__":
    main()
