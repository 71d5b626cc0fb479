"""stream hands a display's pictures on as a camera does.

Usage: stream_test.py PROGRAM.
"""
import contextlib
import http.client
import itertools
import os
import pathlib
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from program import ProgramTest
from scripted_host import LABEL, PATIENCE, answer, jpeg, picture, serving

SCREEN = ("id", "Screen")
BOUNDARY = b"--velmora-frame\r\n"


def read_part(stream):
    """The JPEG of the next part, read no further than the boundary behind it."""
    head = {}
    for line in iter(stream.readline, b"\r\n"):
        assert line, "the stream ended within a part"
        name, value = line.decode().strip().split(": ")
        head[name] = value
    assert head["Content-Type"] == "image/jpeg"
    data = stream.read(int(head["Content-Length"]))
    assert stream.readline() == b"\r\n" and stream.readline() == BOUNDARY
    return data


class Stream(ProgramTest):
    def stream(self, host, *arguments):
        process = self.start("stream", host.name, "1", *arguments, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE)
        return process

    def serve(self, host, *arguments):
        """A stream on a port of its own."""
        process = self.stream(host, "--listen", "0", *arguments)
        url = process.stderr.readline().decode().strip()
        self.assertRegex(url, r"^http://127\.0\.0\.1:[0-9]+/$")
        return process, int(url.split(":")[2][:-1])

    def ask(self, port, **headers):
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        self.addCleanup(connection.close)
        connection.request("GET", "/", headers=headers)
        return connection.getresponse()

    def test_each_part_has_its_length_and_the_boundary_at_once(self):
        answers = (answer(jpeg(filling=b"%d" % n), kind="image/jpeg", label=f"{LABEL}{n}")
                   for n in itertools.count(1))
        host = self.host(serving(SCREEN, frame=lambda target: next(answers)))
        process = self.stream(host, "--rate", "25")
        self.assertEqual(process.stdout.readline(), BOUNDARY)
        parts = [read_part(process.stdout) for _ in range(5)]
        self.assertEqual(parts[0], jpeg(filling=b"1"))
        self.assertEqual(parts, sorted(parts))

    def test_the_last_picture_is_repeated_while_there_is_none(self):
        empty = answer(b"", kind="text/plain", status="503 Service Unavailable")
        answers = itertools.chain([picture()], itertools.repeat(empty))
        host = self.host(serving(SCREEN, frame=lambda target: next(answers)))
        process = self.stream(host, "--rate", "20")
        process.stdout.readline()
        self.assertEqual({read_part(process.stdout) for _ in range(40)}, {jpeg()})
        self.assertIn(b"no picture now", process.stderr.readline())
        # Who has no picture is asked ever less often.
        self.assertLess(len(host.requests), 20)

    def test_a_host_that_comes_back_is_told_of(self):
        answers = itertools.chain([picture(), b""], itertools.repeat(picture(2)))
        host = self.host(serving(SCREEN, frame=lambda target: next(answers)))
        process = self.stream(host, "--rate", "20")
        self.assertIn(b"before the answer", process.stderr.readline())
        self.assertIn(b"pictures again", process.stderr.readline())

    def test_it_fails_at_once_where_there_is_no_such_display(self):
        host = self.host(serving(SCREEN))
        run = self.run_program("stream", host.name, "2")
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn("no such display", run.stderr)

    def test_an_interrupt_ends_it_though_nobody_reads(self):
        large = answer(jpeg().ljust(1 << 20, b"\0"), kind="image/jpeg", label=LABEL + "1")
        host = self.host(serving(SCREEN, frame=lambda target: large))
        process = self.stream(host, "--rate", "25")
        while len(host.requests) < 5:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), -signal.SIGINT)

    def test_an_interrupt_ends_it_before_the_first_picture(self):
        empty = answer(b"", kind="text/plain", status="503 Service Unavailable")
        host = self.host(serving(SCREEN, frame=lambda target: empty))
        process = self.stream(host)
        self.assertIn(b"no picture now", process.stderr.readline())
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, output, errors), (-signal.SIGINT, b"", b""))

    def test_an_interrupt_before_the_listing_says_nothing(self):
        host = self.host(lambda connection, target: host.ending.wait())
        process = self.stream(host)
        while not host.requests:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, output, errors), (-signal.SIGINT, b"", b""))

    def test_an_interrupt_ends_it_though_a_program_does_not_read(self):
        large = answer(jpeg().ljust(2 << 20, b"\0"), kind="image/jpeg", label=LABEL + "1")
        host = self.host(serving(SCREEN, frame=lambda target: large))
        process, port = self.serve(host, "--rate", "25")
        held = [self.ask(port) for _ in range(4)]
        while len(host.requests) < 15:
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), -signal.SIGINT)
        self.assertEqual({each.status for each in held}, {200})

    def test_the_pipe_is_given_back_as_it_was(self):
        host = self.host(serving(SCREEN))
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        self.addCleanup(os.close, writer)
        process = self.start("stream", host.name, "1", stdout=writer)
        os.read(reader, 1)
        self.assertFalse(os.get_blocking(writer))
        process.send_signal(signal.SIGINT)
        process.wait(PATIENCE)
        self.assertTrue(os.get_blocking(writer))

    def is_served(self, port):
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
        with contextlib.closing(connection):
            try:
                connection.request("GET", "/")
                with connection.getresponse() as response:
                    return response.fp.readline() == BOUNDARY
            except ConnectionError:
                return False  # is turned away

    def test_programs_that_have_gone_make_room(self):
        host = self.host(serving(SCREEN))
        _, port = self.serve(host, "--rate", "25")
        for _ in range(80):
            # That one has gone is seen with the next picture.
            end = time.monotonic() + PATIENCE
            while not self.is_served(port):
                self.assertLess(time.monotonic(), end)

    def test_a_program_is_served_for_longer_than_a_request_may_take(self):
        host = self.host(serving(SCREEN))
        _, port = self.serve(host, "--rate", "2")
        response = self.ask(port)
        self.assertEqual(response.fp.readline(), BOUNDARY)
        self.assertEqual([read_part(response.fp) for _ in range(13)], [jpeg()] * 13)

    def test_it_ends_with_whoever_reads(self):
        host = self.host(serving(SCREEN))
        process = self.stream(host, "--rate", "25")
        process.stdout.readline()
        process.stdout.close()
        self.assertNotEqual(process.wait(PATIENCE), 0)

    def test_output_that_cannot_be_written_is_told_of(self):
        host = self.host(serving(SCREEN))
        with open("/dev/full", "w", encoding="utf-8") as full:
            process = self.start("stream", host.name, "1", stdout=full, stderr=subprocess.PIPE)
            _, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 1)
        self.assertIn(b"cannot be written", errors)

    def test_a_terminal_gets_no_bytes(self):
        host = self.host(serving(SCREEN))
        self.assert_refuses_terminal("--listen", "stream", host.name, "1")

    def test_many_programs_share_what_the_host_is_asked_for(self):
        host = self.host(serving(SCREEN))
        process, port = self.serve(host, "--rate", "0.1")
        answers = [self.ask(port) for _ in range(20)]
        for each in answers:
            self.assertEqual(each.getheader("Content-Type"),
                             "multipart/x-mixed-replace;boundary=velmora-frame")
            self.assertEqual(each.fp.readline(), BOUNDARY)
            self.assertEqual(read_part(each.fp), jpeg())
        self.assertLess(len(host.requests), 10)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), -signal.SIGINT)

    def test_a_page_elsewhere_gets_nothing(self):
        host = self.host(serving(SCREEN))
        _, port = self.serve(host)
        self.assertEqual(self.ask(port, Host="evil.example").status, 403)
        self.assertEqual(self.ask(port, Host=f"localhost:{port}").status, 200)

    def test_a_port_that_is_taken_is_told_of(self):
        host = self.host(serving(SCREEN))
        run = self.run_program("stream", host.name, "1", "--listen", str(host.port))
        self.assertEqual(run.returncode, 1)
        self.assertIn("already in use", run.stderr)

    def test_a_listener_that_sends_no_request_keeps_nobody_from_theirs(self):
        host = self.host(serving(SCREEN))
        _, port = self.serve(host)
        silent = socket.create_connection(("127.0.0.1", port))
        self.addCleanup(silent.close)
        self.assertEqual(self.ask(port).status, 200)
        silent.sendall(b"GET / HTTP/1.1\r\nX: " + b"a" * 10000)
        self.assertEqual(self.ask(port).status, 200)


