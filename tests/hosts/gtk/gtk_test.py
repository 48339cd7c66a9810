#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the GTK host with a real pointer on a private Xvfb: gtk_test.py FIXTURE [unittest arguments]."""

import ctypes
import math
import os
import select
import struct
import subprocess
import sys
import tempfile
import time
import unittest

FIXTURE = ""
DISPLAY = ""
WAIT = 20.0


def until(holds, problem, pause=0.02, seconds=WAIT):
    """Waits until holds() is true. After the timeout it fails with the message of problem()."""
    deadline = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > deadline:
            raise AssertionError(problem())
        time.sleep(pause)


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


class Display:
    """Runs an X server on a free display during the with block."""

    def __init__(self, size="1400x1000"):
        self.size = size

    def __enter__(self):
        # Xvfb keeps the screen's pixels in a file of this folder.
        self.folder = tempfile.TemporaryDirectory()
        reader, writer = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", self.size + "x24", "-nolisten", "tcp", "-noreset",
             "-fbdir", self.folder.name],
            pass_fds=[writer], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise RuntimeError("Xvfb does not start")
        return ":" + number

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.folder.cleanup()

    def shot(self, width, height):
        """The pixels of the screen's upper left part, four bytes each: blue, green, red, unused."""
        with open(os.path.join(self.folder.name, "Xvfb_screen0"), "rb") as screen:
            header = struct.unpack(">25I", screen.read(100))
            begin, line = header[0] + 12 * header[19], header[12]
            rows = (screen.seek(begin + y * line) and screen.read(4 * width) for y in range(height))
            return b"".join(rows)


class WindowManager:
    """Runs a window manager that can minimise and activate windows. It does not activate a window that is pressed, and
    places windows as X does without a window manager."""

    RULES = """<openbox_config xmlns="http://openbox.org/3.4/rc"><mouse/><applications><application class="*">
        <decor>no</decor><position force="yes"><x>0</x><y>0</y></position></application></applications>
        </openbox_config>"""

    def __enter__(self):
        self.rules = tempfile.NamedTemporaryFile("w", suffix=".xml")
        self.rules.write(self.RULES)
        self.rules.flush()
        self.process = subprocess.Popen(["openbox", "--config-file", self.rules.name, "--sm-disable"],
                                        env=dict(os.environ, DISPLAY=DISPLAY), stderr=subprocess.DEVNULL)
        until(lambda: b"window id" in self.root_property("_NET_SUPPORTING_WM_CHECK"),
              lambda: "the window manager does not start")

    @staticmethod
    def root_property(name):
        return subprocess.run(["xprop", "-root", name], env=dict(os.environ, DISPLAY=DISPLAY), check=True,
                              stdout=subprocess.PIPE).stdout

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.rules.close()


