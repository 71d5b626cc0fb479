#!/usr/bin/env python3
"""Makes the picture docs/watch.png: what the operator's program shows in a terminal.

Usage: sudo tools/watch_picture.py [BUILD_FOLDER]. Runs foot in sway without a screen; the picture that
is watched is docs/frame.jpg, which a host made. In a network and with names of its own.
Needs: scripts/packages build test
"""
import os
import pathlib
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build" / "test").resolve()
sys.path.insert(0, str(ROOT / "tests" / "viewerctl"))
from screens import WaylandScreen  # noqa: E402
from scripted_host import ScriptedHost, answer, serving  # noqa: E402

HOST, PORT = "studio", 9090
DISPLAYS = ("editor", "DELL U2720Q"), ("wall", "EIZO EV2495")
LABEL = "7c1f0b6a2d9e48d3a5f6e0c4b8127d39-52e8a1c07f3b4d96b0d4c9e21a6f835b-1482"
SIZE = 760, 520
SETTLED = 4  # seconds, until the picture has an age worth telling


def enter_own_names():
    """Runs this anew where nobody else has the host's port and the host's name is known."""
    os.environ["WATCH_PICTURE_IS_ALONE"] = "1"
    script = (f'ip link set lo up; names=$(mktemp); echo "127.0.0.1 {HOST}" >"$names"; '
              'chmod 644 "$names"; mount --bind "$names" /etc/hosts; rm "$names"; exec "$@"')
    os.execvp("unshare", ["unshare", "--net", "--mount", "sh", "-ec", script, "sh", sys.executable,
                          *sys.argv])


def main():
    frame = answer((ROOT / "docs" / "frame.jpg").read_bytes(), kind="image/jpeg", label=LABEL)
    host = ScriptedHost(serving(*DISPLAYS, machine="Studio 2", frame=lambda target: frame),
                        port=PORT)
    screen = WaylandScreen({"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}, [
        "foot", "--font=monospace:size=9", "--override=colors.background=101418",
        BUILD / "bin" / "velmora-viewerctl", "watch", HOST], size=SIZE)
    try:
        while not host.requests:
            time.sleep(0.05)
        time.sleep(SETTLED)
        # A terminal that is told sixels has few colours anyway.
        subprocess.run(["ffmpeg", "-loglevel", "error", "-y", "-f", "image2pipe", "-i", "-", "-vf",
                        "split[a][b];[a]palettegen=max_colors=128[p];[b][p]paletteuse=dither=none",
                        "-pred", "mixed", ROOT / "docs" / "watch.png"], check=True,
                       input=screen.taken("-l", "0"))
    finally:
        screen.close()
        host.close()


if __name__ == "__main__":
    if "WATCH_PICTURE_IS_ALONE" not in os.environ:
        enter_own_names()
    main()
