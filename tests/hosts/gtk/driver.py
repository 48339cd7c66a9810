# SPDX-License-Identifier: Apache-2.0
"""Controls GTK programs on a private X display: starts them, moves a real pointer, presses keys and reads pixels.
Started as driver.py PROGRAM [ARGUMENT...], it runs that program on such a display."""

import math
import os
import select
import struct
import subprocess
import sys
import tempfile
import time
import unittest

WAIT = 20.0
RED, GREEN, WHITE = (255, 0, 0), (0, 255, 0), (255, 255, 255)
# All programs that a test starts get these variables, and DISPLAY.
ENVIRONMENT = {"GDK_BACKEND": "x11", "GSK_RENDERER": "cairo", "GTK_A11Y": "none", "GSETTINGS_BACKEND": "memory",
               "G_DEBUG": "fatal-warnings"}


def until(holds, problem, pause=0.02, seconds=WAIT):
    """Waits until holds() is true. After the timeout it fails with the message of problem()."""
    deadline = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > deadline:
            raise AssertionError(problem())
        time.sleep(pause)


def sandbox_works():
    """Whether the web engine can build its sandbox on this machine."""
    trial = ["bwrap", "--ro-bind", "/", "/", "--unshare-pid", "true"]
    try:
        return subprocess.run(trial, capture_output=True).returncode == 0
    except OSError:
        return False


class Stage:
    """Computes the stage of a window from its description, independently of the library's code."""

    def __init__(self, width, height, laid_out_for=None, maximum=1.5):
        ratio = width / height
        for_width, for_height = laid_out_for or (width, height)
        self.width, self.height = 375, min(812, max(620, 375 * for_height / for_width))
        fitting = min(width / self.width, height / self.height)
        limit = min(1, max(0, (ratio - 0.6) / 0.4))
        self.scale = fitting + limit * (min(fitting, maximum) - fitting)
        self.left = max(0, math.floor((width - self.width * self.scale) / 2 + 1e-6))
        self.top = max(0, math.floor((height - self.height * self.scale) / 2 + 1e-6))

    def at(self, x, y):
        """Converts a point of the stage to window coordinates."""
        return self.left + x * self.scale, self.top + y * self.scale

    def pixel(self, x, y):
        return tuple(map(math.floor, self.at(x, y)))


class Service:
    """A process that runs during a with block, with a folder of its own."""

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory()
        os.chmod(self.folder.name, 0o700)
        return self.begin()

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as out:
            out.write(text)
        return self.path(name)

    def run(self, *command, **how):
        self.process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **how)


class Display(Service):
    """An X server on a free display, which is the display of all programs started afterwards."""

    def __init__(self, size):
        self.size = size

    def begin(self):
        reader, writer = os.pipe()
        # Xvfb keeps the screen's pixels in a file of its folder.
        self.run("Xvfb", "-displayfd", str(writer), "-screen", "0", self.size + "x24", "-nolisten", "tcp", "-noreset",
                 "-fbdir", self.folder.name, pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise RuntimeError("Xvfb does not start")
        os.environ.update(ENVIRONMENT, DISPLAY=":" + number)
        return self

    def shot(self, left, top, width, height):
        """The pixels of a part of the screen, four bytes each: blue, green, red, unused."""
        with open(self.path("Xvfb_screen0"), "rb") as screen:
            header = struct.unpack(">25I", screen.read(100))
            begin, line = header[0] + 12 * header[19], header[12]
            rows = (screen.seek(begin + y * line + 4 * left) and screen.read(4 * width)
                    for y in range(top, top + height))
            return b"".join(rows)


class WindowManager(Service):
    """A window manager that can minimise and activate windows. It does not activate a window that is pressed. It
    places every window at the top left of the screen, where X places windows without a window manager."""

    RULES = """<openbox_config xmlns="http://openbox.org/3.4/rc"><mouse/><applications><application class="*">
        <decor>no</decor><position force="yes"><x>0</x><y>0</y></position></application></applications>
        </openbox_config>"""

    def begin(self):
        self.run("openbox", "--config-file", self.write("rules.xml", self.RULES), "--sm-disable")
        until(lambda: b"window id" in subprocess.check_output(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]),
              lambda: "the window manager does not start")


class Compositor(Service):
    """A Wayland compositor without a screen, without a pointer and without animations. The background is black. The
    compositor sends no frame callbacks to a minimised window."""

    SETTINGS = "[shell]\nstartup-animation=none\nanimation=none\npanel-position=none\nlocking=false\n" \
               "background-color=0xff000000\n"

    def begin(self):
        """Returns the environment of its clients."""
        session = {"XDG_RUNTIME_DIR": self.folder.name, "WAYLAND_DISPLAY": "session"}
        self.run("weston", "--backend=headless-backend.so", "--use-pixman", "--idle-time=0", "--debug",
                 "--config=" + self.write("weston.ini", self.SETTINGS), "--socket=session", "--width=1280",
                 "--height=800", env={**os.environ, **session})
        until(lambda: os.path.exists(self.path("session")), lambda: "the compositor does not start")
        return {**session, "GDK_BACKEND": "wayland"}


