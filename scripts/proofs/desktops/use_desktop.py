#!/usr/bin/python3
"""Uses the host on a real desktop: use_desktop.py gnome|sway [--reference-only|--host-only]

First another program asks the portal and takes a frame of each stream; that shows that the desktop
works. Then the host: both of its questions are answered, its displays and their colours looked at,
again after an idle stop, and on GNOME through a lock and a change of the layout without a question.
"""
import io
import json
import os
import signal
import subprocess
import sys
import time
import urllib.error
import urllib.parse
import urllib.request

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

import dialogs  # noqa: E402

SOURCES = os.path.realpath(os.path.join(os.path.dirname(__file__), "../../.."))
PROGRAMS = SOURCES + "/build/prove/bin"
HOST = "http://localhost:9090/viewer/v1/"
COLOURS = ((0xc0, 0x20, 0x20), (0x20, 0xc0, 0x20))
# Colours survive JPEG within this much a channel.
TOLERANCE = 6
PATIENCE = 30.0
IDLE_STOP = 6.0


def await_(what, holds):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if holds():
            print(f"  {what}", flush=True)
            return
        time.sleep(0.05)
    raise TimeoutError(f"not so: {what}")


def is_near(seen, colour):
    return all(abs(a - b) <= TOLERANCE for a, b in zip(seen, colour))


def look_as_another_program(dialog, count):
    program = subprocess.Popen(
        ["/usr/bin/python3", "-W", "ignore", SOURCES + "/tests/support/desktop/portal_frames.py"],
        stdout=subprocess.PIPE, text=True)
    dialog.share(count)
    told, _ = program.communicate(timeout=60)
    streams = json.loads(told)
    seen = [tuple(bytes.fromhex(stream["colours"][2])) for stream in streams]
    print("another program sees", [(stream["facts"], stream["width"], stream["height"],
                                    stream["colours"]) for stream in streams], flush=True)
    assert sorted(seen) == sorted(COLOURS[:count]), seen


class Host:
    def __init__(self, dialog, count):
        self._dialog = dialog
        self._process = subprocess.Popen([PROGRAMS + "/VelmoraViewerHost"],
                                         stdout=subprocess.PIPE, text=True)
        dialogs.press("VelmoraViewerHostAlert", "Continue")
        dialog.share(count)
        line = self._process.stdout.readline()
        assert line == "Velmora Viewer Host protocol v1 listening on TCP 9090\n", line

    def displays(self):
        with urllib.request.urlopen(HOST + "displays", timeout=PATIENCE) as answer:
            return json.load(answer)["displays"]

    def colour(self, identifier):
        """Of the middle of the display's newest frame; nothing where there is none."""
        from PIL import Image
        query = urllib.parse.urlencode({"id": identifier})
        try:
            with urllib.request.urlopen(f"{HOST}frame?{query}", timeout=PATIENCE) as answer:
                picture = Image.open(io.BytesIO(answer.read())).convert("RGB")
        except urllib.error.HTTPError as error:
            assert error.code in (404, 503), error.code
            return None
        return picture.getpixel((picture.width // 2, picture.height // 2))

    def shows(self, of_ids):
        """Whether each display shows its colour; another one's is a fault at once."""
        seen = {identifier: self.colour(identifier) for identifier in of_ids}
        for identifier, colour in seen.items():
            others = [other for other in COLOURS if other != of_ids[identifier]]
            assert colour is None or not any(is_near(colour, other) for other in others), seen
        return all(colour and is_near(colour, of_ids[identifier])
                   for identifier, colour in seen.items())

    def is_refused(self, of_ids):
        return all(self.colour(identifier) is None for identifier in of_ids)

    def asks(self):
        return bool(self._dialog.program) and dialogs.is_shown(self._dialog.program)

    def end(self):
        self._process.send_signal(signal.SIGTERM)
        status = self._process.wait(PATIENCE)
        assert status == 0, status


class Gnome:
    """What a person at the machine does."""

    def __init__(self):
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)

    def _call(self, name, path, method, arguments=None):
        return self._bus.call_sync(name, path, name, method, arguments, None, 0, 10_000,
                                   None).unpack()

    def set_locked(self, is_locked):
        self._call("org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "SetActive",
                   GLib.Variant("(b)", (is_locked,)))
        await_(f"locked is {is_locked}", lambda: self._call(
            "org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "GetActive")[0] == is_locked)

    def swap_monitors(self):
        name, path = "org.gnome.Mutter.DisplayConfig", "/org/gnome/Mutter/DisplayConfig"
        serial, monitors, *_ = self._call(name, path, "GetCurrentState")
        modes = sorted((monitor[0][0], monitor[1][0]) for monitor in monitors)
        (first, first_mode), (second, second_mode) = modes
        temporarily = 1
        arrangement = [(second_mode[1], 0, 1.0, 0, True, [(first, first_mode[0], {})]),
                       (0, 0, 1.0, 0, False, [(second, second_mode[0], {})])]
        self._call(name, path, "ApplyMonitorsConfig", GLib.Variant(
            "(uua(iiduba(ssa{sv}))a{sv})", (serial, temporarily, arrangement, {})))


def use_host(desktop, dialog, count):
    host = Host(dialog, count)
    displays = host.displays()
    print("listed", displays, flush=True)
    assert len(displays) == count, displays
    of_ids = {display["id"]: next(colour for colour in COLOURS
                                  if is_near(host.colour(display["id"]) or (0, 0, 0), colour))
              for display in displays}
    assert sorted(of_ids.values()) == sorted(COLOURS[:count]), of_ids
    time.sleep(IDLE_STOP)
    await_("served again after an idle stop", lambda: host.shows(of_ids))
    if desktop == "gnome":
        person = Gnome()
        person.set_locked(True)
        await_("refused while locked", lambda: host.is_refused(of_ids))
        person.set_locked(False)
        await_("served after the unlock", lambda: host.shows(of_ids))
        person.swap_monitors()
        await_("served after a change of the layout", lambda: host.shows(of_ids))
        assert not host.asks()
    host.end()


def main():
    desktop = sys.argv[1]
    dialog = dialogs.DIALOGS[desktop]()
    count = 1 if desktop == "sway" else 2
    if "--host-only" not in sys.argv:
        look_as_another_program(dialog, count)
    if "--reference-only" not in sys.argv:
        use_host(desktop, dialog, count)
    print(f"{desktop}: everything was as it must be", flush=True)


if __name__ == "__main__":
    main()
