"""The outputs of a sway, and casts by its own portal backend, which knows one output a session."""
import json
import os
import subprocess

from portal_bus import BUS, CAST, GRANTED, MONITOR, PATH, SESSION, GLib, call

WLROOTS = "org.freedesktop.impl.portal.desktop.wlr"


class WlrootsMonitors:
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
