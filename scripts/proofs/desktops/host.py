"""The host on a desktop, and before it another program, which shows that the desktop works.

MONITORS tells each output's connector, the name of its monitor and the colour it is painted in.
"""
import io
import json
import os
import signal
import subprocess
import time
import urllib.error
import urllib.parse
import urllib.request

from PIL import Image

import dialogs
from waiting import PATIENCE, await_

SOURCES = os.path.realpath(os.path.join(os.path.dirname(__file__), "../../.."))
PICTURES = "/srv/pictures"
ADDRESS = "http://localhost:9090/viewer/v1/"
READY = "Velmora Viewer Host protocol v1 listening on TCP 9090\n"
# Colours survive JPEG within this much a channel.
TOLERANCE = 6
# Captures end five seconds after their last request.
IDLE_STOP = 6.0
# An end of sharing this soon after a lock or a change of the outputs counts as theirs.
CAUSE_WINDOW = 3.0

_told = os.environ["MONITORS"].split()
COLOURS = {name: tuple(bytes.fromhex(colour)) for name, colour in zip(_told[1::3], _told[2::3])}


def is_near(seen, colour):
    return all(abs(a - b) <= TOLERANCE for a, b in zip(seen, colour))


def middle_of(frame):
    return frame.getpixel((frame.width // 2, frame.height // 2))


def look_as_another_program(answer, names):
    """A frame of each stream that the person grants has the colour of one of these monitors."""
    program = subprocess.Popen(
        ["/usr/bin/python3", "-W", "ignore", SOURCES + "/tests/support/desktop/portal_frames.py"],
        stdout=subprocess.PIPE, text=True)
    answer()
    told, _ = program.communicate(timeout=PATIENCE)
    streams = json.loads(told)
    print("Another program sees", *streams, sep="\n  ", flush=True)
    middles = [tuple(bytes.fromhex(stream["colours"][2])) for stream in streams]
    assert sorted(middles) == sorted(COLOURS[name] for name in names), middles


def unlock_session():
    """As logind does when the person has shown who they are."""
    subprocess.run(["gdbus", "call", "--system", "-d", "org.freedesktop.login1", "-o",
                    "/org/freedesktop/login1/session/c1", "-m",
                    "org.freedesktop.login1.Session.Unlock"], check=True,
                   stdout=subprocess.DEVNULL)


class Host:
    """The host, started; `answer` is what the person does in the desktop's dialog."""

    def __init__(self, answer):
        self._process = subprocess.Popen(
            [SOURCES + "/build/prove/bin/VelmoraViewerHost"], stdout=subprocess.PIPE, text=True)
        dialogs.press("VelmoraViewerHostAlert", "Continue")
        answer()
        line = self._process.stdout.readline()
        assert line == READY, line
        self._ids = {display["name"]: display["id"] for display in self.displays()}
        print("The host lists", *self.displays(), sep="\n  ", flush=True)

    def displays(self):
        with urllib.request.urlopen(ADDRESS + "displays", timeout=PATIENCE) as answer:
            return json.load(answer)["displays"]

    def frame(self, name):
        """The display's newest frame, or the status of a refusal."""
        query = urllib.parse.urlencode({"id": self._ids[name]})
        try:
            with urllib.request.urlopen(f"{ADDRESS}frame?{query}", timeout=PATIENCE) as answer:
                return Image.open(io.BytesIO(answer.read())).convert("RGB")
        except urllib.error.HTTPError as error:
            return error.code

    def lists(self, names):
        """Whether these displays are listed, each by the id that it has had from the beginning."""
        return ({display["name"]: display["id"] for display in self.displays()} ==
                {name: self._ids[name] for name in names})

    def shows(self, names, may_mix=False):
        """Whether these are listed, no others, and each shows its monitor's colour in its monitor's
        shape. Another's colour is a fault at once, unless the desktop itself may mix them for a
        moment."""
        return self.lists(names) and all([self._shows(name, may_mix) for name in names])

    def _shows(self, name, may_mix):
        frame = self._served(name)
        if frame is None:
            return False
        seen = middle_of(frame)
        for other, colour in COLOURS.items():
            assert may_mix or other == name or not is_near(seen, colour), (name, seen)
        return is_near(seen, COLOURS[name]) and self._has_shape(frame, name)

    def shows_shape(self, name):
        """Whether the display is served in the shape that it is listed with, whatever it shows."""
        frame = self._served(name)
        return frame is not None and self._has_shape(frame, name)

    def _served(self, name):
        frame = self.frame(name)
        if isinstance(frame, int):
            assert frame == 503, (name, frame)
            return None
        return frame

    def _has_shape(self, frame, name):
        width, height = self.size(name)
        # A side of the frame is rounded to a pixel.
        return abs(frame.width * height - frame.height * width) <= max(width, height)

    def shows_something_else(self, names):
        """Whether these are served, and each shows more than one colour."""
        frames = [self.frame(name) for name in names]
        return not any(isinstance(frame, int) or
                       all(most - least <= 2 * TOLERANCE for least, most in frame.getextrema())
                       for frame in frames)

    def size(self, name):
        """As it is listed."""
        return next((display["width"], display["height"]) for display in self.displays()
                    if display["name"] == name)

    def is_stopped_for_good(self, stop):
        """Whether nothing is listed any more when the person stops, nor asked for anew."""
        time.sleep(CAUSE_WINDOW)
        stop()
        await_("nothing is listed when the person stops", lambda: self.displays() == [])
        time.sleep(2 * CAUSE_WINDOW)
        return self.displays() == [] and self.refuses(COLOURS, 404)

    def refuses(self, names, status=503):
        return all([self.frame(name) == status for name in names])

    def keep_pictures(self, moment):
        for display in self.displays():
            frame = self.frame(display["name"])
            if not isinstance(frame, int):
                frame.save(f"{PICTURES}/{moment}-{display['name']}.png")

    def survives_idle_stop(self, names):
        time.sleep(IDLE_STOP)
        await_("served again after an idle stop", lambda: self.shows(names))

    def end(self):
        self._process.send_signal(signal.SIGTERM)
        status = self._process.wait(PATIENCE)
        assert status == 0, status
