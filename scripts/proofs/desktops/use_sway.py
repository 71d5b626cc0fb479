#!/usr/bin/python3
"""Uses the host on sway: use_sway.py reference|host

The person chooses the output to be shared. It is served in its colour, again after an idle stop, until
it is switched off; then the other one.
"""
import os
import subprocess
import sys

from host import COLOURS, PICTURES, Host, look_as_another_program
from waiting import await_

CONNECTORS = dict(zip(COLOURS, os.environ["MONITORS"].split()[::3]))


def sway(command):
    subprocess.run(["swaymsg", "--", command], check=True, stdout=subprocess.DEVNULL)


def share(name):
    # Waits until the portal asks, which reads there.
    with open(os.environ["CHOICE"], "w", encoding="ascii") as choice:
        choice.write(CONNECTORS[name] + "\n")


def use_host(name):
    host = Host(lambda: share(name))
    await_(f"{name} is served in its colour", lambda: host.shows({name}))
    host.keep_pictures("shared")
    # Of this output alone: one that was switched on again may show nothing anew for good ("Page-flip
    # failed"), and a picture of it would never come.
    subprocess.run(["grim", "-o", CONNECTORS[name], f"{PICTURES}/{name}-desktop.png"], check=True)
    host.survives_idle_stop({name})
    # The workspace that has the focus would come along and cover the other output.
    other = next(connector for connector in CONNECTORS.values() if connector != CONNECTORS[name])
    sway(f"focus output {other}; output {CONNECTORS[name]} disable")
    await_("nothing is listed when the output goes", lambda: host.displays() == [])
    assert host.refuses({name}, 404)
    sway(f"output {CONNECTORS[name]} enable")
    host.end()


def main():
    for name in COLOURS:
        if sys.argv[1] == "reference":
            look_as_another_program(lambda: share(name), {name})
        else:
            use_host(name)
    print("sway: everything was as it must be", flush=True)


if __name__ == "__main__":
    main()
