"""Screens in memory, on which a terminal emulator shows what it is sent."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import time

from scripted_host import PATIENCE

NOBODY = 65534  # the user and the group
SIZE = 1000, 700


def until(look, what):
    """The first result of `look` that is one."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        found = look()
        if found:
            return found
        time.sleep(0.05)
    raise AssertionError(f"not seen: {what}")


class Picture:
    """Rows of red, green and blue, of eight bits each."""

    def __init__(self, width, height, pixels):
        self.width, self.height, self.pixels = width, height, pixels

    def at(self, x, y):
        place = 3 * (y * self.width + x)
        return tuple(self.pixels[place:place + 3])


class XScreen:
    """An X server with one program on it."""

    def __init__(self, environment):
        reader, writer = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", "%dx%dx24" % SIZE, "-nolisten",
             "tcp", "-noreset"], pass_fds=[writer], stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as display:
            self.name = ":" + display.readline().strip()
        self.environment = {**environment, "DISPLAY": self.name}
        self.program = None

    def start(self, *command):
        self.program = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)

    def picture(self):
        pixels = subprocess.run(
            ["ffmpeg", "-loglevel", "error", "-f", "x11grab", "-draw_mouse", "0", "-video_size",
             "%dx%d" % SIZE, "-i", self.name, "-frames:v", "1", "-f", "rawvideo", "-pix_fmt",
             "rgb24", "-"], check=True, capture_output=True, timeout=PATIENCE,
            stdin=subprocess.DEVNULL).stdout
        return Picture(*SIZE, pixels)

    def close(self):
        for process in filter(None, (self.program, self.server)):
            process.kill()
            process.wait()


class WaylandScreen:
    """Sway without a screen and with one program, which fills it. Run as nobody where we are root,
    as whom it does not run."""

    def __init__(self, environment, command, size=SIZE):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        settings = self.folder / "settings"
        settings.write_text("xwayland disable\ndefault_border none\n"
                            "output HEADLESS-1 mode --custom %dx%d@60Hz\n" % size +
                            "exec exec " + " ".join(map(str, command)) + "\n")
        user = {}
        if os.geteuid() == 0:
            os.chown(self.folder, NOBODY, NOBODY)
            user = {"user": NOBODY, "group": NOBODY, "extra_groups": []}
        self.environment = {**environment, "XDG_RUNTIME_DIR": str(self.folder),
                            "HOME": str(self.folder), "WLR_BACKENDS": "headless",
                            "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"}
        self.process = subprocess.Popen(["sway", "-c", settings], env=self.environment,
                                        stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, **user)
        self.socket = until(lambda: next(self.folder.glob("wayland-?"), None), "sway's socket")

    def taken(self, *form):
        """The screen as a file of a form; nothing while there is no output yet."""
        run = subprocess.run(["grim", *form, "-"], capture_output=True, timeout=PATIENCE,
                             env={**self.environment, "WAYLAND_DISPLAY": str(self.socket)})
        return run.stdout if run.returncode == 0 else None

    def picture(self):
        taken = self.taken("-t", "ppm")
        if not taken:
            return None
        kind, size, depth, pixels = taken.split(b"\n", 3)
        assert (kind, depth) == (b"P6", b"255")
        return Picture(*map(int, size.split()), pixels)

    def close(self):
        self.process.terminate()  # and with it what it shows
        try:
            self.process.wait(PATIENCE)
        finally:
            self.process.kill()
            self.process.wait()
            shutil.rmtree(self.folder)
