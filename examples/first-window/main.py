#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""A window with one button. A press records an event, and the library may show a message for it."""
import sys

import gi

gi.require_version("Gtk", "4.0")
gi.require_version("Oqsdk", "1")
gi.require_version("OqsdkGtk", "1")
from gi.repository import Gtk, Oqsdk, OqsdkGtk


def activate(application):
    messages = Oqsdk.Messages.get_default()
    messages.connect("clicked", lambda _, message, part: print(part.value_nick, message.event, flush=True))
    button = Gtk.Button(label="Buy", halign=Gtk.Align.CENTER, valign=Gtk.Align.CENTER)
    button.connect("clicked", lambda _: messages.record("buy"))  # an event may show a message

    window = Gtk.ApplicationWindow(application=application, title="First window", child=button)
    window.set_default_size(390, 700)
    OqsdkGtk.attach(window)  # messages appear in this window
    messages.set_user("user-1")  # campaigns belong to a user
    messages.start("my-application", "https://localhost:8088")  # logs in, fetches the campaigns
    window.present()


app = Gtk.Application(application_id="com.example.FirstWindow")
app.connect("activate", activate)
sys.exit(app.run(sys.argv))
