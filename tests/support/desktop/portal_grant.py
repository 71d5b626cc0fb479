"""Asks a desktop's portal for every monitor, as any program does."""
import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

NAME = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
CAST = "org.freedesktop.portal.ScreenCast"
REQUEST = "org.freedesktop.portal.Request"


class Refusal(Exception):
    """The portal's answer, where it is no grant."""

    def __init__(self, status):
        super().__init__(status)
        self.status = status


class PortalGrant:
    """What was granted, for as long as this process lives: node and facts of each stream."""

    def __init__(self):
        self._bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        self._session = self._answer_of(
            "CreateSession", "(a{sv})",
            session_handle_token=GLib.Variant("s", "session"))["session_handle"]
        self._answer_of("SelectSources", "(oa{sv})", self._session,
                        types=GLib.Variant("u", 1), multiple=GLib.Variant("b", True),
                        cursor_mode=GLib.Variant("u", 1), persist_mode=GLib.Variant("u", 1))
        self.streams = self._answer_of("Start", "(osa{sv})", self._session, "")["streams"]

    def open_remote(self):
        """A descriptor of a connection to PipeWire that has the streams."""
        _, descriptors = self._bus.call_with_unix_fd_list_sync(
            NAME, PATH, CAST, "OpenPipeWireRemote",
            GLib.Variant("(oa{sv})", (self._session, {})), None, 0, 5_000, None, None)
        return descriptors.get(0)

    def _answer_of(self, method, signature, *arguments, **options):
        """Calls a method that answers by a signal of its request."""
        loop = GLib.MainLoop()
        answers = []
        token = method.lower()
        sender = self._bus.get_unique_name()[1:].replace(".", "_")

        def answered(*signal):
            answers.append(signal[5].unpack())
            loop.quit()

        self._bus.signal_subscribe(NAME, REQUEST, "Response",
                                   f"{PATH}/request/{sender}/{token}", None, 0, answered)
        options["handle_token"] = GLib.Variant("s", token)
        self._bus.call_sync(NAME, PATH, CAST, method,
                            GLib.Variant(signature, (*arguments, options)), None, 0, 60_000,
                            None)
        if not answers:
            loop.run()
        status, result = answers[0]
        if status != 0:
            raise Refusal(status)
        return result
