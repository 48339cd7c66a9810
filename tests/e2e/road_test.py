#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Follows an event from the hook to the server's list of events. The built server and the headless host run as two
processes, connected by TLS. Usage: road_test.py SERVER HOST [TEST...]"""
import json
import os
import pathlib
import plistlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from host_process import HOST, HostProcess, server_test, until

DEVELOPMENT, PORT = "2", 38088

CAMPAIGNS = {
    "windows": [
        {
            "id": "7001", "count": 2, "style": 3, "type": 1,
            "startTime": "2020-01-01 00:00:00", "endTime": "2099-12-31 23:59:59",
            "event": {"xwhat": "buy", "xcontext": {"item": "tea"}},
            "title": {"text": "谢谢 Thank you"},
            "content": {"text": "Your tea is on its way."},
            "buttonLeft": {"text": "Later"}, "buttonRight": {"text": "Fine"},
        }
    ],
    "subscriptions": [{"id": "9001", "event": {"xwhat": "add_to_cart"}}],
}


def await_idle_end(port):
    """Waits until the server has closed all idle connections."""
    def is_silent(line):
        _, _, remote, state, queues = line.split()[:5]
        return remote.endswith(f":{port:04X}") and state == "01" and queues.endswith(":00000000")

    def has_ended():
        tables = [pathlib.Path("/proc/net", name).read_text().splitlines()[1:] for name in ("tcp", "tcp6")]
        return not any(is_silent(line) for table in tables for line in table)

    until(has_ended, lambda: "the server keeps idle connections", seconds=30)


class Host(HostProcess):
    def __init__(self, folder, authority):
        self.data = folder / "host"
        # log() reads the only file in the folder, so the logs of earlier hosts are removed first.
        for log in self.logs():
            log.unlink()
        super().__init__(self.data, HOST, self.data, DEVELOPMENT, "e2e-key", "user-1",
                         environment={**os.environ, "SSL_CERT_FILE": authority})

    def entries(self):
        """The log's entries without header and times."""
        entries = re.split(r"(?m)^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}  ", self.log())
        return [entry.rstrip("\n") for entry in entries[1:]]


class RoadTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        self.campaigns = self.folder / "campaigns.json"
        self.campaigns.write_text(json.dumps(CAMPAIGNS), encoding="utf-8")
        self.start_server()
        self.addCleanup(lambda: self.server.end())

    def start_server(self):
        self.server = server_test.Server("--data", str(self.folder / "server"), "--campaigns", str(self.campaigns),
                                         "--port-production", "0", "--port-test", "0", "--port-development", str(PORT))

    def events(self):
        return [listed["event"] for listed in self.server.events("?limit=1000")]

    def await_event(self, name, **context):
        """Waits until the server lists the event."""
        def found():
            return [event for event in self.events() if event["xwhat"] == name and
                    context.items() <= event["xcontext"].items()]
        until(found, lambda: f"{name} {context} did not reach the server: {self.events()}")
        return found()[0]

    def names(self):
        return [event["xwhat"] for event in self.events()]

    def test_one_event_from_the_hook_to_the_servers_list(self):
        # At the first start no user is known when the login's response arrives, so no list is fetched.
        first = Host(self.folder, self.server.authority)
        first.await_log("login data:")
        first.do("record buy item=tea", "await-no Fine")
        self.assertEqual(first.quit(), (0, ""))
        self.assertEqual(self.names(), [])

        # At the second start the user is known. An event that arrives before the lists waits for them.
        second = Host(self.folder, self.server.authority)
        second.do("record buy item=tea", "await Fine")
        shown = self.await_event("$impDialog")
        self.assertEqual(shown["xcontext"], {"$dialog_id": "7001", "$dialog_type": 1})
        self.assertEqual((shown["xwho"], shown["appid"]), ("user-1", "e2e"))
        # The click is reported after the server has closed the idle connection.
        await_idle_end(PORT)
        second.do("tap Fine", "await-no Fine")
        clicked = self.await_event("$clickDialog")
        self.assertEqual(clicked["xcontext"], {"$dialog_id": "7001", "$dialog_type": 5})
        # A window is shown only once per run.
        second.do("record buy item=tea", "await-no Fine", "record add_to_cart item=cup")
        self.await_event("add_to_cart", item="cup")
        self.assertEqual(second.quit(), (0, ""))

        # The count is two: the third start shows the window again, from the stored list, and the fourth does not. While
        # the host's window is hidden, the display is counted, but neither shown nor reported.
        third = Host(self.folder, self.server.authority)
        third.do("background", "record buy item=tea", "await-no Fine")
        self.assertEqual(self.used_counts(third), [(7001, 2)])
        third.do("record add_to_cart item=pot")
        self.await_event("add_to_cart", item="pot")
        self.assertEqual(self.names().count("$impDialog"), 1)
        third.do("foreground", "await Fine")
        self.assertNotIn("in_app data:", third.log(), "the list is fetched once a day")
        third.do("tap Later", "await-no Later")
        self.assertEqual(third.quit(), (0, ""))
        fourth = Host(self.folder, self.server.authority)
        fourth.do("record buy item=tea", "await-no Fine")
        self.assertEqual(fourth.quit(), (0, ""))
        self.assertEqual(self.names().count("$impDialog"), 2)
        # The reason was the count, not a lost list: the count and the list are on disk, where other tools can read
        # them.
        self.assertEqual(self.used_counts(fourth), [(7001, 2)])
        windows = (fourth.data / "Documents" / "OQInAppWindowData.plist").read_bytes()
        self.assertIn("7001", plistlib.loads(windows)["$objects"])

    def load(self, campaigns):
        self.campaigns.write_text(json.dumps(campaigns), encoding="utf-8")
        self.server.err.wait_for("loaded")

    def test_a_tester_gets_a_changed_list_at_once(self):
        self.load({**CAMPAIGNS, "testers": ["user-1"]})
        first = Host(self.folder, self.server.authority)
        first.await_log("login data:")
        first.do("record hello")
        self.assertEqual(first.quit(), (0, ""))
        second = Host(self.folder, self.server.authority)
        second.await_log("in_app data:", "subscribe data:")
        window = {**CAMPAIGNS["windows"][0], "requires": ["tester", "reports"], "event": {"xwhat": "look"}}
        self.load({"testers": ["user-1"], "windows": [window]})
        second.do("background", "foreground")
        until(lambda: second.log().count("in_app data:") == 2 or second.do("settle"), second.log)
        second.do("record look", "await Fine")
        self.assertEqual(second.quit(), (0, ""))

    def await_offer(self, host, probe):
        """Waits until the host's reports have ids: the server's response to the login has then offered to store each
        report only once."""
        def arrived():
            return any("id" in event for event in self.events() if event["xcontext"].get("item") == probe)
        until(lambda: arrived() or host.do("record add_to_cart item=" + probe), lambda: probe)

    def test_every_report_arrives_once_after_an_absence_of_the_server(self):
        """OQSDK_AWAY_SECONDS sets how long the server is away. Meanwhile a client that sends reports is killed, and so
        is the next one; another process of the application runs all the time."""
        away = float(os.environ.get("OQSDK_AWAY_SECONDS", "0"))
        first = Host(self.folder, self.server.authority)
        first.await_log("login data:")
        first.do("record hello")
        self.assertEqual(first.quit(), (0, ""))
        killed, alive = Host(self.folder, self.server.authority), Host(self.folder, self.server.authority)
        self.await_offer(killed, "probe-1")
        self.await_offer(alive, "probe-2")
        items = []
        for number in range(100):
            for host, name in ((killed, "first"), (alive, "second")):
                items.append(f"{name}-{number}")
                host.do("record add_to_cart item=" + items[-1])
            if number == 20:
                self.server.end(signal.SIGKILL)
        time.sleep(away / 3)
        killed.process.kill()
        without_offer = Host(self.folder, self.server.authority)
        without_offer.await_log("descripton:")
        time.sleep(away / 3)
        without_offer.process.kill()
        time.sleep(away / 3)
        self.start_server()
        last = Host(self.folder, self.server.authority)

        def arrived():
            return [event["xcontext"].get("item") for event in self.events() if event["xwhat"] == "add_to_cart"]

        # The process that runs all the time may have begun a pause that is as long as the absence.
        until(lambda: set(items) <= set(arrived()), lambda: f"missing: {set(items) - set(arrived())}",
              seconds=60 + away)
        self.assertEqual([item for item in items if arrived().count(item) != 1], [])
        journals = self.folder / "host/Documents/OQReports"
        until(lambda: not list(journals.iterdir()), lambda: f"left: {list(journals.iterdir())}")
        self.assertEqual([host.quit() for host in (alive, last)], [(0, "")] * 2)
        for host in (killed, without_offer):
            host.process.wait()

    @staticmethod
    def used_counts(host):
        records = plistlib.loads((host.data / "Documents" / "OQRecordTreeData.plist").read_bytes())["$objects"]
        return [(r["nodeId"], r["usedCount"]) for r in records if isinstance(r, dict) and "usedCount" in r]

    def test_an_untrusted_server_changes_nothing(self):
        """The log contains only the request, the failure and the event; the Documents folder contains only the log."""
        other = self.folder / "other.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=other", "-keyout",
                        str(self.folder / "other.key"), "-out", str(other)], check=True, capture_output=True)
        host = Host(self.folder, str(other))
        host.await_log("descripton:")
        host.do("record buy item=tea", "await-no Fine")
        self.assertEqual(host.quit(), (0, ""))
        request, failure, event = host.entries()
        self.assertTrue(request.startswith(f"请求URL：https://localhost:{PORT}/push/sdk/login\n参数："), request)
        self.assertRegex(failure, r"^code:-1202\ndescripton:.+$")
        self.assertTrue(event.startswith("收到event回调：\n"), event)
        self.assertEqual([f.name for f in (host.data / "Documents").iterdir()], ["Log"])
        self.assertEqual(self.names(), [])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
