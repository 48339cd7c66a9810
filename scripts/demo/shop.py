# SPDX-License-Identifier: Apache-2.0
"""The example shop: a card with two buttons, a web page, and what the server received. The shop of every toolkit."""
import os
import re

from stage import ROOT, Demo, Failure

CARD, LEFT, RIGHT = (255, 255, 255), (0xE9, 0xED, 0xF5), (0x24, 0x57, 0xD6)


class ShopDemo(Demo):
    """`shop` is the name of the example."""
    campaigns = ROOT / "examples" / "demo" / "campaigns.json"
    page_shown = False

    def __init__(self, shop, *places):
        super().__init__(*places)
        self.shop = shop

    def run(self):
        self.first_start()
        self.second_start()
        self.print_events()
        return [] if self.page_shown else ["the web page was not shown"]

    def start_shop(self):
        environment = {}
        if self.shop != "gtk-shop" and os.geteuid() == 0:
            environment["QTWEBENGINE_DISABLE_SANDBOX"] = "1"  # Qt's web engine has no sandbox for root
        if self.shop == "quick-shop":
            environment.update(self.browser())
        return self.start_program("shop", [self.build / "examples" / self.shop / self.shop, "--app-key", "demo-shop",
                                           "--user", "anna", "--data-dir", self.out / "shop", "--print-layout"],
                                  **environment)

    def browser(self):
        """The environment of a desktop whose browser writes the address into a file, so that the demo can show it."""
        desktop = (self.out / "desktop").resolve()
        self.opened = desktop / "opened"
        for name, text in (("browser", f'#!/bin/sh\necho "$1" >>{self.opened}\n'),
                           ("mimeapps.list", "[Default Applications]\nx-scheme-handler/https=browser.desktop\n"),
                           ("applications/browser.desktop", "[Desktop Entry]\nType=Application\nName=Browser\n"
                            f"MimeType=x-scheme-handler/https;\nExec={desktop}/browser %u\n")):
            file = desktop / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")
        (desktop / "browser").chmod(0o755)
        return {"XDG_CONFIG_HOME": str(desktop), "XDG_DATA_DIRS": f"{desktop}:/usr/share", "XDG_CONFIG_DIRS": str(desktop)}

    def widget(self, name):
        """The position of a widget of the shop on the screen."""
        match = self.program.until(rf"^widget {name} ([\d.]+) ([\d.]+)$")
        x, y = self.screen.window_origin(self.program.process.pid)
        return x + float(match[1]), y + float(match[2])

    def first_start(self):
        print("First start, with nothing stored")
        self.start_shop()
        buy = self.widget("buy-mug")
        self.await_("the login has a response", lambda: "login data:" in self.log())
        self.say("logged in; campaigns are not fetched yet, since the user's id arrives with the first event")
        self.screen.click(*buy)
        self.say("recorded: " + self.program.until(r"^event (buy .*)$")[1])
        # Closes in an orderly way, after the work that the click started.
        self.program.stop()
        if self.program.process.returncode != 0:
            raise Failure(f"the shop ended with {self.program.process.returncode}")

    def visit(self, tab, page):
        """Opens a page of the shop and waits until the library has noticed it."""
        self.screen.click(*tab)
        self.await_(f"the page is {page}", lambda: self.pages()[-1:] == [page])

    def pages(self):
        """The names of the shop's pages that the library has seen so far."""
        return [line.removeprefix("page ") for line in self.program.printed if line.startswith("page ")]

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
        self.say("recorded: " + self.program.until(r"^event (buy .*)$")[1])
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
        if self.shop == "quick-shop":  # Qt Quick has no web pages
            self.await_("the link is opened in the browser", self.opened.exists)
            self.page_shown = True
            self.say("button tapped, the system's browser opens " + self.opened.read_text(encoding="utf-8").strip())
        else:
            self.see_page()
        after = self.screen.shoot_still()
        kept = self.keep(after, "4-after.png")
        if after.region(RIGHT) or after.region(LEFT):
            raise Failure("the window is still there after the tap")
        self.say("the shop is back: " + kept)

    def see_page(self):
        """Waits for the page that the button opens, and closes it with a key."""
        x, y = self.screen.window_origin(self.program.process.pid)
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

    def interactive(self):
        print("First start: makes the user known (campaigns are fetched only for a known user)")
        self.start_shop()
        self.widget("buy-mug")
        self.say("press a button in the shop and close it; then it starts again, with campaigns")
        while self.program.process.wait() == 0 and not re.search("^event ", "\n".join(self.program.printed), re.M):
            self.start_shop()
        print("Second start: buy something. Ends when you close the shop.")
        self.start_shop().process.wait()
        self.print_events()

