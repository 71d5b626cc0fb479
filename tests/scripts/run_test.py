"""scripts/run gives the host what it needs, and takes it away again."""
import ctypes
import os
import pathlib
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "run"
PATIENCE = 30  # seconds; longer than anything that goes well takes
PR_SET_CHILD_SUBREAPER = 36

HOST = f"""#!{sys.executable}
import os, signal, sys
for number in (signal.SIGINT, signal.SIGTERM):
    signal.signal(number, lambda *_: os._exit(5))
print("host", os.environ.get("DISPLAY"), os.environ.get("XAUTHORITY"), *sys.argv[1:], flush=True)
while True:
    signal.pause()
"""
# Stays until it is ended, and tells its process id.
PROGRAM = """#!/bin/sh
echo $$ >>"$STARTED"
case $0 in */Xvfb) echo 7 >&3 ;; esac
exec sleep 600
"""
BROKEN = "#!/bin/sh\nexit 1\n"
NOTHING = "#!/bin/sh\nexit 0\n"


class Run(unittest.TestCase):
    """The script in a tree of its own, where everything that it starts is a stand-in."""

    @classmethod
    def setUpClass(cls):
        # Whatever loses its parent becomes a child of this process.
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(self.expect_nothing_left)
        self.root = pathlib.Path(folder.name)
        self.install("build/release/bin/VelmoraViewerHost", HOST)
        self.install("scripts/packages", "#!/bin/sh\necho packages $*\n")
        shutil.copy(SCRIPT, self.root / "scripts")
        for name in ("cmake", "xauth", "xsetroot", "mcookie"):
            self.install(f"bin/{name}", NOTHING)
        for name in ("Xvfb", "xclock", "ico"):
            self.install(f"bin/{name}", PROGRAM)

    def install(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        path.chmod(0o755)

    def start(self, *arguments, display="", wayland="", session=""):
        environment = dict(os.environ, PATH=f"{self.root}/bin:{os.environ['PATH']}",
                           STARTED=str(self.root / "started"), TMPDIR=str(self.root),
                           DISPLAY=display, WAYLAND_DISPLAY=wayland,
                           XDG_SESSION_TYPE=session, XAUTHORITY="")
        run = subprocess.Popen([self.root / "scripts/run", *arguments], env=environment,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                               start_new_session=True)
        self.addCleanup(self.kill, run)
        return run

    def kill(self, run):
        """Only a test that has failed leaves it running."""
        if run.poll() is None:
            run.kill()
            self.end(run)

    def started(self, count):
        """A descriptor of each process that was started besides the host, once so many are."""
        file = self.root / "started"
        pids = []
        limit = time.monotonic() + PATIENCE
        while len(pids) < count and time.monotonic() < limit:
            os.sched_yield()
            pids = file.read_text(encoding="utf-8").split() if file.exists() else []
        self.assertEqual(len(pids), count)
        return [os.pidfd_open(int(pid)) for pid in pids]

    def expect_nothing_left(self):
        """Every process that came of the test ends by itself."""
        limit = time.monotonic() + PATIENCE
        while time.monotonic() < limit:
            try:
                os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return
            os.sched_yield()
        self.fail("a process is left behind")

    @staticmethod
    def lines_up_to_the_hosts(run):
        lines = []
        for line in run.stdout:
            lines.append(line.strip())
            if line.startswith("host "):
                break
        return lines

    @staticmethod
    def lines_up_to_the_build(run):
        """What is told before anything is built, as one text."""
        told = ""
        for line in run.stdout:
            told += line
            if line.startswith("packages"):
                break
        return told

    def expect_host_alone(self, run):
        self.assertFalse((self.root / "started").exists())
        run.send_signal(signal.SIGINT)
        self.assertEqual(self.end(run), 5)

    def end(self, run):
        run.stdout.close()
        run.stderr.close()
        return run.wait(PATIENCE)

    def expect_ended(self, processes):
        for each in processes:
            self.assertTrue(select.select([each], [], [], PATIENCE)[0], "a process goes on")
            os.close(each)

    def test_without_a_display_one_is_brought_along_and_taken_away_with_the_host(self):
        run = self.start("one", "two words")
        lines = self.lines_up_to_the_hosts(run)
        display, authority, *arguments = lines[-1].split(" ", 3)[1:]
        self.assertEqual(display, ":7")
        self.assertEqual(arguments, ["one two words"])
        self.assertTrue(any("DISPLAY=:7" in line for line in lines))
        self.assertEqual(sum(line.startswith("curl ") for line in lines), 2)
        programs = self.started(3)
        self.assertTrue(pathlib.Path(authority).exists())

        run.send_signal(signal.SIGTERM)

        self.assertEqual(self.end(run), 5)
        self.expect_ended(programs)
        limit = time.monotonic() + PATIENCE
        while pathlib.Path(authority).parent.exists() and time.monotonic() < limit:
            os.sched_yield()
        self.assertFalse(pathlib.Path(authority).parent.exists())

    def test_what_was_brought_along_goes_with_a_host_that_is_killed(self):
        run = self.start()
        self.lines_up_to_the_hosts(run)
        programs = self.started(3)
        os.killpg(run.pid, signal.SIGKILL)
        self.end(run)
        self.expect_ended(programs)

    def test_the_status_is_the_hosts_however_the_signal_comes(self):
        for attempt in range(6):
            run = self.start()
            self.lines_up_to_the_hosts(run)
            if attempt % 2 == 0:
                os.killpg(run.pid, signal.SIGINT)  # as a terminal does it
            else:
                run.send_signal(signal.SIGTERM)
            self.assertEqual(self.end(run), 5)

    def test_where_there_is_a_display_nothing_is_brought_along(self):
        run = self.start("argument", display=":5")
        told, *_, host = self.lines_up_to_the_hosts(run)
        self.assertIn("DISPLAY=:5", told)
        self.assertEqual(host, "host :5  argument")
        self.expect_host_alone(run)

    def test_under_wayland_the_host_starts_on_the_desktop_that_is_there(self):
        run = self.start("argument", wayland="wayland-1")
        told = self.lines_up_to_the_build(run)
        self.assertIn("WAYLAND_DISPLAY=wayland-1", told)
        self.assertIn("asks you first", told)
        self.assertNotIn("virtual", told)
        self.assertIn("packages build wayland\n", told)
        self.assertEqual(self.lines_up_to_the_hosts(run)[-1], "host   argument")
        self.expect_host_alone(run)

    def test_beside_a_compositor_an_x11_sessions_desktop_is_shown(self):
        run = self.start(display=":5", wayland="wayland-1", session="x11")
        told = self.lines_up_to_the_build(run)
        self.assertIn("DISPLAY=:5", told)
        self.assertNotIn("WAYLAND_DISPLAY", told)
        self.assertIn("packages build\n", told)
        self.assertEqual(self.lines_up_to_the_hosts(run)[-1], "host :5")
        self.expect_host_alone(run)

    def test_without_a_desktop_the_virtual_display_is_told_of_before_the_build(self):
        run = self.start()
        told = self.lines_up_to_the_build(run)
        self.assertIn("virtual display", told)
        self.assertIn(f"{self.root}/scripts/run", told)
        self.lines_up_to_the_hosts(run)
        run.send_signal(signal.SIGTERM)
        self.assertEqual(self.end(run), 5)

    def test_names_what_it_builds_in_full(self):
        run = self.start(display=":5")
        self.assertIn(f"Building {self.root}/build/release/bin/VelmoraViewerHost…",
                      self.lines_up_to_the_hosts(run))
        self.expect_host_alone(run)

    def test_a_virtual_display_that_does_not_come_is_told_of(self):
        self.install("bin/Xvfb", BROKEN)
        run = self.start()
        output, errors = run.communicate(timeout=PATIENCE)
        self.assertEqual(run.returncode, 1)
        self.assertNotIn("host ", output.splitlines())
        self.assertIn("virtual", errors)


if __name__ == "__main__":
    unittest.main()
