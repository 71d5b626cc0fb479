#!/usr/bin/python3
"""Uses the host on KDE: use_kde.py [--reference-only]

Both questions are answered and each monitor's colour is served, though the outputs are of one size and the
portal tells nothing else: through a lock, a rotation, a scale and the end of one output, until the person
ends the sharing in the tray.
"""
import json
import os
import subprocess
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402
from PIL import Image  # noqa: E402

import dialogs
import pipewire
from host import COLOURS, PICTURES, Host, look_as_another_program, unlock_session
from waiting import await_, found

DIALOG = "xdg-desktop-portal-kde"
CONNECTORS = dict(zip(COLOURS, os.environ["MONITORS"].split()[::3]))
RESTORE = "Allow restoring on future sessions"
WATCHER = "org.kde.StatusNotifierWatcher"
TRAY = "org.kde.StatusNotifierHost-proof"
SPACE_KEY = "57"


def tell_outputs(word):
    """What kscreen-doctor writes, or nothing where it has waited in vain, which happens to it."""
    try:
        return subprocess.run(["kscreen-doctor", word], check=True, capture_output=True,
                              timeout=20).stdout
    except subprocess.TimeoutExpired:
        return None


class Person:
    """Someone at the machine."""

    def __init__(self):
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        # Whoever shows the tray: where nobody does, there is no symbol.
        Gio.bus_own_name_on_connection(self._bus, TRAY, 0, None, None)
        self._call(WATCHER, "/StatusNotifierWatcher", "RegisterStatusNotifierHost",
                   GLib.Variant("(s)", (TRAY,)))

    def share_everything(self, is_restorable=True):
        for name in COLOURS:
            self._tick(CONNECTORS[name], True)
        self._tick(RESTORE, is_restorable)
        self.take_picture("dialog")
        dialogs.press(DIALOG, "Share")

    def _tick(self, name, is_ticked):
        box = dialogs.part(DIALOG, name, ("check box",))

        def is_so():
            return dialogs.is_in(box, dialogs.State.CHECKED) == is_ticked

        if not is_so():
            found("the dialog has the keyboard", self._has_keyboard)
            dialogs.act(box, "SetFocus")
            found(f"{name} has the focus", lambda: dialogs.is_in(box, dialogs.State.FOCUSED))
            subprocess.run([os.environ["KEYBOARD"], SPACE_KEY], check=True)
            found(f"{name} has the tick that it must have", is_so)

    def _has_keyboard(self):
        return any(dialogs.is_in(each, dialogs.State.ACTIVE) for each in dialogs.parts_of(DIALOG))

    def is_asked(self):
        return dialogs.is_shown(DIALOG)

    def lock(self):
        self._call("org.freedesktop.ScreenSaver", "/ScreenSaver", "Lock")
        await_("locked", self._is_locked)

    def unlock(self):
        unlock_session()
        await_("not locked", lambda: not self._is_locked())

    def _is_locked(self):
        return self._call("org.freedesktop.ScreenSaver", "/ScreenSaver", "GetActive")[0]

    def set_output(self, name, what):
        found(f"{name} gets {what}",
              lambda: tell_outputs(f"output.{CONNECTORS[name]}.{what}") is not None)

    def has_outputs(self, count):
        told = json.loads(tell_outputs("-j") or '{"outputs": []}')
        return sum(output["enabled"] for output in told["outputs"]) == count

    def symbol(self):
        """The sharing's symbol in the tray, by its program's name on the bus."""
        items, = self._call(WATCHER, "/StatusNotifierWatcher", "Get", GLib.Variant(
            "(ss)", (WATCHER, "RegisteredStatusNotifierItems")), "org.freedesktop.DBus.Properties")
        return items[0].partition("/")[0] if items else None

    def end_sharing(self):
        """By the menu of that symbol."""
        path, menu = "/MenuBar", "com.canonical.dbusmenu"
        symbol = self.symbol()
        _, (_, _, entries) = self._call(symbol, path, "GetLayout", GLib.Variant(
            "(iias)", (0, -1, [])), menu)
        number = next(entry[0] for entry in entries if entry[1].get("label") == "End")
        self._call(symbol, path, "Event", GLib.Variant(
            "(isvu)", (number, "clicked", GLib.Variant("s", ""), 0)), menu)

    def take_picture(self, moment):
        reading, writing = os.pipe()
        descriptors = Gio.UnixFDList()
        descriptors.append(writing)
        os.close(writing)
        facts, _ = self._bus.call_with_unix_fd_list_sync(
            "org.kde.KWin.ScreenShot2", "/org/kde/KWin/ScreenShot2", "org.kde.KWin.ScreenShot2",
            "CaptureWorkspace", GLib.Variant("(a{sv}h)", ({}, 0)), None, 0, 60_000, descriptors,
            None)
        descriptors = None
        facts, = facts.unpack()
        with os.fdopen(reading, "rb") as pixels:
            picture = Image.frombuffer("RGB", (facts["width"], facts["height"]), pixels.read(),
                                       "raw", "BGRX", facts["stride"])
        picture.save(f"{PICTURES}/{moment}.png")

    def _call(self, name, path, method, arguments=None, interface=None):
        return self._bus.call_sync(name, path, interface or name, method, arguments, None, 0,
                                   60_000, None).unpack()


