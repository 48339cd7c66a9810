# SPDX-License-Identifier: Apache-2.0
"""The game: a level in which the game refuses every message, a message when the level is done, and the next level."""
from stage import ROOT, Demo, Failure

BUTTON = (0x24, 0x57, 0xD6)


class GameDemo(Demo):
    campaigns = ROOT / "examples" / "sdl-game" / "campaigns.json"

    def start(self):
        super().start("--static", ROOT / "examples" / "first-window" / "static")

    def run(self):
        command = [self.build / "examples" / "sdl-game" / "sdl-game", "--data-dir", self.out / "game"]
        game = self.start_program("game", [*command, "--plays-itself"], LIBGL_ALWAYS_SOFTWARE="1")
        self.screen.window_origin(game.process.pid)
        self.await_("the campaigns are fetched", lambda: "in_app data:" in self.log())
        self.screen.press("space")
        game.until("^level 1$")
        game.until("^caught 2$")
        self.say("a level: " + self.keep(self.screen.shoot(), "1-level.png"))
        self.say("during the level the game refused a message: " + game.until("^refused (catch)$")[1])
        game.until("^done 1$")
        game.until("^shown level_done$")
        self.await_("the message is reported", lambda: self.has("$impDialog"))
        message = self.screen.shoot()
        self.say("message between the levels: " + self.keep(message, "2-message.png"))
        button = message.region(BUTTON, top=message.height // 2)
        if not button:
            raise Failure("the button's colour is not on the screen")
        self.screen.click((button[0] + button[2]) / 2, button[1] + 4)
        self.await_("the click is reported", lambda: self.has("$clickDialog"))
        self.await_("the message is gone", lambda: not self.screen.shoot().region(BUTTON, top=message.height // 2))
        self.screen.press("space")
        game.until("^level 2$")
        game.until("^caught 3$")
        self.say("the next level: " + self.keep(self.screen.shoot(), "3-next-level.png"))
        self.print_events()
        if sum(event["xwhat"] == "$impDialog" for event in self.events()) != 1:
            raise Failure("a message was shown during a level")
        return []
