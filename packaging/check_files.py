#!/usr/bin/env python3
"""Compares the files of a package with its list: a file more or less is a failure.

    packaging/check_files.py LIST PACKAGE [--version VERSION] [--without PATH]...

LIST has one path a line; @VERSION@ stands for the version. A line that ends in /** stands for all files of a folder that
another tool fills, of which there must be some. PACKAGE is a folder, a zip (a wheel is one) or a tarball. --without leaves
out a file, or a folder, that has not been made.
"""

import argparse
import sys
import tarfile
import zipfile
from pathlib import Path


def files_of(package):
    if package.is_dir():
        return {path.relative_to(package).as_posix() for path in package.rglob("*") if path.is_file()}
    if zipfile.is_zipfile(package):
        with zipfile.ZipFile(package) as archive:
            return {name for name in archive.namelist() if not name.endswith("/")}
    with tarfile.open(package) as archive:
        return {entry.name for entry in archive.getmembers() if entry.isfile()}


def wanted_lines(text, version):
    return [line.strip().replace("@VERSION@", version) for line in text.splitlines()
            if line.strip() and not line.startswith("#")]


def compare(lines, found, without=()):
    lines = [line for line in lines if not any(line == path or line.startswith(f"{path}/") for path in without)]
    folders = [line[:-2] for line in lines if line.endswith("/**")]
    wanted = {line for line in lines if not line.endswith("/**")}
    problems = [f"{name} is missing" for name in sorted(wanted - found)]
    problems += [f"{name} is not in the list" for name in sorted(found - wanted) if not name.startswith(tuple(folders))]
    problems += [f"{folder} is empty" for folder in folders if not any(name.startswith(folder) for name in found)]
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("list", type=Path)
    parser.add_argument("package", type=Path)
    parser.add_argument("--version", default="")
    parser.add_argument("--without", action="append", default=[])
    arguments = parser.parse_args()
    found = files_of(arguments.package)
    problems = compare(wanted_lines(arguments.list.read_text(encoding="utf-8"), arguments.version), found, arguments.without)
    for problem in problems:
        print(f"{arguments.package.name}: {problem}; its list is {arguments.list.name}", file=sys.stderr)
    print(f"check_files: {arguments.package.name}: {len(found)} files, {len(problems)} problems")
    return 1 if problems or not found else 0


if __name__ == "__main__":
    sys.exit(main())
