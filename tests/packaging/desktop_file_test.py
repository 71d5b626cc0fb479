"""What the host installs beside its programs: the desktop knows it by the name that its windows have,
starts it by one mechanism, and has an icon and a description of it.

Usage: desktop_file_test.py SOURCE_FOLDER BUILD_FOLDER.
"""
import configparser
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

SOURCE, BUILD = (pathlib.Path(argument) for argument in sys.argv[1:3])
ID = "com.quilmer.velmora.viewer_host"


def png_size(content):
    """Width and height of a PNG."""
    signature, width, height = struct.unpack(">8s8xII", content[:24])
    return (width, height) if signature == b"\x89PNG\r\n\x1a\n" else None


class Installed(unittest.TestCase):
    """The files as they are installed."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.prefix = pathlib.Path(folder.name)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True,
                       capture_output=True)
        cls.applications = list((cls.prefix / "share/applications").iterdir())
        cls.metainfo = cls.prefix / "share/metainfo" / f"{ID}.metainfo.xml"

    def entry(self):
        parser = configparser.ConfigParser(interpolation=None)
        parser.optionxform = str
        parser.read(self.applications, encoding="utf-8")
        return parser["Desktop Entry"]

    def expect_silence_of(self, *command):
        """The checker finds nothing at all."""
        result = subprocess.run(command, check=False, text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT)
        self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_the_desktop_file_is_the_one_that_the_windows_name(self):
        named = re.findall(r'setDesktopFileName\(QStringLiteral\("([^"]*)"\)\)',
                           (SOURCE / "app/linux/alert/main.cpp").read_text(encoding="utf-8"))
        self.assertEqual(named, [ID])
        self.assertEqual([file.name for file in self.applications], [f"{ID}.desktop"])

    def test_it_starts_the_host_and_is_in_no_menu(self):
        entry = self.entry()
        self.assertEqual(entry["Type"], "Application")
        self.assertTrue((self.prefix / "bin" / entry["Exec"]).is_file())
        self.assertEqual(entry["NoDisplay"], "true")

    def test_the_desktop_starts_it_only_where_it_is_installed(self):
        autostart = self.prefix / "etc/xdg/autostart" / f"{ID}.desktop"
        self.assertEqual(autostart.read_bytes(), self.applications[0].read_bytes())
        self.assertEqual(self.entry()["TryExec"], self.entry()["Exec"])

    def test_nothing_else_starts_it(self):
        units = [file.relative_to(self.prefix) for file in self.prefix.rglob("*")
                 if file.suffix in (".service", ".target", ".socket", ".timer")]
        self.assertEqual(units, [])

    def test_the_settings_are_of_the_unit_that_the_entry_becomes(self):
        # systemd writes other characters as numbers in the names of units.
        self.assertRegex(ID, r"^[a-z_.]+$")
        folder = self.prefix / "lib/systemd/user" / f"app-{ID}@autostart.service.d"
        self.assertEqual([file.suffix for file in folder.iterdir()], [".conf"])

    def test_the_icon_is_there_in_every_size(self):
        icon = self.entry()["Icon"]
        icons = self.prefix / "share/icons/hicolor"
        self.assertTrue((icons / "scalable/apps" / f"{icon}.svg").is_file())
        for size in (16, 24, 32, 48, 64, 128, 256, 512):
            with self.subTest(size=size):
                file = icons / f"{size}x{size}" / "apps" / f"{icon}.png"
                self.assertEqual(png_size(file.read_bytes()), (size, size))

    def test_the_description_is_of_this_program_and_claims_no_licence_for_it(self):
        component = xml.etree.ElementTree.parse(self.metainfo).getroot()
        self.assertEqual(component.findtext("id"), ID)
        self.assertEqual(component.findtext("launchable"), f"{ID}.desktop")
        self.assertEqual(component.findtext("metadata_license"), "CC0-1.0")
        self.assertIsNone(component.find("project_license"))

    def test_the_checkers_of_each_format_find_nothing(self):
        self.expect_silence_of("desktop-file-validate", *self.applications)
        self.expect_silence_of("mandoc", "-T", "lint",
                               self.prefix / "share/man/man1/VelmoraViewerHost.1")

    def test_of_the_description_nothing_is_found_but_that_there_is_no_home_page(self):
        result = subprocess.run(["appstreamcli", "validate", "--no-net", self.metainfo], text=True,
                                stdout=subprocess.PIPE, check=False)
        found = set(re.findall(r"^\s*[EW]: \S+ (\S+)$", result.stdout, re.MULTILINE))
        # There is none to name yet. AppStream warns of it from version 1.0.
        self.assertLessEqual(found, {"url-homepage-missing"}, result.stdout)
        self.assertTrue(result.returncode == 0 or found, result.stdout)


class Bundle(unittest.TestCase):
    """The icon of the macOS application."""

    def test_it_is_one_picture_in_every_size(self):
        content = (SOURCE / "packaging/macos/VelmoraViewerHost.icns").read_bytes()
        self.assertEqual(struct.unpack(">4sI", content[:8]), (b"icns", len(content)))
        sizes = set()
        position = 8
        while position < len(content):
            _, length = struct.unpack(">4sI", content[position:position + 8])
            sizes.add(png_size(content[position + 8:position + length]))
            position += length
        self.assertEqual(sizes, {(size, size) for size in (32, 64, 128, 256, 512, 1024)})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
