#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests web pages with the real engine, in a fixture on a private Xvfb:
web_test.py FIXTURE PAGES MODULE[:MODULE...] [arguments]. The modules are the files in which the host may find the
engine."""

import http.server
import json
import os
import pathlib
import re
import signal
import socketserver
import ssl
import subprocess
import sys
import tempfile
import threading
import time

import driver
from driver import GREEN, RED, WAIT, GtkTest, Stage, await_pixel, click, pixel, pointer, press, until

PAGES, MODULES = "", []
# The tests mount file systems, which needs root rights. A user namespace provides them if the user is not root.
NAMESPACE, ENTER = ([], []) if os.geteuid() == 0 else (["-r"], ["-U", "--preserve-credentials"])
PINK = (255, 221, 238)
SANDBOX_WORKS = driver.sandbox_works()


class Authority:
    """A certificate authority. Its files are in `folder`."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name
        self.file = self.make("authority", "basicConstraints=critical,CA:TRUE")

    def issue(self, host):
        """Issues a certificate for the host and returns a TLS context for a server."""
        file = self.make(host, "subjectAltName=DNS:" + host, "-CA", self.file, "-CAkey", self.file)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(file)
        return context

    def make(self, subject, extension, *issuer):
        """Writes a key and its certificate to one file."""
        file = f"{self.folder}/{self.name}-{subject}.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", file, "-out",
                        file + ".crt", "-days", "2", "-subj", "/CN=" + subject, "-addext", extension, *issuer],
                       check=True, capture_output=True)
        with open(file, "a", encoding="ascii") as both, open(file + ".crt", encoding="ascii") as certificate:
            both.write(certificate.read())
        return file


def html(title, body="", head=""):
    return (f"<!doctype html><html><head><meta charset='utf-8'><title>{title}</title>{head}</head>"
            f"<body style='margin:0;background:#fde;height:3000px'>{body}</body></html>").encode()


