"""What the tests of the wall share: a wall of scripted hosts, and what they were asked."""
import collections
import itertools
import pathlib
import subprocess
import tempfile
import time

from program import ProgramTest
from scripted_host import LABEL, PATIENCE, answer, jpeg, serving
from wall_page import Wall

SCREEN = ("id", "Screen")
NO_PICTURE = answer(b"", kind="text/plain", status="503 Service Unavailable")
NO_DISPLAY = answer(b"", kind="text/plain", status="404 Not Found")


def changing(size=0):
    """Pictures each of which differs from the one before."""
    numbers = itertools.count(1)

    def frame(_):
        number = next(numbers)
        return answer(jpeg(filling=b"%d" % number).ljust(size, b"\0"), kind="image/jpeg",
                      label=f"{LABEL}{number}")
    return frame


def frames(host):
    """The requests for frames, counted by what was asked for."""
    with host.lock:
        targets = [request.split()[1] for request in host.requests]
    return collections.Counter(target for target in targets if "frame" in target)


def eventually(is_so):
    """Waits for something that does not tell when it happens."""
    for _ in range(PATIENCE * 50):
        if is_so():
            return
        time.sleep(0.02)
    raise AssertionError("it did not happen")


class WallTest(ProgramTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def launch(self, *arguments, variables=(), **about):
        everything = {"XDG_RUNTIME_DIR": str(self.folder), **dict(variables)}
        return self.start("wall", *arguments, variables=everything, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, **about)

    def wall(self, *hosts):
        return Wall(self.launch("--no-browser", *(host.name for host in hosts)))

    def screen(self, frame=None):
        return self.host(serving(SCREEN, frame=frame or changing()))
