"""bash completes the command line.

Usage: completion_test.py PROGRAM COMPLETION_FILE.
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

COMPLETION = pathlib.Path(sys.argv.pop(2))
from program import PROGRAM, ProgramTest  # noqa: E402
from scripted_host import PATIENCE  # noqa: E402

# As bash calls it when somebody presses the key: with the words so far, the last one unfinished.
ASK = r"""
. /usr/share/bash-completion/bash_completion
. "$1"
shift
COMP_WORDS=("$@")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
COMP_LINE="${COMP_WORDS[*]}"
COMP_POINT=${#COMP_LINE}
COMP_TYPE=9
_known_hosts_real() { COMPREPLY=(a-known-host); }
_velmora_viewerctl "$1" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
printf '%s\n' "${COMPREPLY[@]}"
"""


class Completion(ProgramTest):
    def offered(self, *words, folder=None, **variables):
        run = subprocess.run(["bash", "-c", ASK, "bash", COMPLETION.resolve(), PROGRAM, *words],
                             capture_output=True, text=True, cwd=folder, timeout=PATIENCE,
                             env=self.environment(**variables))
        self.assertEqual(run.stderr, "")
        return run.stdout.split()

    def told(self, pattern, *command):
        text = self.run_program(*command, "--help").stdout
        return sorted(re.findall(pattern, text, re.MULTILINE))

    def commands(self):
        found = self.told(r"^  ([a-z]+) ")
        self.assertIn("list", found)
        return found

    def test_of_commands(self):
        self.assertEqual(sorted(self.offered("")), self.commands())
        self.assertEqual(self.offered("li"), ["list"])

    def test_of_every_option_that_a_command_has(self):
        for command in self.commands():
            with self.subTest(command=command):
                options = self.told(r"^  (?:-\w,)?(--[a-z-]+)", command)
                self.assertIn("--timeout", options)
                self.assertEqual(sorted(self.offered(command, "--")), options)

    def test_whatever_language_the_program_speaks(self):
        self.assertEqual(self.offered("li", LC_ALL="", LANG="ru_RU.UTF-8"), ["list"])

    def test_of_files_where_one_is_wanted(self):
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "room.hosts").touch()
            self.assertEqual(self.offered("list", "--hosts", "r", folder=folder), ["room.hosts"])
            self.assertEqual(self.offered("frame", "-o", "r", folder=folder), ["room.hosts"])

    def test_of_nothing_where_a_number_is_wanted(self):
        self.assertEqual(self.offered("list", "--timeout", ""), [])

    def test_of_hosts_that_bash_knows(self):
        self.assertEqual(self.offered("list", "--json", "a-"), ["a-known-host"])


if __name__ == "__main__":
    unittest.main()
