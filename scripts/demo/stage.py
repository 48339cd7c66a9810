# SPDX-License-Identifier: Apache-2.0
"""What every demo uses: programs, the X display, pictures, the campaign server."""
import json
import os
import pathlib
import queue
import re
import shutil
import ssl
import subprocess
import threading
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parents[2]
PORT = 8088


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

    def __init__(self, width, height):
        self._xvfb = None
        self.display = os.environ.get("DISPLAY")
        if not self.display:
            read, write = os.pipe()
            self._xvfb = subprocess.Popen(
                ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp", "-noreset"],
                pass_fds=[write], stderr=subprocess.DEVNULL)
            os.close(write)
            with os.fdopen(read) as pipe:
                self.display = ":" + pipe.readline().strip()
        self.environment = {**os.environ, "DISPLAY": self.display, "GDK_BACKEND": "x11", "QT_QPA_PLATFORM": "xcb",
                            "SDL_VIDEODRIVER": "x11"}
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

    def region(self, colour, top=0):
        """The bounding box of all pixels of a colour below `top`, on a grid of 3; None if they are too few for a
        button."""
        spots = [(x, y) for y in range(top, self.height, 3) for x in range(0, self.width, 3) if self.at(x, y) == colour]
        if len(spots) < 60:
            return None
        xs, ys = [x for x, _ in spots], [y for _, y in spots]
        return min(xs), min(ys), max(xs), max(ys)

    def keep(self, file):
        subprocess.run(["convert", "ppm:-", str(file)], input=self._ppm, check=True)
        return file


class Demo:
    """One demo. A subclass has `campaigns`, the server's file, and tells its story in run()."""
    size = (540, 960)  # of the display

    def __init__(self, build, out):
        self.build, self.out, self.pictures = build, out, out / "pictures"
        self.server = self.program = self.screen = None
        shutil.rmtree(out, ignore_errors=True)
        self.pictures.mkdir(parents=True)

    def keep(self, picture, name):
        """Saves the picture and returns its path for messages."""
        return os.path.relpath(picture.keep(self.pictures / name))

    def start(self, *server_options):
        self.screen = Screen(*self.size)
        environment = {k: v for k, v in os.environ.items() if not k.startswith("SSL_CERT")}
        self.server = Program("server", [self.build / "server" / "oqsdk-server", "--data", self.out / "server",
                                         "--campaigns", self.campaigns, *server_options], environment)
        self.authority = self.server.until(r"^certificate authority: (.+)$")[1]
        self.server.until(rf"\b{PORT}\b")
        self._tls = ssl.create_default_context(cafile=self.authority)

    def start_program(self, name, command, **environment):
        self.program = Program(name, command, {**self.screen.environment, "SSL_CERT_FILE": self.authority,
                                               "GSK_RENDERER": "cairo", **environment})
        return self.program

    def events(self):
        with urllib.request.urlopen(f"https://127.0.0.1:{PORT}/events", context=self._tls, timeout=20) as answer:
            return [listed["event"] for listed in json.load(answer)["events"]]

    def has(self, name):
        return any(event["xwhat"] == name for event in self.events())

    def log(self):
        """The library's log."""
        files = sorted(self.out.glob("**/Documents/Log/*.log"))
        return files[-1].read_text(encoding="utf-8") if files else ""

    def await_(self, what, condition, seconds=20):
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            result = condition()
            if result:
                return result
            time.sleep(0.05)
        self.keep(self.screen.shoot(), "failure.png")
        printed = "\n  ".join(self.program.printed[-20:])
        raise Failure(f"{what}: not within {seconds} s\nlog of the library:\n{self.log()}\n{self.program.name} printed:\n"
                      f"  {printed}")

    def say(self, text):
        print("  " + text, flush=True)

    def print_events(self):
        print("What the server received")
        for event in self.events():
            self.say(f"{event['xwhat']:<14} from {event['xwho']}  {json.dumps(event['xcontext'], ensure_ascii=False)}")

    def stop(self):
        for part in (self.program, self.server, self.screen):
            if part:
                part.stop()
