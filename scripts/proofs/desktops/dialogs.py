"""Uses what a desktop and the host show, as a screen reader does: by their names."""
import warnings

import gi

from waiting import found

warnings.simplefilter("ignore")
gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

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


def parts_of(program):
    """What the program's windows show now."""
    desktop = Atspi.get_desktop(0)
    try:
        for index in range(desktop.get_child_count()):
            node = desktop.get_child_at_index(index)
            if node and node.get_name() == program:
                yield from (part for part in descendants(node) if is_in(part, State.SHOWING))
    except GLib.Error:
        return  # it went while it was looked at


def is_shown(program):
    return any(True for _ in parts_of(program))


def part(program, name, roles):
    """The part of that name that can be used; waits for it."""
    def look():
        return next((each for each in parts_of(program)
                     if each.get_name() == name and each.get_role_name() in roles
                     and is_in(each, State.SENSITIVE)), None)

    return found(f"{program} shows {name}", look)


def act(node, action=None):
    """Does the action of that name, else the first one."""
    actions = node.get_action_iface()
    names = [actions.get_action_name(index) for index in range(actions.get_n_actions())]
    actions.do_action(names.index(action) if action else 0)


def press(program, name):
    act(part(program, name, BUTTONS))
