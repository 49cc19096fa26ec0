#!/usr/bin/env python3
"""Checks the catalogue of errors, docs/errors.json, against the sources.

Each error text that the library sets has a row. Each row names its tests, and the tests are there. The log's entries are
compared by cli/tests/catalogue_test.cpp.
"""

import json
import re
import sys
from pathlib import Path

from project_files import ROOT, project_files

CATALOGUE = "docs/errors.json"

# Set during kx_Exit(), and gone with the browser's instance before a host can ask for them.
NEVER_READ = {"Timeout waiting browser process exit", "Waiting for browser process exit failed"}

LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')


def error_texts(source):
    """The texts that a source gives to fail(), or the beginning of those to which a value is added."""
    constants = dict(re.findall(r'(k\w+)(?:\[\])?\s*=\s*"((?:[^"\\]|\\.)*)"', source))
    texts = []
    for statement in re.findall(r"\bfail\(([^;{]*)\);", source):
        found = LITERAL.findall(statement)
        found += [constants[name] for name in re.findall(r"\bk\w+", statement) if name in constants]
        texts += found[:1]
    return texts


def test_names(source):
    return {f"{suite}.{name}"
            for suite, name in re.findall(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)", source, re.MULTILINE)}


def check(rows, texts, tests):
    """texts: (file, text) of the library; tests: names of all tests."""
    beginnings = {row["text"].split("{")[0] for row in rows if row["text"] and not row["text"].startswith("{")}
    problems = [f'{name}: the error text "{text}" has no row in {CATALOGUE}'
                for name, text in texts if text not in beginnings and text not in NEVER_READ]
    for row in rows:
        if not row.get("tests"):
            problems.append(f'{CATALOGUE}: {row["id"]} names no test')
        problems += [f'{CATALOGUE}: {row["id"]} names {test}, and there is no such test'
                     for test in row.get("tests", []) if test not in tests]
    return problems


def main():
    root = Path(ROOT)
    rows = json.loads((root / CATALOGUE).read_text(encoding="utf-8"))["errors"]
    # What json/ fails with travels as an exception, and reaches the log alone.
    sources = [name for name in project_files(root, (".cpp",), ("src/",)) if not name.startswith("src/json/")]
    texts = [(name, text) for name in sources for text in error_texts((root / name).read_text(encoding="utf-8"))]
    tests = set()
    for name in project_files(root, (".cpp",), ("tests/",)):
        tests |= test_names((root / name).read_text(encoding="utf-8"))
    problems = check(rows, texts, tests)
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"check_catalogue: {len(rows)} rows, {len(texts)} error texts, {len(problems)} problems")
    return 1 if problems or not rows or not texts else 0


if __name__ == "__main__":
    sys.exit(main())
