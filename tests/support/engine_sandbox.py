# SPDX-License-Identifier: Apache-2.0
"""Whether the web engine can build its sandbox on this machine."""

import subprocess


def sandbox_works():
    try:
        tried = subprocess.run(["bwrap", "--ro-bind", "/", "/", "--unshare-pid", "true"], capture_output=True)
        return tried.returncode == 0
    except OSError:
        return False
