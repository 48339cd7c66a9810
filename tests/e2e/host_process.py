# SPDX-License-Identifier: Apache-2.0
"""Controls a host application by lines on its standard input. The test that uses it is called with SERVER HOST
[TEST...]."""
import pathlib
import subprocess
import sys
import tempfile

TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(TESTS / "server"), str(TESTS / "hosts/gtk")]
import server_test
from driver import until

server_test.PROGRAM, HOST = sys.argv[1:3]


class HostProcess:
    def __init__(self, data, *command, environment):
        self.data = data
        self.errors = tempfile.TemporaryFile("w+", encoding="utf-8")
        self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=self.errors, text=True, encoding="utf-8", env=environment)
        self.lines = server_test.Lines(self.process.stdout)

    def do(self, *steps):
        for step in steps:
            self.process.stdin.write(step + "\n")
            self.process.stdin.flush()
            answer = self.lines.wait_for("^(ok$|failed)").string
            if answer != "ok":
                raise AssertionError(f"{step}: {answer}\n{self.log()}")

    def await_log(self, *texts):
        """Waits for log entries: a response that shows no window is visible only in the log."""
        for text in texts:
            until(lambda: text in self.log() or self.do("settle"), lambda: f"not logged: {text}\n{self.log()}")

    def logs(self):
        return list((self.data / "Documents" / "Log").glob("*.log"))

    def log(self):
        files = self.logs()
        return files[0].read_text(encoding="utf-8") if files else "(no log)"

    def quit(self):
        """Ends the host. Returns its exit status and what it printed on the standard error."""
        self.process.stdin.close()
        status = self.process.wait(timeout=60)
        with self.errors:
            self.errors.seek(0)
            return status, self.errors.read()