class Fixture:
    """One run of a program that executes commands. Its output lines are queued until they are read."""

    def __init__(self, *command, **environment):
        self.home = tempfile.TemporaryDirectory()
        self.process = subprocess.Popen(list(map(str, command)), stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        env={**os.environ, "XDG_DATA_HOME": self.home.name, **environment})
        self.buffer = b""
        self.lines = []

    def read_line(self, deadline):
        while b"\n" not in self.buffer:
            ready, _, _ = select.select([self.process.stdout], [], [], max(0, deadline - time.monotonic()))
            chunk = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not chunk:
                raise AssertionError(f"no more lines after {self.lines[-8:]}")
            self.buffer += chunk
        line, self.buffer = self.buffer.split(b"\n", 1)
        self.lines.append(line.decode())
        return self.lines[-1]

    def await_line(self, start):
        """Returns all lines up to and including the first one that begins with `start`."""
        deadline = time.monotonic() + WAIT
        seen = []
        while not seen or not seen[-1].startswith(start):
            seen.append(self.read_line(deadline))
        return seen

    def do(self, command):
        """Executes a command and returns the lines that were printed until its end."""
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()
        return self.await_line("did " + command)[:-1]

    def do_until(self, command, start):
        """Executes a command and waits for a line that may be printed before or after its end."""
        if not any(line.startswith(start) for line in self.do(command)):
            self.await_line(start)

    def ask(self, command):
        """The last line that the command prints, without its first word."""
        return self.do(command)[-1].partition(" ")[2]

    def await_answer(self, command, wanted):
        until(lambda: self.ask(command) == wanted, lambda: f"{self.ask(command)!r}, not {wanted!r}")

    def painted(self):
        """Waits until no animation runs and the display shows the result. Returns the window's size."""
        self.do("painted")
        return self.await_line("painted")[-1]

    def quiet_frames(self):
        """Waits until nothing has been painted for a while, and returns the number of frames."""
        counts = [-1]

        def is_quiet():
            counts.append(int(self.ask("frames")))
            return counts[-1] == counts[-2]

        until(is_quiet, lambda: "painting does not end", pause=0.3)
        return counts[-1]

    def close(self):
        if self.process.poll() is None:
            self.process.stdin.close()
            try:
                self.process.wait(WAIT)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process.stdout.close()
        self.home.cleanup()
        return self.process.returncode


def pointer(*arguments):
    subprocess.run(["xdotool", *map(str, arguments)], check=True, timeout=WAIT)


def click(x, y):
    pointer("mousemove", x, y, "click", 1)


def press(*keys):
    pointer(*(word for key in keys for word in ("key", key)))


def hide_pointer():
    pointer("mousemove", *(int(length) - 1 for length in screen.size.split("x")))


def pixel(x, y):
    """The red, green and blue values of a pixel of the screen. The cursor is part of the picture."""
    return tuple(screen.shot(x, y, 1, 1)[2::-1])


def await_pixel(x, y, colour, gone=False):
    """Waits until the pixel has the colour, or, with `gone`, another colour."""
    until(lambda: (pixel(x, y) == colour) != gone, lambda: f"{pixel(x, y)} at {x},{y}, {gone=} {colour}")


class GtkTest(unittest.TestCase):
    program = ""

    def start(self, *arguments, **environment):
        hide_pointer()
        return self.watch(Fixture(self.program, *arguments, **environment))

    def watch(self, fixture):
        """Waits for the fixture's window. At the end of the test the fixture must exit without an error."""
        self.addCleanup(lambda: self.assertEqual(fixture.close(), 0, fixture.lines[-8:]))
        fixture.await_line("mapped")
        return fixture


def main(size="1400x1000", **options):
    """Runs the tests of the calling script, whose first argument is the fixture's program."""
    global screen
    GtkTest.program = os.path.abspath(sys.argv.pop(1))
    with Display(size) as screen:
        tests = unittest.main("__main__", exit=False, **options)
    sys.exit(not tests.result.wasSuccessful())


if __name__ == "__main__":
    with Display("1400x1000"), tempfile.TemporaryDirectory() as home:
        sys.exit(subprocess.run(sys.argv[1:], env={**os.environ, "XDG_DATA_HOME": home}).returncode)