class Compositor:
    """Runs a Wayland compositor without a screen. It sends no frame callbacks to a minimised window."""

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory()
        os.chmod(self.folder.name, 0o700)
        session = {"XDG_RUNTIME_DIR": self.folder.name, "WAYLAND_DISPLAY": "test-session"}
        self.process = subprocess.Popen(
            ["weston", "--backend=headless-backend.so", "--socket=test-session", "--idle-time=0", "--no-config"],
            env={**os.environ, **session}, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        until(lambda: os.path.exists(os.path.join(self.folder.name, "test-session")),
              lambda: "the compositor does not start")
        return {**session, "GDK_BACKEND": "wayland"}

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.folder.cleanup()


class Fixture:
    """One run of the fixture. Its output lines are queued until they are read."""

    def __init__(self, width=375, height=700, *more, **environment):
        self.home = tempfile.TemporaryDirectory()
        environment = {**os.environ, "DISPLAY": DISPLAY, "GDK_BACKEND": "x11", "GSK_RENDERER": "cairo",
                       "GTK_A11Y": "test", "GSETTINGS_BACKEND": "memory", "G_DEBUG": "fatal-warnings",
                       "XDG_DATA_HOME": self.home.name, **environment}
        self.process = subprocess.Popen([FIXTURE, str(width), str(height), *more], env=environment,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
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
        return line.decode()

    def await_line(self, start):
        """Returns all lines up to and including the first one that begins with `start`."""
        deadline = time.monotonic() + WAIT
        seen = []
        while not seen or not seen[-1].startswith(start):
            seen.append(self.read_line(deadline))
            self.lines.append(seen[-1])
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

    def state(self):
        return self.do("state")[-1]

    def await_state(self, wanted):
        until(lambda: self.state() == wanted, lambda: f"{self.state()!r} instead of {wanted!r}")

    def frames(self):
        return int(self.do("frames")[-1].split()[1])

    def quiet_frames(self):
        """Waits until nothing has been painted for a while, and returns the number of frames."""
        deadline = time.monotonic() + WAIT
        before = -1
        while (now := self.frames()) != before:
            if time.monotonic() > deadline:
                raise AssertionError("painting does not end")
            before = now
            time.sleep(0.3)
        return now

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
    subprocess.run(["xdotool", *map(str, arguments)], env=dict(os.environ, DISPLAY=DISPLAY), check=True, timeout=WAIT)


class CursorImage(ctypes.Structure):
    _fields_ = [("x", ctypes.c_short), ("y", ctypes.c_short), ("width", ctypes.c_ushort), ("height", ctypes.c_ushort),
                ("xhot", ctypes.c_ushort), ("yhot", ctypes.c_ushort), ("serial", ctypes.c_ulong),
                ("pixels", ctypes.POINTER(ctypes.c_ulong))]


def cursor(x, y):
    """The shape of the cursor over a point."""
    pointer("mousemove", x - 1, y, "mousemove", x, y)
    x11, fixes = ctypes.CDLL("libX11.so.6"), ctypes.CDLL("libXfixes.so.3")
    x11.XOpenDisplay.restype = ctypes.c_void_p
    fixes.XFixesGetCursorImage.restype = ctypes.POINTER(CursorImage)
    display = ctypes.c_void_p(x11.XOpenDisplay(DISPLAY.encode()))
    fixes.XFixesQueryExtension(display, ctypes.byref(ctypes.c_int()), ctypes.byref(ctypes.c_int()))
    image = fixes.XFixesGetCursorImage(display).contents
    shape = (image.xhot, image.yhot, tuple(image.pixels[: image.width * image.height]))
    x11.XCloseDisplay(display)
    return shape


def await_cursor(x, y, shape):
    until(lambda: cursor(x, y) == shape, lambda: f"another cursor at {x},{y}")


def click(x, y):
    pointer("mousemove", x, y, "click", 1)


def pixel(x, y):
    """The red, green and blue values of a pixel of the screen."""
    shot = ["import", "-window", "root", "-crop", f"1x1+{x}+{y}", "-depth", "8", "rgb:-"]
    return tuple(subprocess.run(shot, env=dict(os.environ, DISPLAY=DISPLAY), check=True, timeout=WAIT,
                                stdout=subprocess.PIPE).stdout)


def await_pixel(x, y, colour, gone=False):
    """Waits until the pixel has the colour, or, with `gone`, another colour."""
    until(lambda: (pixel(x, y) == colour) != gone, lambda: f"{pixel(x, y)} at {x},{y}, {gone=} {colour}")


def has_library(name):
    try:
        ctypes.CDLL(name)
    except OSError:
        return False
    return True


RED = (255, 0, 0)
GREEN = (0, 255, 0)
WHITE = (255, 255, 255)


class GtkHost(unittest.TestCase):
    def start(self, *arguments):
        pointer("mousemove", 1390, 990)
        fixture = Fixture(*arguments)
        self.addCleanup(lambda: self.assertEqual(fixture.close(), 0, fixture.lines[-8:]))
        fixture.await_line("mapped")
        fixture.quiet_frames()
        return fixture

    def test_touches_reach_the_view_or_the_host_under_the_pointer(self):
        for kind in ("window", "overlay"):
            with self.subTest(kind):
                fixture = self.start(375, 700, kind)
                fixture.do("view 100 100 200 100")
                await_pixel(150, 150, RED)
                click(150, 150)
                self.assertEqual(fixture.await_line("view ended"), ["view began 150 150", "view ended 150 150"])
                click(150, 300)
                self.assertEqual(fixture.await_line("host clicked"), ["host clicked"])
                # A touch stays with the view in which it began, wherever it moves.
                pointer("mousemove", 200, 150, "mousedown", 1, "mousemove", 200, 400, "mouseup", 1)
                self.assertEqual(fixture.await_line("view ended"), ["view began 200 150", "view ended 200 400"])
                pointer("mousemove", 200, 400, "mousedown", 1, "mousemove", 200, 150, "mouseup", 1)
                # Other buttons and the wheel do not reach the host below a view.
                pointer("mousemove", 150, 150, "click", 3, "click", 5)
                self.assertEqual(fixture.await_line("view scrolled"), ["host clicked", "view scrolled down"])
                self.assertEqual(fixture.close(), 0)

    def test_a_view_that_appears_under_a_resting_pointer_gets_its_click(self):
        fixture = self.start()
        click(150, 150)
        fixture.await_line("host clicked")
        fixture.do("view 100 100 200 100")
        await_pixel(290, 190, RED)
        pointer("click", 1)
        self.assertEqual(fixture.await_line("view ended"), ["view began 150 150", "view ended 150 150"])
        fixture.do("remove")
        fixture.quiet_frames()
        pointer("click", 1)
        self.assertEqual(fixture.await_line("host clicked"), ["host clicked"])

    def test_the_cursor_is_a_hand_over_buttons(self):
        fixture = self.start()
        shapes = {}
        for name in ("pointer", "default", "crosshair"):
            fixture.do("cursor " + name)
            fixture.quiet_frames()
            shapes[name] = cursor(150, 300)
        self.assertEqual(len(set(shapes.values())), 3)
        fixture.do_until("pop 1", "code 1")
        fixture.quiet_frames()
        # The picture, the dimmed area, the close button below the picture, the dimmed area again.
        height = 375 * 520 / 590.5 * 1.5
        close = round(350 + height / 2 + 375 * 40 / 590.5)
        for x, y, name in ((200, 350, "pointer"), (5, 350, "default"), (188, close, "pointer"), (5, 5, "default")):
            await_cursor(x, y, shapes[name])
        click(188, close)
        fixture.await_line("code 3")
        await_cursor(189, close, shapes["crosshair"])

    def test_with_animations_disabled_completions_come_at_once(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("animate 300")
        fixture.do_until("animations 0", "completed 1")
        fixture.do_until("animate 300", "completed 1")
        fixture.do("animations 1")
        fixture.do("animate 300")
        fixture.do_until("remove", "completed 0")

    def test_a_message_blocks_the_hosts_title_bar_but_not_the_windows_close_button(self):
        fixture = self.start(375, 700, "titlebar")
        places = fixture.do("bar")[-1].split()
        bar, close = places[1:3], places[3:5]
        click(*bar)
        fixture.await_line("bar clicked")
        fixture.do_until("pop 3", "code 1")
        click(*bar)
        fixture.do_until("dismiss", "code 3")
        click(*bar)
        self.assertEqual(fixture.await_line("bar clicked"), ["bar clicked"])
        fixture.do_until("pop 3", "code 1")
        click(*close)
        fixture.await_line("destroyed")

    def test_host_widgets_above_the_views_get_their_touches(self):
        fixture = self.start(375, 700, "overlay")
        fixture.do("view 100 100 200 100")
        fixture.do("above")
        fixture.quiet_frames()
        click(150, 150)
        self.assertEqual(fixture.await_line("above clicked"), ["above clicked"])
        click(250, 150)
        self.assertEqual(fixture.await_line("view ended")[0], "view began 250 150")

    def test_a_touch_is_cancelled_when_its_window_is_hidden(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        await_pixel(150, 150, RED)
        pointer("mousemove", 150, 150, "mousedown", 1)
        fixture.await_line("view began")
        fixture.do("hide")
        self.assertIn("view cancelled 150 150", fixture.lines)
        pointer("mouseup", 1)
        fixture.do_until("show", "mapped")
        fixture.quiet_frames()
        pointer("mousemove", 1, 1)
        click(150, 150)
        self.assertEqual(fixture.await_line("view ended")[-2:], ["view began 150 150", "view ended 150 150"])

    def check_children(self, kind):
        fixture = self.start(375, 700, kind)
        state = fixture.state()
        self.assertTrue(state.startswith("state scenes 1 active 1 host 1 screen"), state)
        fixture.do("view 100 100 200 100")
        for command, name in (("state", "host"), ("child second", "second"), ("child", None),
                              ("child third", "third"), ("rehome", "inner")):
            with self.subTest(command):
                fixture.do(command)
                fixture.quiet_frames()
                click(150, 150)
                # The coordinates are not compared: a libadwaita window has a frame around its content.
                self.assertTrue(fixture.await_line("view ended")[0].startswith("view began"))
                if name:
                    click(150, 300)
                    self.assertEqual(fixture.await_line(name), [name + " clicked"])
                self.assertEqual(fixture.state(), state)
        fixture.do("close")
        self.assertEqual(fixture.close(), 0)

    def test_a_later_child_is_wrapped(self):
        self.check_children("window")

    @unittest.skipUnless(has_library("libadwaita-1.so.0"), "no libadwaita here")
    def test_the_content_of_a_libadwaita_window_is_wrapped(self):
        for kind in ("adw_window", "adw_application_window"):
            with self.subTest(kind):
                self.check_children(kind)

    def test_a_message_shown_before_the_first_layout_gets_the_right_size(self):
        fixture = self.start(375, 700, "eager")
        if "code 1" not in fixture.lines:
            fixture.await_line("code 1")
        self.assertEqual(fixture.state(), "state scenes 1 active 1 host 1 screen 375x700")
        # The card is 330 points wide.
        await_pixel(25, 350, WHITE)
        await_pixel(350, 350, WHITE)
        self.assertNotEqual(pixel(18, 350), WHITE)
        self.assertIn("button 确定", fixture.do("a11y"))

    def test_an_animation_of_a_hidden_window_completes(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("hide")
        fixture.await_state("state scenes 1 active 0 host 1 screen 375x700")
        fixture.do("animate 0.2")
        self.assertEqual(fixture.await_line("completed")[-1], "completed 1")
        fixture.do("show")
        fixture.await_state("state scenes 1 active 1 host 1 screen 375x700")
        fixture.do("animate 30")
        fixture.do("hide")
        fixture.do_until("remove", "completed 0")

    def key(self, fixture, name):
        """Presses a key and returns the accessible elements afterwards."""
        pointer("key", name)
        fixture.quiet_frames()
        return [line for line in fixture.do("a11y") if not line.startswith(("code", "host"))]

    def test_a_message_is_a_dialog_that_the_keyboard_can_use(self):
        fixture = self.start()
        click(150, 150)
        fixture.await_line("host clicked")
        fixture.do_until("pop 3", "code 1")
        fixture.quiet_frames()
        elements = ["dialog 春季大促 | 全场八折 off ", "heading 春季大促", "text 全场八折 off ", "button 取消",
                    "button 确定"]

        def focused(at):
            return [line + " *" if index == at else line for index, line in enumerate(elements)]

        self.assertEqual(fixture.do("a11y"), focused(0))
        for name, at in (("Tab", 3), ("Tab", 4), ("Tab", 3), ("shift+Tab", 4), ("Escape", 4)):
            self.assertEqual(self.key(fixture, name), focused(at), name)
        # Return presses the focused button once; after that the host has the keyboard again.
        pointer("key", "Return")
        self.assertEqual(fixture.await_line("code"), ["code 5"])
        self.assertEqual(self.key(fixture, "Return"), [])
        self.assertIn("host clicked", fixture.lines[-20:])
        fixture.do_until("pop 1", "code 1")
        fixture.quiet_frames()
        self.assertEqual(fixture.do("a11y"), ["dialog 春季大促 | undefined *", "button 图片", "button 关闭"])
        pointer("key", "Escape")
        self.assertEqual(fixture.await_line("code"), ["code 3"])

    def test_the_keyboard_skips_views_without_input(self):
        fixture = self.start()
        click(150, 300)
        fixture.await_line("host clicked")
        fixture.do("view 100 100 200 100")
        fixture.do("dead")
        fixture.quiet_frames()
        self.assertEqual(self.key(fixture, "Tab"), ["button text"])

    def test_a_message_reports_even_if_its_window_changes_while_it_opens(self):
        fixture = self.start()
        for command in ("show", "resize 350 600", "resize 900 600", "close"):
            with self.subTest(command):
                # The messages of earlier rounds have already reported.
                before = fixture.lines.count("code 1")
                fixture.do("pop 2")
                fixture.do(command)
                while fixture.lines.count("code 1") == before:
                    fixture.await_line("code 1")

    def assert_waiting(self, fixture, background):
        """Checks that the message is neither reported nor painted after some time."""
        fixture.do("animate 0.3")
        fixture.await_line("completed")
        self.assertNotIn("code 1", fixture.lines)
        self.assertEqual(pixel(30, 350), background)

    def assert_shown(self, fixture):
        if "code 1" not in fixture.lines:
            fixture.await_line("code 1")
        await_pixel(30, 350, WHITE)
        await_pixel(370, 350, WHITE)

    def test_a_message_waits_until_its_window_can_be_seen(self):
        pointer("mousemove", 1390, 990)
        root = pixel(30, 350)
        with WindowManager():
            with self.subTest("not yet mapped"):
                fixture = Fixture(400, 700, "early")
                fixture.do("view 0 0 1 1")
                self.assert_waiting(fixture, root)
                fixture.do_until("show", "mapped")
                self.assert_shown(fixture)
                self.assertEqual(fixture.close(), 0)
            for vanish, then, come_back in (("hide", "pop 3", "show"), ("minimise", "pop 3", "unminimise"),
                                            ("pop_and_hide", "state", "show")):
                with self.subTest(vanish):
                    fixture = self.start(400, 700, "second")
                    fixture.do("view 0 0 1 1")
                    fixture.do(vanish)
                    until(lambda: " active 0 " in fixture.state(), fixture.state)
                    fixture.do(then)
                    self.assert_waiting(fixture, root)
                    fixture.do(come_back)
                    self.assert_shown(fixture)
                    self.assertEqual(fixture.close(), 0)

    def test_a_message_waits_for_frames_that_the_compositor_holds_back(self):
        with Compositor() as session:
            fixture = Fixture(400, 700, **session)
            fixture.await_line("mapped")
            fixture.do_until("pop 3", "code 1")
            before = fixture.lines.count("code 1")
            fixture.do("view 0 0 1 1")
            fixture.do("minimise")
            # Wait until there are no frames, although an animation runs.
            fixture.do("animate 30")
            fixture.quiet_frames()
            fixture.do("pop 3")
            for _ in range(2):
                fixture.do("animate 0.3")
                fixture.await_line("completed")
            self.assertEqual(fixture.lines.count("code 1"), before)
            # Only a press in the session could restore the window, so hide and show it, which creates a new one.
            fixture.do("hide")
            fixture.do_until("show", "code 1")
            self.assertEqual(fixture.close(), 0)

    def test_a_message_moves_to_another_window_if_its_own_is_destroyed_while_it_opens(self):
        with WindowManager():
            fixture = self.start(400, 700)
            fixture.do_until("open two", "mapped")
            pointer("search", "--sync", "--name", "^two$", "windowmove", "--sync", 450, 0, "windowactivate", "--sync")
            fixture.quiet_frames()
            fixture.do("pop_and_close")
            self.assert_shown(fixture)
            self.assertEqual(fixture.lines.count("code 1"), 1)

    def test_a_message_appears_in_the_window_that_was_used_last(self):
        lefts = {"one": 0, "two": 450, "three": 900}
        messages = []

        def assert_messages(*windows):
            for name, left in lefts.items():
                await_pixel(left + 30, 350, WHITE, gone=name not in windows)

        def pop_in(name):
            before = fixture.lines.count("code 1")
            fixture.do("pop 3")
            until(lambda: fixture.do("state") and fixture.lines.count("code 1") > before,
                  lambda: "the message did not report")
            messages.append(name)
            assert_messages(*messages)

        with WindowManager():
            fixture = self.start(400, 700)
            for name in ("two", "three"):
                fixture.do_until("open " + name, "mapped")
                pointer("search", "--sync", "--name", f"^{name}$", "windowmove", "--sync", lefts[name], 0)
            assert_messages()
            click(650, 350)
            fixture.await_line("host clicked")
            pop_in("two")
            # Activated without a press, while the message in the other window is still open.
            pointer("search", "--name", "^one$", "windowactivate", "--sync")
            pop_in("one")
            click(1100, 350)
            fixture.await_line("host clicked")
            pop_in("three")
            # A press on a message also counts as use of its window.
            click(450 + 110, 407)
            fixture.await_line("code 4")
            messages.remove("two")
            pop_in("two")

    def test_a_very_long_text_is_shown_and_scrolls(self):
        fixture = self.start()
        fixture.do_until("pop 3 8000", "code 1")
        fixture.quiet_frames()

        def body():
            shot = ["import", "-window", "root", "-crop", "280x200+60+250", "-depth", "8", "rgb:-"]
            return subprocess.run(shot, env=dict(os.environ, DISPLAY=DISPLAY), check=True, timeout=WAIT,
                                  stdout=subprocess.PIPE).stdout

        before = body()
        self.assertGreater(len(set(before)), 20, "no text is visible")
        pointer("mousemove", 200, 350, "click", 5)
        fixture.quiet_frames()
        self.assertNotEqual(body(), before)
        self.assertGreater(len(set(body())), 20)

    def test_after_a_window_closes_another_can_be_opened(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("animate 30")
        fixture.do_until("close", "completed 0")
        self.assertIn("destroyed", fixture.lines)
        fixture.await_state("state scenes 0 active 0 host 0 screen 375x700")
        fixture.do_until("open", "mapped")
        fixture.do("view 100 100 200 100")
        await_pixel(150, 150, RED)
        click(150, 150)
        self.assertEqual(fixture.await_line("view ended")[-1], "view ended 150 150")
        fixture.do("quit")
        fixture.await_line("left")

    def test_the_stage_is_centred_in_a_wide_window(self):
        fixture = self.start(1280, 800)
        self.assertEqual(fixture.state(), "state scenes 1 active 1 host 1 screen 375x620")
        fixture.do("view 100 100 200 100")
        stage = Stage(1280, 800)
        edge, _ = stage.pixel(100, 0)
        await_pixel(edge + 1, 200, RED)
        self.assertNotEqual(pixel(edge - 1, 200), RED)
        x, y = stage.pixel(150, 150)
        click(x, y)
        began = fixture.await_line("view ended")[0].split()
        self.assertEqual(began[:2], ["view", "began"])
        for at, pixels in zip(began[2:], (x - stage.left, y - stage.top)):
            self.assertAlmostEqual(float(at), pixels / stage.scale, delta=0.01)
        click(50, 400)
        self.assertEqual(fixture.await_line("host clicked"), ["host clicked"])

        fixture.do("fill")
        right = stage.left + round(375 * stage.scale)
        for x in (2, stage.left - 1, stage.left, right - 1, right, 1277):
            await_pixel(x, 400, GREEN)
        for x in (50, 1200, stage.left + 20):
            click(x, 400)
        seen = [line for _ in range(3) for line in fixture.await_line("filling ended")]
        self.assertNotIn("host clicked", seen)

    def test_without_changes_nothing_is_painted(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("text")
        await_pixel(290, 190, RED)
        before = fixture.quiet_frames()
        fixture.do("animate 0.5")
        fixture.await_line("completed 1")
        # quiet_frames() fails if painting does not end.
        self.assertGreater(fixture.quiet_frames(), before)


if __name__ == "__main__":
    FIXTURE = sys.argv.pop(1)
    with Display() as DISPLAY:
        program = unittest.main(exit=False)
    sys.exit(not program.result.wasSuccessful())
