#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the dialog of a program as a screen reader gets it from the accessibility bus: role, name and states of the
dialog and of its children. Then it focuses and presses one of them: read_accessible.py PROGRAM ELEMENT."""

import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402

STATES = [(name, getattr(Atspi.StateType, name.upper())) for name in ("modal", "focusable", "focused")]


def found(seek, seconds=10):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if result := seek():
            return result
        time.sleep(0.05)
    raise SystemExit("not found on the accessibility bus")


def descendants(parent):
    for index in range(parent.get_child_count()):
        child = parent.get_child_at_index(index)
        yield child
        yield from descendants(child)


def with_role(parent, role):
    return next((each for each in descendants(parent) if each.get_role_name() == role), None)


def program():
    desktop = Atspi.get_desktop(0)
    return next((each for each in descendants(desktop) if each.get_name() == sys.argv[1]), None)


def described(each):
    each.clear_cache()
    states = each.get_state_set()
    words = [each.get_role_name(), each.get_name(), *(name for name, state in STATES if states.contains(state))]
    return " ".join(words)


dialog = found(lambda: (owner := program()) and with_role(owner, "dialog"))
for element in (dialog, *descendants(dialog)):
    print(described(element))
