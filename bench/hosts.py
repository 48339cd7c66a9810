#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares the hosts: hosts.py FOLDER-OF-PROGRAMS, on an X display with 1080 x 1920 pixels. bench/hosts.sh runs it.

All figures are processor time of the whole program, from rounds in which all programs take turns. Prints medians as
`note` lines and ratios as `RATIO` lines, as the other benchmarks do."""
import os
import pathlib
import resource
import statistics
import subprocess
import sys
import tempfile

PROGRAMS = pathlib.Path(sys.argv[1])
SCENARIO_ROUNDS, START_ROUNDS = int(os.environ.get("OQSDK_ROUNDS", 3)), 15
# Each host: its program, and how it renders.
HOSTS = {
    "gtk": ("host_gtk", {"GSK_RENDERER": "cairo"}),
    "gtk_gl": ("host_gtk", {"GSK_RENDERER": "gl"}),
    "qt": ("host_qt", {}),
    "quick": ("host_quick", {"QT_QUICK_BACKEND": "software"}),
    "quick_gl": ("host_quick", {"QSG_RENDER_LOOP": "threaded"}),
    "sdl": ("host_sdl", {"SDL_RENDER_DRIVER": "software", "SDL_FRAMEBUFFER_ACCELERATION": "0"}),
    "sdl_gl": ("host_sdl", {"SDL_RENDER_DRIVER": "opengl"}),
}
# Commands that end at once, without and with the library, or the neighbour's.
LINKED = {**{host: ([f"link_{host}"], [f"host_{host}", "link"]) for host in ("gtk", "qt", "quick", "sdl")},
          "neighbour": (["link_neighbour_plain"], ["link_neighbour"])}


def run(command, **environment):
    """Runs a program. Returns its output, and its processor time in milliseconds."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    done = subprocess.run([PROGRAMS / command[0], *command[1:]], env={**os.environ, **environment}, check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return done.stdout, 1e3 * (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime)


def figures(output):
    found = {}
    for line in output.splitlines():
        name, value = line.split()
        found.setdefault(name, []).append(float(value))
    return found


def scenarios():
    """For each host, all processor times of "plain", "idle", "opening" and "static", in milliseconds."""
    times = {host: {} for host in HOSTS}
    for _ in range(SCENARIO_ROUNDS):
        for host, (program, environment) in HOSTS.items():
            for mode in ("plain", "idle", "message", *(("plain-game", "game") if "sdl" in host else ())):
                for name, values in figures(run([program, mode], **environment)[0]).items():
                    times[host].setdefault(mode if name == "idle" else name, []).extend(values)
    return times


def starts(commands):
    """For each name, the median processor time of a program that ends at once."""
    times = {name: [] for name in commands}
    for _ in range(START_ROUNDS):
        for name, (command, environment) in commands.items():
            times[name].append(run(command, **environment)[1])
    return {name: statistics.median(values) for name, values in times.items()}


def note(name, value, unit):
    print(f"note {name} {value:.2f} {unit}", flush=True)


def main():
    times = scenarios()
    middle = {host: {name: statistics.median(values) for name, values in parts.items()} for host, parts in times.items()}
    for host, parts in middle.items():
        note(f"hosts_{host}_plain", parts["plain"] / 3, "ms per second, without the library")
        note(f"hosts_{host}_nothing_shown", parts["idle"] / 3, "ms per second")
        note(f"hosts_{host}_opening", parts["opening"], "ms")
        note(f"hosts_{host}_static_message", parts["static"] / 3, "ms per second")
    for host, parts in middle.items():
        gtk = "gtk_gl" if host.endswith("_gl") else "gtk"  # OpenGL in software costs every host a lot
        if host != gtk:
            print(f"RATIO hosts_{host}_opening_to_{gtk} {parts['opening'] / middle[gtk]['opening']:.2f} goal<=1.3")
    for host in ("sdl", "sdl_gl"):  # a game draws all the time, so there is something to compare with
        print(f"RATIO hosts_{host}_nothing_shown {middle[host]['game'] / middle[host]['plain-game']:.3f} goal<=1.03")

    commands = {f"{name}{suffix}": (command, {}) for name, both in LINKED.items()
                for suffix, command in zip(("_plain", ""), both)}
    for host, (program, environment) in HOSTS.items():
        commands[f"{host}_start_plain"] = ([program, "plain-start"], environment)
        commands[f"{host}_start"] = ([program, "start"], environment)
    commands["neighbour_start_plain"] = (["neighbour_start", "plain"], {})
    commands["neighbour_start"] = (["neighbour_start"], {})
    took = starts(commands)
    added = lambda name, plain: took[name] - took[plain]
    for name in LINKED:
        note(f"hosts_{name}_link", added(name, f"{name}_plain"), f"ms more than {took[f'{name}_plain']:.1f}")
    for host in (*HOSTS, "neighbour"):
        plain = f"{host}_start_plain"
        note(f"hosts_{host}_start", added(f"{host}_start", plain), f"ms more than {took[plain]:.1f}")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as home:
        os.environ.update(XDG_DATA_HOME=home, GDK_BACKEND="x11", QT_QPA_PLATFORM="xcb", SDL_VIDEODRIVER="x11",
                          LIBGL_ALWAYS_SOFTWARE="1", GTK_A11Y="none", GSETTINGS_BACKEND="memory")
        main()