POST = "window.webkit.messageHandlers.jsCallOC.postMessage"
PAGE = {
    "/one": html("One 一", "<a id=l style='display:block;width:120px;height:120px;background:#0f0' href='/two'>two</a>"),
    "/two": html("Two"),
    "/links": html("Links", "<a id=first href='/one'>one</a> <a id=last href='/two'>two</a>"),
    "/talk": html("Talk", f"<script>{POST}({{a: 1, b: [true, null, '二']}}); {POST}('text'); "
                          f"{POST}(undefined)</script>"),
    "/flood": html("Flood", f"<script>for (let i = 0; i < 2000; i++) {POST}(i); {POST}('x'.repeat(1 << 20)); "
                            f"{POST}('last')</script>"),
    "/alert": html("Alert", f"<script>{POST}('before'); alert('hello'); {POST}('after')</script>"),
    "/frames": html("Frames", "<iframe src='/inner'></iframe>"),
    "/inner": html("Inner", f"<script>{POST}('inner ' + window.injected)</script>"),
    "/windows": html("Windows", f"<script>{POST}('opened ' + window.open('/two')); "
                                "</script><a id=l style='display:block;height:120px' target=_blank href='/two'>x</a>"),
    "/reach": html("Reach", f"""<script>
        const tries = ['file:///etc/passwd', 'http://localhost/', 'mailto:a@b.c'].map(a =>
          new Promise(done => {{ const f = document.createElement('iframe'); f.src = a;
            f.onload = f.onerror = () => done(); document.documentElement.append(f); setTimeout(done, 300); }}));
        Promise.all(tries).then(() => fetch('file:///etc/passwd').catch(e => 0)).then(() => {{
          {POST}('reached ' + document.title + ' ' + window.webkit.messageHandlers.other);
          location = 'file:///etc/passwd';
          setTimeout(() => {POST}('still ' + location.protocol), 300); }});</script>"""),
    "/leaving": html("Leaving", "<script>onbeforeunload = e => { e.preventDefault(); return 'stay?' };"
                                "setTimeout(() => location = '/two', 30)</script>"),
}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    served, windows, reports = [], [], []
    release = threading.Event()

    def do_GET(self):
        path = self.path.split("?")[0]
        Handler.served.append(path)
        if path in PAGE:
            self.answer(PAGE[path])
        elif path == "/endless":
            # Sends a part of the page and then waits.
            self.answer(html("Endless"), length=9999)
            Handler.release.wait(60)
        elif path == "/silent":
            Handler.release.wait(60)
        elif path in ("/round", "/insecure"):
            where = "http://localhost/" if path == "/insecure" else f"/round?{len(Handler.served)}"
            self.answer(b"", 302, {"Location": where})
        elif path == "/download":
            self.answer(b"\0" * 64, 200, {"Content-Disposition": "attachment; filename=a.bin",
                                          "Content-Type": "application/octet-stream"})
        elif path.startswith("/static/"):
            self.answer((pathlib.Path(PAGES) / path[8:]).read_bytes())
        else:
            self.answer(b"", 404)

    def do_POST(self):
        """Answers as a campaign server."""
        request = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        self.reports.extend(event["xwhat"] for event in request.get("events", ()))
        data = {"/push/sdk/in_app": self.windows}.get(self.path, [])
        self.answer(json.dumps({"code": 0, "message": "ok", "token": "token", "data": data}).encode())

    def answer(self, body, status=200, headers=(), length=None):
        self.send_response(status)
        for name, value in {"Content-Type": "text/html; charset=utf-8", "Content-Length": str(length or len(body)),
                            **dict(headers)}.items():
            self.send_header(name, value)
        try:
            self.end_headers()
            self.wfile.write(body)
            self.wfile.flush()
        except OSError:
            pass

    def log_message(self, *_):
        pass


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    """Serves HTTPS during the with block, on a free port if none is given."""
    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, context, port=0):
        super().__init__(("127.0.0.1", port), Handler)
        self.socket = context.wrap_socket(self.socket, server_side=True, do_handshake_on_connect=False)

    def __enter__(self):
        threading.Thread(target=self.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.shutdown()
        self.server_close()

    def handle_error(self, *_):
        pass

    def url(self, path):
        return f"https://localhost:{self.server_port}{path}"


class Fixture(driver.Fixture):
    page, number = None, 0

    def __init__(self, program, authority, namespace="", **environment):
        """`namespace`: shell commands that mount something only for the fixture."""
        # Run the program under a plain name, as if it was found through PATH. The current folder contains a file
        # with the name of the engine's module, which the library must not load.
        run = f"""{namespace}
            cd "$XDG_DATA_HOME" && echo "not a library" >liboqsdk-webkit.so
            exec -a "$(basename "$1")" "$1" "$XDG_DATA_HOME" """
        unshare = ["unshare", "-m", *NAMESPACE] if namespace else []
        # This address keeps GLib from starting a session bus.
        super().__init__(*unshare, "bash", "-c", run, "bash", program, G_DEBUG="", SSL_CERT_FILE=authority,
                         DBUS_SESSION_BUS_ADDRESS="disabled:", **environment)
        self.data = pathlib.Path(self.home.name)

    def read_line(self, deadline):
        line = super().read_line(deadline)
        if line.startswith("page "):
            self.page = None if line == "page none" else json.loads(line[5:])
            self.number = self.page["number"] if self.page else self.number
        return line

    def read_until(self, holds):
        deadline = time.monotonic() + WAIT
        while not holds():
            self.read_line(deadline)

    def await_page(self, **wanted):
        """Waits until the open page has these properties."""
        self.read_until(lambda: self.page and wanted.items() <= self.page.items())

    def await_none(self):
        self.read_until(lambda: self.page is None)

    def open(self, command, **wanted):
        """Executes a command that opens a page, and waits until the page has the wanted properties."""
        former = self.number
        self.do(command)
        self.read_until(lambda: self.number != former)
        self.await_page(**wanted)

    def jump(self, address, **wanted):
        return self.open("jump " + address, **wanted)

    def result(self, script):
        lines = self.do("script " + script)
        found = [line for line in lines if line.startswith("result ")] or [self.await_line("result ")[-1]]
        return found[-1][7:]

    def log(self):
        files = list((self.data / "Documents" / "Log").glob("*.log"))
        return files[0].read_text(encoding="utf-8") if files else ""

    def await_log(self, text, count=1):
        until(lambda: self.log().count(text) >= count, lambda: f"{text!r} is not in the log:\n{self.log()[-2000:]}")
        return self.log()

    def has_engine(self):
        return "libwebkitgtk" in pathlib.Path(f"/proc/{self.process.pid}/maps").read_text()

    def descendants(self, name):
        """The processes with this program name that have the fixture's environment."""
        found = []
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if ((entry / "cmdline").read_text().split("\0")[0].endswith(name)
                        and self.home.name in (entry / "environ").read_text()):
                    found.append(int(entry.name))
            except OSError:
                pass
        return found

    def await_idle(self, pages=0):
        """Waits until only the processes of `pages` pages are left. The engine may keep one more for the next page."""
        until(lambda: len(self.descendants("WebKitWebProcess")) <= pages + 1, lambda: "there are still web processes")

    def await_descendants(self, name, count):
        until(lambda: len(self.descendants(name)) == count, lambda: f"{self.descendants(name)}, not {count} of {name}")
        return self.descendants(name)


class WebPages(GtkTest):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.authority = Authority(cls.folder.name, "trusted")
        cls.stranger = Authority(cls.folder.name, "unknown")
        cls.server = Server(cls.authority.issue("localhost")).__enter__()

    @classmethod
    def tearDownClass(cls):
        Handler.release.set()
        cls.server.__exit__()

    def start(self, **environment):
        driver.hide_pointer()
        return self.watch(Fixture(self.program, self.authority.file, **environment))

    def url(self, path):
        return self.server.url(path)

    def test_a_page_can_be_opened_used_and_closed(self):
        fixture = self.start()
        self.assertEqual(fixture.descendants("WebKitNetworkProcess"), [], "nothing is loaded before the first page")
        fixture.jump(self.url("/one"), title="One 一", progress=1, bar=False, hidden=False, reload=False, back=False,
                     moving=False)
        await_pixel(200, 400, PINK)
        # The link is 120 points wide: the page has its natural size.
        self.assertEqual((pixel(115, 100), pixel(125, 100)), (GREEN, PINK))
        # The engine runs in its sandbox, unless this machine cannot create one.
        web = fixture.await_descendants("WebKitWebProcess", 1)[0]
        if os.environ.get("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS") != "1":
            self.assertNotEqual(os.readlink(f"/proc/{web}/ns/pid"), os.readlink("/proc/self/ns/pid"))
        # A new page shows no scroll bar. The engine would fade it out for a second and repaint the window in every
        # frame.
        self.assertEqual(pixel(370, 70), PINK)
        # Touches reach the page, except where a view of the library covers it.
        fixture.do("cover")
        await_pixel(250, 350, RED)
        click(150, 350)
        fixture.do("uncover")
        await_pixel(250, 350, PINK)
        pointer("mousemove", 200, 300)
        until(lambda: pixel(370, 70) != PINK, lambda: "the pointer does not bring the scroll bar")
        click(100, 100)
        fixture.await_page(title="Two", back=True, url=self.url("/two"))
        # The page has the keyboard: the host's entry below gets no keys.
        pointer("key", "Page_Down", "type", "abc")
        until(lambda: fixture.result("window.scrollY > 100") == "true", lambda: "the page does not scroll")
        click(26, 22)
        fixture.await_page(title="One 一", back=False)
        click(62, 22)
        fixture.await_none()
        fixture.await_idle()
        # The page slides out; after that the host has the keyboard again.
        self.await_focus(fixture, "host")
        pointer("type", "x")
        self.assertNotIn("entry abc", fixture.await_line("entry "))
        click(200, 400)
        fixture.await_line("host clicked")

    def await_focus(self, fixture, wanted):
        """Waits until this widget, or this element of the page, has the keyboard focus."""
        def where():
            place = fixture.ask("focus")
            return fixture.result("document.activeElement.id") if place == "WebKitWebView" else place
        until(lambda: where() == wanted, lambda: f"the focus is at {where()}, not at {wanted}")

    def test_the_keyboard_reaches_a_page_and_its_bar_and_can_close_it(self):
        fixture = self.start()
        fixture.jump(self.url("/links"), title="Links", moving=False)
        for key, stops in (("Tab", ['"first"', '"last"', "返回", "关闭", '""', '"first"']),
                           ("shift+Tab", ["关闭", "返回", '""', '"last"', '"first"', "关闭"])):
            for stop in stops:
                press(key)
                self.await_focus(fixture, stop)
        # While the page covers the host's entry, the entry cannot take the focus. It gets the focus when the page
        # closes.
        fixture.do("grab")
        self.await_focus(fixture, '""')
        press("Escape")
        fixture.await_none()
        self.await_focus(fixture, "host")
        # The user goes back with the keyboard: first in the page's history, then out of the page.
        fixture.jump(self.url("/links"), title="Links", moving=False)
        press("Tab", "Tab")
        self.await_focus(fixture, '"last"')
        press("Return")
        fixture.await_page(title="Two", back=True)
        press("alt+Left")
        fixture.await_page(title="Links", back=False)
        press("alt+Left")
        fixture.await_none()
        self.await_focus(fixture, "host")
        # A message above a page takes the focus and returns it. Then the program closes the page.
        fixture.jump(self.url("/links"), title="Links", moving=False)
        press("Tab")
        self.await_focus(fixture, '"first"')
        fixture.do_until("message", "code 1")
        self.await_focus(fixture, "GtkBox")
        for stop in ("left", "right", "left"):
            press("Tab")
            self.await_focus(fixture, stop)
        press("Return")
        self.await_focus(fixture, '"first"')
        fixture.do("close")
        fixture.await_none()
        self.await_focus(fixture, "host")

    def test_the_engine_is_preloaded_if_the_host_allows_it(self):
        fixture = self.start()
        fixture.do("prepare")
        ahead = fixture.await_descendants("WebKitWebProcess", 1)
        fixture.jump(self.url("/one"), title="One 一", back=False)
        self.assertEqual(fixture.descendants("WebKitWebProcess"), ahead, "the first page did not use it")
        # A page can be opened during preloading, and the process can end.
        fixture = self.start()
        fixture.do("prepare")
        fixture.jump(self.url("/one"), title="One 一")
        for _ in range(5):
            fixture = self.start()
            fixture.do("prepare")
            until(fixture.has_engine, lambda: "the engine is not loaded", pause=0.001)
            self.assertEqual(fixture.close(), 0)
        fixture = self.start(FIXTURE_WITHOUT_PRELOADING="1")
        fixture.do("prepare")
        fixture.do("idle")
        fixture.await_line("idle")
        # No event reports that there is no preloading, so wait for a second.
        with self.assertRaises(AssertionError):
            until(fixture.has_engine, lambda: "the engine is not loaded", seconds=1)
        fixture.jump(self.url("/one"), title="One 一")

    def test_a_failed_page_can_be_reloaded(self):
        fixture = self.start()
        closed = Server(self.authority.issue("localhost"))
        port, address = closed.server_port, closed.url("/one")
        closed.server_close()
        fixture.jump(address, reload=True, hidden=True)
        fixture.await_log("页面加载失败：Error Domain=NSURLErrorDomain Code=-1004")
        self.assertTrue(fixture.log().rstrip().endswith("，url：" + address))
        for link, code in ((self.url("/round"), ""), (self.url("/insecure"), ""), ("https://nobody.invalid/", "-1003"),
                           ("file:///etc/passwd", "-1002"), ("not an address", "-1000"), ("x" * 300000, "-1002")):
            with self.subTest(link[:40]):
                failures = fixture.log().count("页面加载失败")
                fixture.jump(link, reload=True, hidden=True)
                log = fixture.await_log("页面加载失败", failures + 1)
                self.assertIn(f"Code={code}", log.splitlines()[-1])
        # When the server is back, a tap on the error text reloads the page.
        fixture.jump(address, reload=True, hidden=True, moving=False)
        with Server(self.authority.issue("localhost"), port):
            # The centre of the screen.
            click(200, 44 + 350)
            fixture.await_page(title="One 一", reload=False, hidden=False)

    def test_pages_of_servers_with_untrusted_certificates_are_not_loaded(self):
        fixture = self.start()
        Handler.served.clear()
        with (Server(self.stranger.issue("localhost")) as unknown,
              Server(self.authority.issue("other.example")) as other):
            for server in (unknown, other):
                failures = fixture.log().count("页面加载失败")
                fixture.jump(server.url("/one"), reload=True, hidden=True)
                fixture.do("reload")
                fixture.await_log("页面加载失败", failures + 2)
        self.assertEqual(Handler.served, [])
        fixture.jump(self.url("/one"), title="One 一")

    def test_scripts_can_only_write_to_the_log(self):
        fixture = self.start()
        entry = "js拦截，调用OC方法，方法名：jsCallOC,参数："
        fixture.jump(self.url("/talk"), title="Talk")
        log = fixture.await_log(entry + "(null)")
        first = re.search(f"{entry}({{.*?\n}})\n", log, re.S)[1]
        self.assertEqual(json.loads(first), {"a": 1, "b": [True, None, "二"]})
        self.assertIn(entry + "text", log)

        fixture.jump(self.url("/flood"), title="Flood")
        log = fixture.await_log(entry + "last")
        numbers = re.findall(f"{entry}(\\d+)\n", log)
        self.assertEqual(numbers, [str(i) for i in range(2000)])
        self.assertIn(entry + "x" * (1 << 20), log)

        fixture.open(f"inject {self.url('/frames')} window.injected = 42;")
        fixture.await_log(entry + "inner 42")
        fixture.do("close")

        fixture.jump(self.url("/windows"), title="Windows")
        fixture.await_log(entry + "opened null")
        click(100, 100)
        fixture.jump(self.url("/reach"), title="Reach")
        log = fixture.await_log(entry + "still https:")
        self.assertIn(entry + "reached Reach undefined", log)
        # The pop-up windows of the previous page were not opened.
        fixture.await_idle(pages=1)

        fixture.jump(self.url("/download"))
        fixture.jump(self.url("/leaving"), title="Two")
        fixture.jump(self.url("/alert"))
        fixture.await_log(entry + "before")
        fixture.do("close")
        fixture.await_none()
        fixture.await_idle()
        self.assertNotIn(entry + "after", fixture.log())
        kept = {file.name for file in (fixture.data / "Web").iterdir()}
        self.assertLessEqual({"data", "cache"}, kept)

    def test_a_killed_web_process_is_replaced(self):
        fixture = self.start()
        fixture.jump(self.url("/one"), title="One 一")
        os.kill(fixture.await_descendants("WebKitWebProcess", 1)[0], signal.SIGKILL)
        fixture.await_page(reload=True, hidden=True)
        fixture.await_log("页面加载失败：Error Domain=WebKitErrorDomain")
        fixture.do("reload")
        fixture.await_page(reload=False, hidden=False)
        await_pixel(200, 400, PINK)
        until(lambda: fixture.result("document.title") == '"One 一"', lambda: "the page is not there")

    def test_pulling_down_reloads_the_page(self):
        fixture = self.start()
        fixture.open(f"inject {self.url('/one')} ;", title="One 一", bar=False)
        await_pixel(200, 400, PINK)
        before = Handler.served.count("/one")
        pointer("mousemove", 200, 300, "click", "--repeat", 6, "--delay", 20, 4)
        # The refresh control may start and stop between two reports of the fixture, so check the server's requests.
        until(lambda: Handler.served.count("/one") > before, lambda: "no reload")
        fixture.await_page(refreshing=False, bar=False)
        self.assertEqual(Handler.served.count("/one"), before + 1)

    def test_many_opened_and_closed_pages_leave_no_processes(self):
        fixture = self.start()
        paths = ("/one", "/silent", "/endless", "/alert", "/frames")
        rounds = int(os.environ.get("OQSDK_WEB_ROUNDS", "100"))
        for number in range(rounds):
            path = paths[number % len(paths)]
            asked = len(Handler.served)
            fixture.jump(self.url(path))
            # Close the page in different phases: at once, after its request, after it is shown.
            if number % 3 > 0:
                until(lambda: len(Handler.served) > asked or fixture.process.poll() is not None,
                      lambda: "the server gets no request", pause=0.002)
                self.assertIsNone(fixture.process.poll(), "the host has crashed")
            if number % 3 == 2 and path in ("/one", "/frames"):
                fixture.await_page(bar=False)
            fixture.do("close")
            fixture.await_none()
        fixture.await_idle()
        self.assertLessEqual(len(fixture.descendants("WebKitNetworkProcess")), 1)

    def test_forgetting_the_user_removes_what_pages_have_stored(self):
        fixture = self.start()
        fixture.jump(self.url("/one"), title="One 一")
        fixture.result("document.cookie = 'who=me; max-age=999'; localStorage.who = 'me'; 1")
        self.assertEqual(fixture.result("document.cookie + localStorage.who"), '"who=meme"')
        fixture.do("forget")
        fixture.await_none()
        fixture.jump(self.url("/one"), title="One 一")
        until(lambda: fixture.result("document.cookie + localStorage.who") == '"undefined"',
              lambda: f"still stored: {fixture.result('document.cookie + localStorage.who')}")

    def test_a_message_with_a_web_page_shows_the_page_in_its_card(self):
        fixture = self.start()
        fixture.open("window " + self.url("/static/window.html"))
        card = [float(word) for word in fixture.await_line("card ")[-1].split()[1:]]
        fixture.await_page(hidden=False, bar=False)
        self.assertEqual(json.loads(fixture.result("[innerWidth, innerHeight]")), [round(card[2]), round(card[3])])
        x, y = (375 - card[2]) / 2, (700 - card[3]) / 2
        outside = pixel(200, int(y) - 4)
        self.assertNotEqual(pixel(200, int(y) + 4), outside)
        # The whole page fits. After it has grown, it can be scrolled.
        self.assertEqual(fixture.result("document.getElementById('claim').getBoundingClientRect().bottom < innerHeight "
                                        "&& document.scrollingElement.scrollHeight <= innerHeight"), "true")
        fixture.result("document.body.style.minHeight = '200%'")
        pointer("mousemove", 188, 350)
        until(lambda: pointer("click", 5) or fixture.result("scrollY > 0") == "true",
              lambda: "the page does not scroll")
        # In a larger window the page is scaled, and its layout size stays the same.
        fixture.do("resize 560 1000")
        stage = Stage(560, 1000, (375, 700))

        def layout_size():
            return json.loads(fixture.result("[innerWidth, innerHeight]"))

        until(lambda: all(abs(side - length) <= 1 for side, length in zip(layout_size(), card[2:4])), layout_size)
        fixture.result("document.body.insertAdjacentHTML('beforeend', `<p style='margin: 0; background: red; "
                       "position: fixed; right: 0; bottom: 0; width: 9px; height: 9px'>`)")
        await_pixel(*stage.pixel(card[0] + card[2] - 4, card[1] + card[3] - 4), RED)
        click(*stage.pixel(card[4], card[5]))
        fixture.await_line("code 3")
        fixture.await_idle()
        click(200, 400)
        fixture.await_line("host clicked")

    def test_without_the_engine_links_open_in_the_browser(self):
        def window(number, event, **fields):
            return {"id": number, "count": 5, "event": {"xwhat": event}, **fields}

        part = {"text": "Yes", "clickEvent": self.url("/linked")}
        Handler.windows = [window(1, "page", style=4),
                           window(2, "text", style=3, title={"text": "Title"}, buttonLeft=part, buttonRight=part)]
        Handler.reports.clear()
        with tempfile.TemporaryDirectory() as desktop:
            opened = pathlib.Path(desktop, "opened")
            for name, text in (("browser", f"""#!/bin/sh\necho "$1" >{opened}.new; mv {opened}.new {opened}"""),
                               ("mimeapps.list", "[Default Applications]\nx-scheme-handler/https=browser.desktop\n"),
                               ("applications/browser.desktop", "[Desktop Entry]\nType=Application\nName=Browser\n"
                                f"MimeType=x-scheme-handler/https;\nExec={desktop}/browser %u\n")):
                file = pathlib.Path(desktop, name)
                file.parent.mkdir(exist_ok=True)
                file.write_text(text, encoding="utf-8")
                file.chmod(0o700)
            # What the engine needs is missing, too.
            hidden = [*MODULES, "/usr/bin/bwrap"]
            hide = "; ".join(f"[ ! -e {file} ] || mount --bind /dev/null {file}" for file in hidden)
            # Without preloading, which would also find out that there is no engine, but later.
            fixture = self.start(namespace=hide, XDG_CONFIG_HOME=desktop, XDG_DATA_DIRS=desktop + ":/usr/share",
                                 XDG_CONFIG_DIRS=desktop, FIXTURE_WITHOUT_PRELOADING="1")
            fixture.do("start " + self.url(""))
            until((fixture.data / "Documents" / "OQInAppWindowData.plist").exists, lambda: "there are no campaigns")
            outcome = "waiting"  # for the new list
            while outcome.startswith(("waiting", "dropped")):
                outcome = fixture.ask("record page")
            self.assertEqual(outcome, "cannot be shown by this host")
            self.assertEqual(fixture.ask("record text"), "counted and handed to the screen")
            until(lambda: "$impDialog" in Handler.reports, lambda: f"the message is not shown: {Handler.reports}")
            press("Tab", "Return")
            until(opened.exists, lambda: "the link is not opened in the browser: " + fixture.log()[-2000:])
            self.assertEqual(opened.read_text().strip(), self.url("/linked"))
            # A page that is opened anyway fails with the real reason.
            fixture.jump(self.url("/one"), reload=True, hidden=True)
            fixture.await_log("liboqsdk-webkit.so is not installed")
            self.assertFalse(fixture.has_engine())
            # The engine can be installed while the application runs.
            if SANDBOX_WORKS:
                unhide = "; ".join(f"[ -f {file} ] || umount {file}" for file in hidden if os.path.exists(file))
                subprocess.run(["nsenter", "-t", str(fixture.process.pid), "-m", *ENTER, "sh", "-c", unhide],
                               check=True)
                fixture.await_page(moving=False)
                click(62, 22)
                fixture.await_none()
                fixture.jump(self.url("/one"), title="One 一")
                self.assertEqual(fixture.ask("record page"), "counted and handed to the screen")

    def test_the_engine_is_not_loaded_if_it_cannot_run(self):
        # If /sys is empty, the engine's sandbox cannot start, and the engine would end the process.
        fixture = self.start(namespace="mount -t tmpfs none /sys" if SANDBOX_WORKS else "",
                             WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS="")
        fixture.jump(self.url("/one"), reload=True, hidden=True)
        fixture.await_log("the web engine's sandbox cannot be built: bwrap: ")
        self.assertFalse(fixture.has_engine())
        fixture.await_page(moving=False)
        click(62, 22)
        fixture.await_none()
        if SANDBOX_WORKS:
            subprocess.run(["nsenter", "-t", str(fixture.process.pid), "-m", *ENTER, "umount", "/sys"], check=True)
            fixture.jump(self.url("/one"), title="One 一")

        with tempfile.TemporaryDirectory() as folder:
            # If libsoup 2 is loaded too, the engine's libsoup 3 would end the process.
            library = f"{folder}/libsoup-stand-in.so"
            subprocess.run(["c++", "-shared", "-x", "c++", "-", "-o", library], check=True,
                           input=b'extern "C" void soup_uri_new() {}')
            fixture = self.start(LD_PRELOAD=library)
            fixture.jump(self.url("/one"), reload=True, hidden=True)
            fixture.await_log("libsoup 2")
            self.assertFalse(fixture.has_engine())


if __name__ == "__main__":
    PAGES, MODULES = sys.argv.pop(2), sys.argv.pop(2).split(":")
    if not SANDBOX_WORKS:
        print("web_test: no user namespaces here: the engine runs WITHOUT its sandbox, only for this test", flush=True)
        os.environ["WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS"] = "1"
    driver.main()
