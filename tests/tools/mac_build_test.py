"""The check of the macOS build finds what it is for and nothing else. Needs clang."""
import pathlib
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools"))
import check_mac_build  # noqa: E402
from source_tree import SourceTree  # noqa: E402


class Build(unittest.TestCase):
    def test_sources_that_are_forgotten_or_of_another_system(self):
        with SourceTree({"core/a/A.cpp": "", "core/a/mac/B.mm": "", "core/a/linux/C.cpp": "",
                   "app/mac/D.h": ""}) as root:
            self.assertEqual(list(check_mac_build.source_problems(
                root, ["core/a/A.cpp", "core/a/mac/B.mm"])), [])
            self.assertEqual(
                list(check_mac_build.source_problems(root, ["core/a/A.cpp", "core/a/linux/C.cpp"])),
                ["core/a/mac/B.mm: is not in the build for macOS",
                 "core/a/linux/C.cpp: does not belong into the build for macOS"])

    def findings(self, name, text, kind=""):
        with SourceTree({name: text}) as root:
            for folder in ("tests/mac/frameworks/include", "tests/tools"):
                (root / folder).parent.mkdir(parents=True, exist_ok=True)
                (root / folder).symlink_to(ROOT / folder)
            command = (f"clang++-19 -isystem /usr/include -mmacosx-version-min=13.0 {kind} "
                       f"-Wall -Wextra -Werror -std=c++20 -o A.o -c {root / name}")
            return "\n".join(check_mac_build.compiler_findings(root, [command]))

    def adapter(self, body):
        includes = "#import <Foundation/Foundation.h>\n#import <Network/Network.h>\n"
        return self.findings("A.mm", includes + body, "-x objective-c++ -fobjc-arc")

    def test_portable_code_has_no_more_than_the_oldest_systems_library(self):
        self.assertEqual(self.findings("A.cpp", "#include <charconv>\nvoid f(char* a) "
                                       "{ (void)std::to_chars(a, a, 15); }\n"), "")
        self.assertIn("macOS 13.3", self.findings(
            "A.cpp", "#include <charconv>\nvoid f(char* a) { (void)std::to_chars(a, a, 1.5); }\n"))
        self.assertIn("stop_token", self.findings(
            "A.cpp", "#include <stop_token>\nstd::stop_token token;\n"))

    def test_adapters_are_held_to_ownership(self):
        self.assertEqual(self.adapter("void f(nw_listener_t l) { nw_listener_start(l); }\n"), "")
        self.assertIn("bridged cast", self.adapter(
            "CFTypeRef f(NSObject* o) { return (CFTypeRef)o; }\n"))
        self.assertIn("release", self.adapter("void f(NSObject* o) { [o release]; }\n"))

    def test_adapters_are_held_to_the_declarations(self):
        self.assertIn("nw_listener_force", self.adapter(
            "void f(nw_listener_t l) { nw_listener_force(l); }\n"))
        self.assertIn("fullName", self.adapter("void f(NSHost* h) { (void)h.fullName; }\n"))
        self.assertIn("unused variable", self.adapter("void f() { int unused = 1; }\n"))

    def test_descriptions_that_are_wrong(self):
        right = {**check_mac_build.DESCRIPTION, "CFBundleVersion": "0.1.0",
                 "CFBundleShortVersionString": "0.1.0"}
        self.assertEqual(list(check_mac_build.description_problems(right)), [])
        for key in right:
            without = {name: value for name, value in right.items() if name != key}
            self.assertEqual(len(list(check_mac_build.description_problems(without))), 1, key)
        for key, value in (("LSUIElement", False), ("CFBundleLocalizations", ["en"]),
                           ("CFBundleVersion", "${VERSION}"), ("Unknown", "")):
            found = list(check_mac_build.description_problems({**right, key: value}))
            self.assertEqual(len(found), 1, key)

    def test_bundles_that_are_laid_out_wrong(self):
        right = ["VelmoraViewerHost.app/Contents/Info.plist",
                 "VelmoraViewerHost.app/Contents/MacOS/VelmoraViewerHost",
                 "VelmoraViewerHost.app/Contents/Resources/VelmoraViewerHost.icns"]
        self.assertEqual(list(check_mac_build.layout_problems(right)), [])
        self.assertEqual(len(list(check_mac_build.layout_problems(right[1:]))), 1)
        self.assertEqual(len(list(check_mac_build.layout_problems(right + ["bin/x"]))), 1)

    def test_descriptions_that_are_not_signed_again(self):
        query = "bin/X:\n  input: LINK\n    A.o\n{}  outputs:\n    bin/VelmoraViewerHost.app{}\n"
        plist = "VelmoraViewerHost.app/Contents/Info.plist"
        self.assertEqual(list(check_mac_build.signature_problems(
            query.format(f"    | bin/{plist}\n", ""))), [])
        self.assertEqual(len(list(check_mac_build.signature_problems(
            query.format("", "/Contents/Info.plist")))), 1)

    def test_launch_agents_that_start_something_else(self):
        description = check_mac_build.DESCRIPTION
        right = {"Label": "com.quilmer.velmora.viewer-host",
                 "AssociatedBundleIdentifiers": "com.quilmer.velmora.viewer-host",
                 "ProcessType": "Interactive",
                 "ProgramArguments": [
                     "/Applications/VelmoraViewerHost.app/Contents/MacOS/VelmoraViewerHost"],
                 "KeepAlive": {"SuccessfulExit": False}}
        self.assertEqual(list(check_mac_build.launch_agent_problems(right, description)), [])
        for key, value in (("Label", "other"), ("AssociatedBundleIdentifiers", "other"),
                           ("ProcessType", "Standard"), ("ProgramArguments", ["/bin/true"]),
                           ("KeepAlive", True)):
            found = list(check_mac_build.launch_agent_problems({**right, key: value}, description))
            self.assertEqual(len(found), 1, key)


if __name__ == "__main__":
    unittest.main()
