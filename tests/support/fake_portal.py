# SPDX-License-Identifier: Apache-2.0
"""A private session bus with a fake desktop portal for e-mails: fake_portal.py FOLDER MANNERS. It prints the bus's
address, and ends when its standard output is closed. FOLDER gets a file for each mail, and a byte in the file "closed"
for each request that its sender closed. MANNERS is JSON that replaces some of the values below."""

import json
import os
import subprocess
import sys

from gi.repository import Gio, GLib

MANNERS = {
    "version": 3,
    # 0: the mail program was opened, 1: the user cancelled, 2: the request ended in another way, None: no response.
    "response": 0,
    "error": "",  # if not empty, the call returns the D-Bus error of this name
    "ownHandle": False,  # whether the portal's handle for the request is another one than the caller predicts
    "breaksDown": False,  # whether the portal closes its bus connection when it is called
}
PORTAL = "/org/freedesktop/portal/desktop"
CONFIGURATION = """<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen><policy context='default'>
    <allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/><allow own='*'/></policy></busconfig>"""
EMAIL, REQUEST = Gio.DBusNodeInfo.new_for_xml("""<node><interface name='org.freedesktop.portal.Email'>
    <method name='ComposeEmail'><arg type='s' direction='in'/><arg type='a{sv}' direction='in'/>
    <arg type='o' direction='out'/></method><property name='version' type='u' access='read'/></interface>
    <interface name='org.freedesktop.portal.Request'><method name='Close'/></interface></node>""").interfaces


class Portal:
    def __init__(self, address, folder, manners):
        flags = Gio.DBusConnectionFlags
        self.folder, self.manners, self.count = folder, manners, 0
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self.bus.set_exit_on_close(False)
        self.bus.register_object(PORTAL, EMAIL, self.compose,
                                 lambda *_: GLib.Variant("u", manners["version"]), None)
        Gio.bus_own_name_on_connection(self.bus, "org.freedesktop.portal.Desktop", 0, lambda *_: print(address), None)

    def compose(self, _, sender, path, interface, method, parameters, call):
        options = parameters.unpack()[1]
        self.store(options, call.get_message().get_unix_fd_list())
        token = "ofItsOwn" if self.manners["ownHandle"] else options["handle_token"]
        handle = f"{PORTAL}/request/{sender[1:].replace('.', '_')}/{token}"
        if self.manners["breaksDown"]:
            return self.bus.close_sync()
        if self.manners["error"]:
            return call.return_dbus_error(self.manners["error"], "No.")
        self.bus.register_object(handle, REQUEST, self.close, None, None)
        # The response arrives before the call returns.
        if self.manners["response"] is not None:
            self.respond(sender, handle)
        call.return_value(GLib.Variant("(o)", (handle,)))
        # The caller subscribes to an unexpected handle only after it has the handle. The portal cannot see when, so it
        # waits.
        if self.manners["ownHandle"]:
            GLib.timeout_add(50, self.respond, sender, handle)

    def store(self, options, descriptors):
        mail = {"addresses": [], "address": "", "subject": "", "body": "", **options, "files": []}
        for handle in mail.pop("attachment_fds", []):
            # Real portals also get the file's name from the open descriptor.
            path = os.readlink(f"/proc/self/fd/{descriptors.get(handle)}")
            with open(path, encoding="utf-8") as file:
                mail["files"].append((os.path.basename(path), file.read()))
        with open(f"{self.folder}/unfinished", "w", encoding="utf-8") as out:
            json.dump(mail, out)
        os.rename(out.name, f"{self.folder}/mail{self.count}")
        self.count += 1

    def respond(self, client, handle):
        self.bus.emit_signal(client, handle, "org.freedesktop.portal.Request", "Response",
                             GLib.Variant("(ua{sv})", (self.manners["response"], {})))

    def close(self, *arguments):
        arguments[-1].return_value(None)
        with open(f"{self.folder}/closed", "a", encoding="utf-8") as out:
            out.write("x")


sys.stdout.reconfigure(line_buffering=True)
with open(f"{sys.argv[1]}/bus.conf", "w", encoding="utf-8") as out:
    out.write(CONFIGURATION)
daemon = subprocess.Popen(["dbus-daemon", "--config-file=" + out.name, "--nofork", "--nopidfile", "--print-address=1"],
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
portal = Portal(daemon.stdout.readline().strip(), sys.argv[1], {**MANNERS, **json.loads(sys.argv[2])})
loop = GLib.MainLoop()
GLib.io_add_watch(1, GLib.PRIORITY_DEFAULT, GLib.IOCondition.ERR | GLib.IOCondition.HUP, lambda *_: loop.quit())
loop.run()
daemon.kill()
