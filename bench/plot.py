#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Plots the cost of matching an event over the number of campaigns, from the output of `bench/run.sh matching`.

Usage: bench/run.sh matching | bench/plot.py docs/images/matching-cost.svg
Both axes are logarithmic. Exit status 1 if the output contains no curve.
"""
import math
import re
import sys

LINE = re.compile(r"note\s+matching_curve_(\d+)_(indexed|linear)\s+([\d.e+]+)")
SERIES = {"linear": ("a walk over all campaigns", "#b4542d"), "indexed": ("the index", "#1f6f54")}
WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 720, 400, 84, 24, 24, 56


def read(lines):
    curves = {name: {} for name in SERIES}
    for line in lines:
        found = LINE.search(line)
        if found:
            curves[found[2]][int(found[1])] = float(found[3])
    return curves


def duration(nanoseconds):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:g} {unit}"
    return f"{nanoseconds:g} ns"


class Axis:
    """A logarithmic axis between two powers of ten."""

    def __init__(self, values, start, end):
        self.first = math.floor(math.log10(min(values)))
        self.last = math.ceil(math.log10(max(values)))
        self.start, self.end = start, end

    def place(self, value):
        part = (math.log10(value) - self.first) / max(1, self.last - self.first)
        return self.start + part * (self.end - self.start)

    def ticks(self):
        return [10.0**power for power in range(self.first, self.last + 1)]


def draw(curves):
    counts = sorted({count for curve in curves.values() for count in curve})
    across = Axis(counts, LEFT, WIDTH - RIGHT)
    up = Axis([cost for curve in curves.values() for cost in curve.values()], HEIGHT - BOTTOM, TOP)
    out = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
        'font-size="13">',
        f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>',
    ]

    def text(x, y, words, anchor="middle", colour="#444", more=""):
        out.append(f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}"{more}>{words}</text>')

    def line(x1, y1, x2, y2):
        out.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="#e3e3e3"/>')

    for tick in across.ticks():
        line(across.place(tick), TOP, across.place(tick), HEIGHT - BOTTOM)
        text(across.place(tick), HEIGHT - BOTTOM + 20, f"{tick:,.0f}")
    for tick in up.ticks():
        line(LEFT, up.place(tick), WIDTH - RIGHT, up.place(tick))
        text(LEFT - 8, up.place(tick) + 4, duration(tick), "end")
    text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 12, "campaigns")
    for name, (words, colour) in SERIES.items():
        points = [(across.place(count), up.place(cost)) for count, cost in sorted(curves[name].items())]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2.5"/>')
        out += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{colour}"/>' for x, y in points]
        x, y = points[-1]
        cost = duration(float(f"{curves[name][counts[-1]]:.3g}"))
        text(x - 8, y - 12, f"{words}: {cost}", "end", colour, ' font-weight="bold"')
    return "\n".join(out + ["</svg>", ""])


def main():
    curves = read(sys.stdin)
    if len(sys.argv) != 2 or not all(curves.values()):
        sys.exit("usage: bench/run.sh matching | bench/plot.py FILE.svg")
    with open(sys.argv[1], "w", encoding="utf-8") as file:
        file.write(draw(curves))


if __name__ == "__main__":
    main()
