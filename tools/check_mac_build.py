#!/usr/bin/env python3
"""Checks the macOS application where there is no macOS.

Usage: check_mac_build.py [ROOT]. Configures the build for macOS and looks at all that it would do:
  * every source that belongs to it is in it, and nothing of Linux's;
  * every source passes the compiler with the build's own warnings: portable ones against libc++
    without what macOS 13 lacks, Objective-C++ with ARC against the declarations in tests/mac/frameworks;
  * the bundle is laid out, described, signed and installed as it has to be.
Prints what is wrong and exits with 1. Needs clang 19 and its libc++.
"""
import concurrent.futures
import json
import os
import pathlib
import plistlib
import shlex
import subprocess
import sys
import tempfile

BUNDLE = "VelmoraViewerHost.app"
EXECUTABLE = f"bin/{BUNDLE}/Contents/MacOS/VelmoraViewerHost"
ICON = f"bin/{BUNDLE}/Contents/Resources/VelmoraViewerHost.icns"
# What the description must say. Versions come from the project.
DESCRIPTION = {
    "CFBundleDevelopmentRegion": "en",
    "CFBundleExecutable": "VelmoraViewerHost",
    "CFBundleIconFile": "VelmoraViewerHost.icns",
    "CFBundleIdentifier": "com.quilmer.velmora.viewer-host",
    "CFBundleInfoDictionaryVersion": "6.0",
    "CFBundleLocalizations": ["en", "ru"],
    "CFBundleName": "Velmora Viewer Host",
    "CFBundlePackageType": "APPL",
    "LSMinimumSystemVersion": "13.0",
    "LSUIElement": True,
    "NSHighResolutionCapable": True,
    "NSPrincipalClass": "NSApplication",
}
VERSIONS = ("CFBundleShortVersionString", "CFBundleVersion")
# Of a command of the build: options with a value that have no meaning here, and such without.
DROPPED_WITH_VALUE = ("-o", "-isystem", "-isysroot", "-arch")
DROPPED = ("-c", "-mmacosx-version-min")


def expected_sources(root):
    """The sources of the macOS application: portable ones, and its own."""
    for top in ("core", "app"):
        for file in sorted((root / top).rglob("*")):
            folders = file.relative_to(root).parts[:-1]
            is_source = file.suffix == ".mm" if "mac" in folders else file.suffix == ".cpp"
            if is_source and "linux" not in folders:
                yield file.relative_to(root).as_posix()


def source_problems(root, compiled):
    expected = set(expected_sources(root))
    for source in sorted(expected - set(compiled)):
        yield f"{source}: is not in the build for macOS"
    for source in sorted(set(compiled) - expected):
        yield f"{source}: does not belong into the build for macOS"


def check_command(root, command):
    """The build's command, changed so that it only checks, on this system."""
    arguments = iter(shlex.split(command))
    kept = [next(arguments)]
    for argument in arguments:
        if argument in DROPPED_WITH_VALUE:
            next(arguments)
        elif not argument.startswith(DROPPED):
            kept.append(argument)
    own = ["-fsyntax-only", "-stdlib=libc++"]
    if "objective-c++" in kept:
        own += ["-isystem", str(root / "tests/mac/frameworks/include"), "-fobjc-runtime=macosx-13.0",
                "-fblocks"]
    else:
        own += ["-include", str(root / "tests/tools/MacOS13.h")]
    return kept[:-1] + own + kept[-1:]


def compiler_findings(root, commands):
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for result in pool.map(
                lambda command: subprocess.run(check_command(root, command), cwd=root,
                                               capture_output=True, text=True), commands):
            if result.returncode != 0 or result.stderr:
                yield result.stderr.rstrip() or f"{result.args[0]}: {result.returncode}"


