"""The desktop knows the host by the name that its windows have, and finds the program that is meant.

Usage: desktop_file_test.py SOURCE_FOLDER BUILD_FOLDER.
"""
import configparser
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD = (pathlib.Path(argument) for argument in sys.argv[1:3])


class Installed(unittest.TestCase):
    """The desktop files as they are installed."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.prefix = pathlib.Path(folder.name)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True,
                       capture_output=True)
        cls.files = list((cls.prefix / "share/applications").iterdir())

    def test_it_is_the_one_that_the_windows_name(self):
        named = re.findall(r'setDesktopFileName\(QStringLiteral\("([^"]*)"\)\)',
                           (SOURCE / "app/linux/alert/main.cpp").read_text(encoding="utf-8"))
        self.assertEqual([file.name for file in self.files], [f"{name}.desktop" for name in named])

    def test_it_starts_the_host_and_is_in_no_menu(self):
        parser = configparser.ConfigParser(interpolation=None)
        parser.optionxform = str
        parser.read(self.files, encoding="utf-8")
        entry = parser["Desktop Entry"]
        self.assertEqual(entry["Type"], "Application")
        self.assertTrue((self.prefix / "bin" / entry["Exec"]).is_file())
        self.assertEqual(entry["NoDisplay"], "true")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
