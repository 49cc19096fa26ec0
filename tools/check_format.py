#!/usr/bin/env python3
"""Compares every C and C++ file with what clang-format makes of it; --fix rewrites the files that differ."""

import argparse
import subprocess
import sys

from project_files import ROOT, project_files

SUFFIXES = (".c", ".h", ".cpp", ".hpp")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--fix", action="store_true", help="rewrite what differs")
    arguments = parser.parse_args()

    files = project_files(suffixes=SUFFIXES)
    if not files:
        print("check_format: found no source at all", file=sys.stderr)
        return 1
    mode = ["-i"] if arguments.fix else ["--dry-run", "--Werror", "--ferror-limit=3"]
    result = subprocess.run(["clang-format", "--style=file", *mode, *files], cwd=ROOT, check=False)
    if result.returncode != 0:
        print("check_format: run ./dev format", file=sys.stderr)
        return 1
    print(f"check_format: {len(files)} files")
    return 0


if __name__ == "__main__":
    sys.exit(main())
