#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Shows all styles of messages, and pages, in windows of many sizes: stage_test.py FIXTURE. It computes the expected
positions itself, compares pixels and clicks with a real pointer. OQSDK_STAGE=all runs every combination."""

import math
import os
import pathlib
import subprocess

import driver
from driver import Compositor, GtkTest, Stage, pointer, until

SIDE, LARGEST = 3840, 3840 * 2160
SIZES = [(320, 568), (390, 844), (540, 960), (768, 1024), (1080, 1920), (800, 600), (1280, 800), (1920, 1080),
         (3840, 2160), (200, 200)]
RESIZED = [(390, 844), (1280, 800), (200, 200), (1080, 1920), (800, 600)]
STYLES = (1, 2, 3, 4)
ALL = os.environ.get("OQSDK_STAGE") == "all"
CLOSE = 25.4  # the width of the close button
HOST = (0x3C, 0x78, 0xD8)
DIM = tuple(round(0.7 * part) for part in HOST)


def is_close(color, other):
    return all(abs(a - b) <= 3 for a, b in zip(color, other))


def is_bright(color):
    """True for white and for the gray of buttons."""
    return min(color) >= 235


def ring(left, top, right, bottom):
    """The corners of a rectangle and the centres of its sides."""
    middle = (left + right) / 2, (top + bottom) / 2
    return [(x, y) for x in (left, middle[0], right) for y in (top, middle[1], bottom) if (x, y) != middle]


class Picture:
    """The pixels of a window, four bytes each: blue, green, red and an unused one."""

    def __init__(self, data, width):
        self.data, self.width, self.corner = data, width, (0, 0)

    def __getitem__(self, place):
        x, y = (corner + int(at) for at, corner in zip(place, self.corner))
        at = (y * self.width + x) * 4
        return tuple(self.data[at + channel] for channel in (2, 1, 0))

    def ink(self, left, top, right, bottom):
        """The first column with dark pixels and the one after the last, counted from `left`."""
        columns = [x for x in range(int(left), int(right))
                   if any(sum(self[x, y]) < 450 for y in range(int(top), int(bottom)))]
        return (columns[0] - left, columns[-1] + 1 - left) if columns else (0, 0)


class Messages(GtkTest):
    """The expectations for a message on a stage."""

    def place(self, x, y):
        """Converts a point of the stage to pixels of the window."""
        return tuple(self.pixels * at for at in self.stage.at(x, y))

    def outside(self, size, card, close):
        """Points around the card and at the window's edges, but not at the close button."""
        left, top = self.place(card[0], card[1])
        right, bottom = self.place(card[0] + card[2], card[1] + card[3])
        width, height = (self.pixels * length for length in size)
        gap, far = 3 * self.pixels, 1.2 * CLOSE * self.stage.scale * self.pixels
        found = [(x, y) for x, y in ring(1, 1, width - 2, height - 2) +
                 ring(left - gap, top - gap, right + gap, bottom + gap)
                 if not (close and abs(x - close[0]) < far and abs(y - close[1]) < far)]
        self.assertGreater(len(found), 12)
        return found

    def check_geometry(self):
        """Checks that the message is on the stage. Returns card, title and the centre of the close button."""
        numbers = [float(word) for word in self.fixture.do("card")[-1].split()[1:]]
        card, title, close, scale = numbers[:4], numbers[4:8], numbers[8:12], numbers[12]
        self.assertEqual(scale, math.ceil(2 * self.pixels * self.stage.scale - 1e-6) / 2)
        self.assertAlmostEqual(card[1] + card[3] / 2, self.stage.height / 2, delta=0.01)
        self.assertGreaterEqual(card[1], 0)
        self.assertLessEqual(close[1] + close[3], self.stage.height)
        return card, title, (close[0] + close[2] / 2, close[1] + close[3] / 2)

    def check_look(self, picture, style, card, title, close_at, outside):
        for x, y in outside:
            self.assertTrue(is_close(picture[x, y], DIM), f"{picture[x, y]} outside at {x},{y}")
        inset = 4
        for x in (card[0] + inset, card[0] + card[2] - inset):
            for y in (card[1] + inset, card[1] + card[3] - inset):
                if style == 2 and x > 187 and y < self.stage.height / 2:
                    continue  # below the close button
                at = self.place(x, y)
                self.assertTrue(is_bright(picture[at]), f"{picture[at]} in the card's corner {x},{y}")
        if style != 3:
            (x, y), half = self.place(*close_at), CLOSE / 2 * self.stage.scale * self.pixels
            seen = {sum(picture[x + half * dx / 5, y + half * dy / 5])
                    for dx in range(-4, 5) for dy in range(-4, 5)}
            self.assertGreater(max(seen) - min(seen), 150, "no close button is visible")
        if style in (2, 3) and self.stage.scale * self.pixels > 0.6:
            self.check_title(picture, title)

    def check_title(self, picture, title):
        """Checks that the title has the same width, in points of the stage, in all windows."""
        left, top = self.place(title[0], title[1])
        right, bottom = self.place(title[0] + title[2], title[1] + title[3])
        pixels_per_point = self.stage.scale * self.pixels
        width = picture.ink(left, top, right, bottom)[1] / pixels_per_point
        Messages.title_width = getattr(Messages, "title_width", width)
        self.assertAlmostEqual(width, Messages.title_width, delta=1.5 + 1.5 / pixels_per_point)

    def show(self, style):
        self.fixture.do_until(f"pop {style}", "code 1")
        self.fixture.painted()


