# SPDX-License-Identifier: Apache-2.0
"""The guide's first window in C and Python: a message with a button after the program's own button was pressed."""

from stage import ROOT, Demo, Failure

FOLDER = ROOT / "examples" / "first-window"
BUTTON = (0x24, 0x57, 0xD6)  # of the message, at PLACE
PLACE = (150, 540)


class FirstWindowDemo(Demo):
    """`programs` are a name, a command, and the line that the program prints for a click on the message, or None.
    `{build}` in a command is the folder of the build."""
    size = (390, 700)
    campaigns = FOLDER / "campaigns.json"

    def __init__(self, programs, *places):
        super().__init__(*places)
        self.programs = programs

    def start(self):
        super().start("--static", FOLDER / "static")

    def run(self):
        for number, (name, command, line) in enumerate(self.programs):
            self.show(name, command.format(build=self.build), 3 * number + 1)
            if line:
                self.say("the program printed: " + self.program.until(f"^{line}$")[0])
            self.program.stop()
        self.print_events()
        return []

    def count(self, name):
        return sum(event["xwhat"] == name for event in self.events())

    def show(self, name, command, number):
        print(name)
        shown, clicked = self.count("$impDialog"), self.count("$clickDialog")
        data = self.out / f"data-{number}"
        libraries = ":".join(str(self.build / folder) for folder in (".", "bindings", "hosts"))
        self.start_program(name, [command], XDG_DATA_HOME=str(data), LD_LIBRARY_PATH=libraries,
                           GI_TYPELIB_PATH=str(self.build / "introspection"))
        stored = "com.example.FirstWindow/Documents/OQInAppWindowData.plist"
        self.await_("the campaigns are stored", lambda: (data / stored).exists(), 30)
        self.screen.window_origin(self.program.process.pid)
        # The display is black, so another colour in its middle belongs to the program.
        self.await_("the program has drawn its window", lambda: self.screen.shoot().at(195, 300) != (0, 0, 0))
        window = self.screen.shoot_still()
        self.keep(window, f"{number}-window.png")
        self.screen.click(195, 350)
        self.await_("the message is shown and reported", lambda: self.count("$impDialog") > shown)
        message = self.screen.shoot_still()
        self.say("message shown: " + self.keep(message, f"{number + 1}-message.png"))
        if message.at(*PLACE) != BUTTON:
            raise Failure(f"the message's button is not at {PLACE}: the colour there is {message.at(*PLACE)}")
        self.screen.click(*PLACE)
        self.await_("the click is reported", lambda: self.count("$clickDialog") > clicked)
        after = self.screen.shoot_still()
        self.say("message pressed, it is closed: " + self.keep(after, f"{number + 2}-after.png"))
        if after.at(*PLACE) == BUTTON:
            raise Failure("the message is still there after the press")
