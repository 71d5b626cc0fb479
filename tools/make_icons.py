#!/usr/bin/env python3
"""Makes the icons of every size in packaging from packaging/icons/viewer_host.svg.

Usage: tools/make_icons.py. Needs rsvg-convert (Debian's librsvg2-bin).
"""
import pathlib
import struct
import subprocess

PACKAGING = pathlib.Path(__file__).resolve().parents[1] / "packaging"
DRAWING = PACKAGING / "icons" / "viewer_host.svg"
# The sizes that desktops on Linux look for.
SIZES = (16, 24, 32, 48, 64, 128, 256, 512)
# macOS's names for pictures of 128 to 1024 pixels, and of 16 to 512 at twice their size.
MAC_SIZES = {b"ic07": 128, b"ic08": 256, b"ic09": 512, b"ic10": 1024,
             b"ic11": 32, b"ic12": 64, b"ic13": 256, b"ic14": 512}


def picture(size):
    """The drawing as a PNG of that many pixels a side."""
    return subprocess.run(["rsvg-convert", f"--width={size}", f"--height={size}", DRAWING],
                          check=True, stdout=subprocess.PIPE).stdout


def block(name, content):
    """A part of macOS's format: its name, the length of all of it, its content."""
    return name + struct.pack(">I", len(content) + 8) + content


def main():
    for size in SIZES:
        (PACKAGING / "icons" / f"{size}.png").write_bytes(picture(size))
    pictures = b"".join(block(name, picture(size)) for name, size in MAC_SIZES.items())
    (PACKAGING / "macos" / "VelmoraViewerHost.icns").write_bytes(block(b"icns", pictures))


if __name__ == "__main__":
    main()
