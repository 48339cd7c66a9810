#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the host of Qt Widgets with a real pointer and keyboard: widgets_test.py FIXTURE [unittest arguments]."""

import os
import re
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "gtk"))
import driver
from driver import WHITE, Compositor, Service, Stage, WindowManager, await_pixel, click, pixel, pointer, press, until

SCREEN = (1600, 1000)
BLUE = (0x3c, 0x78, 0xd8)
DIM_BLUE = (0x2a, 0x54, 0x98)
LEFT, RIGHT = (105, 395), (270, 395)  # the buttons of the message in a window of 375 x 700
OUTSIDE = (200, 600)                  # the application's button, when no message covers it


class Bus(Service):
    """A session bus of its own, on which the accessibility bus is started."""

    def begin(self):
        address = "unix:path=" + self.path("bus")
        self.run("dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + address)
        until(lambda: os.path.exists(self.path("bus")), lambda: "the session bus does not start")
        reply = subprocess.run(["gdbus", "call", "--address", address, "--dest", "org.a11y.Bus", "--object-path",
                                "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress"], capture_output=True, text=True,
                               timeout=driver.WAIT, check=True).stdout
        Accessible.bus = re.search("'(.*)'", reply).group(1)
        return {"DBUS_SESSION_BUS_ADDRESS": address, "XDG_RUNTIME_DIR": self.folder.name}


class Accessible:
    """An object on the accessibility bus, as a screen reader gets it."""

    MODAL, FOCUSABLE, FOCUSED = 16, 11, 12
    bus = ""

    def __init__(self, owner, path):
        self.owner, self.path = owner, path

    def call(self, method, *arguments, prefix="org.a11y.atspi."):
        command = ["gdbus", "call", "--address", self.bus, "--dest", self.owner, "--object-path", self.path, "--method",
                   prefix + method, *arguments]
        return subprocess.run(command, capture_output=True, text=True, timeout=driver.WAIT, check=False).stdout

    def children(self):
        return [Accessible(*each) for each in re.findall(r"'(:[^']+)', [^']*'([^']+)'", self.call("Accessible.GetChildren"))]

    def role(self):
        return "".join(re.findall(r"'(.*)'", self.call("Accessible.GetRoleName")))

    def first(self, role):
        """The first descendant with this role; None if there is none."""
        for child in self.children():
            if found := child if child.role() == role else child.first(role):
                return found
        return None

    def described(self):
        """The role, the name, and what else matters to a screen reader."""
        name = self.call("Properties.Get", "org.a11y.atspi.Accessible", "Name", prefix="org.freedesktop.DBus.")
        states = int(re.search(r"uint32 (\d+)", self.call("Accessible.GetState")).group(1))
        named = {"modal": self.MODAL, "focusable": self.FOCUSABLE, "focused": self.FOCUSED}
        return " ".join([self.role(), *re.findall(r"<'(.*)'>", name), *(word for word, bit in named.items() if states >> bit & 1)])


class Widgets(driver.GtkTest):
    def start(self, width=375, height=700, kind="styled", **environment):
        fixture = super().start(width, height, kind, **environment)
        if "QT_QPA_PLATFORM" not in environment:
            until(lambda: pixel(5, 200) != (0, 0, 0), lambda: "the window is not shown")
        return fixture

    def pop(self, fixture, style=3, repeats=3):
        fixture.do_until(f"pop {style} {repeats}", "code 1")
        self.settle(fixture)

    @staticmethod
    def settle(fixture):
        """Waits until no animation runs and the pixels no longer change."""
        fixture.await_answer("settled", "1")
        shots = [b"", b" "]

        def is_still():
            shots[:] = [shots[1], driver.screen.shot(0, 0, *SCREEN)]
            return shots[0] == shots[1]

        until(is_still, lambda: "the pixels change", pause=0.1)
        return shots[1]

    def test_a_message_gets_the_input_and_afterwards_the_application_does(self):
        for kind, environment in (("styled", {}), ("splitter", {}), ("styled", {"QT_NO_GLIB": "1"})):
            with self.subTest(kind, **environment):
                fixture = self.start(kind=kind, **environment)
                self.assertEqual("Unix" in fixture.ask("loop"), bool(environment))
                click(*OUTSIDE)
                fixture.await_line("host clicked")
                driver.hide_pointer()
                fixture.await_line("host left")
                before = self.settle(fixture)
                pointer("mousemove", *OUTSIDE)
                # The message opens below the resting pointer.
                self.pop(fixture)
                self.assertEqual([pixel(5, 40), pixel(5, 650)], [DIM_BLUE, DIM_BLUE])
                fixture.lines.clear()
                pointer("click", 1, "click", 3, "click", 4, "click", 1, "mousemove", *LEFT, "mousedown", 1)
                pointer("mousemove", *OUTSIDE, "mouseup", 1)
                fixture.do("tap 200 600")
                click(*RIGHT)
                fixture.await_line("code 5")
                reached = [line for line in fixture.lines if line.startswith("host") and line != "host left"]
                self.assertEqual(reached, [])
                self.settle(fixture)
                click(*RIGHT)
                fixture.await_line("host clicked")
                fixture.do_until("tap 200 600", "host clicked")
                driver.hide_pointer()
                until(lambda: self.settle(fixture) == before, lambda: "the message left pixels behind")
                self.assertEqual(fixture.close(), 0)

    def test_a_message_gets_the_keys_and_gives_the_focus_back(self):
        fixture = self.start(kind="window")
        fixture.do("focus_field")
        fixture.await_answer("focus", "field")
        fixture.do("select")
        press("Escape")
        fixture.await_line("shortcut Esc")
        self.pop(fixture)
        fixture.await_answer("focus", "oqsdk-layer")
        self.assertEqual(fixture.ask("inputs"), "0")
        # The application focuses its field again, but the message keeps the focus.
        fixture.do("focus_field")
        fixture.await_answer("focus", "oqsdk-layer")
        fixture.lines.clear()
        press("x", "n", "F5", "ctrl+k")
        fixture.await_line("shortcut Ctrl+K")
        click(*RIGHT)
        fixture.await_line("code 5")
        fixture.await_answer("focus", "field")
        self.assertFalse([line for line in fixture.lines if line.startswith(("window key", "shortcut E", "shortcut N"))])
        self.assertEqual(fixture.ask("selected"), "typed text")
        self.assertEqual(fixture.ask("inputs"), "1")
        self.pop(fixture, style=1)
        press("Escape")
        fixture.await_line("code 3")
        press("Escape")
        fixture.await_line("shortcut Esc")
        # A key that is held down when its message closes does not act on the application.
        fixture.do("focus_window")
        self.pop(fixture)
        press("Tab", "Tab")
        pointer("keydown", "Return")
        fixture.await_line("code 5")
        fixture.await_answer("focus", "window")
        fixture.lines.clear()
        pointer("keyup", "Return", "key", "ctrl+k")
        fixture.await_line("shortcut Ctrl+K")
        self.assertFalse([line for line in fixture.lines if line.startswith("window key")], fixture.lines)

    def test_menus_and_modal_dialogs_get_the_input_before_a_message_below_them(self):
        fixture = self.start()
        self.pop(fixture)
        fixture.do("menu")
        click(*RIGHT)
        fixture.await_line("menu closed")
        fixture.do("menu")
        press("Escape")
        fixture.await_line("menu closed")
        self.assertFalse({"code 3", "code 5"} & set(fixture.lines))
        # The dialog blocks the window with the message until it closes.
        fixture.do_until("exec plain", "dialog opened")
        click(*RIGHT)
        click(600, 300)
        fixture.await_line("inner clicked")
        self.assertNotIn("code 5", fixture.lines)
        fixture.do_until("reject", "dialog closed")
        click(*RIGHT)
        fixture.await_line("code 5")
        # The message of an attached dialog opens in the dialog, whose event loop is nested.
        fixture.do_until("exec attached", "dialog opened")
        click(600, 300)
        fixture.await_line("inner clicked")
        self.pop(fixture)
        click(700, 600)
        click(500 + RIGHT[0], RIGHT[1])
        fixture.await_line("code 5")
        self.assertNotIn("inner clicked", fixture.lines[-4:])
        click(700, 600)
        fixture.await_line("inner clicked")
        # The library's queue continues in the event loop of a dialog that one of its blocks opens.
        fixture.do_until("reject", "dialog closed")
        fixture.do_until("nest", "second block")
        fixture.do_until("reject", "dialog closed")
        # The dialog is destroyed while it shows a message.
        fixture.do_until("exec attached", "dialog opened")
        click(600, 300)
        fixture.await_line("inner clicked")
        self.pop(fixture)
        fixture.do_until("reject", "dialog closed")
        fixture.await_answer("state", "scenes 1 host 1")
        click(*OUTSIDE)
        fixture.await_line("host clicked")

    def test_a_message_is_sharp_and_transparent_at_every_scale(self):
        for scale, width, height in ((1, 375, 700), (1.5, 375, 640), (3, 375, 330), (1, 1280, 800), (1, 600, 600)):
            with self.subTest(scale=scale, size=(width, height)):
                fixture = self.start(width, height, QT_SCALE_FACTOR=str(scale))
                before = self.settle(fixture)
                self.pop(fixture)
                stage = Stage(width, height)
                left, top, wide, high = map(float, fixture.ask("card").split())
                middle = top + high / 4
                for x, inner, outer in ((left, 2, -2), (left + wide, -2, 2)):
                    # The edge of the card is at most two pixels wide.
                    at, y = (round(length * scale) for length in stage.at(x, middle))
                    self.assertEqual(pixel(at + inner, y), WHITE)
                    self.assertEqual(pixel(at + outer, y), DIM_BLUE)
                # What is drawn in parts, while the focus moves, equals what is drawn at once.
                press("Tab", "Tab", "Tab")
                parts = self.settle(fixture)
                fixture.do("repaint")
                self.assertEqual(self.settle(fixture), parts)
                press("Return")
                fixture.await_line("code 4")
                self.assertEqual(self.settle(fixture), before)
                self.assertEqual(fixture.close(), 0)

    def test_a_message_follows_its_window(self):
        with WindowManager():
            fixture = self.start()
            self.pop(fixture)
            for command, width, height in (("resize 800 600", 800, 600), ("full", *SCREEN)):
                fixture.do(command)
                await_pixel(width - 5, height - 5, DIM_BLUE)
                stage = Stage(width, height, (375, 700))
                await_pixel(*stage.pixel(187, 300), WHITE)
            for command in ("above", "raise"):
                fixture.do(command)
                fixture.do("repaint")
                self.settle(fixture)
                self.assertEqual(pixel(5, 5), DIM_BLUE)
            fixture.do("hide")
            until(lambda: pixel(5, 5) == (0, 0, 0), lambda: "the window is not hidden")
            fixture.do("show")
            # A busy window manager may forget that the window filled the screen.
            fixture.do("full")
            await_pixel(SCREEN[0] - 5, SCREEN[1] - 5, DIM_BLUE)
            click(*stage.pixel(*RIGHT))
            fixture.await_line("code 5")
            await_pixel(5, 5, BLUE)
            click(*OUTSIDE)
            fixture.await_line("host clicked")
            self.assertNotIn("above clicked", fixture.lines)
            self.assertEqual(fixture.close(), 0)

    def test_a_message_stays_sharp_on_a_screen_with_another_scale(self):
        for name, x, output in (("A", 0, "screen"), ("B", 800, "none")):
            subprocess.run(["xrandr", "--setmonitor", name, f"800/200x1000/250+{x}+0", output], check=True)
            self.addCleanup(subprocess.run, ["xrandr", "--delmonitor", name], check=True)
        fixture = self.start(375, 330, QT_SCREEN_SCALE_FACTORS="A=1;B=2")
        self.pop(fixture)
        fixture.do("move 810 10")
        stage = Stage(375, 330)
        left, top, _, high = map(float, fixture.ask("card").split())
        edge, middle = stage.at(left, top + high / 4)
        x, y = 820 + round(2 * edge), 20 + round(2 * middle)
        await_pixel(x + 2, y, WHITE)
        await_pixel(x - 2, y, DIM_BLUE)
        button = stage.at(RIGHT[0], top + high - 20)
        click(*(round(start + 2 * length) for start, length in zip((820, 20), button)))
        fixture.await_line("code 5")

    def test_drags_and_native_child_windows_below_a_message_get_nothing(self):
        fixture = self.start()
        self.assertEqual(fixture.do("drop 200 600")[-2:], ["host dropped", "drop accepted"])
        # The child window lies above a button of the message.
        fixture.do("native")
        pointer("mousemove", *RIGHT)
        fixture.await_line("native entered")
        pointer("click", 1)
        fixture.await_line("native clicked")
        self.pop(fixture)
        self.assertEqual(fixture.do("drop 200 600"), ["drop refused"])
        pointer("click", 1)
        fixture.await_line("code 5")
        self.assertEqual(fixture.lines.count("native clicked"), 1)
        pointer("click", 1)
        fixture.await_line("native clicked")

    def test_the_pointer_is_a_hand_over_buttons(self):
        fixture = self.start()
        pointer("mousemove", *OUTSIDE)
        fixture.await_line("host entered")
        self.pop(fixture)
        self.assertEqual(fixture.lines.count("host left"), 1)
        fixture.await_answer("cursor", "0")
        pointer("mousemove", *RIGHT)
        fixture.await_answer("cursor", "13")
        fixture.do_until("dismiss", "code 3")
        fixture.await_line("host entered")
        fixture.await_answer("cursor", "0")

    def test_windows_end_while_they_show_messages(self):
        fixture = self.start()
        self.assertEqual(fixture.do("attach_badly"), ["null refused", "thread refused"])
        self.assertEqual(fixture.do("attach_again"), ["attached"])
        fixture.await_answer("state", "scenes 1 host 1")
        fixture.do("second")
        fixture.await_answer("state", "scenes 2 host 1")
        self.pop(fixture)
        fixture.do("close")
        fixture.await_answer("state", "scenes 1 host 1")

    def test_messages_work_under_wayland(self):
        with Compositor() as environment:
            fixture = self.start(QT_QPA_PLATFORM="wayland", **environment)
            fixture.do_until("pop 3 3", "code 1")
            fixture.await_answer("grab 187 300", "#ffffff 375")
            fixture.await_answer("grab 5 600", "#2a5498 375")
            fixture.do_until("tap 270 395", "code 5")
            fixture.await_answer("grab 187 300", "#3c78d8 375")
            fixture.do_until("tap 200 600", "host clicked")
            self.assertEqual(fixture.close(), 0)

    def test_a_screen_reader_gets_the_dialog_and_presses_its_button(self):
        with Bus() as environment:
            fixture = self.start(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", **environment)
            self.pop(fixture)
            desktop = Accessible("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
            until(lambda: desktop.first("dialog"), lambda: "there is no dialog on the bus")
            dialog = desktop.first("dialog")
            self.assertEqual(dialog.described(), "dialog 春季大促 modal")
            self.assertEqual([each.described() for each in dialog.children()], [
                "heading 春季大促", "label 全场八折 off 全场八折 off 全场八折 off ", "push button 取消 focusable",
                "push button 确定 focusable"])
            button = dialog.children()[-1]
            button.call("Component.GrabFocus")
            until(lambda: button.described().endswith("focused"), lambda: button.described())
            button.call("Action.DoAction", "0")
            fixture.await_line("code 5")
            self.assertEqual(fixture.close(), 0)


if __name__ == "__main__":
    driver.main("%dx%d" % SCREEN)
