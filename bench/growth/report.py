#!/usr/bin/env python3
"""Writes what measure.py has measured as a table and a picture: report.py FIGURES DOCUMENT PICTURE

Ends with status 1 where a cost grows faster than its load.
"""

import collections
import datetime
import math
import os
import pathlib
import platform
import re
import statistics
import subprocess
import sys
import textwrap

# How far a cost may seem to grow by the measuring alone.
TOLERANCE = 1.25

Measure = collections.namedtuple("Measure", "key title unit is_logarithmic is_proportional text")
MEASURES = (
    Measure("connections", "connections at once", "µs a request", True, False,
            "processor time of the host for each frame that is asked for, a picture that stands still; "
            "as many connections at a time, the next one as soon as one ends."),
    Measure("operators", "operators of one display", "µs a request", True, False,
            "the main thread's time for each frame that is asked for; each operator asks 25 times a "
            "second at planned instants, a tenth of the screen moves. Where few ask, each request has to "
            "wake the thread."),
    Measure("displays", "displays captured", "ms a frame", False, False,
            "for each frame of each display, 1920 × 1080; everything moves, on displays that nobody "
            "asks for, too."),
    Measure("megapixels", "megapixels of screen", "ms a frame", False, True,
            "1280 × 720, 1920 × 1080, 2560 × 1440, 3840 × 2160, 5120 × 2880, 7680 × 4320; the "
            "whole of it fetched, reduced and encoded."),
    Measure("percent", "percent of the screen moving", "ms a frame", False, True,
            "1920 × 1080, an area in the middle; at 0, where there are no frames, in the time of one."),
)


class Figures:
    """The rounds' values of one load; each is a list."""

    def __init__(self, load):
        self.load = load
        self.values = collections.defaultdict(list)

    def median(self, what):
        return statistics.median(self.values[what]) if self.values[what] else None

    @property
    def cost(self):
        return self.median("cost")

    @property
    def both(self):
        """The host's cost and the X server's, from which the painter's share may take too much."""
        return self.cost + max(self.median("server") or 0, 0)


def read(path):
    """Each measure's figures in the order of their loads."""
    result = collections.defaultdict(dict)
    for line in pathlib.Path(path).read_text().splitlines():
        measure, load, what, value = line.split("\t")
        load = float(load)
        result[measure].setdefault(load, Figures(load)).values[what].append(float(value))
    return {measure: list(figures.values()) for measure, figures in result.items()}


def growths(measure, figures):
    """Each load's cost for a unit of the load, against the least that a smaller load has."""
    result, least = [], None
    for each in figures:
        if measure.is_proportional and each.load == 0:
            result.append(None)
            continue
        cost = each.both / (each.load if measure.is_proportional else 1)
        result.append(cost / least if least else None)
        least = min(cost, least or cost)
    return result


def number(value):
    return "" if value is None else f"{value:,.0f}" if value >= 100 else f"{value:.3g}"


def table(all_figures):
    lines = ["| what grows | load | host | least … most | X server | frames a second | growth |",
             "|---|---|---|---|---|---|---|"]
    for measure in MEASURES:
        figures = all_figures[measure.key]
        for index, (each, growth) in enumerate(zip(figures, growths(measure, figures))):
            costs = each.values["cost"]
            lines.append(" | ".join((
                f"| {'' if index else measure.title}", f"{each.load:,g}",
                f"{number(each.cost)} {measure.unit}", f"{number(min(costs))} … {number(max(costs))}",
                number(each.both - each.cost) + " ms" if each.median("server") is not None else "",
                "" if each.median("frames") is None else f"{each.median('frames'):.1f}",
                f"{growth:.2f} |" if growth else "|")))
    return "\n".join(lines)


def too_fast(all_figures):
    """What grows faster than its load, as sentences."""
    result = []
    for measure in MEASURES:
        figures = all_figures[measure.key]
        for each, growth in zip(figures, growths(measure, figures)):
            if growth and growth > TOLERANCE:
                result.append(f"{each.load:,g} {measure.title} cost {growth:.2f} times what the load "
                              "explains.")
    rates = [each.median("frames") for each in all_figures["operators"]]
    if max(rates) > TOLERANCE * rates[0]:
        result.append("More operators make the host encode more frames.")
    return result


def processor():
    return re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())[1]


def fill(text, indent=""):
    return textwrap.fill(text, 105, break_on_hyphens=False, subsequent_indent=indent)


def document(all_figures, picture):
    commit = subprocess.run(["git", "describe", "--always", "--dirty", "--exclude=*"], check=True,
                            capture_output=True, text=True).stdout.strip()
    loads = [each.median("load average") for each in all_figures["machine"]]
    return "\n\n".join((
        "# Growth",
        fill("What the host costs as its load grows. `bench/growth/run` measures it and writes this page and "
             "its picture anew; [bench/README.md](../bench/README.md#growth) says how."),
        fill(f"Measured on {datetime.date.today():%-d %B %Y} at commit {commit}, {os.cpu_count()} cores of "
             f"{processor()}, {platform.system()} {platform.release()}; {len(loads)} rounds, medians; load "
             f"average of the machine {min(loads):.1f} to {max(loads):.1f}."),
        f"![Cost against load]({picture})",
        fill(" ".join(too_fast(all_figures)) or
             f"Nothing grows faster than its load: none of the growths below is above {TOLERANCE}."),
        "\n".join(fill(f"* **{each.title}**: {each.text}", "  ") for each in MEASURES),
        fill("*X server* is what a frame costs that, the painter's own share taken off. *Growth* is the cost "
             "of both for each unit of the load, against the least that a smaller load has: 1 is as the "
             "load, less is slower."),
        table(all_figures))) + "\n"


