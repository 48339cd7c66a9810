# SPDX-License-Identifier: Apache-2.0
"""Tests the built campaign server over real HTTPS: server_test.py PATH-TO-oqsdk-server."""

import contextlib
import http.client
import json
import os
import queue
import re
import resource
import shutil
import signal
import socket
import ssl
import stat
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

PROGRAM = None
PATIENCE = 30  # timeout in seconds
MIB = 1 << 20
PORTS = ("--port-production", "0", "--port-test", "0", "--port-development", "0")


def window(window_id, **changes):
    return {"id": window_id, "style": 3, "count": 1, "event": {"xwhat": "buy"}, **changes}


class Lines:
    """Reads the lines of a pipe as they arrive."""

    def __init__(self, pipe):
        self._queue = queue.Queue()
        self.seen = []
        threading.Thread(target=self._read, args=(pipe,), daemon=True).start()

    def _read(self, pipe):
        with pipe:
            for line in pipe:
                self._queue.put(line.rstrip("\n"))
        self._queue.put(None)

    def wait_for(self, pattern):
        deadline = time.monotonic() + PATIENCE
        while True:
            try:
                line = self._queue.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                raise AssertionError(f"no line {pattern!r} within {PATIENCE} s after {self.seen}") from None
            if line is None:
                raise AssertionError(f"the program ended without a line {pattern!r}: {self.seen}")
            self.seen.append(line)
            found = re.search(pattern, line)
            if found:
                return found


