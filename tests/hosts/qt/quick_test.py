#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the host of Qt Quick and the QML module with a real pointer and keyboard: quick_test.py FIXTURE IMPORT_PATH
[unittest arguments]."""

import os
import sys
import tempfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "gtk"))
import driver
from driver import GREEN, RED, WHITE, Compositor, Stage, await_pixel, click, pixel, pointer, press, until
from web_test import Authority, Handler, Server

DIM_RED = (178, 0, 0)                 # in a message's shadow
LEFT, RIGHT = (105, 395), (270, 395)  # the buttons of the message in a window of 375 x 700
OUTSIDE = (200, 600)                  # the application's button, when no message covers it


def await_near(x, y, colour):
    """Waits until the pixel has the colour. Blending may round each of its values up or down."""
    until(lambda: all(abs(a - b) <= 1 for a, b in zip(pixel(x, y), colour)), lambda: f"{pixel(x, y)} at {x},{y}")


class Quick(driver.GtkTest):
    def start(self, width=375, height=700, kind="window", **environment):
        fixture = super().start(width, height, kind, **environment)
        if "QT_QPA_PLATFORM" not in environment:
            await_pixel(5, 560, RED)
        return fixture

    def pop(self, fixture, style=3):
        fixture.do_until(f"pop {style}", "code 1")
        fixture.await_answer("settled", "1")

    def test_a_message_gets_the_input_and_afterwards_the_application_does(self):
        for kind, environment in (("window", {"QSG_RENDER_LOOP": "threaded"}), ("window", {"QSG_RENDER_LOOP": "basic"}),
                                  ("window", {"QT_QUICK_BACKEND": "software"}), ("widget", {})):
            with self.subTest(kind, **environment):
                fixture = self.start(kind=kind, **environment)
                click(*OUTSIDE)
                fixture.await_line("host clicked")
                await_pixel(5, 600, GREEN)  # the pointer is over the button
                self.pop(fixture)
                await_near(5, 600, DIM_RED)
                await_pixel(187, 300, WHITE)
                fixture.lines.clear()
                pointer("click", 1, "click", 3, "click", 4, "mousemove", *LEFT, "mousedown", 1)
                pointer("mousemove", *OUTSIDE, "mouseup", 1)
                click(*RIGHT)
                fixture.await_line("code 5")
                self.assertFalse([line for line in fixture.lines if line.startswith("host")])
                await_pixel(187, 300, GREEN)
                click(*RIGHT)
                fixture.await_line("host clicked")
                pointer("click", 4)
                fixture.await_line("host scrolled")
                self.assertEqual(fixture.close(), 0)

    def test_a_message_gets_the_keys_and_gives_the_focus_back(self):
        fixture = self.start()
        press("Escape")
        fixture.await_line("shortcut Esc")
        self.pop(fixture)
        fixture.await_answer("focus", "oqsdk-layer")
        # The application focuses its field again, but the message keeps the focus.
        fixture.do("focus_field")
        fixture.await_answer("focus", "oqsdk-layer")
        fixture.lines.clear()
        press("x", "Escape", "ctrl+k")
        fixture.await_line("shortcut Ctrl+K")
        self.assertNotIn("shortcut Esc", fixture.lines)
        press("Tab", "Tab", "Return")
        fixture.await_line("code 5")
        fixture.await_answer("focus", "field")
        press("Escape")
        fixture.await_line("shortcut Esc")

    def test_an_open_menu_gets_the_input_before_the_message(self):
        fixture = self.start()
        fixture.do("menu")
        self.pop(fixture)
        fixture.lines.clear()
        click(40, 318)
        fixture.await_line("entry chosen")
        self.assertNotIn("code", " ".join(fixture.lines))
        fixture.await_answer("focus", "oqsdk-layer")
        fixture.do("menu")
        press("Escape")
        fixture.await_line("menu closed")
        fixture.await_answer("focus", "oqsdk-layer")
        press("Tab", "Return")
        fixture.await_line("code 4")

    def test_a_message_is_placed_on_the_stage_at_every_scale_and_size(self):
        for factor, size in ((1, (600, 600)), (1.5, (375, 600)), (2, (300, 450)), (3, (300, 300))):
            with self.subTest(factor=factor):
                fixture = self.start(*size, QT_SCALE_FACTOR=str(factor))
                stage = Stage(*size)
                self.pop(fixture)

                def at(x, y):
                    return [int(length * factor) for length in stage.at(x, y)]

                middle = stage.height / 2
                await_pixel(*at(187, middle - 60), WHITE)  # above the title
                await_near(*at(5, middle), DIM_RED)       # beside the card
                await_near(*at(187, middle + 85), DIM_RED)
                fixture.do("resize 310 320")
                stage = Stage(310, 320, laid_out_for=size)
                await_near(int(308 * factor), int(100 * factor), DIM_RED)
                fixture.await_answer("settled", "1")
                await_pixel(*at(187, middle - 60), WHITE)
                click(*at(270, middle + 45))
                fixture.await_line("code 5")
                self.assertEqual(fixture.close(), 0)

    def test_a_message_survives_its_scene_graph_but_not_its_window(self):
        fixture = self.start(QSG_RENDER_LOOP="threaded")
        self.pop(fixture)
        fixture.do_until("lose", "scene graph lost")
        await_pixel(187, 300, WHITE)
        await_near(5, 600, DIM_RED)
        fixture.do("close")
        self.assertEqual(fixture.ask("state"), "scenes 0")
        for kind in ("window", "widget"):
            self.pop(fixture := self.start(kind=kind))
            fixture.do("close")
            fixture.await_answer("state", "scenes 0")

    def test_what_cannot_be_attached_is_refused(self):
        lines = self.start().do("badly")
        self.assertEqual(lines, ["null refused", "thread refused", "again attached", "pages refused"])

    def test_qml_gets_the_signals_of_messages_and_pages_have_the_names_of_their_items(self):
        part = {"text": "Yes", "clickEvent": "https://localhost/linked"}
        Handler.windows = [{"id": number, "count": 5, "event": {"xwhat": event}, "style": 3, "title": {"text": "Title"},
                            "buttonLeft": part, "buttonRight": part} for number, event in ((7, "buy"), (8, "leave"))]
        with tempfile.TemporaryDirectory() as folder:
            authority = Authority(folder, "trusted")
            with Server(authority.issue("localhost")) as server:
                fixture = self.start(SSL_CERT_FILE=authority.file)
                fixture.do("start " + server.url(""))
                fixture.do("collect")
                fixture.await_answer("page", "ProductsPage")
                fixture.do("cart")
                fixture.await_answer("page", "CartPage")
                # The event waits for the campaigns.
                fixture.do_until("record buy", "shown 7 buy 3")
                press("Tab", "Tab", "Return")
                fixture.await_line("clicked 5 true")
                fixture.await_line("link 7 https://localhost/linked")
                fixture.do_until("hold on", "held true")
                self.assertNotIn("counted", fixture.ask("record leave"))
                fixture.do_until("hold off", "held false")
                self.assertIn("counted", fixture.ask("record leave"))
                fixture.await_line("shown 8 leave 3")

    def test_messages_work_under_wayland(self):
        # Without this input method, Qt needs a keyboard, which this compositor has not.
        with Compositor() as environment:
            fixture = self.start(QT_QPA_PLATFORM="wayland", QT_QUICK_BACKEND="software",
                                 QT_IM_MODULE="compose", **environment)
            fixture.do_until("pop 3", "code 1")
            fixture.await_answer("grab 187 300", "#ffffff")
            fixture.await_answer("grab 5 600", "#b30000")
            self.assertEqual(fixture.close(), 0)


if __name__ == "__main__":
    os.environ["QML_IMPORT_PATH"] = sys.argv.pop(2)
    driver.main()
