"""The commands on the real host, on an X server of their own.

Usage: x11_test.py PROGRAM HOST. In a network of its own, where the host's port is free.
"""
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import unittest


def enter_own_network():
    """Runs this test anew where nobody else has the host's port."""
    alone = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
    os.environ["X11_TEST_IS_ALONE"] = "1"
    os.execvp("unshare", ["unshare", "--net", *alone, "sh", "-ec", 'ip link set lo up; exec "$@"',
                          "sh", sys.executable, *sys.argv])


if "X11_TEST_IS_ALONE" not in os.environ:
    enter_own_network()

HOST = sys.argv.pop(2)
from program import PROGRAM, ProgramTest  # noqa: E402
from scripted_host import PATIENCE  # noqa: E402
from terminal import Terminal  # noqa: E402

TOLERANCE = 6  # of a colour that was a JPEG's


class OnX11(ProgramTest):
    @classmethod
    def setUpClass(cls):
        reader, writer = os.pipe()
        cls.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", "640x360x24", "-nolisten", "tcp",
             "-noreset"], pass_fds=[writer], stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as display:
            cls.display = ":" + display.readline().strip()
        cls.addClassCleanup(cls.server.wait)
        cls.addClassCleanup(cls.server.kill)

    def setUp(self):
        self.paint("#c02040")

    def paint(self, colour):
        subprocess.run(["xsetroot", "-solid", colour], check=True, timeout=PATIENCE,
                       env=self.environment(DISPLAY=self.display))

    def serve(self):
        host = subprocess.Popen([HOST], env=self.environment(DISPLAY=self.display),
                                stdout=subprocess.PIPE, text=True)
        self.addCleanup(host.stdout.close)
        self.addCleanup(host.wait)
        self.addCleanup(host.terminate)
        self.assertIn("listening on TCP 9090", host.stdout.readline())

    def assert_all(self, jpeg, colour):
        """Each pixel of the picture is that colour."""
        raw = subprocess.run(["ffmpeg", "-loglevel", "error", "-f", "mjpeg", "-i", "-", "-f",
                              "rawvideo", "-pix_fmt", "rgb24", "-"], input=jpeg, check=True,
                             capture_output=True, timeout=PATIENCE).stdout
        self.assertEqual(len(raw), 640 * 360 * 3)
        for channel, value in enumerate(bytes.fromhex(colour)):
            self.assertLessEqual(max(abs(each - value) for each in raw[channel::3]), TOLERANCE)

    def test_list_shows_the_display(self):
        self.serve()
        run = self.run_program("list", "--json", "127.0.0.1")
        self.assertEqual(run.returncode, 0)
        display, = json.loads(run.stdout)[0]["displays"]
        self.assertEqual((display["width"], display["height"]), (640, 360))
        self.assertRegex(display["id"], "^macos-display:")

    def test_frame_shows_what_is_on_the_screen(self):
        self.serve()
        run = self.run_program("frame", "localhost", "1", text=False)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assert_all(run.stdout, "c02040")

    def test_frame_waits_until_the_screen_changes(self):
        self.serve()
        process = self.start("frame", "--wait", "127.0.0.1", "1", stdout=subprocess.PIPE)
        for number in range(1, 10_000):
            self.paint(f"#{number * 4099 % 0xffffff:06x}")
            if process.poll() is not None:
                break
        output, _ = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, output[:2]), (0, b"\xff\xd8"))

    def test_stream_shows_what_is_on_the_screen(self):
        self.serve()
        process = self.start("stream", "127.0.0.1", "1", stdout=subprocess.PIPE)
        head = b"".join(iter(process.stdout.readline, b"\r\n"))
        length = int(re.search(rb"Content-Length: (\d+)", head)[1])
        self.assert_all(process.stdout.read(length), "c02040")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), -signal.SIGINT)

    def test_watch_shows_what_is_on_the_screen_and_how_it_changes(self):
        self.serve()
        terminal = Terminal([PROGRAM, "watch", "127.0.0.1", "--format", "symbols"],
                            self.environment(TERM="xterm-direct"))
        self.addCleanup(terminal.close)
        for colour in ("#c02040", "#206040"):
            self.paint(colour)
            terminal.wait(lambda output: self.last_colour(output) == colour, colour)
        terminal.type(b"q")
        self.assertEqual(terminal.end(), (0, terminal.mode))

    @staticmethod
    def last_colour(output):
        """Of a cell, if it is near one of those that are painted."""
        for red, green, blue in re.findall(rb"48;2;(\d+);(\d+);(\d+)", output[-100_000:])[-1:]:
            for colour in ("#c02040", "#206040"):
                if all(abs(int(each) - value) <= TOLERANCE for each, value in
                       zip((red, green, blue), bytes.fromhex(colour[1:]))):
                    return colour
        return None

    def test_doctor_finds_a_served_host_well(self):
        self.serve()
        run = self.run_program("doctor", "127.0.0.1")
        self.assertEqual(run.returncode, 0, run.stdout)

    def test_doctor_finds_the_host_of_this_machine(self):
        self.serve()
        run = self.run_program("doctor", "--json", DISPLAY=self.display, XDG_SESSION_TYPE="x11",
                               PATH=f"{pathlib.Path(HOST).parent}:{os.environ['PATH']}")
        found = {each["what"]: each for each in json.loads(run.stdout)}
        self.assertEqual(found["access"]["text"], "Screen Recording: granted")
        self.assertEqual(found["port"]["state"], "good")
        self.assertIn("VelmoraViewer", found["port"]["text"])

    def test_doctor_names_who_else_has_the_port(self):
        with socket.create_server(("127.0.0.1", 9090)) as squatter:
            squatter.listen()
            run = self.run_program("doctor", "--json", "--timeout", "0.5")
        found = {each["what"]: each for each in json.loads(run.stdout)}
        self.assertEqual(found["port"]["state"], "bad")
        self.assertIn(f"({os.getpid()})", found["port"]["text"])

    def test_doctor_tells_that_others_have_the_whole_waiting_line(self):
        self.serve()
        for _ in range(16):
            self.addCleanup(socket.create_connection(("127.0.0.1", 9090)).close)
        run = self.run_program("doctor", "--timeout", "3", "127.0.0.1")
        self.assertEqual(run.returncode, 1)
        self.assertIn("starved", run.stdout)


if __name__ == "__main__":
    unittest.main()
