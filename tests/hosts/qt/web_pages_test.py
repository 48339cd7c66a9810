#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests web pages of the Qt host with the real engine: web_pages_test.py FIXTURE PAGES MODULE [arguments]. MODULE is
the file in which the host finds the engine."""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "gtk"))
import driver
import web_test
from driver import GREEN, WHITE, await_pixel, click, pixel, pointer, press, until
from web_test import PINK, Handler

MODULE = ""


class Fixture(web_test.Fixture):
    def has_engine(self):
        with open(f"/proc/{self.process.pid}/maps", encoding="utf-8") as maps:
            return "libQt6WebEngineCore" in maps.read()


class QtWebPages(driver.GtkTest):
    setUpClass = classmethod(web_test.WebPages.setUpClass.__func__)
    tearDownClass = classmethod(web_test.WebPages.tearDownClass.__func__)
    url = web_test.WebPages.url
    # What the library promises about pages does not depend on the engine.
    test_a_failed_page_can_be_reloaded = web_test.WebPages.test_a_failed_page_can_be_reloaded
    test_untrusted = web_test.WebPages.test_pages_of_servers_with_untrusted_certificates_are_not_loaded
    test_scripts_can_only_write_to_the_log = web_test.WebPages.test_scripts_can_only_write_to_the_log
    test_pulling_down_reloads_the_page = web_test.WebPages.test_pulling_down_reloads_the_page

    def start(self, **environment):
        driver.hide_pointer()
        return self.watch(Fixture(self.program, self.authority.file, **environment))

    def test_a_page_can_be_opened_used_and_closed(self):
        fixture = self.start()
        self.assertFalse(fixture.has_engine())
        fixture.jump(self.url("/one"), title="One 一", bar=False, hidden=False, reload=False, back=False, moving=False)
        await_pixel(200, 400, PINK)
        self.assertEqual((pixel(115, 100), pixel(125, 100)), (GREEN, PINK))
        fixture.await_answer("focus", "page")
        click(100, 100)
        fixture.await_page(title="Two", back=True, url=self.url("/two"))
        # The page has the keyboard: the application's entry below gets no keys.
        until(lambda: press("Page_Down") or fixture.result("window.scrollY > 100") == "true",
              lambda: "the page does not scroll")
        pointer("type", "abc")
        click(26, 22)
        fixture.await_page(title="One 一", back=False)
        # A message covers the page, and gets the keys.
        fixture.do_until("message", "code 1")
        fixture.await_answer("focus", "layer")
        await_pixel(187, 340, WHITE)
        press("Tab", "Return")
        fixture.await_line("code 4")
        await_pixel(200, 400, PINK)
        press("Escape")
        fixture.await_none()
        fixture.await_answer("focus", "host")
        pointer("type", "x")
        self.assertNotIn("entry abc", fixture.await_line("entry "))
        click(200, 400)
        fixture.await_line("host clicked")
        fixture.open("window " + self.url("/one"), title="One 一")
        card = [float(length) for length in fixture.await_line("card ")[-1].split()[1:]]
        await_pixel(187, 400, PINK)
        click(*map(int, card[4:]))
        fixture.await_line("code 3")
        fixture.await_none()
        # The window may be destroyed while a page is shown.
        fixture.jump(self.url("/one"), title="One 一")
        fixture.do("destroy")

    def test_the_engine_is_not_loaded_if_it_would_end_the_process(self):
        problems = [({"FIXTURE_WITHOUT_SHARING": "1"}, "has not set Qt::AA_ShareOpenGLContexts"),
                    ({"QTWEBENGINEPROCESS_PATH": "/nowhere"}, "QtWebEngineProcess is not installed")]
        if os.geteuid() == 0:
            problems.append(({"QTWEBENGINE_DISABLE_SANDBOX": ""}, "the web engine's sandbox does not run as root"))
        Handler.windows = [{"id": 1, "count": 5, "event": {"xwhat": "page"}, "style": 4}]
        for environment, problem in problems:
            with self.subTest(problem):
                fixture = self.start(**environment)
                fixture.do("start " + self.url(""))
                until(lambda: fixture.ask("record page") == "cannot be shown by this host",
                      lambda: fixture.ask("record page"))
                # A page that is opened anyway fails with the real reason.
                fixture.open(f"inject {self.url('/one')} ;", reload=True, hidden=True)
                fixture.await_log(problem)
                self.assertFalse(fixture.has_engine())


if __name__ == "__main__":
    web_test.PAGES, MODULE = sys.argv.pop(2), sys.argv.pop(2)
    # Only for these tests: they may run as root, and where no user namespaces exist.
    os.environ["QTWEBENGINE_DISABLE_SANDBOX"] = "1"
    driver.main()
