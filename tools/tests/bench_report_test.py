"""The table of the benchmarks: what is met, what is not and what is void."""

import json
import unittest
from pathlib import Path

from support import Tree

import bench_report


def host_lines(*entries):
    with Tree({"host.jsonl": "\n".join(json.dumps(entry) for entry in entries)}) as root:
        rows, _ = bench_report.read_host(Path(root) / "host.jsonl")
    return {line.name: line for line in bench_report.host_lines(rows)}


def native_lines(speeds):
    benchmarks = [{"name": name, "run_name": name, "run_type": "iteration", "bytes_per_second": speed}
                  for name, speed in speeds]
    with Tree({"native.json": json.dumps({"benchmarks": benchmarks})}) as root:
        return {line.name: line for line in bench_report.native_lines(bench_report.read_native(Path(root) / "native.json"))}


class Verdicts(unittest.TestCase):
    def test_a_ratio_at_the_goal_is_met(self):
        self.assertEqual(host_lines({"row": "round_trip", "ratio": 1.05, "void": False})["round_trip"].verdict, "met")

    def test_a_ratio_above_the_goal_is_not_met(self):
        self.assertEqual(host_lines({"row": "round_trip", "ratio": 1.06, "void": False})["round_trip"].verdict, "not met")

    def test_a_row_whose_control_was_off_is_void(self):
        self.assertEqual(host_lines({"row": "round_trip", "ratio": 1.0, "void": True})["round_trip"].verdict, "void")

    def test_the_page_has_no_figure_of_a_void_row(self):
        line = host_lines({"row": "round_trip", "ratio": 1.5, "void": True})["round_trip"]
        self.assertTrue(bench_report.markdown_table([line]).endswith("| 1.05 |  | void |"))

    def test_a_row_that_is_missing_is_not_measured(self):
        self.assertEqual(host_lines({"row": "round_trip", "ratio": 1.0})["play_small"].verdict, "not measured")

    def test_speeds_are_better_when_larger(self):
        speeds = [("framing/escapes/ours", 300), ("framing/escapes/byte_by_byte", 100),
                  ("framing/members/ours", 200), ("framing/members/byte_by_byte", 100)]
        lines = native_lines(speeds)
        self.assertEqual((lines["framing/escapes"].ratio, lines["framing/escapes"].verdict), (3, "met"))
        self.assertEqual((lines["framing/members"].ratio, lines["framing/members"].verdict), (2, "not met"))

    def test_the_median_of_the_repetitions_counts(self):
        speeds = [("framing/escapes/ours", speed) for speed in (100, 900, 300)]
        self.assertEqual(native_lines(speeds + [("framing/escapes/byte_by_byte", 100)])["framing/escapes"].ratio, 3)

    def test_options_are_compared_as_times(self):
        line = native_lines([("options/usual/ours", 50), ("options/usual/by_hand", 150)])["options/usual"]
        self.assertEqual((line.ratio, line.verdict), (3, "not met"))

    def test_a_native_benchmark_that_failed_ends_the_report(self):
        broken = {"benchmarks": [{"name": "reading/x", "error_occurred": True, "error_message": "other fields"}]}
        with Tree({"native.json": json.dumps(broken)}) as root, self.assertRaisesRegex(SystemExit, "other fields"):
            bench_report.read_native(Path(root) / "native.json")


class Page(unittest.TestCase):
    def test_the_table_replaces_what_stands_between_its_marks(self):
        page = f"before\n{bench_report.TABLE_BEGIN}\nold\n{bench_report.TABLE_END}\nafter\n"
        written = bench_report.put_into_page(page, "| new |")
        self.assertNotIn("old", written)
        self.assertRegex(written, r"(?s)^before\n.*\| new \|.*\nafter\n$")

    def test_the_docs_have_the_marks(self):
        page = (Path(bench_report.ROOT) / "docs" / "performance.md").read_text(encoding="utf-8")
        self.assertIn("| new |", bench_report.put_into_page(page, "| new |"))


if __name__ == "__main__":
    unittest.main()
