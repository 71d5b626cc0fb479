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

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
CAST = "org.freedesktop.portal.ScreenCast"
BUS = Gio.bus_get_sync(Gio.BusType.SESSION, None)


def answer_of(method, signature, *arguments, **options):
    """Calls a method that answers by a signal of its request."""
    loop = GLib.MainLoop()
    answers = []
    token = method.lower()
    sender = BUS.get_unique_name()[1:].replace(".", "_")
    request = f"/org/freedesktop/portal/desktop/request/{sender}/{token}"

    def answered(*signal):
        answers.append(signal[5].unpack())
        loop.quit()

    BUS.signal_subscribe(NAME, "org.freedesktop.portal.Request", "Response", request, None, 0,
                         answered)
    options["handle_token"] = GLib.Variant("s", token)
    BUS.call_sync(NAME, PATH, CAST, method, GLib.Variant(signature, (*arguments, options)), None,
                  0, 60_000, None)
    if not answers:
        loop.run()
    status, result = answers[0]
    if status != 0:
        print("[]")
        sys.exit(status)
    return result


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
    session = answer_of("CreateSession", "(a{sv})",
                        session_handle_token=GLib.Variant("s", "session"))["session_handle"]
    answer_of("SelectSources", "(oa{sv})", session, types=GLib.Variant("u", 1),
              multiple=GLib.Variant("b", True), cursor_mode=GLib.Variant("u", 1),
              persist_mode=GLib.Variant("u", 1))
    granted = answer_of("Start", "(osa{sv})", session, "")
    seen = []
    for node, facts in granted["streams"]:
        _, descriptors = BUS.call_with_unix_fd_list_sync(
            NAME, PATH, CAST, "OpenPipeWireRemote", GLib.Variant("(oa{sv})", (session, {})), None,
            0, 5_000, None, None)
        remote = descriptors.get(0)
        width, height, pixels = frame_of(remote, node)
        os.close(remote)
        seen.append({"facts": facts, "width": width, "height": height,
                     "colours": colours(width, height, pixels)})
    print(json.dumps(seen))


if __name__ == "__main__":
    main()