class OnX11(Messages):
    def start(self, pixels):
        self.pixels = pixels
        self.fixture = super().start(390, 844, GDK_SCALE=str(pixels))
        self.fixture.do("plain")
        # Wait for the initial size first: until then the display may undo a resize.
        until(lambda: self.fixture.painted() == "painted 390x844", lambda: "the window does not get its size")

    def resize(self, size):
        self.fixture.do("resize {} {}".format(*size))
        until(lambda: self.fixture.painted() == "painted {}x{}".format(*size), lambda: f"the size is not {size}")

    def picture(self, size):
        width, height = (self.pixels * length for length in size)
        return Picture(driver.screen.shot(0, 0, width, height), width)

    def clicks(self, points):
        return [word for x, y in points for word in ("mousemove", int(x), int(y), "click", 1)]

    def check_host(self, size):
        """Checks that clicks reach the host again."""
        width, height = (self.pixels * length for length in size)
        # After the clicks the cursor leaves the area of the screenshots.
        pointer(*self.clicks([(width / 2, height / 2), (3, height - 4)]))
        driver.hide_pointer()
        for _ in range(2):
            self.assertEqual(self.fixture.await_line("host clicked")[-1:], ["host clicked"])

    def check_message(self, style, size, laid_out_for=None):
        """Checks the front-most message, and closes it."""
        self.stage = Stage(*size, laid_out_for)
        self.fixture.painted()
        card, title, close_at = self.check_geometry()
        close_pixel = self.place(*close_at)
        outside = self.outside(size, card, close_pixel if style != 3 else None)
        picture = self.picture(size)
        self.check_look(picture, style, card, title, close_at, outside)

        keys = int(self.fixture.ask("focus").split()[0])
        pointer(*self.clicks(outside), "key", "Tab", "key", "Tab", "key", "shift+Tab", "key", "Tab")
        # The fixture counts four presses of Tab and one of Shift.
        self.await_focus(keys + 5)
        pointer(*self.clicks([close_pixel]))
        seen = self.fixture.await_line("code")
        self.assertEqual(seen[-1], "code 4" if style == 3 else "code 3")
        self.assertNotIn("host clicked", seen)
        self.fixture.painted()

    def await_focus(self, keys):
        until(lambda: int(self.fixture.ask("focus").split()[0]) >= keys, lambda: self.fixture.ask("focus"))
        self.assertEqual(self.fixture.ask("focus").split()[1], "ours")

    def await_stage(self, size):
        self.fixture.await_answer("screen", f"375x{Stage(*size).height:.6g}")

    def check_page(self, size):
        self.stage = Stage(*size)
        width, height = (self.pixels * length for length in size)
        self.await_stage(size)
        self.fixture.painted()
        picture = self.picture(size)
        corners = [(x, y) for x in (2, 373) for y in (2, self.stage.height - 2)]
        for at in map(lambda corner: self.place(*corner), corners):
            self.assertTrue(is_bright(picture[at]), f"{picture[at]} on the page at {at}")
        left, top = self.place(0, 0)
        right, bottom = self.place(375, self.stage.height)
        margin = 2 * self.pixels
        outside = [(x, y) for x, y in ring(left - margin, top - margin, right + margin, bottom + margin)
                   if 0 <= x < width and 0 <= y < height]
        for at in outside:
            self.assertTrue(is_close(picture[at], DIM), f"{picture[at]} outside the page at {at}")
        keys = int(self.fixture.ask("focus").split()[0])
        pointer(*self.clicks(outside), "key", "Tab", "key", "Tab", "key", "Tab")
        self.await_focus(keys + 3)
        pointer(*self.clicks([self.place(62, 22)]))
        self.fixture.await_answer("shown", "host")
        self.fixture.painted()
        self.assertNotIn("host clicked", self.fixture.lines[self.since:])
        self.check_host(size)

    def open_page(self):
        self.since = len(self.fixture.lines)
        self.fixture.do("jump https://localhost:1/")
        self.fixture.painted()

    def test_messages_and_pages_fit_in_every_window_size_and_scale(self):
        for pixels in (1, 2, 3):
            sizes = [size for size in SIZES if pixels ** 2 * size[0] * size[1] <= LARGEST]
            if not ALL and pixels > 1:
                sizes = [(800, 600)]
            self.start(pixels)
            for index, size in enumerate(sizes):
                for style in STYLES if ALL else (STYLES[index % 4],):
                    with self.subTest(pixels=pixels, size=size, style=style):
                        self.resize(size)
                        self.show(style)
                        self.check_message(style, size)
                        self.check_host(size)
                if ALL or index % 4 == 2:
                    with self.subTest(pixels=pixels, size=size, style="page"):
                        self.resize(size)
                        self.open_page()
                        self.check_page(size)
            self.fixture.close()

    def test_a_resize_keeps_the_stage_of_messages_and_lays_out_pages_again(self):
        self.start(1)
        pairs = [(before, after) for before in RESIZED for after in RESIZED if before != after]
        for index, (before, after) in enumerate(pairs if ALL else pairs[::5]):
            for style in STYLES if ALL else (STYLES[index % 4],):
                with self.subTest(before=before, after=after, style=style):
                    self.resize(before)
                    self.show(style)
                    self.resize(after)
                    self.check_message(style, after, laid_out_for=before)
                    self.check_host(after)
                    # After the message has closed, the stage fits the new window size.
                    self.await_stage(after)
            if ALL or index % 2:
                with self.subTest(before=before, after=after, style="page"):
                    self.resize(before)
                    self.open_page()
                    self.resize(after)
                    self.check_page(after)