class Server:
    def __init__(self, *options, **how):
        self.process = subprocess.Popen([PROGRAM, *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        text=True, encoding="utf-8", **how)
        self.out, self.err = Lines(self.process.stdout), Lines(self.process.stderr)
        self.authority = self.out.wait_for("^certificate authority: (.*)").group(1)
        self.ports = {name: int(self.out.wait_for(rf"^{name}: https://localhost:(\d+)$").group(1))
                      for name in ("production", "test", "development")}
        self.out.wait_for("^ready$")
        self.tls = ssl.create_default_context(cafile=self.authority)

    def request(self, path, body=None, environment="production", host="localhost", headers=None):
        """Sends a request. Returns the response's status, body and headers."""
        address = f"https://{host}:{self.ports[environment]}{path}"
        if body is not None and not isinstance(body, bytes):
            body = json.dumps(body).encode()
        headers = {"Content-Type": "application/json", **(headers or {})}
        call = urllib.request.Request(address, data=body, headers=headers)
        try:
            with urllib.request.urlopen(call, context=self.tls, timeout=PATIENCE) as answer:
                return answer.status, answer.read(), answer.headers
        except urllib.error.HTTPError as error:
            with error:
                return error.code, error.read(), error.headers

    def connect(self, environment="production"):
        plain = socket.create_connection(("localhost", self.ports[environment]), timeout=PATIENCE)
        return self.tls.wrap_socket(plain, server_hostname="localhost")

    def post(self, path, body, environment="production"):
        status, answer, _ = self.request(path, body, environment)
        return status, json.loads(answer)

    def login(self, app_key="key"):
        status, answer = self.post("/push/sdk/login", {"appKey": app_key, "os": {"mac": "m"}})
        assert status == 200 and answer["code"] == 0, answer
        return answer["token"]

    def window_ids(self, token, environment="production", path="/push/sdk/in_app", **more):
        status, answer = self.post(path, {"token": token, **more}, environment)
        assert status == 200 and answer["code"] == 0, answer
        return [campaign["id"] for campaign in answer["data"]]

    def events(self, query=""):
        status, answer, _ = self.request("/events" + query)
        assert status == 200, answer
        return json.loads(answer)["events"]

    def flood(self, head, most):
        """Sends an endless chunked body. Returns the response, or None if the server reads `most` bytes."""
        chunk = b"10000\r\n" + b"x" * 0x10000 + b"\r\n"
        answer = b""
        with self.connect() as connection:
            connection.sendall(head.encode() + b"Host: localhost\r\nTransfer-Encoding: chunked\r\n\r\n")
            with contextlib.suppress(ConnectionError, ssl.SSLEOFError):
                for _ in range(most // len(chunk)):
                    connection.sendall(chunk)
                return None
            with contextlib.suppress(ConnectionError):
                while part := connection.recv(65536):
                    answer += part
        return answer

    def end(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        return self.process.wait(PATIENCE)

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


class ServerTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="oqsdk-server-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.data = self.path("data")
        self.campaigns = self.path("campaigns.json")

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def write(self, content, path=None):
        path = path or self.campaigns
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as out:
            out.write(content if isinstance(content, str) else json.dumps(content))
        return path

    def start(self, *options, **how):
        server = Server("--data", self.data, *PORTS, *options, **how)
        self.addCleanup(server.kill)
        return server

    def run_program(self, *options):
        return subprocess.run([PROGRAM, *options], capture_output=True, text=True, timeout=PATIENCE)

    def assert_reloads(self, server, token, *ids):
        server.err.wait_for(f": loaded, {len(ids)} windows")
        self.assertEqual(server.window_ids(token), [*ids])

    def test_clients_trust_the_server_only_with_its_own_authority(self):
        server = self.start()
        for name, mode in (("ca-key.pem", 0o600), ("server-key.pem", 0o600)):
            self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.data, "tls", name)).st_mode), mode)
        for host in ("localhost", "127.0.0.1"):
            self.assertEqual(server.request("/", host=host)[0], 200)
        with self.assertRaises(urllib.error.URLError) as refused:
            urllib.request.urlopen(f"https://localhost:{server.ports['production']}/", timeout=PATIENCE,
                                   context=ssl.create_default_context())
        self.assertIsInstance(refused.exception.reason, ssl.SSLCertVerificationError)
        with socket.create_connection(("127.0.0.1", server.ports["test"]), timeout=PATIENCE) as plain:
            with self.assertRaises(ssl.SSLCertVerificationError):
                server.tls.wrap_socket(plain, server_hostname="other.example")

    def test_listens_only_on_the_two_loopback_addresses(self):
        server = self.start()
        self.assertEqual(server.request("/", host="127.0.0.1")[0], 200)
        try:
            socket.create_server(("::1", 0), family=socket.AF_INET6).close()
        except OSError:
            pass  # a machine without IPv6
        else:
            self.assertEqual(server.request("/", host="[::1]")[0], 200)
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.2", server.ports["production"]), timeout=PATIENCE)

    def test_lists_contain_only_campaigns_for_the_client(self):
        self.write({"appKeys": ["key"],
                    "windows": [window(1), window(2, environments=["test"]), window(3, newUser=1),
                                window(4, userIds=["v", "u"], zeta=1, alpha=2)],
                    "subscriptions": [{"id": 9, "event": {"xwhat": "add_to_cart"}}]})
        server = self.start("--campaigns", self.campaigns)
        self.assertEqual(server.post("/push/sdk/login", {"appKey": "other"})[1]["code"], 403)
        token = server.login()
        self.assertEqual(server.window_ids(token, newUser=0, userId="x"), [1])
        self.assertEqual(server.window_ids(token, newUser=1, userId="u"), [1, 3, 4])
        self.assertEqual(server.window_ids(token, environment="test"), [1, 2])
        self.assertEqual(server.window_ids(token, path="/push/sdk/event/subscribe"), [9])
        # The response leaves out the keys that only the server uses, and keeps the order of the others.
        _, answer = server.post("/push/sdk/in_app", {"token": token, "userId": "u"}, "test")
        self.assertEqual(json.dumps(answer), json.dumps({"code": 0, "message": "ok", "data": [
            window(1), window(2), window(4, zeta=1, alpha=2)]}))
        for body in ({}, {"token": ""}, {"token": None}, {"token": "guess"}):
            self.assertEqual(server.post("/push/sdk/in_app", body)[1]["code"], 401, body)

    def test_stores_prints_and_lists_events(self):
        server = self.start()
        shown = {"appid": "a", "xwho": "u", "xwhat": "$impDialog", "xwhen": 1767225600000.0,
                 "xcontext": {"$dialog_id": "1", "$dialog_type": 1}}
        bought = {"xwhat": "买", "xwho": "u", "xcontext": {"item": "鞋"}}
        body = {"userId": "u", "token": "t"}
        for path, event in (("/push/sdk/in_app/callback", shown), ("/push/sdk/event/trigger", bought)):
            status, answer = server.post(path, {**body, "events": [event]}, "development")
            self.assertEqual((status, answer["code"]), (200, 0))
        server.out.wait_for(r'^20\d\d-\S+Z /push/sdk/in_app/callback "u" "\$impDialog" '
                            r'{"\$dialog_id":"1","\$dialog_type":1}$')
        server.out.wait_for(r'^20\d\d-\S+Z /push/sdk/event/trigger "u" "买" {"item":"鞋"}$')
        first, second = server.events()
        self.assertEqual((first["event"], first["environment"], first["user"]), (shown, "development", "u"))
        self.assertEqual((second["name"], second["context"]), ("买", {"item": "鞋"}))
        for name in ("a", "b", "a"):
            server.post("/push/sdk/event/trigger", {**body, "events": [{"xwhat": name}]})
        for query, ids in (("", [1, 2, 3, 4, 5]), ("?since=2", [3, 4, 5]), ("?limit=2", [4, 5]),
                           ("?since=1&limit=2", [2, 3]), ("?name=a&limit=1", [5]), ("?name=%24impDialog", [1]),
                           ("?since=3&name=a&limit=1000", [5])):
            self.assertEqual([event["id"] for event in server.events(query)], ids, query)
        for query in ("limit=x", "limit=0", "limit=1001", "since=x"):
            self.assertEqual(server.request("/events?" + query)[0], 400, query)

    def test_does_not_list_events_for_proxied_requests(self):
        headers = ({"X-Forwarded-For": "192.0.2.1"}, {"Forwarded": "for=192.0.2.1"}, {"x-real-ip": "192.0.2.1"})
        server = self.start()
        for header in headers:
            self.assertEqual(server.request("/events", headers=header)[0], 403, header)
        self.assertEqual(server.request("/events")[0], 200)
        self.assertEqual(server.end(), 0)
        server = self.start("--public-events")
        self.assertEqual([server.request("/events", headers=header)[0] for header in headers], [200] * 3)

    def test_refuses_bad_requests_and_stores_nothing(self):
        server = self.start()
        large = b'{"events":[{"xwhat":"' + b"x" * (2 << 20) + b'"}]}'
        chunked = (large[i:i + 65536] for i in range(0, len(large), 65536))
        for body, status in ((b"{", 400), (large, 413)):
            answer = server.request("/push/sdk/event/trigger", body)
            self.assertEqual((answer[0], json.loads(answer[1])["code"]), (status, status), body[:40])
        connection = http.client.HTTPSConnection("localhost", server.ports["test"], context=server.tls,
                                                 timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request("POST", "/push/sdk/event/trigger", body=chunked, encode_chunked=True,
                           headers={"Transfer-Encoding": "chunked"})
        answer = connection.getresponse()
        self.assertEqual((answer.status, json.loads(answer.read())["code"]), (413, 413))
        # The connection is still usable, since the server has read the large body to its end.
        connection.request("POST", "/push/sdk/login", body='{"appKey":"k"}')
        self.assertEqual(json.loads(connection.getresponse().read())["code"], 0)
        self.assertEqual(server.request("/push/sdk/nothing", {})[0], 404)
        self.assertEqual(server.events(), [])

    def test_unexpected_bodies_are_not_read(self):
        server = self.start()
        for line in ("PUT /push/sdk/nothing", "POST /push/sdk/nothing", "PATCH /", "DELETE /push/sdk/login",
                     "GET /static/window.html"):
            answer = server.flood(line + " HTTP/1.1\r\n", 64 * MIB)
            self.assertIsNotNone(answer, f"{line}: the server read the whole body")
            self.assertRegex(answer.decode(), r"(?s)^HTTP/1\.1 404 .*Connection: close", line)
        # The body of a PUT without a length could extend to the end of the connection. The server responds without
        # waiting for that.
        with server.connect() as connection:
            connection.sendall(b"PUT / HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.assertRegex(connection.recv(65536), b"^HTTP/1.1 404 ")
        self.assertEqual(server.request("/", headers={"Content-Length": "0"})[0], 200)

    def test_reloads_campaigns_written_in_place_or_renamed(self):
        self.write({"windows": [window(1)]})
        server = self.start("--campaigns", self.campaigns)
        token = server.login()
        self.write({"windows": [window(2)]})  # in place
        self.assert_reloads(server, token, 2)
        os.replace(self.write({"windows": [window(3)]}, self.path("new")), self.campaigns)
        self.assert_reloads(server, token, 3)
        os.rename(self.campaigns, self.path("backup"))  # as editors with backups do
        self.assertEqual(server.window_ids(token), [3])
        self.write({"windows": [window(4), window(5)]})
        self.assert_reloads(server, token, 4, 5)

    def test_reloads_campaigns_if_a_link_or_its_target_changes(self):
        files = [self.path(folder, "list.json") for folder in ("first", "second")]
        for number, file in enumerate(files):
            self.write({"windows": [window(number)]}, file)
        os.symlink(files[0], self.path("first", "step.json"))
        os.symlink(os.path.join("first", "step.json"), self.campaigns)
        server = self.start("--campaigns", self.campaigns)
        token = server.login()
        os.replace(self.write({"windows": [window(2)]}, self.path("new")), files[0])
        self.assert_reloads(server, token, 2)
        # The link now has another target.
        os.symlink(files[1], self.path("new"))
        os.replace(self.path("new"), self.campaigns)
        self.assert_reloads(server, token, 1)
        os.replace(self.write({"windows": [window(3)]}, self.path("new")), files[1])
        self.assert_reloads(server, token, 3)
        # The target and its folder are created after the link.
        os.symlink(self.path("third", "list.json"), self.path("new"))
        os.replace(self.path("new"), self.campaigns)
        file = self.write({"windows": [window(4)]}, self.path("made", "list.json"))
        os.renames(file, self.path("third", "list.json"))
        self.assert_reloads(server, token, 4)

    def test_keeps_the_last_good_campaigns_and_reports_errors(self):
        self.write({"windows": [window(1)]})
        server = self.start("--campaigns", self.campaigns)
        token = server.login()
        self.write({"windows": [window(2), window(3), window(4, style=7)]})
        server.err.wait_for(r"campaigns\.json: windows\[2\]\.style: must be 1, 2, 3 or 4")
        server.err.wait_for("refused, the last good campaigns stay")
        self.assertEqual(server.window_ids(token), [1])
        self.write({"windows": [window(number, style=7) for number in range(25)]})
        server.err.wait_for(r"windows\[19\]\.style")
        server.err.wait_for("and 5 more")
        self.assertFalse([line for line in server.err.seen if "windows[20]" in line])
        server.err.wait_for("refused")
        self.write('{\n  "windows": [}\n')
        server.err.wait_for(r"campaigns\.json: line 2, column 15: ")
        server.err.wait_for("refused")
        self.assertEqual(server.window_ids(token), [1])
        self.write({"windows": [window(2)]})
        server.err.wait_for("loaded")
        self.assertEqual(server.window_ids(token), [2])

    def test_restart_keeps_events_tokens_and_certificates(self):
        server = self.start()
        token = server.login()
        server.post("/push/sdk/event/trigger", {"events": [{"xwhat": "e"}]})
        before = server.events()
        # Stopping the server also ends idle connections.
        idle = http.client.HTTPSConnection("localhost", server.ports["production"], context=server.tls,
                                           timeout=PATIENCE)
        self.addCleanup(idle.close)
        idle.request("GET", "/")
        idle.getresponse().read()
        self.assertEqual(server.end(), 0)
        authority, trust = server.authority, server.tls
        server = self.start()
        self.assertEqual(server.authority, authority)
        server.tls = trust
        self.assertEqual(server.events(), before)
        self.assertEqual(server.window_ids(token), [])
        # Acknowledged events survive a crash, too.
        server.post("/push/sdk/event/trigger", {"events": [{"xwhat": "f"}]})
        server.kill()
        server = self.start()
        self.assertEqual([event["name"] for event in server.events()], ["e", "f"])
        self.assertEqual(server.end(signal.SIGINT), 0)

    def test_does_not_acknowledge_events_if_the_disk_is_full(self):
        limit = 600_000  # bytes in one file
        server = self.start(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
        acknowledged = []
        for number in range(40):
            event = {"xwhat": f"e{number}", "xcontext": {"filling": "x" * 40_000}}
            status, answer = server.post("/push/sdk/event/trigger", {"events": [event]})
            self.assertEqual(answer["code"], 0 if status == 200 else 500)
            if status == 200:
                acknowledged.append(event["xwhat"])
        server.err.wait_for("the database failed: ")
        self.assertTrue(0 < len(acknowledged) < 40, acknowledged)
        self.assertEqual([event["name"] for event in server.events()], acknowledged)
        self.assertEqual(server.end(), 0)
        self.assertEqual([event["name"] for event in self.start().events()], acknowledged)

    def test_serves_only_files_of_the_static_folder(self):
        picture = "公告" * 20000
        files = {"a.png": "image/png", "deep/er/B.JPG": "image/jpeg", "a..b": "application/octet-stream",
                 "page.html": "text/html; charset=utf-8", "图 1.svg": "image/svg+xml"}
        for name in files:
            self.write(picture, self.path("static", name))
        self.write("", self.path("static", "empty.txt"))
        self.write("secret", self.path("secret.txt"))
        server = self.start("--static", self.path("static"))
        for name, kind in files.items():
            status, body, headers = server.request("/static/" + urllib.parse.quote(name))
            self.assertEqual((status, body.decode(), headers["Content-Type"]), (200, picture, kind))
        self.assertEqual(server.request("/static/empty.txt")[:2], (200, b""))
        status, body, _ = server.request("/static/a.png", headers={"Range": "bytes=119997-"})
        self.assertEqual((status, body.decode()), (206, "告"))
        for name in ("../secret.txt", "%2e%2e/secret.txt", "..%2fsecret.txt", "", "/etc/passwd", "page.html%00.png"):
            status, body, _ = server.request("/static/" + name)
            self.assertEqual((status, json.loads(body)["code"]), (404, 404), name)

    def test_start_errors_are_one_clear_sentence(self):
        running = self.start()
        port = str(running.ports["production"])
        bad = self.write({"windows": [window(1, count=-1)]})
        other = self.path("other")
        self.write("x" * 4096, self.path("broken", "server.db"))
        cases = (
            (("--data", self.path("broken"), *PORTS), 1, "not a database"),
            (("--data", other, "--static", bad, *PORTS), 1, "not a folder"),
            (("--data", other, "--port-production", port), 1, f"port {port}.*in use"),
            (("--data", self.data, *PORTS), 1, "another oqsdk-server is using this data folder"),
            (("--data", other, "--campaigns", bad, *PORTS), 1, r"windows\[0\]\.count: must be an integer, 0 or more"),
            (("--data", other, "--campaigns", self.path("none"), *PORTS), 1, "no such file"),
            (("--data", other, "--static", self.path("none"), *PORTS), 1, "not a folder"),
            (("--colour",), 2, "unknown option \"--colour\""),
            (("--port-test", "70000"), 2, "--port-test needs a port"),
            (("--host", "a,DNS:b"), 2, "--host needs"),
            (("--data",), 2, "--data needs a value"),
        )
        for options, code, message in cases:
            result = self.run_program(*options)
            self.assertEqual((result.returncode, result.stdout), (code, ""), options)
            self.assertRegex(result.stderr, f"^oqsdk-server: .*{message}.*try --help" if code == 2 else message)

    def test_init_writes_a_valid_file_and_never_overwrites(self):
        self.assertEqual(self.run_program("--init", self.campaigns).returncode, 0)
        before = os.stat(self.campaigns)
        self.assertEqual(self.run_program("--init", self.campaigns).returncode, 1)
        self.assertEqual(os.stat(self.campaigns).st_mtime_ns, before.st_mtime_ns)
        server = self.start("--campaigns", self.campaigns)
        self.assertEqual(server.window_ids(server.login()), ["1001", "1002"])
        self.assertRegex(self.run_program("--version").stdout, r"^oqsdk-server \d+\.\d+\.\d+\n$")
        self.assertIn("--campaigns FILE", self.run_program("--help").stdout)
        self.assertIn("windows", json.loads(self.run_program("--schema").stdout)["properties"])


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    os.environ.pop("SSL_CERT_FILE", None)
    unittest.main(verbosity=2)
