"""GNOME's screen saver, as far as programs see it."""
from portal_bus import BUS, INTERFACES, GLib, tell

NAME = "org.gnome.ScreenSaver"
PATH = "/org/gnome/ScreenSaver"


class ScreenSaver:
    def __init__(self, close_sessions):
        self.is_locked = False
        self._close_sessions = close_sessions
        BUS.register_object(PATH, INTERFACES.lookup_interface(NAME), self._asked, None, None)

    def _asked(self, _bus, _sender, _path, _interface, _method, _arguments, invocation):
        invocation.return_value(GLib.Variant("(b)", (self.is_locked,)))

    def _become(self, is_locked):
        self.is_locked = is_locked
        BUS.emit_signal(None, PATH, NAME, "ActiveChanged", GLib.Variant("(b)", (is_locked,)))

    def lock(self, first, milliseconds):
        """The sessions end, and it is active, the one so long after the other."""
        steps = [self._close_sessions, lambda: self._become(True)]
        if first == "active":
            steps.reverse()

        def finish():
            steps[1]()
            tell("locked")

        steps[0]()
        GLib.timeout_add(int(milliseconds), finish)

    def unlock(self):
        self._become(False)
