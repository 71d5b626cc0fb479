#!/usr/bin/env python3
"""Compares the sources that git lists with those that a build folder compiles.

Usage: check_compiled.py FOLDER. Prints each source that has no command in FOLDER, so that no tool
that reads the commands passes it over, and exits with 1.
"""
import json
import os
import pathlib
import subprocess
import sys


def problems(folder, listed):
    commands = json.loads(pathlib.Path(folder, "compile_commands.json").read_text(encoding="utf-8"))
    compiled = {os.path.relpath(entry["file"]) for entry in commands}
    return [f"{source}: is not compiled in {folder}"
            for source in sorted(set(listed) - compiled)]


def main():
    listed = subprocess.run(["git", "ls-files", "*.cpp", "*.mm"], capture_output=True, text=True,
                            check=True).stdout.split()
    found = problems(sys.argv[1], listed)
    print("\n".join(found) if found else f"all {len(listed)} sources are compiled")
    return 1 if found or not listed else 0


if __name__ == "__main__":
    sys.exit(main())
