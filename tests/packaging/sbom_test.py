"""The bill of materials names what others have made, by whichever way it came into the programs.

Usage: sbom_test.py SOURCE_FOLDER BUILD_FOLDER, with ninja's record of the build in the build folder.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD = (pathlib.Path(argument) for argument in sys.argv[1:3])


class Bill:
    """The bill of a package's programs in the build folder."""
    package = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.write("bill")
        cls.bill = json.loads((cls.folder / "bill.json").read_text("utf-8"))
        cls.notices = (cls.folder / "bill.txt").read_text("utf-8")

    @classmethod
    def write(cls, name):
        subprocess.run([SOURCE / "tools/sbom.py", BUILD, cls.package, "1.2.3",
                        cls.folder / f"{name}.json", cls.folder / f"{name}.txt"], check=True,
                       env=dict(os.environ, SOURCE_DATE_EPOCH="1000000000"))

    def related(self, kind):
        names = {package["SPDXID"]: package["name"] for package in self.bill["packages"]}
        return [names[each["relatedSpdxElement"]] for each in self.bill["relationships"]
                if each["relationshipType"] == kind]

    def expect_one(self, pattern, kind):
        found = [name for name in self.related(kind) if re.fullmatch(pattern, name)]
        self.assertEqual(len(found), 1, f"{pattern} in {self.related(kind)}")

    def test_a_library_of_headers_alone_is_in_it(self):
        self.expect_one(r"libboost[0-9.]+-dev", "STATIC_LINK")

    def test_what_programs_are_linked_by_is_not_in_it(self):
        self.assertTrue(self.related("DYNAMIC_LINK"))
        self.assertEqual([name for name in self.related("DYNAMIC_LINK") if name.endswith("-dev")], [])

    def test_what_is_linked_while_it_runs_is_no_part_of_the_programs(self):
        self.assertEqual(set(self.related("DYNAMIC_LINK")) & set(self.related("STATIC_LINK")), set())

    def test_it_says_of_each_package_what_the_format_asks_for(self):
        self.assertEqual(self.bill["spdxVersion"], "SPDX-2.3")
        self.assertEqual(self.bill["creationInfo"]["created"], "2001-09-09T01:46:40Z")
        identifiers = [package["SPDXID"] for package in self.bill["packages"]]
        self.assertEqual(len(identifiers), len(set(identifiers)))
        for package in self.bill["packages"]:
            self.assertRegex(package["SPDXID"], r"^SPDXRef-[A-Za-z0-9.-]+$")
            self.assertEqual(package["downloadLocation"], "NOASSERTION")
            self.assertTrue(package["versionInfo"])

    def test_the_authors_notices_are_told(self):
        self.assertIn("Boost Software License", self.notices)
        for name in self.related("DYNAMIC_LINK"):
            self.assertIn(name, self.notices)

    def test_it_is_the_same_again(self):
        self.write("again")
        for kind in ("json", "txt"):
            self.assertEqual((self.folder / f"again.{kind}").read_bytes(),
                             (self.folder / f"bill.{kind}").read_bytes())


class HostBill(Bill, unittest.TestCase):
    package = "velmora-viewer-host"

    def test_a_library_that_is_linked_is_in_it(self):
        self.expect_one(r"libxcb1", "DYNAMIC_LINK")
        self.expect_one(r"libqt6widgets6(t64)?", "DYNAMIC_LINK")

    def test_a_library_that_the_running_host_loads_is_in_it(self):
        self.expect_one(r"libpipewire-0.3-0(t64)?", "DEPENDS_ON")
        self.expect_one(r"libsystemd0", "DEPENDS_ON")

    def test_what_sources_were_generated_from_is_in_it(self):
        self.expect_one(r"wayland-protocols", "GENERATED_FROM")


class OperatorsBill(Bill, unittest.TestCase):
    package = "velmora-viewerctl"

    def test_a_library_that_is_linked_is_in_it(self):
        self.expect_one(r"libcurl4(t64)?", "DYNAMIC_LINK")
        self.expect_one(r"libcli11-dev", "STATIC_LINK")

    def test_what_the_host_alone_is_made_of_is_not_in_it(self):
        self.assertEqual([name for name in self.related("STATIC_LINK") + self.related("DYNAMIC_LINK")
                          if re.match("libxcb|libqt6|libhwy", name)], [])
        self.assertEqual(self.related("GENERATED_FROM") + self.related("DEPENDS_ON"), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
