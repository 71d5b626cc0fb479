"""watch in real terminals: what is on their screens is the picture.

Usage: watch_terminals_test.py PROGRAM.
"""
import itertools
import pathlib
import re
import subprocess
import tempfile
import unittest

from coloured import coloured, showing
from program import PROGRAM, ProgramTest
from screens import WaylandScreen, XScreen, until
from scripted_host import PATIENCE, serving

STRIPES = "c02040", "208040", "3050c0"
TOLERANCE = 10  # a channel's, of colours that were a JPEG's and in a palette of sixels


def stripe_of(pixel):
    """The number of the stripe of that colour, or nothing."""
    for number, stripe in enumerate(STRIPES):
        if all(abs(each - value) <= TOLERANCE
               for each, value in zip(pixel, bytes.fromhex(stripe))):
            return number
    return None


class InTerminals(ProgramTest):
    def setUp(self):
        self.watched = self.host(serving(("id", "Screen"), ("halves", "Halves"), frame=self.frame))
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    @staticmethod
    def frame(target):
        colours = STRIPES[:2] if target.endswith("halves") else STRIPES
        return showing(coloured(*colours, width=640, height=360))

    def stripes(self, picture):
        """How high each stripe is in the middle of the screen, if they are there in their order."""
        column = [stripe_of(picture.at(picture.width // 4, y)) for y in range(picture.height)]
        runs = [(number, len(list(run))) for number, run in itertools.groupby(column)
                if number is not None]
        runs = [run for run in runs if run[1] > 10]  # a mixture may look like another
        return [height for _, height in runs] if [n for n, _ in runs] == [0, 1, 2] else None

    def assert_shows_stripes(self, screen, least):
        def look():
            picture = screen.picture()
            return picture and self.stripes(picture)
        heights = until(look, "the stripes")
        self.assertGreater(min(heights), least)
        self.assertLess(max(heights) - min(heights), 8)

    def test_xterm_shows_sixels(self):
        screen = XScreen(self.environment())
        self.addCleanup(screen.close)
        screen.start("xterm", "-ti", "vt340", "-xrm", "XTerm*numColorRegisters: 256", "-geometry",
                     "100x30+0+0", "-e", PROGRAM, "watch", "--format", "sixel", self.watched.name)
        self.assert_shows_stripes(screen, least=90)

    def test_foot_shows_sixels_of_itself(self):
        screen = WaylandScreen(self.environment(), [
            "foot", pathlib.Path(PROGRAM).absolute(), "watch", self.watched.name])
        self.addCleanup(screen.close)
        self.assert_shows_stripes(screen, least=150)

    def tmux(self, *command):
        return subprocess.run(["tmux", "-S", self.folder / "tmux", "-f", "/dev/null", *command],
                              check=True, capture_output=True, text=True, timeout=PATIENCE,
                              env=self.environment(TERM="xterm-256color")).stdout

    def test_tmux_shows_blocks_of_the_colours(self):
        self.tmux("new-session", "-d", "-x", "56", "-y", "24",
                  f"{PROGRAM} watch {self.watched.name} Halves")
        self.addCleanup(self.tmux, "kill-server")

        def look():
            screen = self.tmux("capture-pane", "-e", "-p")
            colours = re.findall(r"[34]8;2;(\d+);(\d+);(\d+)m", screen)
            stripes = [stripe_of(list(map(int, colour))) for colour in colours]
            seen = [stripe for stripe in stripes if stripe is not None]
            return [stripe for stripe, _ in itertools.groupby(seen)] == [0, 1]
        until(look, "red above green")


if __name__ == "__main__":
    unittest.main()
