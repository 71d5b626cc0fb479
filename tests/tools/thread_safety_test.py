"""The compiler finds fields that are touched outside their isolation or lock. Needs clang."""
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
ACTOR = """
#include "core/runtime/ViewerIsolation.h"
#include "core/runtime/ViewerLock.h"
using namespace velmora;
struct Actor {
    static ViewerTask<int> read(std::shared_ptr<Actor> self);
    void touch() VIEWER_REQUIRES(isolation_);
    const ViewerIsolation isolation_;
    ViewerLock lock_;
    int value_ VIEWER_GUARDED_BY(isolation_) = 0;
    int count_ VIEWER_GUARDED_BY(lock_) = 0;
};
ViewerTask<void> wait();
"""


class ThreadSafety(unittest.TestCase):
    def findings(self, body):
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "Actor.cpp")
            source.write_text(ACTOR + body, encoding="utf-8")
            return subprocess.run(
                ["clang++-19", "-std=c++20", "-I", str(ROOT), "-Wthread-safety", "-Werror",
                 "-fsyntax-only", str(source)], capture_output=True, text=True).stderr

    def test_operations_that_have_entered(self):
        self.assertEqual(self.findings(
            "void Actor::touch() { ++value_; }\n"
            "ViewerTask<int> Actor::read(std::shared_ptr<Actor> self) {\n"
            "    self->isolation_.assertInside();\n"
            "    self->touch();\n    co_await wait();\n    co_return self->value_;\n}\n"), "")

    def test_fields_that_are_read_before_a_wait_without_having_entered(self):
        self.assertIn("value_", self.findings(
            "ViewerTask<int> Actor::read(std::shared_ptr<Actor> self) {\n"
            "    const int value = self->value_;\n    co_await wait();\n    co_return value;\n}\n"))

    def test_fields_that_are_read_after_a_wait_without_having_entered(self):
        self.assertIn("value_", self.findings(
            "ViewerTask<int> Actor::read(std::shared_ptr<Actor> self) {\n"
            "    co_await wait();\n    co_return self->value_;\n}\n"))

    def test_operations_that_need_the_isolation(self):
        self.assertIn("touch", self.findings(
            "ViewerTask<int> Actor::read(std::shared_ptr<Actor> self) {\n"
            "    self->touch();\n    co_return 0;\n}\n"))

    def test_fields_that_are_read_without_their_lock(self):
        self.assertIn("count_", self.findings(
            "int f(Actor& actor) { return actor.count_; }\n"))
        self.assertEqual(self.findings(
            "int f(Actor& actor) {\n    const ViewerLockGuard guard(actor.lock_);\n"
            "    return actor.count_;\n}\n"), "")


if __name__ == "__main__":
    unittest.main()
