#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Records every connection and every change of a file, and checks that there is none without the user's consent.
Usage: consent_test.py SERVER CONSENT-HOST [TEST...]"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from host_process import HOST, HostProcess, server_test

CAMPAIGNS = {"windows": [server_test.window("7001", startTime="2020-01-01 00:00:00", endTime="2099-12-31 23:59:59",
                                            picture="https://localhost/picture.png")],
             "subscriptions": [{"id": "9001", "event": {"xwhat": "add_to_cart"}}]}

NETWORK = "socket,connect,bind,listen,sendto,sendmsg,sendmmsg"
CHANGES = ("mkdir,mkdirat,rename,renameat,renameat2,unlink,unlinkat,rmdir,link,linkat,symlink,symlinkat,mknod,mknodat,"
           "truncate,ftruncate,fallocate,chmod,fchmod,fchmodat,chown,fchown,lchown,fchownat,utime,utimes,futimesat,"
           "utimensat,setxattr,lsetxattr,fsetxattr,memfd_create")
OPENING = "open,openat,openat2,creat"
CALL = re.compile(r"^(?:\[pid +\d+\] |\d+ +)?(\w+)\((.*)")
# Sockets of system services that the C library asks for names of users and hosts, in programs without OQSDK, too.
SYSTEM_SOCKETS = ("/var/run/nscd/socket", "/run/systemd/userdb/", "/run/systemd/resolve/io.systemd.Resolve")
# Not files: standard streams of the test, and devices without storage.
DEVICES = ("/dev/null", "/dev/tty")


def is_change(name, arguments):
    """Whether a system call sends something or changes a file."""
    if name in OPENING.split(","):
        writes = name == "creat" or re.search(r"O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_TMPFILE", arguments)
        return bool(writes) and not any(f'"{device}"' in arguments for device in DEVICES)
    if name == "socket":
        return "AF_UNIX" not in arguments
    if name in NETWORK.split(","):
        return not any(f'sun_path="{path}' in arguments for path in SYSTEM_SOCKETS)
    return name in CHANGES.split(",")


class Trace:
    """What a host sent and changed: before consent was given, while it was given, and after it was withdrawn."""

    def __init__(self, file):
        self.before, self.given, self.withdrawn = [], [], []
        changes, step = self.before, ""
        for line in file.read_text(encoding="utf-8", errors="replace").splitlines():
            found = CALL.match(line)
            if not found:
                continue
            name, arguments = found.groups()
            marker = re.search(r'"/step/([^"]*)"', arguments)
            if marker:
                if marker.group(1) == "give":
                    changes = self.given
                if (step, marker.group(1)) == ("withdraw", "end"):
                    changes = self.withdrawn
                step = marker.group(1)
            elif is_change(name, arguments):
                changes.append(f"{step}: {name}({arguments}")


class Host(HostProcess):
    def __init__(self, folder, server, consent):
        self.trace_file = folder / "trace"
        home = folder / "home"
        home.mkdir(exist_ok=True)
        calls = ",".join((NETWORK, CHANGES, OPENING, "access,faccessat,faccessat2"))
        # No bus listens at this address, but the trace would contain an attempt to connect to it.
        environment = {**os.environ, "HOME": str(home), "SSL_CERT_FILE": server.authority,
                       "DBUS_SESSION_BUS_ADDRESS": f"unix:path={folder}/bus"}
        for name in ("XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"):
            environment.pop(name, None)
        super().__init__(folder / "data", "strace", "-f", "-qq", "-s", "300", "-o", self.trace_file, "-e",
                         "trace=" + calls, "-e", "signal=none", HOST, folder / "data",
                         f"https://localhost:{server.ports['production']}", consent, environment=environment)

    def trace(self):
        """Ends the host and returns what it did."""
        status, errors = self.quit()
        assert status == 0, errors
        return Trace(self.trace_file)


class ConsentTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        # Without permission to trace, nothing would be recorded, and this test would prove nothing.
        trial = subprocess.run(["strace", "-f", "-o", str(self.folder / "trial"), "-e", "trace=" + OPENING, "true"],
                               capture_output=True, text=True)
        self.assertEqual(trial.returncode, 0, "system calls cannot be traced on this machine: " + trial.stderr)
        self.assertIn("libc.so", (self.folder / "trial").read_text(encoding="utf-8"), "the tracer records nothing")
        campaigns = self.folder / "campaigns.json"
        campaigns.write_text(json.dumps(CAMPAIGNS), encoding="utf-8")
        self.server = server_test.Server("--data", str(self.folder / "server"), "--campaigns", str(campaigns),
                                         *server_test.PORTS)
        self.addCleanup(self.server.kill)

    def host(self, consent):
        host = Host(self.folder, self.server, consent)
        self.addCleanup(host.process.stdin.close)
        return host

    def files(self):
        data = self.folder / "data"
        return {str(file): file.stat().st_mtime_ns for file in data.rglob("*")} if data.exists() else {}

    def names(self):
        return [listed["event"]["xwhat"] for listed in self.server.events()]

    def test_nothing_is_sent_or_changed_before_consent_or_after_its_withdrawal(self):
        host = self.host("required")
        host.do("start", "use", "use")
        self.assertEqual(self.files(), {})
        self.assertEqual(self.names(), [])

        host.do("give", "record buy", "start")
        host.await_log("login data:", "in_app data:", "subscribe data:")
        host.do("record add_to_cart")
        host.await_log("触发事件 data")
        self.assertEqual(self.names(), ["add_to_cart"])

        host.do("withdraw")
        files = self.files()
        host.do("use", "use")
        self.assertEqual(self.files(), files)
        trace = host.trace()
        self.assertEqual(trace.before, [])
        self.assertEqual(trace.withdrawn, [])
        # With consent, the trace contains the connection and the files: it does record what is sent and stored.
        given = "\n".join(trace.given)
        self.assertIn(f"htons({self.server.ports['production']})", given)
        self.assertIn("oqsdk_", given)
        self.assertIn("Preferences", given)

        # The withdrawal also holds in a later run that does not require consent.
        self.assertGreater(len(files), 5)
        later = self.host("optional")
        later.do("start", "use", "use")
        self.assertEqual(later.trace().before, [])
        self.assertEqual(self.files(), files)
        self.assertEqual(self.names(), ["add_to_cart"])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
