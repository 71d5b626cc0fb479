"""The part of a portal that asks the person, with the person's answers given by a test.

Stands behind the real front end as org.freedesktop.impl.portal.desktop.scripted and casts through
the compositor's own means: mutter's interface or, with an argument "wlroots", the compositor's real
portal backend, which knows one output a session. Locks the screen as GNOME does, as far as programs
see that.

Each line of standard input is a command and is answered with "ok":
  speak full|gnome43|gnome45|kde527|wlr07   what of each stream is told
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
  layout swap|one|two|scale                 of two monitors of mutter's
Other lines of standard output are what happens: a word, then details as JSON.
"""
import json
import os
import subprocess
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "org.freedesktop.impl.portal.desktop.scripted"
PATH = "/org/freedesktop/portal/desktop"
CAST = "org.freedesktop.impl.portal.ScreenCast"
SESSION = "org.freedesktop.impl.portal.Session"
REQUEST = "org.freedesktop.impl.portal.Request"
MUTTER = "org.gnome.Mutter.ScreenCast"
DISPLAYS = "org.gnome.Mutter.DisplayConfig"
WLROOTS = "org.freedesktop.impl.portal.desktop.wlr"
MONITOR, WINDOW = 1, 2
GRANTED, CANCELLED, FAILED = 0, 1, 2
CALL_LIMIT = 10_000

INTERFACES = Gio.DBusNodeInfo.new_for_xml("""<node>
<interface name="org.freedesktop.impl.portal.ScreenCast">
 <method name="CreateSession"><arg type="o" direction="in"/><arg type="o" direction="in"/>
  <arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/></method>
 <method name="SelectSources"><arg type="o" direction="in"/><arg type="o" direction="in"/>
  <arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/></method>
 <method name="Start"><arg type="o" direction="in"/><arg type="o" direction="in"/>
  <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
  <arg type="u" direction="out"/><arg type="a{sv}" direction="out"/></method>
 <property name="AvailableSourceTypes" type="u" access="read"/>
 <property name="AvailableCursorModes" type="u" access="read"/>
 <property name="version" type="u" access="read"/></interface>
<interface name="org.freedesktop.impl.portal.Session"><method name="Close"/>
 <signal name="Closed"/><property name="version" type="u" access="read"/></interface>
<interface name="org.freedesktop.impl.portal.Request"><method name="Close"/></interface>
<interface name="org.gnome.ScreenSaver"><method name="GetActive"><arg type="b" direction="out"/>
 </method><signal name="ActiveChanged"><arg type="b"/></signal></interface>
</node>""")
BUS = Gio.bus_get_sync(Gio.BusType.SESSION, None)


def tell(word, details=None):
    print(word, json.dumps(details), flush=True)


def call(owner, path, interface, method, arguments=None):
    return BUS.call_sync(owner, path, interface, method, arguments, None,
                         Gio.DBusCallFlags.NONE, CALL_LIMIT, None).unpack()


