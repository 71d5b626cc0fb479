"""The part of a portal that asks the person, with the person's answers given by a test.

Stands behind the real front end as org.freedesktop.impl.portal.desktop.scripted and casts through
the compositor's own means: mutter's interface or, with an argument "wlroots", the compositor's real
portal backend. Locks the screen as GNOME does, as far as programs see that.

Each line of standard input is a command and is answered with "ok":
  speak full|gnome43|gnome45|kde527|wlr07|hyprland   what of each stream is told
  answer grant|cancel|fail|hold             what the person does; "hold" leaves the dialog open
  decide grant|cancel|fail                  what the person does in the dialog that is open
  pick all|INDEX…|window|workspace          what is chosen
  order listed|reversed                     how the streams are sorted
  token on|off                              whether a grant can be renewed
  renew silently|asking                     whether a renewal shows a dialog
  close                                     ends every session
  drop INDEX                                ends one stream; the session stays
  lock closed|active MILLISECONDS           what comes first, and how long before the other
  unlock
  layout swap|one|two                       of two monitors of mutter's
Other lines of standard output are what happens: a word, then details as JSON.
"""
import json
import os
import sys

from dialects import facts_of, types_of, version_of
from mutter_casts import MutterMonitors
from portal_bus import (BUS, CANCELLED, CAST, FAILED, GRANTED, INTERFACES, PATH, REQUEST, Gio, GLib,
                        tell)
from portal_sessions import Grant, Session
from screen_saver import NAME as SCREEN_SAVER
from screen_saver import ScreenSaver
from wlroots_casts import WlrootsMonitors

NAME = "org.freedesktop.impl.portal.desktop.scripted"


class Portal:
    def __init__(self, monitors):
        self.monitors = monitors
        self.sessions = {}
        self.has_token = True
        self.is_reversed = False
        self._dialect = "full"
        self._answer = "grant"
        self._pick = ("all",)
        self._is_renewal_silent = True
        # The dialog that is open: what answers it.
        self._dialog = None
        BUS.register_object(PATH, INTERFACES.lookup_interface(CAST), self._called,
                            self._property, None)
        self._saver = ScreenSaver(self.do_close)

    def _property(self, _bus, _sender, _path, _interface, name):
        return GLib.Variant("u", {"AvailableSourceTypes": types_of(self._dialect),
                                  "AvailableCursorModes": 7,
                                  "version": version_of(self._dialect)}[name])

    def _called(self, _bus, _sender, _path, _interface, method, arguments, invocation):
        request, path, *_, options = arguments.unpack()
        if method == "CreateSession":
            self.sessions[path] = Session(self, path)
            tell("created")
            invocation.return_value(GLib.Variant("(ua{sv})", (GRANTED, {})))
        elif method == "SelectSources":
            self.sessions[path].options = options
            tell("selected", {name: value for name, value in options.items()
                              if name != "restore_data"} | {
                                  "renews": "restore_data" in options})
            invocation.return_value(GLib.Variant("(ua{sv})", (GRANTED, {})))
        else:
            self._start(request, self.sessions[path], invocation)

    def _start(self, request, session, invocation):
        known = session.options.get("restore_data")
        if known and self._is_renewal_silent and not self._saver.is_locked:
            parts = json.loads(known[2])
            if all(part["kind"] != "monitor" or part["connector"] in self.monitors.connectors()
                   for part in parts):
                tell("renewed")
                Grant(session, parts, invocation)
                return
        # Shown before it is told: what a test does then may close the dialog at once.
        self._show_dialog(request, session, invocation)
        tell("asked", {"locked": self._saver.is_locked})
        if self._answer != "hold" and not self._saver.is_locked:
            self._decide(self._answer)

    def _show_dialog(self, request, session, invocation):
        def dismissed(_bus, _sender, _path, _interface, _method, _arguments, closing):
            closing.return_value(None)
            if self._dialog is not None:
                tell("dismissed")
                self._decide("fail")

        shown = BUS.register_object(request, INTERFACES.lookup_interface(REQUEST), dismissed,
                                    None, None)
        self._dialog = (shown, session, invocation)

    def _decide(self, decision):
        shown, session, invocation = self._dialog
        self._dialog = None
        BUS.unregister_object(shown)
        if decision == "grant":
            Grant(session, self._parts(session.options), invocation)
            return
        status = CANCELLED if decision == "cancel" else FAILED
        invocation.return_value(GLib.Variant("(ua{sv})", (status, {})))

    def _parts(self, options):
        if self._pick == ("window",):
            return [{"kind": "window", "place": (40, 30, 320, 200)}]
        if self._pick == ("workspace",):
            return [{"kind": "workspace", "place": self.monitors.place_of_all()}]
        connectors = self.monitors.connectors()
        chosen = (range(len(connectors)) if self._pick == ("all",)
                  else [int(index) for index in self._pick])
        parts = [{"kind": "monitor", "connector": connectors[index]} for index in chosen]
        return parts if options.get("multiple") else parts[:1]

    def described(self, index, part, position, size):
        return facts_of(self._dialect, index, part, position, size)

    def cast_ended(self, cast):
        """A monitor went, or changed its place: as GNOME does, that ends its session."""
        for session in list(self.sessions.values()):
            if cast in session.casts:
                tell("ended")
                session.end(is_told=True)

    def obey(self, verb, words):
        getattr(self, f"do_{verb}")(*words)

    def do_speak(self, dialect):
        self._dialect = dialect

    def do_answer(self, answer):
        self._answer = answer

    def do_decide(self, decision):
        self._decide(decision)

    def do_pick(self, *what):
        self._pick = what

    def do_order(self, how):
        self.is_reversed = how == "reversed"

    def do_token(self, how):
        self.has_token = how == "on"

    def do_renew(self, how):
        self._is_renewal_silent = how == "silently"

    def do_close(self):
        for session in list(self.sessions.values()):
            session.end(is_told=True)

    def do_drop(self, index):
        for session in self.sessions.values():
            session.casts[int(index)].stop()

    def do_lock(self, first, milliseconds):
        self._saver.lock(first, milliseconds)

    def do_unlock(self):
        self._saver.unlock()

    def do_layout(self, how):
        self.monitors.arrange(how)


def main():
    portal = Portal(WlrootsMonitors() if sys.argv[1:] == ["wlroots"] else MutterMonitors())
    loop = GLib.MainLoop()
    unread = bytearray()

    def heard(descriptor, _condition):
        # Not by way of a buffered file: a line that waits in its buffer wakes nobody.
        received = os.read(descriptor, 4096)
        if not received:
            loop.quit()
            return False
        unread.extend(received)
        while b"\n" in unread:
            line, _, rest = bytes(unread).partition(b"\n")
            unread[:] = rest
            verb, *words = line.decode().split()
            portal.obey(verb, words)
            print("ok", flush=True)
        return True

    GLib.unix_fd_add_full(GLib.PRIORITY_DEFAULT, 0, GLib.IOCondition.IN, heard)
    for name in (SCREEN_SAVER, NAME):
        Gio.bus_own_name_on_connection(BUS, name, Gio.BusNameOwnerFlags.NONE, None, None)
    loop.run()


if __name__ == "__main__":
    main()
