#!/usr/bin/env python3
"""Checks the built library from outside: its exports, what it needs from the system, and how it was linked."""

import argparse
import sys
from pathlib import Path

import portable_executable as pe
from project_files import ROOT

GOLDEN_EXPORTS = ROOT / "tests" / "golden" / "exports.txt"

# Part of every 64-bit Windows; anything else would have to be shipped beside the library.
SYSTEM_LIBRARIES = {"kernel32.dll", "advapi32.dll", "msvcrt.dll"}

REQUIRED_FLAGS = [
    (pe.DYNAMIC_BASE, "address space randomisation (--dynamicbase)"),
    (pe.HIGH_ENTROPY_VA, "64-bit address space randomisation (--high-entropy-va)"),
    (pe.NX_COMPAT, "data execution prevention (--nxcompat)"),
]


def golden_exports(path=GOLDEN_EXPORTS):
    return sorted(line.strip() for line in Path(path).read_text(encoding="ascii").splitlines() if line.strip())


def check_binary(data, wanted_exports, source_root=None):
    problems = []
    try:
        image = pe.PortableExecutable(data)
        if image.machine != pe.MACHINE_AMD64:
            problems.append(f"built for machine {image.machine:#x}, not for x86-64")
        exports = image.exports()
        problems += [f"{name} is not exported" for name in wanted_exports if name not in exports]
        problems += [f"{name} is exported and should not be" for name in exports if name not in wanted_exports]
        problems += [f"needs {name}, which is no system library"
                     for name in image.imported_libraries() if name.lower() not in SYSTEM_LIBRARIES]
        problems += [f"linked without {meaning}" for flag, meaning in REQUIRED_FLAGS if not image.flags & flag]
        if pe.RESOURCE_VERSION not in image.resource_types():
            problems.append("carries no version resource")
    except pe.PortableExecutableError as error:
        problems.append(f"cannot be read: {error}")
    if source_root is not None and str(source_root).encode() in data:
        problems.append(f"holds the build machine's path {source_root}")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("library")
    arguments = parser.parse_args()

    wanted = golden_exports()
    problems = check_binary(Path(arguments.library).read_bytes(), wanted, ROOT)
    for problem in problems:
        print(f"{arguments.library}: {problem}", file=sys.stderr)
    print(f"check_binary: {len(wanted)} exports wanted, {len(problems)} problems")
    return 1 if problems or not wanted else 0


if __name__ == "__main__":
    sys.exit(main())
