"""frame fetches the newest picture of a display.

Usage: frame_test.py PROGRAM.
"""
import itertools
import os
import pathlib
import resource
import signal
import subprocess
import tempfile
import time
import unittest

from program import ProgramTest
from scripted_host import LABEL, PATIENCE, answer, jpeg, picture, serving

DISPLAYS = ("id/1 ü", "Left"), ("id-2", "Right"), ("id-3", "Right"), ("id-4", "1")


class Frame(ProgramTest):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def asked(self, display):
        """The target that is asked for when somebody wants that display."""
        host = self.host(serving(*DISPLAYS))
        run = self.run_program("frame", host.name, display, text=False)
        return run.stdout if run.returncode else host.requests[-1].split()[1]

    def test_a_display_is_chosen_by_id_name_or_number(self):
        prefix = "/viewer/v1/frame?id="
        self.assertEqual(self.asked("id-3"), prefix + "id-3")
        self.assertEqual(self.asked("Left"), prefix + "id%2F1%20%C3%BC")
        self.assertEqual(self.asked("2"), prefix + "id-2")
        self.assertEqual(self.asked("4"), prefix + "id-4")

    def test_a_name_comes_before_a_number(self):
        self.assertEqual(self.asked("1"), "/viewer/v1/frame?id=id-4")

    def test_no_display_is_chosen_by_a_name_that_two_have(self):
        host = self.host(serving(*DISPLAYS))
        for display in ("Right", "5", "0", "-1", "", "2x"):
            with self.subTest(display):
                run = self.run_program("frame", host.name, "--", display)
                self.assertIn(run.returncode, (1, 2))
                self.assertEqual(run.stdout, "")
        self.assertFalse([each for each in host.requests if "frame" in each])

    def test_the_picture_goes_to_standard_output_byte_for_byte(self):
        host = self.host(serving(*DISPLAYS))
        run = self.run_program("frame", host.name, "2", text=False)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (0, jpeg(), b""))

    def test_the_picture_goes_to_a_file_whole(self):
        host = self.host(serving(*DISPLAYS))
        file = pathlib.Path(self.folder.name, "screen.jpg")
        file.write_bytes(b"old")
        run = self.run_program("frame", host.name, "2", "-o", str(file))
        self.assertEqual((run.returncode, run.stdout), (0, ""))
        self.assertEqual(file.read_bytes(), jpeg())
        self.assertEqual(os.listdir(self.folder.name), ["screen.jpg"])
        mask = os.umask(0)
        os.umask(mask)
        self.assertEqual(file.stat().st_mode & 0o777, 0o666 & ~mask)

    def test_a_file_that_cannot_be_written_is_a_failure(self):
        host = self.host(serving(*DISPLAYS))
        run = self.run_program("frame", host.name, "2", "-o", "/nonexistent/\x1b[2J.jpg")
        self.assertEqual(run.returncode, 1)
        self.assertIn("/nonexistent/\ufffd[2J.jpg", run.stderr)

    def test_a_pipe_is_written_and_stays_one(self):
        host = self.host(serving(*DISPLAYS))
        pipe = pathlib.Path(self.folder.name, "pipe")
        os.mkfifo(pipe)
        reader = os.open(pipe, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        run = self.run_program("frame", host.name, "2", "-o", str(pipe))
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertEqual(os.read(reader, 4096), jpeg())
        self.assertTrue(pipe.is_fifo())

    def test_a_disk_that_is_full_keeps_the_old_picture(self):
        host = self.host(serving(*DISPLAYS))
        file = pathlib.Path(self.folder.name, "screen.jpg")
        link = pathlib.Path(self.folder.name, "newest.jpg")
        link.symlink_to("screen.jpg")
        for name in (file, link):
            with self.subTest(name.name):
                file.write_bytes(b"old")
                # Python ignores the signal that would end the program.
                process = self.start(
                    "frame", host.name, "2", "-o", str(name), stderr=subprocess.PIPE,
                    restore_signals=False,
                    preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10, 10)))
                _, errors = process.communicate(timeout=PATIENCE)
                self.assertEqual(process.returncode, 1)
                self.assertIn(b"too large", errors)
                self.assertEqual(file.read_bytes(), b"old")
                self.assertEqual(sorted(os.listdir(self.folder.name)),
                                 ["newest.jpg", "screen.jpg"])

    def test_a_link_leads_to_the_file_that_is_replaced(self):
        host = self.host(serving(*DISPLAYS))
        link = pathlib.Path(self.folder.name, "newest.jpg")
        link.symlink_to("screen.jpg")
        for _ in ("a new file", "a file that is there"):
            run = self.run_program("frame", host.name, "2", "-o", str(link))
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            self.assertTrue(link.is_symlink())
            self.assertEqual(link.read_bytes(), jpeg())

    def test_a_terminal_gets_no_bytes(self):
        host = self.host(serving(*DISPLAYS))
        self.assert_refuses_terminal("--output", "frame", host.name, "2")

    def failure(self, frame):
        host = self.host(serving(*DISPLAYS, frame=lambda target: frame))
        run = self.run_program("frame", host.name, "2", text=False)
        self.assertEqual((run.returncode, run.stdout), (1, b""))
        return run.stderr.decode()

    def test_a_display_without_a_picture_is_told_of(self):
        empty = answer(b"", kind="text/plain", status="503 Service Unavailable")
        self.assertIn("no picture now", self.failure(empty))
        empty = answer(b"", kind="text/plain", status="404 Not Found")
        self.assertIn("no such display", self.failure(empty))

    def test_what_is_no_safe_picture_goes_nowhere(self):
        for name, frame in {
                "too wide": picture(width=4097),
                "too high": picture(height=65535),
                "no pixels": picture(width=0),
                "no JPEG": answer(b"GIF89a", kind="image/jpeg", label=LABEL + "1"),
                "nothing": answer(b"", kind="image/jpeg", label=LABEL + "1"),
        }.items():
            with self.subTest(name):
                self.assertIn("picture", self.failure(frame))
        for name, frame in {
                "another type": answer(jpeg(), kind="image/png", label=LABEL + "1"),
                "no label": answer(jpeg(), kind="image/jpeg"),
                "a bad label": answer(jpeg(), kind="image/jpeg", label=LABEL + "01"),
                "a label that is code": answer(jpeg(), kind="image/jpeg", label="\x1b[2J"),
                "too long": answer(jpeg() + b" " * (2 << 20), kind="image/jpeg",
                                   label=LABEL + "1"),
        }.items():
            with self.subTest(name):
                self.assertIn("not a Viewer Host", self.failure(frame))

    def test_the_longest_picture_is_taken(self):
        longest = jpeg().ljust(2 << 20, b"\0")
        host = self.host(serving(*DISPLAYS, frame=lambda target: answer(
            longest, kind="image/jpeg", label=LABEL + "18446744073709551615")))
        run = self.run_program("frame", host.name, "2", text=False)
        self.assertEqual((run.returncode, run.stdout), (0, longest))

    def test_a_change_is_waited_for_through_new_labels_and_missing_pictures(self):
        empty = answer(b"", kind="text/plain", status="503 Service Unavailable")
        changed = answer(jpeg(filling=b"!"), kind="image/jpeg", label=LABEL + "9")
        answers = itertools.chain([picture(1), empty, picture(2), picture(3)],
                                  itertools.repeat(changed))
        host = self.host(serving(*DISPLAYS, frame=lambda target: next(answers)))
        run = self.run_program("frame", "--wait", host.name, "2", text=False)
        self.assertEqual((run.returncode, run.stdout), (0, jpeg(filling=b"!")))

    def test_an_interrupt_ends_the_wait_and_leaves_no_file(self):
        host = self.host(serving(*DISPLAYS))
        file = pathlib.Path(self.folder.name, "screen.jpg")
        process = self.start("frame", "--wait", host.name, "2", "-o", str(file),
                             stderr=subprocess.PIPE)
        while len(host.requests) < 3:
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        _, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual((process.returncode, errors), (-signal.SIGTERM, b""))
        self.assertEqual(os.listdir(self.folder.name), [])


if __name__ == "__main__":
    unittest.main()
