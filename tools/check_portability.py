#!/usr/bin/env python3
"""Finds what the portable sources may not use: what macOS 13 lacks, and what is of one platform.

Usage: check_portability.py [ROOT]. Looks at core/ and app/ outside linux/ and mac/. Prints each
place and exits with 1. The rules:
  library   a piece of the standard library that macOS 13's has not, or only behind a switch
  platform  a preprocessor condition on a platform: that belongs into linux/ or mac/
"""
import pathlib
import re
import sys

STRING_OR_COMMENT = re.compile(
    r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])\'', re.DOTALL)
LIBRARY = re.compile(
    r"\bstd::(?:jthread|stop_(?:token|source|callback)|v?format(?:_to(?:_n)?|ted_size)?\b"
    r"|o?syncstream|basic_o?syncstream|pmr\b|move_only_function|expected|unexpected|print(?:ln)?\b"
    r"|atomic\s*<\s*std::(?:shared|weak)_ptr"
    r"|chrono::(?:utc_clock|tai_clock|gps_clock|zoned_time|time_zone|parse|current_zone))"
    r"|^[ \t]*#[ \t]*include[ \t]*<(?:format|stop_token|syncstream|memory_resource|expected|print"
    r"|generator|mdspan|flat_map|stacktrace)>", re.MULTILINE)
PLATFORM = re.compile(
    r"^[ \t]*#[ \t]*(?:if|ifdef|ifndef|elif)\b[^\n]*"
    r"(?:__APPLE__|__MACH__|__OBJC__|__linux__|__gnu_linux__|__unix__|_WIN32|TARGET_OS_)",
    re.MULTILINE)
PLATFORM_FOLDERS = {"linux", "mac"}


def blank(match):
    return re.sub(r"[^\n]", " ", match.group())


def findings(text):
    text = STRING_OR_COMMENT.sub(blank, text)
    for rule, pattern in (("library", LIBRARY), ("platform", PLATFORM)):
        for match in pattern.finditer(text):
            yield match.start() + len(match.group()) - len(match.group().lstrip()), rule


def problems(root):
    root = pathlib.Path(root)
    for top in ("core", "app"):
        for file in sorted((root / top).rglob("*")):
            folders = file.relative_to(root).parts[:-1]
            if file.suffix in (".h", ".cpp") and not PLATFORM_FOLDERS & set(folders):
                text = file.read_text(encoding="utf-8")
                for offset, rule in sorted(findings(text)):
                    line = text.count("\n", 0, offset) + 1
                    yield f"{file.relative_to(root).as_posix()}:{line}: {rule}"


def main():
    found = list(problems(sys.argv[1] if len(sys.argv) > 1 else "."))
    print("\n".join(found) if found else "the portable sources use nothing that macOS 13 lacks")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
