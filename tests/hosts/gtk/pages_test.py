#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks the names that the library gives to the pages of a GTK host: pages_test.py FIXTURE."""

import os
import subprocess
import sys
import tempfile

from gtk_test import Display

EXPECTED = [
    "before it is shown: none",
    "shop: ProductsPage",
    "cart: CartPage",
    "about: AboutPage",
    "about: none",  # it was already visible
    "products: ProductsPage",
    "while it is hidden: none",
    "shown again: CartPage",
    "notebook: SettingsGeneralPage",
    "second tab: KeyBindingsPage",
    "a name that is taken: none",
    "any other: WelcomePage",
    "left",
]


def main():
    with Display() as display, tempfile.TemporaryDirectory() as home:
        environment = dict(os.environ, DISPLAY=display, GDK_BACKEND="x11", GSK_RENDERER="cairo", GTK_A11Y="none",
                           GSETTINGS_BACKEND="memory", G_DEBUG="fatal-warnings", XDG_DATA_HOME=home)
        run = subprocess.run([sys.argv[1]], env=environment, stdout=subprocess.PIPE, text=True, timeout=60)
    printed = [line for line in run.stdout.splitlines() if not line.startswith("event ")]
    if run.returncode != 0 or printed != EXPECTED:
        sys.exit(f"exit status {run.returncode}; printed\n  " + "\n  ".join(printed) + "\ninstead of\n  " +
                 "\n  ".join(EXPECTED))


if __name__ == "__main__":
    main()
