# SPDX-License-Identifier: Apache-2.0
"""Runs cases of the SDL host's tests under Wayland: wayland_test.py PROGRAM. The compositor has a window on a private X
display, where the pointer is: SDL 2.26 crashes under a compositor without a pointer."""
import os
import pathlib
import subprocess
import sys

sys.path.append(str(pathlib.Path(__file__).parents[1] / "gtk"))
from driver import Display, Service, until

CASES = ("Sdl/RendererGame.MessageIsDrawnOver*/software", "InputGame.KeysBelong*", "InputGame.LoopThatWaits*",
         "InputGame.OverlayOutlives*")


class Compositor(Service):
    """Shows each window at the upper left corner, in the size of the tests' windows."""

    def begin(self):
        session = {"XDG_RUNTIME_DIR": self.folder.name, "WAYLAND_DISPLAY": "session"}
        self.run("weston", "--backend=x11-backend.so", "--shell=kiosk-shell.so", "--use-pixman", "--idle-time=0",
                 "--no-config", "--socket=session", "--width=600", "--height=800", env={**os.environ, **session})
        until(lambda: os.path.exists(self.path("session")), lambda: "the compositor does not start")
        return {**session, "SDL_VIDEODRIVER": "wayland"}


with Display("600x800"):
    for case in CASES:  # each in a process and a session of its own
        with Compositor() as environment:
            done = subprocess.run([sys.argv[1], f"--gtest_filter={case}"], env={**os.environ, **environment},
                                  capture_output=True, text=True, timeout=60)
        print(done.stdout, done.stderr)
        if done.returncode != 0 or "[  PASSED  ] 1 test." not in done.stdout:
            sys.exit(f"{case} failed")
