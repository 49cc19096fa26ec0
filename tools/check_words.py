#!/usr/bin/env python3
"""Refuses words that have no place in the tree.

The system is explained from itself, so no file points to a document that its reader does not have; and a file must
mean the same on every machine, so none names a folder or a server of the machine it was written on.
"""

import argparse
import re
import sys
from pathlib import Path

from project_files import ROOT, project_files

FORBIDDEN = [
    (r"\bspecs?\b", "refers to a document"),
    (r"\bspecifications?\b", "refers to a document"),
    (r"\bParts? \d+\.\d+", "refers to a part of a document"),
    (r"\bparts? \d+\.\d+", "refers to a part of a document"),
    (r"\b[Ss]ections? \d+(\.\d+)*", "refers to a part of a document"),
    (r"§", "refers to a part of a document"),
    (r"\b(as|where|when) (required|specified|prescribed)\b(?! to\b)", "refers to a document"),
    (r"\b(design|style)\.md\b", "names a document that is not in the tree"),
    (r"(?<![\w.~:}$-])/(root|home|Users)/", "is a path of one machine"),
    (r"\b(registry|mirror|proxy|artifactory|nexus)\.[a-z0-9-]+(\.[a-z0-9-]+)*\.[a-z]{2,}\b", "names a package server"),
    (r"\b(deb\.debian|registry\.npmjs|pypi|crates|nuget)\.(org|io)\b", "names a package server"),
]

# The checker and its test have to spell what they look for.
SPELLS_THE_WORDS = {"tools/check_words.py", "tools/tests/check_words_test.py"}

# Arbitrary bytes.
BINARY_SUFFIXES = (".png", ".ico", ".zip", ".gz", ".pdf")


def problems_of_line(line):
    return [f"'{match.group(0)}' {reason}"
            for pattern, reason in FORBIDDEN for match in [re.search(pattern, line)] if match]


def check_tree(root):
    problems = []
    checked = 0
    for name in project_files(root):
        if name in SPELLS_THE_WORDS or name.endswith(BINARY_SUFFIXES):
            continue
        checked += 1
        problems += [f"{name}:1: the name: {problem}" for problem in problems_of_line(name)]
        text = (Path(root) / name).read_bytes().decode("utf-8", errors="replace")
        for number, line in enumerate(text.split("\n"), 1):
            problems += [f"{name}:{number}: {problem}" for problem in problems_of_line(line)]
    return problems, checked


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("root", nargs="?", default=ROOT)
    arguments = parser.parse_args()

    problems, checked = check_tree(arguments.root)
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"check_words: {checked} files, {len(problems)} problems")
    return 1 if problems or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
