#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the demo with the programs of this build: demo_test.py DEMO BUILD"""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.path.append(str(pathlib.Path(__file__).parents[1] / "hosts/gtk"))
from driver import sandbox_works

DEMO, BUILD = sys.argv[1:3]


class Demo(unittest.TestCase):
    def test_all_steps_of_the_demo_succeed(self):
        environment = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        if not sandbox_works():
            print("demo_test: no user namespaces here: the engine runs WITHOUT its sandbox, only for this test")
            environment["WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"] = "1"
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run([sys.executable, DEMO, "--build", BUILD, "--out", folder], env=environment,
                                 capture_output=True, text=True, encoding="utf-8")
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertTrue(run.stdout.splitlines()[-1].startswith("Everything happened."), run.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
