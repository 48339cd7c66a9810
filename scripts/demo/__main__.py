# SPDX-License-Identifier: Apache-2.0
"""Runs the demo that demo.sh has built: starts the server and a program, sends input, takes screenshots, prints the
events that the server received.

python3 scripts/demo [NAME] [--interactive] [--build FOLDER] [--out FOLDER]. Exit status: 0 if everything happened, 2 if
only something optional did not, 1 otherwise."""
import argparse
import os
import pathlib
import sys

from first_window import FOLDER, FirstWindowDemo
from game import GameDemo
from shop import ShopDemo
from stage import ROOT, Failure

IN_C = [("GTK 4 in C", "{build}/examples/first-window-main", None),
        ("GLFW and OpenGL in C", "{build}/examples/first-window-glfw", None)]
IN_PYTHON = [("GTK 4 in Python", str(FOLDER / "main.py"), "middle-button buy")]
DEMOS = {
    "gtk": lambda *places: ShopDemo("gtk-shop", *places),
    "qt": lambda *places: ShopDemo("qt-shop", *places),
    "quick": lambda *places: ShopDemo("quick-shop", *places),
    "sdl": GameDemo,
    "c": lambda *places: FirstWindowDemo(IN_C, *places),
    "python": lambda *places: FirstWindowDemo(IN_PYTHON, *places),
}


def main():
    arguments = argparse.ArgumentParser(prog="demo")
    arguments.add_argument("name", nargs="?", default="gtk", choices=DEMOS)
    arguments.add_argument("--interactive", action="store_true")
    arguments.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "release")
    arguments.add_argument("--out", type=pathlib.Path)
    chosen = arguments.parse_args()
    if chosen.interactive and not os.environ.get("DISPLAY"):
        sys.exit("demo: --interactive needs a display")
    folder = "demo" if chosen.name == "gtk" else f"demo-{chosen.name}"
    demo = DEMOS[chosen.name](chosen.build, chosen.out or ROOT / "build" / folder)
    try:
        demo.start()
        if chosen.interactive:
            demo.interactive()
            return
        missing = demo.run()
        pictures = os.path.relpath(demo.pictures)
        if missing:
            print(f"Missing: {', '.join(missing)}; everything else happened. Pictures: {pictures}")
            sys.exit(2)
        print(f"Everything happened. Pictures: {pictures}")
    except Failure as failure:
        sys.exit(f"demo: {failure}")
    finally:
        demo.stop()


if __name__ == "__main__":
    main()
