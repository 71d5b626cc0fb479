"""Uses the dialogs of a real desktop and of the host, as a screen reader does: by their names."""
import time
import warnings

import gi

warnings.simplefilter("ignore")
gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PATIENCE = 30.0
BETWEEN_LOOKS = 0.02
State = Atspi.StateType
BUTTONS = ("button", "push button")


def is_in(node, state):
    # The library remembers states, also those that are over.
    node.clear_cache_single()
    return node.get_state_set().contains(state)


def descendants(node):
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child:
            yield child
            yield from descendants(child)


def await_(what, look):
    """What the look finds at last."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        try:
            found = look()
        except GLib.Error:
            found = None  # it went while it was looked at
        if found:
            return found
        time.sleep(BETWEEN_LOOKS)
    raise TimeoutError(f"there is no {what}")


def parts_of(program):
    desktop = Atspi.get_desktop(0)
    for index in range(desktop.get_child_count()):
        node = desktop.get_child_at_index(index)
        if node and node.get_name() == program:
            yield from (part for part in descendants(node) if is_in(part, State.SHOWING))


def find(program, name, roles):
    return next((part for part in parts_of(program)
                 if part.get_name() == name and part.get_role_name() in roles
                 and is_in(part, State.SENSITIVE)), None)


def press(program, name):
    button = await_(f"button {name} of {program}", lambda: find(program, name, BUTTONS))
    button.get_action_iface().do_action(0)


def is_shown(program):
    """Whether a window of the program's shows now."""
    try:
        return any(True for _ in parts_of(program))
    except GLib.Error:
        return False


class GnomeDialog:
    program = "xdg-desktop-portal-gnome"

    def share(self, count):
        """Chooses that many monitors: they all have one name, and a lone one is chosen already."""
        for index in range(count):
            tile = await_("monitor", lambda at=index: self._tile(at))
            if is_in(tile, State.PRESSED):
                continue
            tile.get_action_iface().do_action(0)
            # It follows a quarter of a second later.
            await_("choice", lambda one=tile: is_in(one, State.PRESSED))
        press(self.program, "Share")

    def cancel(self):
        press(self.program, "Cancel")

    def _tile(self, index):
        tiles = [part for part in parts_of(self.program)
                 if part.get_role_name() == "toggle button"]
        return tiles[index] if len(tiles) > index else None


class NoDialog:
    """Sway's portal asks nobody: it takes the output that is named in its settings."""
    program = ""

    def share(self, count):
        pass


DIALOGS = {"gnome": GnomeDialog, "sway": NoDialog}
