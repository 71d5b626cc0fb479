"""The source checks find what they are for, and nothing in code that is right."""
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tools"))
import check_coroutines  # noqa: E402
import check_includes  # noqa: E402


def findings_in(check, files):
    """What a check finds in a tree of these files."""
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            path = pathlib.Path(root, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return list(check.problems(root))


def rules(text):
    return [rule for _, rule in check_coroutines.findings(text)]


class CoroutineSpellings(unittest.TestCase):
    def test_a_wait_inside_a_condition(self):
        self.assertEqual(rules("if (co_await isReady()) {}"), ["condition"])
        self.assertEqual(rules("while (x < 3 && co_await f(1)) {}"), ["condition"])
        self.assertEqual(rules("switch (co_await f()) {}"), ["condition"])
        self.assertEqual(rules("const bool ready = co_await isReady(); if (ready) {}"), [])

    def test_braces_in_an_awaited_call(self):
        self.assertEqual(rules("co_await f({a, b});"), ["braces"])
        self.assertEqual(rules("co_await f(Record{a, b}, c);"), ["braces"])
        self.assertEqual(rules("co_await f(Record(a, b), c);"), [])

    def test_by_value_captures_in_an_awaited_expression(self):
        self.assertEqual(rules("co_await f([name](int x) { g(x); });"), ["capture"])
        self.assertEqual(rules("co_await f([=] { g(); });"), ["capture"])
        self.assertEqual(rules("co_await f([n = std::move(m)]() mutable { g(n); });"), ["capture"])
        self.assertEqual(rules("co_await f([this, &name](int x) { g(x); });"), [])
        self.assertEqual(rules("co_await f(list[index]);"), [])

    def test_a_coroutine_with_a_reference_parameter(self):
        self.assertEqual(rules("ViewerTask<void> A::f(const B& b) { co_await g(b); }"),
                         ["reference"])
        self.assertEqual(rules("ViewerTask<void> A::f(B b) { co_await g(b); }"), [])
        self.assertEqual(rules("ViewerTask<void> A::f(const B& b) { return g(b); }"), [])

    def test_a_capturing_lambda_that_is_a_coroutine(self):
        self.assertEqual(rules("spawn([this]() -> ViewerTask<void> { g(); });"), ["lambda"])
        self.assertEqual(rules("spawn([](A* a) -> ViewerTask<void> { co_await a->g(); });"), [])

    def test_comments_and_texts_do_not_count(self):
        self.assertEqual(rules('// if (co_await x)\nf("if (co_await x)");'), [])


class IncludeEdges(unittest.TestCase):
    def check(self, files):
        return findings_in(check_includes, files)

    def test_records_may_not_include_the_coordination(self):
        found = self.check({"core/protocol/A.h":
                            '#include "core/coordination/ViewerCaptureCoordinator.h"\n'})
        self.assertEqual(len(found), 1)
        self.assertIn("records may not include coordination", found[0])

    def test_the_router_may_include_the_capture_interfaces(self):
        self.assertEqual(self.check({
            "core/protocol/ViewerHostRouter.h":
                '#include "core/coordination/ViewerHostFrameProviding.h"\n'}), [])

    def test_portable_code_may_not_include_platform_code(self):
        found = self.check({"core/http/A.cpp": '#include "core/http/linux/B.h"\n'})
        self.assertEqual(len(found), 1)
        self.assertIn("portable code", found[0])

    def test_platform_code_of_the_application_may_not_include_that_of_the_core(self):
        for include in ("core/capture/linux/x11/B.h", "core/http/linux/B.h"):
            found = self.check({"app/linux/A.cpp": f'#include "{include}"\n'})
            self.assertEqual(len(found), 1)
            self.assertIn("belongs to", found[0])

    def test_platform_code_may_include_its_own_and_the_runtimes(self):
        self.assertEqual(self.check({
            "app/linux/A.cpp": '#include "app/linux/B.h"\n'
                               '#include "core/runtime/linux/C.h"\n',
            "core/capture/linux/A.cpp": '#include "core/capture/linux/x11/B.h"\n'}), [])

    def test_the_operators_program_may_include_the_protocol_alone(self):
        self.assertEqual(self.check({
            "viewerctl/A.cpp": '#include "core/protocol/ViewerHostDisplay.h"\n'
                               '#include "viewerctl/B.h"\n'}), [])
        for include in ("core/protocol/ViewerHostRouter.h", "core/runtime/ViewerTask.h",
                        "core/capture/B.h", "app/B.h"):
            found = self.check({"viewerctl/A.cpp": f'#include "{include}"\n'})
            self.assertEqual(len(found), 1)
            self.assertIn("viewerctl may not include", found[0])

    def test_nothing_of_the_host_may_include_the_operators_program(self):
        found = self.check({"app/A.cpp": '#include "viewerctl/B.h"\n'})
        self.assertEqual(len(found), 1)

    def test_includes_are_written_from_the_root(self):
        found = self.check({"core/http/A.cpp": '#include "B.h"\n'})
        self.assertEqual(len(found), 1)
        self.assertIn("not written from the root", found[0])


if __name__ == "__main__":
    unittest.main()
