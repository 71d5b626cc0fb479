"""Sessions of a portal, and what is granted in them."""
import json

from portal_bus import BUS, GRANTED, INTERFACES, SESSION, GLib, tell


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
        self._streams[index] = (
            node, self.session.portal.described(index, cast.part, position, size))
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