WIDTH, HEIGHT = 330, 230
LEFT, RIGHT, TOP, BOTTOM = 46, 14, 44, 34


def ceiling(value):
    """The next number above that is 1, 2, 3, 4, 5, 6 or 8 in its first digit."""
    power = 10 ** (len(str(int(value))) - 1) if value >= 1 else 0.1
    while value < power:
        power /= 10
    return next(digit * power for digit in (1, 2, 3, 4, 5, 6, 8, 10) if digit * power >= value)


def panel(measure, figures):
    """A drawing of one measure: its points, their least and most, and a line that grows as the load."""
    loads = [each.load for each in figures]
    top = ceiling(max(max(each.both, *each.values["cost"]) for each in figures))
    right = loads[-1]

    def x(load):
        if measure.is_logarithmic:
            share = math.log(load / loads[0]) / math.log(right / loads[0])
        else:
            share = load / right
        return LEFT + share * (WIDTH - LEFT - RIGHT)

    def y(cost):
        return HEIGHT - BOTTOM - cost / top * (HEIGHT - TOP - BOTTOM)

    first = next(each for each in figures if each.load > 0)
    end = min(first.cost * (right / first.load if measure.is_proportional else 1), top)
    end_load = end / first.cost * first.load if measure.is_proportional else right
    parts = [f'<text x="{LEFT}" y="16" class="title">{measure.title}</text>',
             f'<text x="{LEFT}" y="32">{measure.unit}</text>']
    for share in (0, 0.5, 1):
        parts.append(f'<line x1="{LEFT}" y1="{y(top * share):.1f}" x2="{WIDTH - RIGHT}" '
                     f'y2="{y(top * share):.1f}" class="grid"/>'
                     f'<text x="{LEFT - 6}" y="{y(top * share) + 4:.1f}" class="value">{top * share:g}</text>')
    previous = -100
    for load in loads:
        if x(load) - previous > 34 or load == right and x(load) - previous > 30:
            parts.append(f'<text x="{x(load):.1f}" y="{HEIGHT - 14}" class="load">{load:,g}</text>')
            previous = x(load)
    parts.append(f'<line x1="{x(first.load):.1f}" y1="{y(first.cost):.1f}" x2="{x(end_load):.1f}" '
                 f'y2="{y(end):.1f}" class="proportional"/>')
    for each in figures:
        costs = each.values["cost"]
        parts.append(f'<line x1="{x(each.load):.1f}" y1="{y(min(costs)):.1f}" x2="{x(each.load):.1f}" '
                     f'y2="{y(max(costs)):.1f}" class="spread"/>')
    for cost, name in ((lambda each: each.both, "both"), (lambda each: each.cost, "host")):
        points = " ".join(f"{x(each.load):.1f},{y(cost(each)):.1f}" for each in figures)
        parts.append(f'<polyline points="{points}" class="{name}"/>')
    parts += [f'<circle cx="{x(each.load):.1f}" cy="{y(each.cost):.1f}" r="3"/>' for each in figures]
    return "\n".join(parts)


STYLE = """text { font: 12px sans-serif; fill: #333 } .title { font-weight: bold }
.value { text-anchor: end } .load { text-anchor: middle } .grid { stroke: #ddd }
.proportional { stroke: #999; stroke-dasharray: 5 4 } .spread { stroke: #9bc2e6; stroke-width: 5 }
polyline { fill: none; stroke: #1f5f99; stroke-width: 1.5 } .both { stroke: #d08a2e } circle { fill: #1f5f99 }"""


def drawing(all_figures):
    panels = [panel(measure, all_figures[measure.key]) for measure in MEASURES]
    panels.append(f'<line x1="{LEFT}" y1="56" x2="{LEFT + 40}" y2="56" class="proportional"/>'
                  f'<text x="{LEFT + 50}" y="60">as the load grows from the first on</text>'
                  f'<line x1="{LEFT + 20}" y1="76" x2="{LEFT + 20}" y2="96" class="spread"/>'
                  f'<circle cx="{LEFT + 20}" cy="86" r="3"/>'
                  f'<text x="{LEFT + 50}" y="90">the host: median, least, most</text>'
                  f'<polyline points="{LEFT},116 {LEFT + 40},116" class="both"/>'
                  f'<text x="{LEFT + 50}" y="120">the host and the X server</text>')
    placed = "\n".join(f'<g transform="translate({index % 3 * WIDTH} {index // 3 * HEIGHT})">\n{each}\n</g>'
                       for index, each in enumerate(panels))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {3 * WIDTH} {2 * HEIGHT}">\n'
            f"<style>{STYLE}</style>\n"
            f'<rect width="100%" height="100%" fill="white"/>\n{placed}\n</svg>\n')


def main():
    all_figures = read(sys.argv[1])
    page, picture = map(pathlib.Path, sys.argv[2:])
    page.write_text(document(all_figures, picture.name))
    picture.write_text(drawing(all_figures))
    faults = too_fast(all_figures)
    print("\n".join(faults) or "Nothing grows faster than its load.")
    sys.exit(1 if faults else 0)


main()