def use_host(person):
    names = set(COLOURS)
    host = Host(person.share_everything)
    await_("each monitor is served in its colour", lambda: host.shows(names))
    host.keep_pictures("shared")
    pipewire.restart()
    await_("served after PipeWire has restarted", lambda: host.shows(names))
    assert not person.is_asked()
    host.survives_idle_stop(names)

    person.lock()
    await_("the lock screen is served", lambda: host.shows_something_else(names))
    host.keep_pictures("locked")
    person.unlock()
    await_("served after the unlock", lambda: host.shows(names))

    first, second = COLOURS
    person.set_output(first, "rotation.left")
    # KWin casts a virtual output that stands upright as black, to every program.
    await_("served upright", lambda: host.lists(names) and host.size(first) == (720, 1280) and
           host.shows_shape(first))
    host.keep_pictures("upright")
    for turn in ("rotation.none", "scale.2", "scale.1"):
        person.set_output(first, turn)
        await_(f"served after {turn}",
               lambda: host.size(first) == (1280, 720) and host.shows(names))
        host.keep_pictures(turn)

    person.set_output(second, "disable")
    # Its window is on the other one until it has closed, and again when it opens.
    await_("an output that goes is not listed, and the other one is served",
           lambda: host.shows({first}, may_mix=True))
    person.set_output(second, "enable")
    await_("an output that comes is not listed", lambda: person.has_outputs(2) and
           host.shows({first}, may_mix=True))

    assert host.is_stopped_for_good(person.end_sharing) and not person.is_asked()
    host.end()


def end_with_outputs(person, is_restorable):
    """A session's end just after a change of the outputs: it counts as the change's, which the tick in
    the dialog lets the host get over."""
    names = set(COLOURS)
    host = Host(lambda: person.share_everything(is_restorable))
    await_("each monitor is served in its colour", lambda: host.shows(names))
    symbol = person.symbol()
    person.set_output(next(iter(COLOURS)), "scale.2" if is_restorable else "scale.1")
    person.end_sharing()
    if is_restorable:
        await_("another session begins", lambda: person.symbol() not in (symbol, None))
        await_("served by it", lambda: host.shows(names))
    else:
        await_("nothing is listed without the tick", lambda: host.displays() == [])
    assert not person.is_asked()
    host.end()
    await_("the sharing is over", lambda: person.symbol() is None)


def main():
    person = Person()
    look_as_another_program(person.share_everything, COLOURS)
    if "--reference-only" not in sys.argv:
        use_host(person)
        for is_restorable in (True, False):
            end_with_outputs(person, is_restorable)
    print("KDE: everything was as it must be", flush=True)


if __name__ == "__main__":
    main()
