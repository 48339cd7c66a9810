#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Counts the tests in a JUnit report of ctest, and saves the output of failed tests.

    test-report.py REPORT PRESET FAILURES

prints "RAN FAILED SKIPPED" and appends the name and the last lines of each failed test to the file FAILURES.
"""

import sys
import xml.etree.ElementTree as tree

LAST_LINES = 40

report, preset, failures = sys.argv[1:]
suite = tree.parse(report).getroot()
count = lambda name: int(suite.get(name) or 0)
with open(failures, "a", encoding="utf-8", errors="replace") as kept:
    for case in suite.iter("testcase"):
        if case.get("status") == "fail" or case.find("failure") is not None or case.find("error") is not None:
            printed = (case.findtext("system-out") or "").rstrip().split("\n")
            kept.write(f"== failed in {preset}: {case.get('name')}, after {case.get('time')} s\n")
            kept.writelines(f"   {line}\n" for line in printed[-LAST_LINES:])
print(count("tests"), count("failures") + count("errors"), count("skipped") + count("disabled"))
