"""Uses an alert as a screen reader does, through the session's accessibility bus.

Usage: accessible_alert.py read|press BUTTON SECONDS. Waits for a window of the alert program that
shows a button of that name, prints as JSON what the window says of itself and, with `press`,
presses the button. Exits with 1 when there is none in time; one that is looked for longer is looked
for by a new process, because the library may go on remembering a program that is gone in the place
of the next one.
"""
import json
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

PROGRAM = "VelmoraViewerHostAlert"
BETWEEN_LOOKS = 0.02


def children(node):
    """Those that are there: one that goes meanwhile is none."""
    found = (node.get_child_at_index(index) for index in range(node.get_child_count()))
    return [child for child in found if child]


def descendants(node):
    for child in children(node):
        yield child
        yield from descendants(child)


def programs():
    return children(Atspi.get_desktop(0))


def place(node):
    extents = node.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
    return [extents.x, extents.y, extents.width, extents.height]


def has_state(node, state):
    return node.get_state_set().contains(state)


def seen(window, parts):
    def of_role(role):
        return [part for part in parts if part.get_role() == role]

    buttons = of_role(Atspi.Role.PUSH_BUTTON)
    texts = of_role(Atspi.Role.LABEL)
    return {
        "role": window.get_role_name(),
        "name": window.get_name(),
        "description": window.get_description(),
        "texts": [text.get_name() for text in texts],
        "textPlaces": [place(text) for text in texts],
        "buttons": [button.get_name() for button in buttons],
        "buttonPlaces": [place(button) for button in buttons],
        "defaultButtons": [button.get_name() for button in buttons
                           if has_state(button, Atspi.StateType.IS_DEFAULT)],
        "focused": next((part.get_name() for part in parts
                         if has_state(part, Atspi.StateType.FOCUSED)), ""),
        "iconPlaces": [place(icon) for icon in of_role(Atspi.Role.IMAGE)],
        "place": place(window),
    }


def use(program, action, name):
    """Whether the program shows such a button."""
    if program.get_name() != PROGRAM:
        return False
    for window in children(program):
        parts = list(descendants(window))
        for part in parts:
            if (part.get_role() == Atspi.Role.PUSH_BUTTON and part.get_name() == name
                    and has_state(part, Atspi.StateType.SHOWING)):
                print(json.dumps(seen(window, parts)), flush=True)
                if action == "press":
                    # Its program may end before it has answered.
                    attempt(lambda button=part: button.do_action(0), None)
                return True
    return False


def attempt(call, otherwise):
    """What a call yields, or `otherwise` if what it looks at goes meanwhile."""
    try:
        return call()
    except GLib.GError:
        return otherwise


def main():
    action, name, seconds = sys.argv[1:]
    end = time.monotonic() + float(seconds)
    while time.monotonic() < end:
        for program in attempt(programs, []):
            if attempt(lambda: use(program, action, name), False):
                return 0
        time.sleep(BETWEEN_LOOKS)
    return 1


if __name__ == "__main__":
    sys.exit(main())