class Players(ProgramTest):
    """What reads cameras reads the stream."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.picture = self.folder / "picture.jpg"
        subprocess.run(["ffmpeg", "-loglevel", "error", "-f", "lavfi", "-i",
                        "color=red:size=64x36", "-frames:v", "1", "-pix_fmt", "yuvj420p",
                        self.picture], check=True, timeout=PATIENCE, stdin=subprocess.DEVNULL)
        data = self.picture.read_bytes()
        self.screen = self.host(serving(SCREEN, frame=lambda target: answer(
            data, kind="image/jpeg", label=LABEL + "1")))

    def stream(self, **about):
        return self.start("stream", self.screen.name, "1", "--rate", "10", **about)

    def test_ffmpeg_decodes_it_from_a_pipe(self):
        stream = self.stream(stdout=subprocess.PIPE)
        run = subprocess.run(["ffmpeg", "-loglevel", "error", "-f", "mpjpeg", "-i", "-",
                              "-frames:v", "5", "-f", "framehash", "-"], stdin=stream.stdout,
                             capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        frames = [line for line in run.stdout.splitlines() if not line.startswith("#")]
        self.assertEqual(len(frames), 5)

    def test_gstreamer_decodes_it_from_a_port(self):
        stream = self.start("stream", self.screen.name, "1", "--rate", "10", "--listen", "0",
                            stderr=subprocess.PIPE)
        url = stream.stderr.readline().decode().strip()
        run = subprocess.run(
            ["gst-launch-1.0", "-q", "souphttpsrc", f"location={url}", "is-live=true", "!",
             "multipartdemux", "!", "jpegdec", "!", "videoconvert", "!",
             "video/x-raw,format=RGB", "!", "identity", "eos-after=5", "!", "filesink",
             f"location={self.folder}/raw"],
            capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(run.returncode, 0, run.stderr)
        raw = (self.folder / "raw").read_bytes()
        self.assertGreaterEqual(len(raw), 3 * 64 * 36 * 4)
        self.assertGreater(raw[0], 240)
        self.assertLess(raw[1], 20)


if __name__ == "__main__":
    unittest.main()
