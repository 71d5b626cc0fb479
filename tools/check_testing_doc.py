#!/usr/bin/env python3
"""Compares the tests that docs/testing.md names with the tests there are.

Usage: check_testing_doc.py [ROOT]. A name is `Suite.Name` in backticks. Prints each one that is no
test under tests/ and exits with 1.
"""
import pathlib
import re
import sys

DOCUMENT = "docs/testing.md"
NAME = re.compile(r"`([A-Z]\w*\.[A-Z]\w*)`")
TEST = re.compile(r"^TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)


def tests(root):
    files = [file for pattern in ("*.cpp", "*.mm")
             for file in pathlib.Path(root, "tests").rglob(pattern)]
    return {f"{suite}.{name}" for file in files
            for suite, name in TEST.findall(file.read_text(encoding="utf-8"))}


def problems(root):
    lines = pathlib.Path(root, DOCUMENT).read_text(encoding="utf-8").splitlines()
    named = [(number, name) for number, line in enumerate(lines, 1) for name in NAME.findall(line)]
    if not named:
        yield f"{DOCUMENT}: names no test"
    there = tests(root)
    for number, name in named:
        if name not in there:
            yield f"{DOCUMENT}:{number}: there is no test {name}"


def main():
    found = list(problems(sys.argv[1] if len(sys.argv) > 1 else "."))
    print("\n".join(found) if found else f"every test that {DOCUMENT} names is there")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