def description_problems(description):
    for key, value in DESCRIPTION.items():
        if description.get(key) != value:
            yield f"Info.plist: {key} is {description.get(key)!r}, not {value!r}"
    for key in VERSIONS:
        if not str(description.get(key, "")).replace(".", "").isdigit():
            yield f"Info.plist: {key} is {description.get(key)!r}, no version"
    for key in sorted(set(description) - set(DESCRIPTION) - set(VERSIONS)):
        yield f"Info.plist: {key} is not known here"


def signature_problems(executable_query):
    """The step that links the application signs it. It is given as `ninja -t query` tells it."""
    inputs = executable_query.partition("outputs:")[0]
    if f"{BUNDLE}/Contents/Info.plist" not in inputs:
        yield "signature: a changed Info.plist is not signed again"


def launch_agent_problems(agent, description):
    """The agent that starts the application at login knows it by name and place."""
    executable = f"/Applications/{BUNDLE}/Contents/MacOS/{description.get('CFBundleExecutable')}"
    if agent.get("Label") != description.get("CFBundleIdentifier"):
        yield f"launch agent: Label is {agent.get('Label')!r}"
    if agent.get("ProgramArguments") != [executable]:
        yield f"launch agent: ProgramArguments is {agent.get('ProgramArguments')!r}"
    if agent.get("AssociatedBundleIdentifiers") != description.get("CFBundleIdentifier"):
        yield "launch agent: Login Items would show it under another name"
    if agent.get("ProcessType") != "Interactive":
        yield "launch agent: the system would slow it down"
    if agent.get("KeepAlive") != {"SuccessfulExit": False}:
        yield "launch agent: it must not start again what was quit"


def installed_files(build, prefix):
    """What is installed where, with an executable that is none."""
    executable = build / EXECUTABLE
    executable.parent.mkdir(parents=True, exist_ok=True)
    executable.touch()
    subprocess.run(["ninja", "-C", str(build), ICON], check=True, capture_output=True, text=True)
    subprocess.run(["cmake", "--install", str(build), "--prefix", str(prefix)], check=True,
                   capture_output=True, text=True)
    return sorted(file.relative_to(prefix).as_posix() for file in prefix.rglob("*")
                  if file.is_file())


def layout_problems(files):
    expected = [f"{BUNDLE}/Contents/Info.plist", f"{BUNDLE}/Contents/MacOS/VelmoraViewerHost",
                f"{BUNDLE}/Contents/Resources/VelmoraViewerHost.icns"]
    if files != expected:
        yield f"installed are {files}, not {expected}"


def problems(root):
    root = pathlib.Path(root).resolve()
    with tempfile.TemporaryDirectory() as workspace:
        build = pathlib.Path(workspace, "build")
        configured = subprocess.run(
            ["cmake", "-S", str(root), "-B", str(build), "-G", "Ninja",
             f"-DCMAKE_TOOLCHAIN_FILE={root}/tests/tools/Darwin.cmake"],
            capture_output=True, text=True)
        if configured.returncode != 0:
            yield configured.stderr
            return
        entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
        compiled = [os.path.relpath(entry["file"], root) for entry in entries]
        yield from source_problems(root, compiled)
        yield from compiler_findings(root, [entry["command"] for entry in entries])
        yield from layout_problems(installed_files(build, pathlib.Path(workspace, "installed")))
        query = subprocess.run(["ninja", "-C", str(build), "-t", "query", EXECUTABLE], check=True,
                               capture_output=True, text=True)
        yield from signature_problems(query.stdout)
        description = plistlib.loads((build / "bin" / BUNDLE / "Contents/Info.plist").read_bytes())
        yield from description_problems(description)
        agent = root / "packaging/macos/com.quilmer.velmora.viewer-host.plist"
        yield from launch_agent_problems(plistlib.loads(agent.read_bytes()), description)


def main():
    found = list(problems(sys.argv[1] if len(sys.argv) > 1 else "."))
    print("\n".join(found) if found else "the macOS application is whole, as far as seen from here")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
