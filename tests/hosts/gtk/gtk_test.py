#!/usr/bin/env python3
"""Drives the fixture with a real pointer on an Xvfb of its own: gtk_test.py FIXTURE [unittest arguments]."""

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


def until(holds, otherwise, pause=0.02):
    """Waits until it holds; `otherwise` tells what is instead."""
    deadline = time.monotonic() + WAIT
    while not holds():
        if time.monotonic() > deadline:
            raise AssertionError(otherwise())
        time.sleep(pause)


class Stage:
    """Where the library lays out its messages in a window: by its description, not by what the program says."""

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
        """A point of the stage, in the window."""
        return self.left + x * self.scale, self.top + y * self.scale

    def pixel(self, x, y):
        return tuple(map(math.floor, self.at(x, y)))


class Display:
    """An X server on a free display, for as long as the block runs."""

    def __init__(self, size="1400x1000"):
        self.size = size

    def __enter__(self):
        # What the screen shows, in a file.
        self.folder = tempfile.TemporaryDirectory()
        reader, writer = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", self.size + "x24", "-nolisten", "tcp", "-noreset",
             "-fbdir", self.folder.name],
            pass_fds=[writer], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as told:
            number = told.readline().strip()
        if not number:
            raise RuntimeError("Xvfb does not start")
        return ":" + number

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.folder.cleanup()

    def shot(self, width, height):
        """The bytes, blue, green, red, none, of the screen's upper left part."""
        with open(os.path.join(self.folder.name, "Xvfb_screen0"), "rb") as screen:
            header = struct.unpack(">25I", screen.read(100))
            begin, line = header[0] + 12 * header[19], header[12]
            rows = (screen.seek(begin + y * line) and screen.read(4 * width) for y in range(height))
            return b"".join(rows)