class OnWayland(Messages):
    """The compositor of these tests has no pointer, so only positions and pixels are checked."""
    pixels = 1

    def test_a_message_has_the_right_position_and_pixels(self):
        with Compositor() as session:
            for size in ((390, 700), (900, 640)):
                self.fixture = self.start(*size, **session)
                self.fixture.do("plain")
                self.stage = Stage(*size)
                for style in (1, 2, 3):
                    with self.subTest(size=size, style=style):
                        self.show(style)
                        card, title, close_at = self.check_geometry()
                        outside = self.outside(size, card, self.place(*close_at) if style != 3 else None)
                        self.check_look(self.picture(session), style, card, title, close_at, outside)
                        self.fixture.do_until("dismiss", "code 3")
                self.assertEqual(self.fixture.close(), 0)

    def picture(self, session):
        folder = session["XDG_RUNTIME_DIR"]
        subprocess.run(["weston-screenshooter"], env={**os.environ, **session}, cwd=folder, check=True, timeout=60)
        shot = next(pathlib.Path(folder).glob("*.png"))
        data = subprocess.check_output(["convert", shot, "-depth", "8", "bgra:-"], timeout=60)
        shot.unlink()
        picture = Picture(data, 1280)
        # The compositor chooses the window's position. The first pixel that is not black is the window's corner.
        first = next(at for at in range(0, len(data), 4) if any(data[at:at + 3])) // 4
        picture.corner = first % 1280, first // 1280
        return picture


if __name__ == "__main__":
    driver.main(f"{SIDE}x{SIDE}", failfast=True)
