"""Restarts PipeWire and its session manager, as their services do."""
import os
import signal
import subprocess

from waiting import found

SOCKET = os.environ["XDG_RUNTIME_DIR"] + "/pipewire-0"


def restart():
    for program in ("wireplumber", "pipewire"):
        with open(f"{os.environ['DESKTOP_FOLDER']}/process/{program}", encoding="ascii") as file:
            process = int(file.read())
        os.kill(process, signal.SIGTERM)
        found(f"{program} has ended", lambda number=process: _has_ended(number))
    _start("pipewire")
    found("PipeWire has its socket", lambda: os.path.exists(SOCKET))
    _start("wireplumber")


def _start(program):
    subprocess.Popen([program], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def _has_ended(process):
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return True
    return False
