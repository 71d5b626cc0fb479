"""The programs that are shipped resist, and tell nothing of where they were built.

Usage: hardening_test.py SOURCE_FOLDER BUILD_FOLDER, with g++'s programs in the build folder.
"""
import json
import os
import pathlib
import platform
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD = (pathlib.Path(argument) for argument in sys.argv[1:3])
PROGRAMS = {"VelmoraViewerHost": "bin",
            "VelmoraViewerHostAlert": "libexec/velmora-viewer-host",
            "velmora-viewerctl": "bin"}
# What the compiler says of itself in each of our units.
SWITCHES = ("-fstack-protector-strong", "-fstack-clash-protection")
SWITCHES_OF_PROCESSOR = {"x86_64": ("-fcf-protection=full",),
                         "aarch64": ("-mbranch-protection=standard",)}


def readelf(file, *what):
    return subprocess.run(["readelf", "--wide", *what, file], check=True, text=True,
                          capture_output=True, env=dict(os.environ, LC_ALL="C")).stdout


def units_of(file):
    return readelf(file, "--debug-dump=info", "--dwarf-depth=1")


class Shipped(unittest.TestCase):
    """All programs, as they are built and as they are installed."""

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", folder.name], check=True,
                       capture_output=True)
        cls.built = [BUILD / "bin" / name for name in PROGRAMS]
        cls.installed = [pathlib.Path(folder.name, place, name)
                         for name, place in PROGRAMS.items()]

    def test_no_memory_is_both_written_and_executed(self):
        for file in self.installed:
            with self.subTest(file=str(file)):
                headers = readelf(file, "--program-headers")
                flags = re.findall(r"^ +(\w+) +0x\S+ 0x\S+ 0x\S+ 0x\S+ 0x\S+ ([RWE ]{3}) ", headers,
                                   re.MULTILINE)
                self.assertIn(("GNU_STACK", "RW "), flags)
                self.assertIn(("LOAD", "R E"), flags)
                self.assertEqual([each for each in flags if "W" in each[1] and "E" in each[1]], [])

    def test_addresses_are_chance(self):
        for file in self.installed:
            with self.subTest(file=str(file)):
                self.assertRegex(readelf(file, "--dynamic"), r"\(FLAGS_1\).*\bPIE\b")

    def test_what_the_loader_has_filled_in_stays_as_it_is(self):
        for file in self.installed:
            with self.subTest(file=str(file)):
                self.assertIn("GNU_RELRO", readelf(file, "--program-headers"))
                self.assertRegex(readelf(file, "--dynamic"), r"\(FLAGS_1\).*\bNOW\b")

    def imported(self, file):
        return re.findall(r"UND (\w+)@", readelf(file, "--dyn-syms"))

    def test_an_overflow_of_the_stack_ends_the_program(self):
        for file in self.installed:
            with self.subTest(file=str(file)):
                self.assertIn("__stack_chk_fail", self.imported(file))

    def test_an_overflow_of_a_buffer_ends_the_program(self):
        # The alert program calls nothing whose buffer the compiler knows; its units are compiled so.
        host, *_ = self.installed
        self.assertTrue([name for name in self.imported(host)
                         if re.fullmatch(r"__(?!stack)\w+_chk", name)])
        units = [unit for unit in json.loads((BUILD / "compile_commands.json").read_text("utf-8"))
                 if pathlib.Path(unit["file"]).relative_to(SOURCE).parts[0] in ("app", "core", "viewerctl")]
        self.assertGreater(len(units), 1)
        for unit in units:
            self.assertIn(" -D_FORTIFY_SOURCE=3 ", unit["command"])

    def test_every_unit_of_ours_is_compiled_so(self):
        switches = SWITCHES + SWITCHES_OF_PROCESSOR.get(platform.machine(), ())
        for file in self.built:
            with self.subTest(file=str(file)):
                units = re.findall(r"DW_AT_producer +: (.*GNU C\+\+.*)",
                                   units_of(file))
                self.assertGreater(len(units), 1)
                for unit in units:
                    for switch in switches:
                        self.assertIn(switch, unit)

    def test_nothing_tells_where_it_was_built(self):
        for file in self.built + self.installed:
            with self.subTest(file=str(file)):
                content = file.read_bytes()
                self.assertTrue(content.startswith(b"\x7fELF"))
                folders = re.findall(r"DW_AT_comp_dir +: (?:\(.*\): )?(.*)", units_of(file))
                # A compiler's cache can give what was built in another folder.
                self.assertEqual([folder for folder in folders if folder.startswith("/")], [])
                for place in {SOURCE, BUILD, SOURCE.resolve(), BUILD.resolve()}:
                    self.assertNotIn(os.fsencode(place), content)

    def test_what_is_installed_has_its_debug_information_in_the_build_folder_alone(self):
        for built, installed in zip(self.built, self.installed, strict=True):
            with self.subTest(file=str(installed)):
                self.assertIn(" .debug_info ", readelf(built, "--sections"))
                sections = readelf(installed, "--sections")
                self.assertNotIn(" .debug_", sections)
                self.assertNotIn(" .symtab ", sections)
                notes = [re.findall(r"Build ID: (\w+)", readelf(each, "--notes"))
                         for each in (built, installed)]
                self.assertEqual(len(notes[0]), 1)
                self.assertEqual(*notes)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
