"""Looks at what a portal grants, as any program does: asks for every monitor, then takes one frame of
each stream with GStreamer.

Prints a JSON list of what was granted: each stream's facts, the width and height of its frame and the
colours of its corners and middle, RRGGBB. Ends with the portal's answer as its status.
"""
import json
import os
import subprocess
import sys
import tempfile

from portal_grant import PortalGrant, Refusal


def frame_of(remote, node):
    """Width, height and the bytes of a frame, 3 a pixel."""
    with tempfile.NamedTemporaryFile() as file:
        command = ["gst-launch-1.0", "-v", "pipewiresrc", f"fd={remote}", f"path={node}",
                   "num-buffers=1", "!", "videoconvert", "!", "video/x-raw,format=RGB", "!",
                   "filesink", f"location={file.name}"]
        told = subprocess.run(command, pass_fds=[remote], capture_output=True, text=True,
                              timeout=30, check=True).stdout
        caps = next(line for line in told.splitlines() if "GstFileSink" in line and "caps" in line)

        def number(field):
            return int(caps.split(f"{field}=(int)")[1].split(",")[0])

        return number("width"), number("height"), file.read()


def colours(width, height, pixels):
    stride = (width * 3 + 3) // 4 * 4

    def at(x, y):
        return pixels[y * stride + x * 3:y * stride + x * 3 + 3].hex()

    return [at(0, 0), at(width - 1, 0), at(width // 2, height // 2), at(0, height - 1),
            at(width - 1, height - 1)]


def main():
    try:
        grant = PortalGrant()
    except Refusal as refusal:
        print("[]")
        return refusal.status
    seen = []
    for node, facts in grant.streams:
        remote = grant.open_remote()
        width, height, pixels = frame_of(remote, node)
        os.close(remote)
        seen.append({"facts": facts, "width": width, "height": height,
                     "colours": colours(width, height, pixels)})
    print(json.dumps(seen))
    return 0


if __name__ == "__main__":
    sys.exit(main())