class Fixture:
    """One run of the fixture. Every line that it prints is kept until it is asked for."""

    def __init__(self, width=375, height=700, *more, **environment):
        self.home = tempfile.TemporaryDirectory()
        environment = {**os.environ, "DISPLAY": DISPLAY, "GDK_BACKEND": "x11", "GSK_RENDERER": "cairo",
                       "GTK_A11Y": "test", "GSETTINGS_BACKEND": "memory", "G_DEBUG": "fatal-criticals",
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
                raise AssertionError(f"no more lines; waiting since {self.lines[-8:]}")
            self.buffer += chunk
        line, self.buffer = self.buffer.split(b"\n", 1)
        return line.decode()

    def await_line(self, start):
        """Everything up to the first line that begins with `start`, that line last."""
        deadline = time.monotonic() + WAIT
        seen = []
        while not seen or not seen[-1].startswith(start):
            seen.append(self.read_line(deadline))
            self.lines.append(seen[-1])
        return seen

    def do(self, command):
        """What was printed up to the end of the command."""
        self.process.stdin.write((command + "\n").encode())
        self.process.stdin.flush()
        return self.await_line("did " + command)[:-1]

    def do_until(self, command, start):
        """Does the command and waits for a line that may come before its end or after it."""
        if not any(line.startswith(start) for line in self.do(command)):
            self.await_line(start)

    def state(self):
        return self.do("state")[-1]

    def await_state(self, wanted):
        until(lambda: self.state() == wanted, lambda: f"{self.state()!r} instead of {wanted!r}")

    def frames(self):
        return int(self.do("frames")[-1].split()[1])

    def quiet_frames(self):
        """The number of frames once nothing has been painted for a while."""
        deadline = time.monotonic() + WAIT
        before = -1
        while (now := self.frames()) != before:
            if time.monotonic() > deadline:
                raise AssertionError("painting never ends")
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


def click(x, y):
    pointer("mousemove", x, y, "click", 1)


def pixel(x, y):
    """Red, green and blue of a pixel of the screen."""
    shot = ["import", "-window", "root", "-crop", f"1x1+{x}+{y}", "-depth", "8", "rgb:-"]
    return tuple(subprocess.run(shot, env=dict(os.environ, DISPLAY=DISPLAY), check=True, timeout=WAIT,
                                stdout=subprocess.PIPE).stdout)


def await_pixel(x, y, colour, gone=False):
    """Until the pixel has the colour; with `gone`, until it has another one."""
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

    def test_touches_reach_whom_they_hit(self):
        for kind in ("window", "overlay"):
            with self.subTest(kind):
                fixture = self.start(375, 700, kind)
                fixture.do("view 100 100 200 100")
                await_pixel(150, 150, RED)
                click(150, 150)
                self.assertEqual(fixture.await_line("view ended"), ["view began 150 150", "view ended 150 150"])
                click(150, 300)
                self.assertEqual(fixture.await_line("host clicked"), ["host clicked"])
                # A touch stays with whom it began in, wherever it goes.
                pointer("mousemove", 200, 150, "mousedown", 1, "mousemove", 200, 400, "mouseup", 1)
                self.assertEqual(fixture.await_line("view ended"), ["view began 200 150", "view ended 200 400"])
                pointer("mousemove", 200, 400, "mousedown", 1, "mousemove", 200, 150, "mouseup", 1)
                # Neither another button nor the wheel reaches what lies below.
                pointer("mousemove", 150, 150, "click", 3, "click", 5)
                self.assertEqual(fixture.await_line("view scrolled"), ["host clicked", "view scrolled down"])
                self.assertEqual(fixture.close(), 0)

    def test_a_view_that_comes_under_a_resting_pointer_takes_its_click(self):
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

    def test_what_the_host_puts_above_comes_first(self):
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
                # A window of libadwaita's has a frame around what it shows.
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
    def test_the_content_of_a_window_of_libadwaita_is_wrapped(self):
        for kind in ("adw_window", "adw_application_window"):
            with self.subTest(kind):
                self.check_children(kind)

    def test_a_message_that_comes_before_the_first_layout_has_its_size(self):
        fixture = self.start(375, 700, "eager")
        if "code 1" not in fixture.lines:
            fixture.await_line("code 1")
        self.assertEqual(fixture.state(), "state scenes 1 active 1 host 1 screen 375x700")
        # The card is 330 points wide.
        await_pixel(25, 350, WHITE)
        await_pixel(350, 350, WHITE)
        self.assertNotEqual(pixel(18, 350), WHITE)
        self.assertIn("button 确定", fixture.do("a11y"))

    def test_a_window_that_is_never_shown_is_not_the_screen(self):
        fixture = self.start(375, 700, "second")
        fixture.await_state("state scenes 2 active 1 host 1 screen 375x700")

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
        """What is told of the views afterwards."""
        pointer("key", name)
        fixture.quiet_frames()
        return [line for line in fixture.do("a11y") if not line.startswith(("code", "host"))]

    def test_a_message_is_a_dialog_that_the_keyboard_can_use(self):
        fixture = self.start()
        click(150, 150)
        fixture.await_line("host clicked")
        fixture.do_until("pop 3", "code 1")
        fixture.quiet_frames()
        heard = ["dialog 春季大促 | 全场八折 off ", "heading 春季大促", "text 全场八折 off ", "button 取消", "button 确定"]

        def focused(at):
            return [line + " *" if index == at else line for index, line in enumerate(heard)]

        self.assertEqual(fixture.do("a11y"), focused(0))
        for name, at in (("Tab", 3), ("Tab", 4), ("Tab", 3), ("shift+Tab", 4), ("Escape", 4)):
            self.assertEqual(self.key(fixture, name), focused(at), name)
        # Return goes where the focus is, once; afterwards the keyboard is the host's again.
        pointer("key", "Return")
        self.assertEqual(fixture.await_line("code"), ["code 5"])
        self.assertEqual(self.key(fixture, "Return"), [])
        self.assertIn("host clicked", fixture.lines[-20:])
        fixture.do_until("pop 1", "code 1")
        fixture.quiet_frames()
        self.assertEqual(fixture.do("a11y"), ["dialog 春季大促 | undefined *", "button 图片", "button 关闭"])
        pointer("key", "Escape")
        self.assertEqual(fixture.await_line("code"), ["code 3"])

    def test_the_keyboard_passes_over_what_takes_no_input(self):
        fixture = self.start()
        click(150, 300)
        fixture.await_line("host clicked")
        fixture.do("view 100 100 200 100")
        fixture.do("dead")
        fixture.quiet_frames()
        self.assertEqual(self.key(fixture, "Tab"), ["button text"])

    def test_whatever_happens_to_the_window_while_a_message_opens_it_reports(self):
        fixture = self.start()
        for command in ("hide", "show", "resize 350 600", "resize 900 600", "close"):
            with self.subTest(command):
                # Each of those before has reported already.
                before = fixture.lines.count("code 1")
                fixture.do("pop 2")
                fixture.do(command)
                while fixture.lines.count("code 1") == before:
                    fixture.await_line("code 1")

    def test_an_endless_text_shows_and_scrolls(self):
        fixture = self.start()
        fixture.do_until("pop 3 8000", "code 1")
        fixture.quiet_frames()

        def body():
            shot = ["import", "-window", "root", "-crop", "280x200+60+250", "-depth", "8", "rgb:-"]
            return subprocess.run(shot, env=dict(os.environ, DISPLAY=DISPLAY), check=True, timeout=WAIT,
                                  stdout=subprocess.PIPE).stdout

        before = body()
        self.assertGreater(len(set(before)), 20, "no text to be seen")
        pointer("mousemove", 200, 350, "click", 5)
        fixture.quiet_frames()
        self.assertNotEqual(body(), before)
        self.assertGreater(len(set(body())), 20)

    def test_a_closed_window_leaves_nothing(self):
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

    def test_a_second_window_is_a_scene_of_its_own(self):
        fixture = self.start(375, 700)
        fixture.do_until("open", "mapped")
        fixture.await_state("state scenes 2 active 2 host 1 screen 375x700")
        fixture.do("close")
        fixture.await_state("state scenes 1 active 1 host 1 screen 375x700")

    def test_a_wide_window_has_its_stage_in_the_middle(self):
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

    def test_a_new_size_moves_the_stage(self):
        fixture = self.start(375, 700)
        fixture.do("resize 900 700")
        fixture.await_state("state scenes 1 active 1 host 1 screen 375x620")
        fixture.do("resize 375 650")
        fixture.await_state("state scenes 1 active 1 host 1 screen 375x650")

    def test_nothing_is_painted_while_nothing_changes(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("text")
        await_pixel(290, 190, RED)
        before = fixture.quiet_frames()
        time.sleep(0.7)
        self.assertEqual(fixture.frames(), before)
        fixture.do("animate 0.5")
        fixture.await_line("completed 1")
        moved = fixture.quiet_frames() - before
        # Half a second of motion, then rest: the number also tells that the counter counts.
        self.assertGreater(moved, 5)
        self.assertLess(moved, 60)
        time.sleep(0.7)
        self.assertEqual(fixture.frames(), before + moved)


if __name__ == "__main__":
    FIXTURE = sys.argv.pop(1)
    with Display() as DISPLAY:
        program = unittest.main(exit=False)
    sys.exit(not program.result.wasSuccessful())
