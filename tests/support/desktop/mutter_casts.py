"""The monitors of a mutter, and casts of parts of its screen, by its own interface."""
from portal_bus import BUS, GLib, call

MUTTER = "org.gnome.Mutter.ScreenCast"
DISPLAYS = "org.gnome.Mutter.DisplayConfig"
DISPLAYS_PATH = "/org/gnome/Mutter/DisplayConfig"


class MutterMonitors:
    def state(self):
        return call(DISPLAYS, DISPLAYS_PATH, DISPLAYS, "GetCurrentState")

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

        def logical(x, is_main, connector, mode):
            return x, 0, 1.0, 0, is_main, [(connector, mode[0], {})]

        arrangements = {
            "one": [logical(0, True, first, first_mode)],
            "two": [logical(0, True, first, first_mode),
                    logical(first_mode[1], False, second, second_mode)],
            "swap": [logical(second_mode[1], True, first, first_mode),
                     logical(0, False, second, second_mode)],
        }
        temporarily = 1
        call(DISPLAYS, DISPLAYS_PATH, DISPLAYS, "ApplyMonitorsConfig",
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
