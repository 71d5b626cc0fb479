#!/usr/bin/env python3
"""What faults a line may have, for scripts/mutate."""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "tools" / "mutation"))
from faults import faults_of  # noqa: E402


def lines_with(kind, *lines):
    """What may stand in the place of the first of these lines with that kind of fault."""
    return [fault.lines for fault in faults_of(list(lines), 0) if fault.kind.startswith(kind)]


class Faults(unittest.TestCase):
    def test_a_condition_may_be_negated_always_or_never_hold(self):
        line = "    if (isDue && count > 3) {"
        self.assertEqual(lines_with("negated", line), [("    if (!(isDue && count > 3)) {",)])
        self.assertEqual(lines_with("dropped condition", line),
                         [("    if ((isDue && count > 3) || true) {",)])
        self.assertEqual(lines_with("never", line), [("    if ((isDue && count > 3) && false) {",)])

    def test_each_operator_and_each_constant_may_be_another_one(self):
        line = "    return size < 10 || size == limit;"
        self.assertEqual([each for (each,) in lines_with("operator", line)], [
            "    return size < 10 || size != limit;",
            "    return size <= 10 || size == limit;",
            "    return size >= 10 || size == limit;",
            "    return size < 10 && size == limit;",
        ])
        self.assertCountEqual([each for (each,) in lines_with("constant", line)], [
            "    return size < 9 || size == limit;",
            "    return size < 11 || size == limit;",
        ])

    def test_a_limit_of_time_is_a_constant(self):
        self.assertIn(("constexpr auto grace = 4s;",),
                      lines_with("constant", "constexpr auto grace = 3s;"))

    def test_a_statement_may_be_missing_or_come_too_late(self):
        line, following = "    isStopped_ = true;", "    timer_.reset();"
        self.assertEqual(lines_with("dropped statement", line), [("",)])
        self.assertEqual(lines_with("swapped statements", line, following), [(following, line)])

    def test_arguments_may_change_places(self):
        self.assertEqual(lines_with("swapped arguments", "    copy(from, to);"),
                         [("    copy(to, from);",)])

    def test_texts_comments_and_declarations_stay(self):
        for line in ('    say("a == b, 1 < 2");', "    // if (a == b) 3"):
            self.assertEqual(lines_with("operator", line) + lines_with("constant", line), [])
        for line in ("    const int count = 3;", "    void stop();", "    bool read(int count);"):
            self.assertEqual(lines_with("dropped", line) + lines_with("swapped", line, line), [])
        for line in ("    co_await stop();", "    throw Lack();", "    self->stop();"):
            self.assertEqual(lines_with("dropped", line), [("",)])
        self.assertEqual(faults_of(["#include <array>", "}  // namespace"], 0), [])


if __name__ == "__main__":
    unittest.main()