class MutterMonitors:
    """The monitors of a mutter, and casts of parts of its screen."""

    def state(self):
        return call(DISPLAYS, "/org/gnome/Mutter/DisplayConfig", DISPLAYS, "GetCurrentState")

    def connectors(self):
        _, monitors, logical_monitors, _ = self.state()
        shown = {monitor[0] for logical in logical_monitors for monitor in logical[5]}
        return sorted(monitor[0][0] for monitor in monitors if monitor[0][0] in shown)

    def place_of_all(self):
        _, monitors, logical_monitors, _ = self.state()
        modes = {monitor[0][0]: monitor[1][0] for monitor in monitors}
        right = bottom = 0
        for x, y, scale, _, _, shown, _ in logical_monitors:
            _, width, height, *_ = modes[shown[0][0]]
            right = max(right, x + round(width / scale))
            bottom = max(bottom, y + round(height / scale))
        return 0, 0, right, bottom

    def cast(self, part, ready, ended):
        return MutterCast(part, ready, ended)

    def arrange(self, how):
        serial, monitors, _, _ = self.state()
        modes = sorted((monitor[0][0], monitor[1][0]) for monitor in monitors)
        (first, first_mode), (second, second_mode) = modes[0], modes[1]

        def logical(x, scale, is_main, connector, mode):
            return x, 0, scale, 0, is_main, [(connector, mode[0], {})]

        arrangements = {
            "one": [logical(0, 1.0, True, first, first_mode)],
            "two": [logical(0, 1.0, True, first, first_mode),
                    logical(first_mode[1], 1.0, False, second, second_mode)],
            "swap": [logical(second_mode[1], 1.0, True, first, first_mode),
                     logical(0, 1.0, False, second, second_mode)],
            "scale": [logical(0, 2.0, True, first, first_mode),
                      logical(first_mode[1] // 2, 1.0, False, second, second_mode)],
        }
        temporarily = 1
        call(DISPLAYS, "/org/gnome/Mutter/DisplayConfig", DISPLAYS, "ApplyMonitorsConfig",
             GLib.Variant("(uua(iiduba(ssa{sv}))a{sv})",
                          (serial, temporarily, arrangements[how], {})))


class MutterCast:
    def __init__(self, part, ready, ended):
        self.part = part
        self._ended = ended
        self._session, = call(MUTTER, "/org/gnome/Mutter/ScreenCast", MUTTER, "CreateSession",
                              GLib.Variant("(a{sv})", ({},)))
        hidden = {"cursor-mode": GLib.Variant("u", 0)}
        if part["kind"] == "monitor":
            stream, = call(MUTTER, self._session, MUTTER + ".Session", "RecordMonitor",
                           GLib.Variant("(sa{sv})", (part["connector"], hidden)))
        else:
            stream, = call(MUTTER, self._session, MUTTER + ".Session", "RecordArea",
                           GLib.Variant("(iiiia{sv})", (*part["place"], hidden)))
        facts = call(MUTTER, stream, "org.freedesktop.DBus.Properties", "Get",
                     GLib.Variant("(ss)", (MUTTER + ".Stream", "Parameters")))[0]
        place = part.get("place")
        position = tuple(facts.get("position", place[:2] if place else (0, 0)))
        size = tuple(facts.get("size", place[2:] if place else (0, 0)))
        self._subscriptions = [
            BUS.signal_subscribe(
                MUTTER, MUTTER + ".Stream", "PipeWireStreamAdded", stream, None, 0,
                lambda *signal: ready(self, signal[5].unpack()[0], position, size)),
            BUS.signal_subscribe(MUTTER, MUTTER + ".Session", "Closed", self._session, None, 0,
                                 lambda *_: self._close())]
        call(MUTTER, self._session, MUTTER + ".Session", "Start")

    def _forget(self):
        for subscription in self._subscriptions:
            BUS.signal_unsubscribe(subscription)
        self._subscriptions = []

    def _close(self):
        self._forget()
        self._ended(self)

    def stop(self):
        self._forget()
        try:
            call(MUTTER, self._session, MUTTER + ".Session", "Stop")
        except GLib.Error:
            pass  # its monitor went, or the compositor


class WlrootsMonitors:
    """The outputs of a sway, and casts through its own portal backend."""

    def outputs(self):
        told = subprocess.run(["swaymsg", "-t", "get_outputs", "--raw"], capture_output=True,
                              check=True, timeout=10).stdout
        return [output for output in json.loads(told) if output["active"]]

    def connectors(self):
        return sorted(output["name"] for output in self.outputs())

    def cast(self, part, ready, ended):
        return WlrootsCast(self, part, ready, ended)


class WlrootsCast:
    made = 0

    def __init__(self, monitors, part, ready, ended):
        WlrootsCast.made += 1
        self.part = part
        self._ended = ended
        self._session = f"/scripted/session/{WlrootsCast.made}"
        with open(os.environ["PORTAL_CHOICE"], "w", encoding="utf-8") as choice:
            choice.write(part["connector"] + "\n")
        self._subscription = BUS.signal_subscribe(
            WLROOTS, SESSION, "Closed", self._session, None, 0, lambda *_: self._close())
        self._step("CreateSession", "(oosa{sv})", {})
        self._step("SelectSources", "(oosa{sv})", {"types": GLib.Variant("u", MONITOR)})
        result = self._step("Start", "(oossa{sv})", {}, "")
        place = next(output["rect"] for output in monitors.outputs()
                     if output["name"] == part["connector"])
        node = result["streams"][0][0]
        # As with others: told once this call is over.
        GLib.idle_add(lambda: ready(self, node, (place["x"], place["y"]),
                                    (place["width"], place["height"])))

    def _step(self, method, signature, options, *more):
        request = f"/scripted/request/{WlrootsCast.made}/{method}"
        status, result = call(WLROOTS, PATH, CAST, method, GLib.Variant(
            signature, (request, self._session, "", *more, options)))
        if status != GRANTED:
            raise RuntimeError(f"{method} of the compositor's backend: {status}")
        return result

    def _close(self):
        BUS.signal_unsubscribe(self._subscription)
        self._ended(self)

    def stop(self):
        BUS.signal_unsubscribe(self._subscription)
        try:
            call(WLROOTS, self._session, SESSION, "Close")
        except GLib.Error:
            pass  # its output went, or the backend


class Session:
    def __init__(self, portal, path):
        self.portal = portal
        self.path = path
        self.options = {}
        self.casts = []
        self._object = BUS.register_object(
            path, INTERFACES.lookup_interface(SESSION), self._called,
            lambda *_: GLib.Variant("u", 1), None)

    def _called(self, _bus, _sender, _path, _interface, _method, _arguments, invocation):
        invocation.return_value(None)
        tell("closed")
        self.end(is_told=False)

    def end(self, is_told):
        if self.portal.sessions.pop(self.path, None) is None:
            return
        if is_told:
            BUS.emit_signal(None, self.path, SESSION, "Closed", None)
        for cast in self.casts:
            cast.stop()
        BUS.unregister_object(self._object)


class Grant:
    """Casts that are being started for one Start."""

    def __init__(self, session, parts, invocation):
        self.session = session
        self._parts = parts
        self._invocation = invocation
        self._streams = {}
        portal = session.portal
        for index, part in enumerate(parts):
            session.casts.append(portal.monitors.cast(
                part, lambda cast, *facts, at=index: self._started(at, cast, *facts),
                portal.cast_ended))

    def _started(self, index, cast, node, position, size):
        if index in self._streams:
            return
        self._streams[index] = (node, self.session.portal.described(index, cast.part, position,
                                                                    size))
        if len(self._streams) == len(self._parts):
            self._answer()

    def _answer(self):
        portal = self.session.portal
        streams = [self._streams[index] for index in sorted(self._streams)]
        if portal.is_reversed:
            streams.reverse()
        result = {"streams": GLib.Variant("a(ua{sv})", streams)}
        if self.session.options.get("persist_mode", 0) and portal.has_token:
            result["persist_mode"] = GLib.Variant("u", self.session.options["persist_mode"])
            result["restore_data"] = GLib.Variant("(suv)", (
                "scripted", 1, GLib.Variant("s", json.dumps(self._parts))))
        self._invocation.return_value(GLib.Variant("(ua{sv})", (GRANTED, result)))
        tell("granted", [node for node, _ in streams])


class Portal:
    def __init__(self, monitors):
        self.monitors = monitors
        self.sessions = {}
        self.has_token = True
        self.is_reversed = False
        self._dialect = "full"
        self._answer = "grant"
        self._pick = ["all"]
        self._is_renewal_silent = True
        self._is_locked = False
        # The dialog that is open: what answers it.
        self._dialog = None
        BUS.register_object(PATH, INTERFACES.lookup_interface(CAST), self._called,
                            self._property, None)
        BUS.register_object("/org/gnome/ScreenSaver",
                            INTERFACES.lookup_interface("org.gnome.ScreenSaver"),
                            self._asked_for_lock, None, None)

    def _property(self, _bus, _sender, _path, _interface, name):
        return GLib.Variant("u", {"AvailableSourceTypes": 7, "AvailableCursorModes": 7,
                                  "version": 5 if self._dialect == "gnome45" else 4}[name])

    def _asked_for_lock(self, _bus, _sender, _path, _interface, _method, _arguments, invocation):
        invocation.return_value(GLib.Variant("(b)", (self._is_locked,)))

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
        if known and self._is_renewal_silent and not self._is_locked:
            parts = json.loads(known[2])
            if all(part["kind"] != "monitor" or part["connector"] in self.monitors.connectors()
                   for part in parts):
                tell("renewed")
                Grant(session, parts, invocation)
                return
        tell("asked", {"locked": self._is_locked})
        self._show_dialog(request, session, invocation)
        if self._answer != "hold" and not self._is_locked:
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
        if self._pick == ["window"]:
            return [{"kind": "window", "place": (40, 30, 320, 200)}]
        if self._pick == ["workspace"]:
            return [{"kind": "workspace", "place": self.monitors.place_of_all()}]
        connectors = self.monitors.connectors()
        chosen = (range(len(connectors)) if self._pick == ["all"]
                  else [int(index) for index in self._pick])
        parts = [{"kind": "monitor", "connector": connectors[index]} for index in chosen]
        return parts if options.get("multiple") else parts[:1]

    def described(self, index, part, position, size):
        """What this desktop tells of a stream."""
        kind = WINDOW if part["kind"] == "window" or self._dialect == "wlr07" else MONITOR
        facts = {"source_type": GLib.Variant("u", kind), "size": GLib.Variant("(ii)", size)}
        if self._dialect != "kde527":
            told = (0, 0) if self._dialect == "wlr07" else position
            facts["position"] = GLib.Variant("(ii)", told)
        if self._dialect in ("gnome43", "gnome45", "full"):
            facts["id"] = GLib.Variant("s", str(index))
        if self._dialect == "gnome45":
            region = f"00000000-0000-4000-8000-{index:012}"
            facts["mapping_id"] = GLib.Variant("s", region)
        if self._dialect == "full" and part["kind"] == "monitor":
            facts["mapping_id"] = GLib.Variant("s", part["connector"])
        return facts

    def cast_ended(self, cast):
        """A monitor went, or changed its place: as GNOME does, that ends its session."""
        for session in list(self.sessions.values()):
            if cast in session.casts:
                tell("ended")
                session.end(is_told=True)

    def _set_locked(self, is_locked):
        self._is_locked = is_locked
        BUS.emit_signal(None, "/org/gnome/ScreenSaver", "org.gnome.ScreenSaver", "ActiveChanged",
                        GLib.Variant("(b)", (is_locked,)))

    def _close_all(self):
        for session in list(self.sessions.values()):
            session.end(is_told=True)

    def _lock(self, first, milliseconds):
        steps = [self._close_all, lambda: self._set_locked(True)]
        if first == "active":
            steps.reverse()

        def finish():
            steps[1]()
            tell("locked")

        steps[0]()
        GLib.timeout_add(int(milliseconds), finish)

    def obey(self, verb, words):
        if verb == "speak":
            self._dialect, = words
        elif verb == "answer":
            self._answer, = words
        elif verb == "decide":
            self._decide(*words)
        elif verb == "pick":
            self._pick = words
        elif verb == "order":
            self.is_reversed = words == ["reversed"]
        elif verb == "token":
            self.has_token = words == ["on"]
        elif verb == "renew":
            self._is_renewal_silent = words == ["silently"]
        elif verb == "close":
            self._close_all()
        elif verb == "drop":
            for session in self.sessions.values():
                session.casts[int(words[0])].stop()
        elif verb == "lock":
            self._lock(*words)
        elif verb == "unlock":
            self._set_locked(False)
        elif verb == "layout":
            self.monitors.arrange(*words)
        else:
            raise ValueError(verb)


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
    for name in ("org.gnome.ScreenSaver", NAME):
        Gio.bus_own_name_on_connection(BUS, name, Gio.BusNameOwnerFlags.NONE, None, None)
    loop.run()


if __name__ == "__main__":
    main()
