"""The program in a terminal of the test's own, which keeps what it is sent."""
import fcntl
import os
import pty
import re
import signal
import struct
import subprocess
import termios
import threading
import time

from scripted_host import PATIENCE

# A line of text: its row, and the text without its colours.
LINE = re.compile(rb"\x1b\[(\d+);1H(?:\x1b\[[0-9;]*m)*([^\x1b]*)\x1b\[0m\x1b\[K")
ENTER = b"\x1b[?1049h"
LEAVE = b"\x1b[?25h\x1b[?1049l"


class Terminal:
    """A pseudoterminal, with the command as the leader of its session."""

    def __init__(self, command, environment, columns=100, rows=30, pixels=(10, 20)):
        self.ours, self.theirs = pty.openpty()
        self.cell = pixels
        self.resize(columns, rows)
        self.mode = termios.tcgetattr(self.theirs)
        self.received = bytearray()
        self.parsed = 0  # of what was received
        self.lines = {}
        self.isReading = threading.Event()
        self.isReading.set()
        self.changed = threading.Condition()
        self.process = subprocess.Popen(
            command, env=environment, stdin=self.theirs, stdout=self.theirs, stderr=self.theirs,
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        while True:
            self.isReading.wait()
            try:
                received = os.read(self.ours, 65536)
            except OSError:
                return
            with self.changed:
                self.received += received
                for line in LINE.finditer(self.received, self.parsed):
                    self.lines[int(line[1])] = line[2].decode()
                    self.parsed = line.end()
                self.changed.notify_all()

    @property
    def output(self):
        """All that came so far."""
        with self.changed:
            return bytes(self.received)

    def close(self):
        self.isReading.set()
        self.process.kill()
        self.process.wait()
        os.close(self.theirs)  # which ends the reader
        self.reader.join(PATIENCE)
        os.close(self.ours)

    def resize(self, columns, rows):
        size = struct.pack("HHHH", rows, columns, columns * self.cell[0], rows * self.cell[1])
        fcntl.ioctl(self.ours, termios.TIOCSWINSZ, size)

    def type(self, keys):
        os.write(self.ours, keys)

    def wait(self, condition, what):
        """Until `condition(output)` holds for what came so far."""
        end = time.monotonic() + PATIENCE
        with self.changed:
            while not condition(self.received):
                if not self.changed.wait(end - time.monotonic()):
                    raise AssertionError(f"not seen: {what}; {self.rows()}, {len(self.received)} "
                                         f"bytes, {bytes(self.received[-500:])}")

    def wait_for(self, pattern, row=None):
        """Until a line of text, or that of a row, is as the pattern says."""
        self.wait(lambda _: any(re.search(pattern, text) for number, text in self.rows().items()
                                if row in (None, number)), pattern)

    def rows(self):
        """The newest text of each row."""
        return dict(self.lines)

    def end(self):
        """The status of the program, and the mode in which it left the terminal."""
        status = self.process.wait(PATIENCE)
        return status, self.mode_now()

    def mode_now(self):
        return termios.tcgetattr(self.theirs)

    def signal(self, number):
        self.process.send_signal(number)


def control(letter):
    return bytes([ord(letter) & 0x1F])


SIGNALS = signal.SIGINT, signal.SIGTERM, signal.SIGHUP
