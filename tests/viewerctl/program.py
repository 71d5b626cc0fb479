"""The program under test, as a test's class starts it."""
import os
import pty
import signal
import subprocess
import sys
import unittest

from scripted_host import PATIENCE, ScriptedHost

PROGRAM = sys.argv.pop(1)

# Whoever runs the tests in the background may have them ignored, and so would the program.
for each in (signal.SIGHUP, signal.SIGINT, signal.SIGTERM):
    if signal.getsignal(each) == signal.SIG_IGN:
        signal.signal(each, signal.SIG_DFL)


class ProgramTest(unittest.TestCase):
    """Runs the built program; hosts and processes end with the test."""

    def host(self, serve, **about):
        host = ScriptedHost(serve, **about)
        self.addCleanup(host.close)
        return host

    def environment(self, **variables):
        return {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", **variables}

    def run_program(self, *arguments, program=PROGRAM, text=True, **variables):
        return subprocess.run([program, *arguments], capture_output=True, text=text,
                              timeout=PATIENCE, env=self.environment(**variables),
                              stdin=subprocess.DEVNULL)

    def start(self, *arguments, variables=(), **about):
        process = subprocess.Popen([PROGRAM, *arguments],
                                   env=self.environment(**dict(variables)),
                                   stdin=subprocess.DEVNULL, **about)

        def end():
            process.kill()
            process.wait()
            for stream in (process.stdout, process.stderr):
                if stream:
                    stream.close()
        self.addCleanup(end)
        return process

    def assert_refuses_terminal(self, option, *arguments):
        """It shows a terminal nothing, and names the option that says where else it goes."""
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        process = self.start(*arguments, stdout=theirs, stderr=subprocess.PIPE)
        os.close(theirs)
        _, errors = process.communicate(timeout=PATIENCE)
        self.assertEqual(process.returncode, 2)
        self.assertIn(option.encode(), errors)
