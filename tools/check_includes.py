#!/usr/bin/env python3
"""Compares every include of ours with the edges that the architecture allows.

Usage: check_includes.py [ROOT]. Prints each include that is not allowed and exits with 1.
"""
import pathlib
import re
import sys

# A layer is a set of headers; it may include itself and the layers named behind it. The router asks
# the capture interfaces, which speak in records: so records and routing are two layers, although
# they share a folder.
ROUTING = {"core/protocol/ViewerHostRouter", "core/protocol/ViewerHostRouter.cpp"}
# The one piece of the runtime that stands on nothing.
CHECK = "core/runtime/ViewerCheck"
INTERFACES = {
    "core/coordination/ViewerHostCaptureSession",
    "core/coordination/ViewerHostCaptureSource",
    "core/coordination/ViewerHostFrameProviding",
}
ALLOWED = {
    "check": set(),
    "records": {"check"},
    "runtime": {"check"},
    "interfaces": {"check", "runtime", "records"},
    "routing": {"check", "runtime", "records", "interfaces"},
    "http": {"check", "runtime", "records", "interfaces", "routing"},
    "coordination": {"check", "runtime", "records", "interfaces"},
    "capture": {"check", "runtime", "records", "interfaces", "coordination"},
    "app": {"check", "runtime", "records", "interfaces", "routing", "http", "coordination",
            "capture"},
    # The operator's program knows the protocol alone.
    "viewerctl": {"records"},
}
# Platform code sees its own layer, the portable code that that layer sees, and of other platform
# code the runtime's alone; nothing portable sees platform code.
PLATFORM_FOLDERS = {"linux", "mac"}

INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s+"([^"]+)"', re.MULTILINE)


def layer(path):
    stem = re.sub(r"\.(h|cpp|mm)$", "", path)
    if stem == CHECK:
        return "check"
    if stem in ROUTING:
        return "routing"
    if stem in INTERFACES:
        return "interfaces"
    parts = path.split("/")
    if parts[0] in ("app", "viewerctl"):
        return parts[0]
    if parts[0] != "core" or len(parts) < 3:
        return None
    return {"protocol": "records"}.get(parts[1], parts[1])


def is_platform(path):
    return bool(PLATFORM_FOLDERS & set(path.split("/")[:-1]))


def problems(root):
    root = pathlib.Path(root)
    files = [f for top in ("core", "app", "viewerctl") for f in sorted((root / top).rglob("*"))
             if f.suffix in (".h", ".cpp", ".mm")]
    for file in files:
        source = file.relative_to(root).as_posix()
        own = layer(source)
        for include in INCLUDE.findall(file.read_text(encoding="utf-8")):
            target = layer(include)
            if target is None:
                yield f'{source}: "{include}" is not written from the root'
            elif target != own and target not in ALLOWED.get(own, set()):
                yield f'{source}: {own} may not include {target} ("{include}")'
            elif is_platform(include) and not is_platform(source):
                yield f'{source}: portable code may not include platform code ("{include}")'
            elif is_platform(include) and target not in (own, "runtime"):
                yield f'{source}: platform code of {target} belongs to {target} ("{include}")'


def main():
    found = list(problems(sys.argv[1] if len(sys.argv) > 1 else "."))
    print("\n".join(found) if found else "every include is an allowed edge")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
