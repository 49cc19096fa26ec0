"""The sum of the tests counts every way in which a test can end."""

import unittest
from pathlib import Path

from support import Tree

import sum_tests

SHARE = """<testsuites><testsuite name="S">
<testcase name="a" status="run" result="completed" classname="S"/>
<testcase name="b" status="run" result="skipped" classname="S"><skipped message="x"/></testcase>
{more}</testsuite></testsuites>"""
FAILING = '<testcase name="c" status="run" result="completed" classname="S"><failure message="no"/></testcase>'


def total(entries, results):
    report = "<testsuite>" + "".join(entries) + "</testsuite>"
    files = {"tree/ctest.xml": report}
    files.update({f"tree/test-results/{name}.xml": text for name, text in results.items()})
    with Tree(files) as root:
        result = sum_tests.Sum()
        result.add_tree(Path(root) / "tree")
        return result.passed, len(result.failed), result.skipped


def entry(name, failed=False):
    inside = "<failure/>" if failed else ""
    return f'<testcase name="{name}" status="{"fail" if failed else "run"}">{inside}</testcase>'


class SumTests(unittest.TestCase):
    def test_counts_passed_and_skipped(self):
        self.assertEqual(total([entry("kx_a.0"), entry("header")], {"kx_a.0": SHARE.format(more="")}), (2, 0, 1))

    def test_counts_a_failed_test_once(self):
        self.assertEqual(total([entry("kx_a.0", failed=True)], {"kx_a.0": SHARE.format(more=FAILING)}), (1, 1, 1))

    def test_counts_a_crash(self):
        self.assertEqual(total([entry("kx_a.0", failed=True)], {}), (0, 1, 0))

    def test_says_where_a_share_ended_early(self):
        output = "[ RUN      ] S.a\n[       OK ] S.a\n[ RUN      ] S.b\nterminate called\n"
        case = (
            f'<testcase name="kx_a.0" status="fail" time="400.1"><failure message="Timeout"/>'
            f"<system-out>{output}</system-out></testcase>"
        )
        with Tree({"tree/ctest.xml": f"<testsuite>{case}</testsuite>"}) as root:
            result = sum_tests.Sum()
            result.add_tree(Path(root) / "tree")
        (failed,) = result.failed
        self.assertIn("(Timeout after 400 s, in S.b)", failed)
        self.assertIn("| terminate called", failed)
        self.assertNotIn("OK", failed)

    def test_counts_a_failure_that_the_results_do_not_know(self):
        self.assertEqual(total([entry("kx_a.0", failed=True)], {"kx_a.0": SHARE.format(more="")}), (1, 1, 1))

    def test_counts_missing_and_broken_results(self):
        self.assertEqual(total([entry("kx_a.0")], {}), (0, 1, 0))
        self.assertEqual(total([entry("kx_a.0")], {"kx_a.0": "<testsuites>"}), (0, 1, 0))

    def test_counts_a_failed_entry_that_is_no_googletest_program(self):
        self.assertEqual(total([entry("header", failed=True)], {}), (0, 1, 0))

    def test_shows_the_end_of_what_a_failed_entry_has_printed(self):
        printed = "".join(f"line {n}\n" for n in range(100))
        case = f'<testcase name="header" status="fail"><failure/><system-out>{printed}</system-out></testcase>'
        with Tree({"tree/ctest.xml": f"<testsuite>{case}</testsuite>"}) as root:
            result = sum_tests.Sum()
            result.add_tree(Path(root) / "tree")
        (failed,) = result.failed
        lines = failed.splitlines()
        self.assertEqual((lines[0], lines[1], lines[-1]), ("tree/header", "    | line 80", "    | line 99"))

    def test_counts_a_missing_program(self):
        missing = '<testcase name="{}" status="notrun"><skipped message="Unable to find executable"/></testcase>'
        self.assertEqual(total([missing.format("kx_a.0"), missing.format("header")], {}), (0, 2, 0))

    def test_counts_a_tree_without_a_report_or_without_tests_as_failed(self):
        self.assertEqual(total([], {}), (0, 1, 0))
        result = sum_tests.Sum()
        result.add_tree("does/not/exist")
        self.assertEqual(len(result.failed), 1)


if __name__ == "__main__":
    unittest.main()
