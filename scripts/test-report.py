#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Counts the tests in a JUnit report of ctest, and saves the output of failed and skipped tests.

    test-report.py REPORT PRESET FAILURES SKIPS

prints "RAN FAILED SKIPPED". Appends the name and the last lines of each failed test to the file FAILURES, and the name
and the last line of each skipped test to the file SKIPS.
"""

import sys
import xml.etree.ElementTree as tree

LAST_LINES = 40

report, preset, failures, skips = sys.argv[1:]
suite = tree.parse(report).getroot()
count = lambda name: int(suite.get(name) or 0)
with (open(failures, "a", encoding="utf-8", errors="replace") as failed,
      open(skips, "a", encoding="utf-8", errors="replace") as skipped):
    for case in suite.iter("testcase"):
        printed = (case.findtext("system-out") or "").rstrip().split("\n")
        if case.get("status") == "fail" or case.find("failure") is not None or case.find("error") is not None:
            failed.write(f"== failed in {preset}: {case.get('name')}, after {case.get('time')} s\n")
            failed.writelines(f"   {line}\n" for line in printed[-LAST_LINES:])
        elif case.find("skipped") is not None:
            skipped.write(f"skipped in {preset}: {case.get('name')}: {printed[-1].strip()}\n")
print(count("tests"), count("failures") + count("errors"), count("skipped") + count("disabled"))
