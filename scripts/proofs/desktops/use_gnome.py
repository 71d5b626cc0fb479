#!/usr/bin/python3
"""Uses the host on GNOME: use_gnome.py [--reference-only]

Both questions are answered and each monitor's colour is served, through a lock and a change of the
layout without another question, until the person stops sharing by the button in the shell's panel.
"""
import sys

import gi

gi.require_version("Atspi", "2.0")
gi.require_version("Gio", "2.0")
from gi.repository import Atspi, Gio, GLib  # noqa: E402

import dialogs
import pipewire
from host import COLOURS, PICTURES, Host, look_as_another_program, unlock_session
from waiting import await_, found

DIALOG = "xdg-desktop-portal-gnome"
SHELL = "gnome-shell"
LEFT_BUTTON = 0x110
SUPER_KEY = 125


class Person:
    """Someone at the machine."""

    def __init__(self):
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        # Only the desktop's own programs may take pictures of it.
        Gio.bus_own_name_on_connection(self._bus, "org.gnome.Screenshot", 0, None, None)

    def share_everything(self):
        """Chooses the monitors one after the other: they all have one name."""
        for index in range(len(COLOURS)):
            tile = found("a monitor to choose", lambda at=index: self._tile(at))
            if not dialogs.is_in(tile, dialogs.State.PRESSED):
                dialogs.act(tile)
                # It follows a quarter of a second later.
                found("a chosen monitor",
                      lambda one=tile: dialogs.is_in(one, dialogs.State.PRESSED))
        self.take_picture("dialog")
        dialogs.press(DIALOG, "Share")

    def _tile(self, index):
        tiles = [each for each in dialogs.parts_of(DIALOG)
                 if each.get_role_name() == "toggle button"]
        return tiles[index] if len(tiles) > index else None

    def is_asked(self):
        return dialogs.is_shown(DIALOG)

    def lock(self):
        self._call("org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "Lock")
        await_("locked", self._is_locked)

    def unlock(self):
        unlock_session()
        await_("not locked", lambda: not self._is_locked())

    def _is_locked(self):
        return self._call("org.gnome.ScreenSaver", "/org/gnome/ScreenSaver", "GetActive")[0]

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

    def stop_sharing(self):
        """Leaves the full screen, so that the panel shows, and clicks on its button."""
        name, path = "org.gnome.Mutter.RemoteDesktop", "/org/gnome/Mutter/RemoteDesktop"
        device, = self._call(name, path, "CreateSession")

        def use(method, arguments=None):
            self._call(name, device, method, arguments, name + ".Session")

        use("Start")
        for is_down in (True, False):
            use("NotifyKeyboardKeycode", GLib.Variant("(ub)", (SUPER_KEY, is_down)))
        button = dialogs.part(SHELL, "Stop Screen Sharing", dialogs.BUTTONS)
        self.take_picture("panel")
        place = button.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
        far = -100_000
        for x, y in ((far, far), (place.x + place.width / 2, place.y + place.height / 2)):
            use("NotifyPointerMotionRelative", GLib.Variant("(dd)", (x, y)))
        # That ends this device as well: it counts as one that sees the screen.
        use("NotifyPointerButton", GLib.Variant("(ib)", (LEFT_BUTTON, True)))

    def take_picture(self, moment):
        self._call("org.gnome.Shell.Screenshot", "/org/gnome/Shell/Screenshot", "Screenshot",
                   GLib.Variant("(bbs)", (False, False, f"{PICTURES}/{moment}.png")))

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
    await_("refused while locked", lambda: host.refuses(names))
    person.unlock()
    await_("served after the unlock", lambda: host.shows(names))
    assert not person.is_asked()

    person.swap_monitors()
    await_("served after a change of the layout", lambda: host.shows(names))
    host.keep_pictures("swapped")
    assert not person.is_asked()

    assert host.is_stopped_for_good(person.stop_sharing) and not person.is_asked()
    host.end()


def main():
    person = Person()
    look_as_another_program(person.share_everything, COLOURS)
    if "--reference-only" not in sys.argv:
        use_host(person)
    print("GNOME: everything was as it must be", flush=True)


if __name__ == "__main__":
    main()
