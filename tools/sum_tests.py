#!/usr/bin/env python3
"""Adds up the tests that ran in one or more build trees.

CTest's entries are either whole compiler runs and the like, counted as one test each, or shares of a GoogleTest
program, whose XML results are counted test by test. A share that crashed, hung or left no results counts as one
failed test more than its results say. So does a program that is missing. An entry that is disabled, because this machine
lacks what it needs, is skipped; with --complete it is a failure.
"""

import argparse
import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

# kx_add_test_executable numbers its shares; no other entry ends in a number.
GOOGLETEST_ENTRY = re.compile(r"\.\d+$")
TEST_BEGINS = re.compile(r"^\[ RUN      \] (\S+)", re.MULTILINE)
# Lines of an entry's output that are shown when nothing else says why it failed.
LINES_SHOWN = 20


def last_lines(text):
    return "".join(f"\n    | {line.rstrip()}" for line in text.splitlines()[-LINES_SHOWN:])


def account_of_early_end(case):
    """What CTest knows of an entry that ended before its program could say what failed."""
    failure = case.find("failure")
    how = (failure.get("message") or "").strip() if failure is not None else ""
    output = case.findtext("system-out") or ""
    begun = list(TEST_BEGINS.finditer(output))
    account = "ended early, by a crash or a time-out"
    account += f" ({how or case.get('status')} after {float(case.get('time') or 0):.0f} s"
    account += f", in {begun[-1].group(1)})" if begun else ", before any test)"
    shown = output[begun[-1].start() :] if begun else output
    return account + last_lines(shown)


def reason_not_run(case):
    skipped = case.find("skipped")
    return (skipped.get("message") if skipped is not None else case.findtext("system-out")) or "no reason is known"


class Sum:
    def __init__(self, complete=False):
        self.complete = complete
        self.passed = 0
        self.skipped = 0
        self.left_out = []
        self.failed = []

    def add_googletest(self, root, entry):
        """Returns whether the results hold a failure."""
        failures = 0
        for case in root.iter("testcase"):
            name = f"{entry}: {case.get('classname')}.{case.get('name')}"
            if case.find("failure") is not None:
                self.failed.append(name)
                failures += 1
            elif case.get("status") != "run" or case.get("result") in ("skipped", "suppressed"):
                self.skipped += 1
            else:
                self.passed += 1
        # A failure outside any test, in a suite's set-up for instance.
        for suite in root.iter("testsuite"):
            for failure in suite.findall("failure"):
                self.failed.append(f"{entry}: {suite.get('name')}: {failure.get('message', '')[:80]}")
                failures += 1
        return failures > 0

    def add_tree(self, tree):
        tree = Path(tree)
        failures = len(self.failed)
        self.add_report(tree)
        # What ran the entries may have failed without any of them.
        status = tree / "ctest.status"
        if status.exists() and int(status.read_text(encoding="ascii")) != 0 and len(self.failed) == failures:
            self.failed.append(f"{tree}: the run ended with status {status.read_text().strip()}, and no entry says why")

    def add_report(self, tree):
        report = tree / "ctest.xml"
        if not report.exists():
            self.failed.append(f"{tree}: CTest left no report")
            return
        entries = list(ElementTree.parse(report).getroot().iter("testcase"))
        if not entries:
            self.failed.append(f"{tree}: no test ran")
        for case in entries:
            entry = f"{tree.name}/{case.get('name')}"
            status = case.get("status")
            succeeded = status == "run" and case.find("failure") is None
            if status == "disabled" and not self.complete:
                self.skipped += 1
                self.left_out.append(f"{entry}: {reason_not_run(case)}")
                continue
            if status in ("notrun", "disabled"):
                self.failed.append(f"{entry}: did not run: {reason_not_run(case)}")
                continue
            if not GOOGLETEST_ENTRY.search(case.get("name")):
                if succeeded:
                    self.passed += 1
                else:
                    self.failed.append(entry + last_lines(case.findtext("system-out") or ""))
                continue
            results = tree / "test-results" / f"{case.get('name')}.xml"
            explained = False
            if results.exists():
                try:
                    explained = self.add_googletest(ElementTree.parse(results).getroot(), entry)
                except ElementTree.ParseError as error:
                    self.failed.append(f"{entry}: unreadable results: {error}")
                    explained = True
            elif succeeded:
                self.failed.append(f"{entry}: left no results")
            if not succeeded and not explained:
                self.failed.append(f"{entry}: {account_of_early_end(case)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--summary", help="file that receives the numbers of passed, failed and skipped tests")
    parser.add_argument("--complete", action="store_true", help="an entry that is disabled is a failure")
    parser.add_argument("trees", nargs="+", help="build trees")
    arguments = parser.parse_args()

    total = Sum(arguments.complete)
    for tree in arguments.trees:
        total.add_tree(tree)
    for name in total.left_out:
        print(f"LEFT OUT {name}")
    for name in total.failed:
        print(f"FAILED {name}")
    if arguments.summary:
        Path(arguments.summary).write_text(f"{total.passed} {len(total.failed)} {total.skipped}\n", encoding="ascii")
    print(f"{total.passed} passed, {len(total.failed)} failed, {total.skipped} skipped")
    return 1 if total.failed or total.passed == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
