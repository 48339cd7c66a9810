#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the demo that demo.sh has built: starts the server and the shop, clicks, takes screenshots, prints the events.

demo.py [--interactive] [--build FOLDER] [--out FOLDER]. Exit status: 0 if everything happened, 2 if only the web page
was not shown, 1 otherwise."""
import argparse
import json
import os
import pathlib
import queue
import re
import shutil
import ssl
import subprocess
import sys
import threading
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
PORT = 8088
CARD, LEFT, RIGHT = (255, 255, 255), (0xE9, 0xED, 0xF5), (0x24, 0x57, 0xD6)


class Failure(Exception):
    pass


class Program:
    """A process. until() waits for a line of its output."""

    def __init__(self, name, command, environment):
        self.name, self.printed, self._lines = name, [], queue.Queue()
        self.process = subprocess.Popen([str(part) for part in command], stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True, encoding="utf-8", env=environment)
        threading.Thread(target=self._pump, daemon=True).start()

    def _pump(self):
        for line in self.process.stdout:
            self.printed.append(line.rstrip("\n"))
            self._lines.put(line.rstrip("\n"))
        self._lines.put(None)

    def until(self, pattern, seconds=30):
        end = time.monotonic() + seconds
        while True:
            try:
                line = self._lines.get(timeout=max(0.01, end - time.monotonic()))
            except queue.Empty:
                line = None
            if line is None:
                output = "\n  ".join(self.printed[-20:])
                raise Failure(f"{self.name} did not print {pattern!r}; its output:\n  {output}")
            match = re.search(pattern, line)
            if match:
                return match

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


class Screen:
    """The X display: takes screenshots and sends pointer and key events."""

    def __init__(self):
        self._xvfb = None
        self.display = os.environ.get("DISPLAY")
        if not self.display:
            read, write = os.pipe()
            self._xvfb = subprocess.Popen(
                ["Xvfb", "-displayfd", str(write), "-screen", "0", "540x960x24", "-nolisten", "tcp", "-noreset"],
                pass_fds=[write], stderr=subprocess.DEVNULL)
            os.close(write)
            with os.fdopen(read) as pipe:
                self.display = ":" + pipe.readline().strip()
        self.environment = {**os.environ, "DISPLAY": self.display, "GDK_BACKEND": "x11"}
        self.environment.pop("WAYLAND_DISPLAY", None)

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *map(str, words)], env=self.environment, check=True, capture_output=True,
                              text=True).stdout

    def window_origin(self, pid):
        ids = self.xdotool("search", "--sync", "--onlyvisible", "--pid", pid).split()
        geometry = self.xdotool("getwindowgeometry", "--shell", ids[-1])
        values = dict(line.split("=") for line in geometry.splitlines())
        return int(values["X"]), int(values["Y"])

    def click(self, x, y):
        self.xdotool("mousemove", round(x), round(y), "click", 1)

    def press(self, key):
        self.xdotool("key", key)

    def shoot(self):
        raw = subprocess.run(["import", "-silent", "-window", "root", "-depth", "8", "ppm:-"], env=self.environment,
                             check=True, capture_output=True).stdout
        return Picture(raw)

    def shoot_still(self, seconds=5):
        """A screenshot when nothing moves any more (pages fade and slide), but after at most `seconds`."""
        end = time.monotonic() + seconds
        before, picture = None, self.shoot()
        while picture != before and time.monotonic() < end:
            time.sleep(0.1)
            before, picture = picture, self.shoot()
        return picture

    def stop(self):
        if self._xvfb:
            self._xvfb.terminate()
            self._xvfb.wait()


class Picture:
    def __init__(self, ppm):
        header = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", ppm)
        self.width, self.height = int(header[1]), int(header[2])
        self._ppm, self._pixels = ppm, ppm[header.end():]

    def __eq__(self, other):
        return isinstance(other, Picture) and self._ppm == other._ppm

    def at(self, x, y):
        start = 3 * (int(y) * self.width + int(x))
        return tuple(self._pixels[start:start + 3])

    def region(self, colour):
        """The bounding box of all pixels of a colour, on a grid of 3; None if they are too few for a button."""
        spots = [(x, y) for y in range(0, self.height, 3) for x in range(0, self.width, 3) if self.at(x, y) == colour]
        if len(spots) < 60:
            return None
        xs, ys = [x for x, _ in spots], [y for _, y in spots]
        return min(xs), min(ys), max(xs), max(ys)

    def keep(self, file):
        subprocess.run(["convert", "ppm:-", str(file)], input=self._ppm, check=True)
        return file


class Demo:
    def __init__(self, build, out):
        self.build, self.out, self.pictures = build, out, out / "pictures"
        self.server = self.shop = self.screen = None
        self.page_shown = False
        shutil.rmtree(out, ignore_errors=True)
        self.pictures.mkdir(parents=True)

    def keep(self, picture, name):
        """Saves the picture and returns its path for messages."""
        return os.path.relpath(picture.keep(self.pictures / name))

    def start(self):
        self.screen = Screen()
        environment = {k: v for k, v in os.environ.items() if not k.startswith("SSL_CERT")}
        self.server = Program("server", [self.build / "server" / "oqsdk-server", "--data", self.out / "server",
                                         "--campaigns", ROOT / "examples" / "demo" / "campaigns.json"], environment)
        self.authority = self.server.until(r"^certificate authority: (.+)$")[1]
        self.server.until(rf"\b{PORT}\b")
        self._tls = ssl.create_default_context(cafile=self.authority)

    def start_shop(self, *more):
        environment = {**self.screen.environment, "SSL_CERT_FILE": self.authority, "GSK_RENDERER": "cairo"}
        self.shop = Program("shop", [self.build / "examples" / "gtk-shop" / "gtk-shop", "--app-key", "demo-shop",
                                     "--user", "anna", "--data-dir", self.out / "shop", "--print-layout", *more],
                            environment)
        return self.shop

    def widget(self, name):
        """The position of a widget of the shop on the screen."""
        match = self.shop.until(rf"^widget {name} ([\d.]+) ([\d.]+)$")
        x, y = self.screen.window_origin(self.shop.process.pid)
        return x + float(match[1]), y + float(match[2])

    def events(self):
        with urllib.request.urlopen(f"https://127.0.0.1:{PORT}/events", context=self._tls, timeout=20) as answer:
            return [listed["event"] for listed in json.load(answer)["events"]]

    def log(self):
        files = sorted((self.out / "shop" / "Documents" / "Log").glob("*.log"))
        return files[-1].read_text(encoding="utf-8") if files else ""

    def await_(self, what, condition, seconds=20):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            result = condition()
            if result:
                return result
            time.sleep(0.05)
        self.keep(self.screen.shoot(), "failure.png")
        raise Failure(f"{what}: not within {seconds} s\nlog of the shop:\n{self.log()}")

    def say(self, text):
        print("  " + text, flush=True)

    def first_start(self):
        print("First start, with nothing stored")
        self.start_shop()
        buy = self.widget("buy-mug")
        self.await_("the login has a response", lambda: "login data:" in self.log())
        self.say("logged in; campaigns are not fetched yet, since the user's id arrives with the first event")
        self.screen.click(*buy)
        self.say("recorded: " + self.shop.until(r"^event (buy .*)$")[1])
        # Closes in an orderly way, after the work that the click started.
        self.shop.stop()
        if self.shop.process.returncode != 0:
            raise Failure(f"the shop ended with {self.shop.process.returncode}")

    def visit(self, tab, page):
        """Opens a page of the shop and waits until the library has noticed it."""
        self.screen.click(*tab)
        self.await_(f"the page is {page}", lambda: self.pages()[-1:] == [page])

    def pages(self):
        """The names of the shop's pages that the library has seen so far."""
        return [line.removeprefix("page ") for line in self.shop.printed if line.startswith("page ")]

    def second_start(self):
        print("Second start, the user is known")
        self.start_shop()
        buy, products, cart = (self.widget(name) for name in ("buy-mug", "tab-products", "tab-cart"))
        self.visit(cart, "CartPage")
        self.visit(products, "ProductsPage")
        self.say("pages seen: " + ", ".join(self.pages()))
        self.await_("the campaigns are fetched", lambda: "in_app data:" in self.log())
        self.say("campaigns fetched")
        self.keep(self.screen.shoot_still(), "1-shop.png")
        self.screen.click(*buy)
        self.say("recorded: " + self.shop.until(r"^event (buy .*)$")[1])
        self.await_("the window is shown and reported", lambda: self.has("$impDialog"))
        picture = self.screen.shoot_still()
        left, right = picture.region(LEFT), picture.region(RIGHT)
        if not left or not right:
            self.keep(picture, "failure.png")
            raise Failure("the buttons' colours are not on the screen")
        if abs(left[1] - right[1]) > 3 or not left[2] < right[0]:
            raise Failure(f"the buttons do not lie side by side: {left} {right}")
        card = picture.at((left[0] + right[2]) // 2, left[1] - 8)
        if card != CARD:
            raise Failure(f"above the buttons there is {card} instead of the white card")
        self.say("window shown: " + self.keep(picture, "2-window.png"))
        self.screen.click((right[0] + right[2]) / 2, right[1] + 4)
        self.await_("the click is reported", lambda: self.has("$clickDialog"))
        self.see_page()
        after = self.screen.shoot_still()
        kept = self.keep(after, "4-after.png")
        if after.region(RIGHT) or after.region(LEFT):
            raise Failure("the window is still there after the tap")
        self.say("page closed, the shop is back: " + kept)

    def see_page(self):
        """Waits for the page that the button opens, and closes it with a key."""
        x, y = self.screen.window_origin(self.shop.process.pid)
        scale = 540 / 375  # from the stage's points to pixels of the shop's window
        top = (x + 187 * scale, y + 60 * scale)

        def in_sight():
            red, _, blue = self.screen.shoot().at(*top)
            return red < 100 and blue > 120

        failure = "页面加载失败"
        self.await_("the page is shown", lambda: in_sight() or failure in self.log(), 60)
        if failure in self.log():
            self.say("the page could not be shown" + self.log().split(failure)[1].splitlines()[0])
        else:
            self.page_shown = True
            self.say("button tapped, its page is open: " + self.keep(self.screen.shoot_still(), "3-page.png"))

        shown = self.screen.shoot_still().at(*top)
        self.screen.press("Escape")
        self.await_("the page is closed", lambda: self.screen.shoot().at(*top) != shown)

    def has(self, name):
        return any(event["xwhat"] == name for event in self.events())

    def print_events(self):
        print("What the server received")
        for event in self.events():
            self.say(f"{event['xwhat']:<14} from {event['xwho']}  {json.dumps(event['xcontext'], ensure_ascii=False)}")

    def interactive(self):
        print("First start: makes the user known (campaigns are fetched only for a known user)")
        self.start_shop()
        self.widget("buy-mug")
        self.say("press a button in the shop and close it; then it starts again, with campaigns")
        while self.shop.process.wait() == 0 and not re.search("^event ", "\n".join(self.shop.printed), re.M):
            self.start_shop()
        print("Second start: buy something. Ends when you close the shop.")
        self.start_shop().process.wait()
        self.print_events()

    def stop(self):
        for part in (self.shop, self.server, self.screen):
            if part:
                part.stop()


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--interactive", action="store_true")
    arguments.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "release")
    arguments.add_argument("--out", type=pathlib.Path, default=ROOT / "build" / "demo")
    chosen = arguments.parse_args()
    if chosen.interactive and not os.environ.get("DISPLAY"):
        sys.exit("demo: --interactive needs a display")
    demo = Demo(chosen.build, chosen.out)
    try:
        demo.start()
        if chosen.interactive:
            demo.interactive()
        else:
            demo.first_start()
            demo.second_start()
            demo.print_events()
            pictures = os.path.relpath(demo.pictures)
            if not demo.page_shown:
                print(f"The web page was not shown; everything else happened. Pictures: {pictures}")
                sys.exit(2)
            print(f"Everything happened. Pictures: {pictures}")
    except Failure as failure:
        sys.exit(f"demo: {failure}")
    finally:
        demo.stop()


if __name__ == "__main__":
    main()
