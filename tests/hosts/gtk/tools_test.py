#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the floating ball, the alert and the diagnostics panel with pointer and keyboard: tools_test.py FIXTURE."""

import sys
import unittest

import gtk_test
from gtk_test import Display, Fixture, Stage, await_pixel, click, pointer

RED, GREEN, WHITE = (255, 0, 0), (0, 255, 0), (255, 255, 255)
PAPER = (241, 243, 245)
FAN = 84.8528137423857


class Tools(unittest.TestCase):
    def start(self, width, height):
        pointer("mousemove", 1390, 990)
        fixture = Fixture(width, height)
        self.addCleanup(lambda: self.assertEqual(fixture.close(), 0, fixture.lines[-8:]))
        fixture.await_line("mapped")
        fixture.do("ball")
        return fixture

    def await_rest(self, fixture, x, y, colour, gone=False):
        """Waits until the pixel has the colour (with `gone`: another colour) and no view moves. Moving views ignore
        touches."""
        await_pixel(x, y, colour, gone)
        fixture.do_until("rest", "at rest")

    def test_the_ball_opens_closes_and_moves_on_two_screens(self):
        for width, height in ((375, 700), (1280, 800)):
            with self.subTest(width):
                fixture = self.start(width, height)
                stage = Stage(width, height)
                at = stage.pixel
                x, y = 345, 330
                self.await_rest(fixture, *at(x, y - 25), RED)
                click(*at(x, y))
                for dx, dy in ((-60, -60), (-FAN, 0), (-60, 60)):
                    self.await_rest(fixture, *at(x + dx, y + dy - 25), GREEN)
                click(*at(x - 60, y - 60))
                self.assertEqual(fixture.await_line("tapped"), ["tapped 0"])
                # When the ball is folded, touches there reach the host again.
                self.await_rest(fixture, *at(x - 60, y - 85), GREEN, gone=True)
                click(*at(x - 60, y - 60))
                self.assertEqual(fixture.await_line("host"), ["host clicked"])

                pointer("mousemove", *at(x, y), "mousedown", 1, "mousemove", *at(200, 400), "mousemove", *at(100, 450),
                        "mouseup", 1)
                x, y = 30, 450
                self.await_rest(fixture, *at(1, y), RED)  # at the edge of the window
                click(*at(x, y))
                self.await_rest(fixture, *at(x + FAN, y - 25), GREEN)
                click(*at(x + 60, y + 60))
                self.assertEqual(fixture.await_line("tapped"), ["tapped 2"])
                # The white head of the diagnostics, whose button at the right closes them.
                middle = at(187, 16)
                self.await_rest(fixture, *middle, WHITE)
                await_pixel(*at(14, stage.height - 40), PAPER)
                click(*at(323, 36))
                self.await_rest(fixture, *middle, WHITE, gone=True)
                click(*at(187, 36))
                self.assertEqual(fixture.await_line("host"), ["host clicked"])
                fixture.do("quit")
                fixture.await_line("left")
                self.assertEqual(fixture.close(), 0)

    def test_the_tools_work_in_a_tiny_window(self):
        for width, height in ((300, 200), (120, 120)):
            fixture = self.start(width, height)
            fixture.do("diagnostics")
            fixture.do_until("rest", "at rest")
            self.assertEqual(fixture.close(), 0, "a GTK warning ends the fixture")

    def test_the_alert_works_with_pointer_and_keyboard(self):
        fixture = self.start(375, 700)

        def ask():
            self.await_rest(fixture, 345, 305, RED)
            click(345, 330)
            self.await_rest(fixture, round(345 - FAN), 305, GREEN)
            click(round(345 - FAN), 330)
            self.assertEqual(fixture.await_line("tapped"), ["tapped 1"])
            self.await_rest(fixture, 60, 300, WHITE)  # the alert's card

        ask()
        click(200, 700 // 2 + 100)  # the last of three buttons: "test"
        self.assertEqual(fixture.await_line("environment"), ["environment 1"])
        ask()
        pointer("key", "Tab")
        pointer("key", "Tab")
        pointer("key", "Return")  # the second one: "dev"
        self.assertEqual(fixture.await_line("environment"), ["environment 2"])
        ask()
        pointer("key", "Escape")
        self.await_rest(fixture, 60, 300, WHITE, gone=True)
        click(200, 600)
        self.assertEqual(fixture.await_line("host"), ["host clicked"])


if __name__ == "__main__":
    gtk_test.FIXTURE = sys.argv.pop(1)
    with Display() as gtk_test.DISPLAY:
        program = unittest.main(exit=False)
    sys.exit(not program.result.wasSuccessful())
