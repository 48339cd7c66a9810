#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the GTK host with a real pointer and keyboard: gtk_test.py FIXTURE [unittest arguments]."""

import driver
from driver import (RED, WHITE, Compositor, Fixture, GtkTest, Stage, WindowManager, await_pixel, click, pixel,
                    pointer, press, until)


class Host(GtkTest):
    def start(self, width=375, height=700, kind="window", **environment):
        fixture = super().start(width, height, kind, GTK_A11Y="test", **environment)
        fixture.painted()
        return fixture

    def test_touches_reach_the_view_or_the_host_under_the_pointer(self):
        for kind, width, height in (("overlay", 375, 700), ("window", 1280, 800)):
            with self.subTest(kind):
                fixture = self.start(width, height, kind)
                stage = Stage(width, height)

                def spot(x, y):
                    """The pixel at a point of the stage, and the pixel's exact place on the stage as it is printed."""
                    left, top = stage.pixel(x, y)
                    return (left, top), f"{(left - stage.left) / stage.scale:.6g} {(top - stage.top) / stage.scale:.6g}"

                (inside, printed), (below, printed_below) = spot(150, 150), spot(200, 400)
                self.assertEqual(fixture.ask("screen"), f"375x{stage.height:g}")
                fixture.do("view 100 100 200 100")
                edge = stage.pixel(100, 150)
                await_pixel(edge[0] + 1, edge[1], RED)
                self.assertNotEqual(pixel(edge[0] - 1, edge[1]), RED)
                click(*inside)
                self.assertEqual(fixture.await_line("view ended"), ["view began " + printed, "view ended " + printed])
                click(*below)
                self.assertEqual(fixture.await_line("host clicked"), ["host clicked"])
                # A touch stays with the view in which it began, wherever it moves.
                pointer("mousemove", *inside, "mousedown", 1, "mousemove", *below, "mouseup", 1)
                self.assertEqual(fixture.await_line("view ended")[-1], "view ended " + printed_below)
                pointer("mousemove", *below, "mousedown", 1, "mousemove", *inside, "mouseup", 1)
                # Other buttons and the wheel do not reach the host below a view.
                pointer("mousemove", *inside, "click", 3, "click", 5)
                self.assertEqual(fixture.await_line("view scrolled"), ["host clicked", "view scrolled down"])
                if kind == "overlay":
                    # A widget that the host puts above the views gets its own touches.
                    fixture.do("above")
                    fixture.painted()
                    click(*inside)
                    self.assertEqual(fixture.await_line("above clicked"), ["above clicked"])
                    click(250, 150)
                    self.assertEqual(fixture.await_line("view ended")[0], "view began 250 150")

    def test_a_view_that_appears_under_a_resting_pointer_gets_its_click(self):
        fixture = self.start()
        click(150, 150)
        fixture.await_line("host clicked")
        fixture.do("view 100 100 200 100")
        await_pixel(290, 190, RED)
        pointer("click", 1)
        self.assertEqual(fixture.await_line("view ended"), ["view began 150 150", "view ended 150 150"])
        fixture.do("remove")
        fixture.painted()
        pointer("click", 1)
        self.assertEqual(fixture.await_line("host clicked"), ["host clicked"])

    def test_the_cursor_is_a_hand_over_buttons(self):
        fixture = self.start()
        fixture.do("host_cursor crosshair")
        fixture.do_until("pop 1", "code 1")
        fixture.painted()
        # The picture, the dimmed area, the picture again.
        for x, name in ((200, "pointer"), (5, "default"), (200, "pointer")):
            pointer("mousemove", x, 350)
            fixture.await_answer(f"cursor {x} 350", name)
        press("Escape")
        fixture.await_line("code 3")
        fixture.await_answer("cursor 200 350", "crosshair")

    def test_animations_follow_the_settings_and_complete_in_hidden_windows(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("text")
        fixture.do_until("animate 0.5", "completed 1")
        fixture.quiet_frames()
        fixture.do("hide")
        fixture.await_answer("state", "scenes 1 active 0 host 1")
        fixture.do_until("animate 0.2", "completed 1")
        fixture.do("show")
        fixture.await_answer("state", "scenes 1 active 1 host 1")
        fixture.do("animate 300")
        # Without animations in the desktop's settings, completions come at once.
        fixture.do_until("animations 0", "completed 1")
        fixture.do_until("animate 300", "completed 1")
        fixture.do("animations 1")
        fixture.do("animate 300")
        fixture.do("hide")
        fixture.do_until("remove", "completed 0")

    def test_a_message_blocks_and_dims_the_hosts_title_bar_but_not_the_windows_close_button(self):
        fixture = self.start(375, 700, "titlebar")
        places = fixture.ask("bar").split()
        bar, close = places[:2], places[2:]
        click(*bar)
        fixture.await_line("bar clicked")
        bright = pixel(100, int(bar[1]))
        dim = tuple(0.7 * value for value in bright)
        fixture.do_until("pop 3", "code 1")
        click(*bar)
        until(lambda: max(abs(a - b) for a, b in zip(pixel(100, int(bar[1])), dim)) < 3, lambda: "the bar is not dim")
        fixture.do_until("dismiss", "code 3")
        await_pixel(100, int(bar[1]), bright)
        click(*bar)
        self.assertEqual(fixture.await_line("bar clicked"), ["bar clicked"])
        fixture.do_until("pop 3", "code 1")
        click(*close)
        fixture.await_line("destroyed")

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
        fixture.painted()
        pointer("mousemove", 1, 1)
        click(150, 150)
        self.assertEqual(fixture.await_line("view ended")[-2:], ["view began 150 150", "view ended 150 150"])

    def test_views_stay_above_a_child_that_the_host_sets_later(self):
        for kind in ("window", "adw_window", "adw_application_window"):
            fixture = self.start(375, 700, kind)
            fixture.do("view 100 100 200 100")
            for command, name in (("state", "host"), ("child second", "second"), ("child", None),
                                  ("child third", "third"), ("rehome", "inner")):
                with self.subTest(kind, command=command):
                    fixture.do(command)
                    width = int(fixture.painted().split()[1].split("x")[0])
                    # A libadwaita window has a frame around its content, so look where the view begins.
                    click(next(x for x in range(375) if pixel(x, 150) == RED) + 50, 150)
                    began = fixture.await_line("view ended")[0].split()
                    self.assertEqual(began[:2], ["view", "began"])
                    self.assertAlmostEqual(float(began[2]), 100 + 50 * 375 / width, delta=1)
                    if name:
                        click(150, 300)
                        self.assertEqual(fixture.await_line(name), [name + " clicked"])
                    self.assertEqual(fixture.ask("state"), "scenes 1 active 1 host 1")
            self.assertEqual(fixture.close(), 0)

    def key(self, fixture, *names):
        """Presses keys and returns the accessible elements afterwards."""
        press(*names)
        fixture.painted()
        return [line for line in fixture.do("a11y") if not line.startswith(("code", "host", "painted"))]

    def test_a_message_is_a_dialog_that_the_keyboard_can_use(self):
        fixture = self.start()
        # Without a dialog, Tab skips views that take no input, also this text, which has the trait of a button.
        click(150, 300)
        fixture.await_line("host clicked")
        fixture.do("view 100 100 200 100")
        fixture.do("dead")
        fixture.painted()
        self.assertEqual(self.key(fixture, "Tab"), ["button text"])
        fixture.do("remove")
        fixture.do_until("pop 3", "code 1")
        fixture.painted()
        elements = ["dialog 春季大促 | 全场八折 off ", "heading 春季大促", "label 全场八折 off ", "button 取消",
                    "button 确定"]

        def focused(at):
            return [line + " *" if index == at else line for index, line in enumerate(elements)]

        self.assertEqual(fixture.do("a11y"), focused(0))
        for name, at in (("Tab", 3), ("Tab", 4), ("Tab", 3), ("shift+Tab", 4), ("Escape", 4)):
            self.assertEqual(self.key(fixture, name), focused(at), name)
        # Return presses the focused button once; after that the host has the keyboard again.
        press("Return")
        self.assertEqual(fixture.await_line("code"), ["code 5"])
        self.assertEqual(self.key(fixture, "Return"), [])
        self.assertIn("host clicked", fixture.lines[-20:])
        fixture.do_until("pop 1", "code 1")
        fixture.painted()
        self.assertEqual(fixture.do("a11y"), ["dialog 春季大促 | undefined *", "button 图片", "button 关闭"])
        # While a popover of the host is open, it gets the keys.
        fixture.do_until("popover", "popover opened")
        press("Escape")
        self.assertNotIn("code 3", fixture.await_line("popover closed"))
        press("Escape")
        self.assertEqual(fixture.await_line("code"), ["code 3"])

    def assert_waiting(self, fixture, background):
        """Checks that the message is neither reported nor painted after some time."""
        fixture.do_until("animate 0.3", "completed")
        self.assertNotIn("code 1", fixture.lines)
        self.assertEqual(pixel(30, 350), background)

    def assert_shown(self, fixture, right):
        if "code 1" not in fixture.lines:
            fixture.await_line("code 1")
        await_pixel(30, 350, WHITE)
        await_pixel(right, 350, WHITE)

    def test_a_message_shown_before_the_first_layout_gets_the_right_size(self):
        fixture = self.start(375, 700, "eager")
        self.assert_shown(fixture, 345)
        self.assertEqual(fixture.ask("screen"), "375x700")
        self.assertNotEqual(pixel(18, 350), WHITE, "the card is 330 points wide")
        self.assertIn("button 确定", fixture.do("a11y"))

    def test_a_message_waits_until_its_window_can_be_seen(self):
        driver.hide_pointer()
        root = pixel(30, 350)
        with WindowManager():
            with self.subTest("not yet mapped"):
                fixture = Fixture(self.program, 400, 700, "early")
                fixture.do("view 0 0 1 1")
                self.assert_waiting(fixture, root)
                fixture.do_until("show", "mapped")
                self.assert_shown(fixture, 370)
                self.assertEqual(fixture.close(), 0)
            for vanish, then, come_back in (("hide", "pop 3", "show"), ("minimise", "pop 3", "unminimise"),
                                            ("pop_and_hide", "state", "show")):
                with self.subTest(vanish):
                    fixture = self.start(400, 700, "second")
                    fixture.do("view 0 0 1 1")
                    fixture.do(vanish)
                    fixture.await_answer("state", "scenes 2 active 0 host 1")
                    fixture.do(then)
                    self.assert_waiting(fixture, root)
                    fixture.do(come_back)
                    self.assert_shown(fixture, 370)
                    self.assertEqual(fixture.close(), 0)

    def test_a_message_waits_for_frames_that_the_compositor_holds_back(self):
        with Compositor() as session:
            fixture = self.start(400, 700, **session)
            fixture.do_until("pop 3", "code 1")
            before = fixture.lines.count("code 1")
            fixture.do("view 0 0 1 1")
            fixture.painted()
            # While an animation runs, the host waits for frames. That is how it notices that none comes.
            shown = int(fixture.ask("frames"))
            fixture.do("animate 2")
            until(lambda: int(fixture.ask("frames")) > shown + 2, lambda: "the animation is not painted")
            fixture.do("minimise")
            fixture.await_line("completed")
            fixture.await_answer("state", "scenes 1 active 1 host 1 held 1")
            fixture.do("pop 3")
            for _ in range(2):
                fixture.do_until("animate 0.3", "completed")
            self.assertEqual(fixture.lines.count("code 1"), before)
            # In this session only a pointer could restore the minimised window, and there is none. When the window is
            # hidden and shown, GTK creates a new window on the display, which is not minimised.
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
            self.assert_shown(fixture, 370)
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
            # Window one is activated without a press, while the message in window two is still open.
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
        fixture.painted()
        body = (60, 250, 280, 200)
        pointer("mousemove", 40, 350)  # left of the text, because screenshots show the cursor
        before = driver.screen.shot(*body)
        self.assertGreater(len(set(before)), 20, "no text is visible")
        for forth, back in (("click 5", "click 4"), ("key Down", "key Up"), ("key Page_Down", "key Page_Up"),
                            ("key End", "key Home")):
            pointer(*forth.split())
            until(lambda: driver.screen.shot(*body) != before, lambda: forth)
            fixture.painted()
            self.assertGreater(len(set(driver.screen.shot(*body))), 20, "no text is visible")
            pointer(*back.split())
            until(lambda: driver.screen.shot(*body) == before, lambda: back)

    def test_after_a_window_closes_another_can_be_opened(self):
        fixture = self.start()
        fixture.do("view 100 100 200 100")
        fixture.do("animate 30")
        fixture.do_until("close", "completed 0")
        self.assertIn("destroyed", fixture.lines)
        fixture.await_answer("state", "scenes 0 active 0 host 0")
        fixture.do_until("open", "mapped")
        fixture.do("view 100 100 200 100")
        await_pixel(150, 150, RED)
        click(150, 150)
        self.assertEqual(fixture.await_line("view ended")[-1], "view ended 150 150")
        fixture.do("quit")
        fixture.await_line("left")


if __name__ == "__main__":
    driver.main()
