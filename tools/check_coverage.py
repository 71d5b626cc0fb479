#!/usr/bin/env python3
"""Prints how much of each file the tests reach, and fails under the bounds.

check_coverage.py ROOT REACHED, where REACHED is what `llvm-cov export` says. A branch is one outcome of
one condition. What reads bytes that strangers choose has to be reached to the last branch; the core as a
whole, which is its part for Linux, to the share in CORE_BRANCHES.
"""

import json
import pathlib
import sys

# Per cent, of all branches in core/.
CORE_BRANCHES = 97
WHOLLY = [
    "app/linux/ViewerAlertMessage.cpp",
    "core/capture/linux/identity/ViewerEDID.cpp",
    "core/protocol/ViewerHostListingJSON.cpp",
    "core/protocol/ViewerHostRequestParser.cpp",
    "core/protocol/ViewerHostRouter.cpp",
    "core/protocol/ViewerPercentDecoding.cpp",
    "core/protocol/ViewerUTF8.cpp",
]


def percent(covered, count):
    return 100.0 * covered / count if count else 100.0


def branches_of(branches, source):
    """How many outcomes of the conditions in a file's own lines were seen, and how many there are. Not what
    decides nothing: a comparison that the compiler writes, the way around a switch that names every value,
    and `while (true)`; nor what a library's macro asks, whose place has no length."""
    outcomes = {}
    for line, column, last, end, taken, passed, *_ in branches:
        text = source[line - 1]
        if text.endswith(("= default;", "while (true) {")) or text[:column - 1].endswith("switch ("):
            continue
        if (line, column) == (last, end):
            continue
        seen = outcomes.setdefault((line, column), [0, 0])
        seen[0] += taken
        seen[1] += passed
    counts = [count for seen in outcomes.values() for count in seen]
    return {"covered": sum(count > 0 for count in counts), "count": len(counts)}


def main():
    root, reached = pathlib.Path(sys.argv[1]).resolve(), json.load(open(sys.argv[2], encoding="utf-8"))
    found = {}
    for each in reached["data"][0]["files"]:
        # The build leaves its own folder out of the names, and llvm-cov puts it in front of some of them.
        name = pathlib.Path(each["filename"].removeprefix(f"{root}/")).as_posix()
        name = name.removeprefix("build/coverage/")
        if name.startswith("core/") or name in WHOLLY:
            found.setdefault(name, []).append(each)
    own = {}
    for name, files in found.items():
        source = (root / name).read_text(encoding="utf-8").split("\n")
        branches = [branch for each in files for branch in each["branches"]]
        lines = max((each["summary"]["lines"] for each in files), key=lambda each: each["covered"])
        own[name] = branches_of(branches, source), lines
    print(f"{'branches':>16} {'lines':>16}")
    for name in sorted(own, key=lambda name: percent(own[name][0]["covered"], own[name][0]["count"])):
        print(*(f"{each['covered']:5}/{each['count']:5} {percent(each['covered'], each['count']):3.0f}%"
                for each in own[name]), name)
    core = [branches for name, (branches, _) in own.items() if name.startswith("core/")]
    covered, count = sum(each["covered"] for each in core), sum(each["count"] for each in core)
    print(f"{covered:5}/{count:5} {percent(covered, count):.2f}% of the branches of core")
    problems = [f"{name} is not reached to the last branch" for name in WHOLLY
                if name not in own or own[name][0]["covered"] < own[name][0]["count"]]
    if percent(covered, count) < CORE_BRANCHES:
        problems.append(f"less than {CORE_BRANCHES}% of the branches of core are reached")
    if problems:
        sys.exit("\n".join(problems))


if __name__ == "__main__":
    main()
