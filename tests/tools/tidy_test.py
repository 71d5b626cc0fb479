#!/usr/bin/env python3
"""clang-tidy finds the same faults of ours whether or not it passes the system's headers over.

Usage: tidy_test.py PLUGIN, the library that lets it. Needs clang-tidy 19.
"""
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLUGIN = sys.argv.pop(1)

HEADER = """#pragma once
#include <memory>
#include <string>
#include <vector>
namespace velmora {
struct Base { virtual void f(); virtual ~Base() = default; };
struct Derived : Base { virtual void f(); };
class bad_name { public: bad_name(int); int Field_ = 0; };
template <typename T> bool isEmpty(const T& all) { return all.size() == 0; }
inline int twice(int a, int unused) { return a + a; }
}
"""
SOURCE = """#include "core/Faults.h"
#include <utility>
namespace velmora {
namespace {
using std::pair;
static int hidden() { return 0; }
const char* nothing() { return 0; }
void afterMove(std::string text) { std::string other = std::move(text); text.size(); other += text; }
bool same(const char* a, const char* b) { return std::string(a) == b; }
int both(int a) { return a == a ? hidden() : a; }
void copies(std::vector<std::string> all) { for (const auto each : all) { (void)each; } }
bool asTemplate() { return isEmpty(std::string()); }
void semicolon(int a) { if (a == 1); { (void)nothing(); } }
void memory(std::unique_ptr<int> p) { delete p.release(); }
}
int reached() {
    afterMove(""); copies({}); semicolon(1); memory(nullptr);
    return both(1) + same("", "") + asTemplate() + twice(1, 2);
}
}
"""
FINDING = re.compile(r"^.*?/(core/\S+:\d+:\d+): error: .*\[(\S+?),", re.MULTILINE)


class Faults(unittest.TestCase):
    def findings(self, *options):
        with tempfile.TemporaryDirectory() as folder:
            core = pathlib.Path(folder, "core")
            core.mkdir()
            (core / "Faults.h").write_text(HEADER, encoding="utf-8")
            (core / "Faults.cpp").write_text(SOURCE, encoding="utf-8")
            result = subprocess.run(
                ["clang-tidy-19", "-quiet", f"--config-file={ROOT}/.clang-tidy", *options,
                 str(core / "Faults.cpp"), "--", "-std=c++20", f"-I{folder}"],
                capture_output=True, text=True)
        return sorted(set(FINDING.findall(result.stdout)))

    def test_are_the_same_ones(self):
        everywhere = self.findings()
        self.assertEqual(self.findings("-load", PLUGIN), everywhere)
        self.assertGreaterEqual(len({check for _, check in everywhere}), 11, everywhere)
        self.assertEqual({place.partition(":")[0] for place, _ in everywhere},
                         {"core/Faults.h", "core/Faults.cpp"})


if __name__ == "__main__":
    unittest.main()
