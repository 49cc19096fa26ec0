#!/usr/bin/env python3
"""Checks the built library from outside, as llvm-readobj shows it: exports, what it needs of the system, how it was linked."""

import argparse
import re
import subprocess
import sys
from pathlib import Path

import interface
from project_files import ROOT

# Part of every 64-bit Windows; anything else would have to be shipped beside the library.
SYSTEM_LIBRARIES = {"kernel32.dll", "advapi32.dll", "msvcrt.dll"}

REQUIRED = {
    "IMAGE_FILE_MACHINE_AMD64": "is not built for x86-64",
    "IMAGE_DLL_CHARACTERISTICS_DYNAMIC_BASE": "linked without address space randomisation (--dynamicbase)",
    "IMAGE_DLL_CHARACTERISTICS_HIGH_ENTROPY_VA": "linked without 64-bit address space randomisation (--high-entropy-va)",
    "IMAGE_DLL_CHARACTERISTICS_NX_COMPAT": "linked without data execution prevention (--nxcompat)",
    "Type: VERSIONINFO": "carries no version resource",
}


def check_binary(library, wanted, source_root=None):
    what = ["--file-headers", "--coff-exports", "--coff-imports", "--coff-resources"]
    shown = subprocess.run(["llvm-readobj", *what, str(library)], capture_output=True, text=True, check=False)
    if shown.returncode != 0:
        return [f"cannot be read: {shown.stderr.strip()}"]
    # An export without a name appears as "#ordinal".
    exports = [name or "#" + ordinal
               for ordinal, name in re.findall(r"^Export \{\n  Ordinal: (\d+)\n  Name: ?(.*)", shown.stdout, re.MULTILINE)]
    needed = re.findall(r"^Import \{\n  Name: (.*)", shown.stdout, re.MULTILINE)
    problems = [f"{name} is not exported" for name in wanted if name not in exports]
    problems += [f"{name} is exported and should not be" for name in exports if name not in wanted]
    problems += [f"needs {name}, which is no system library" for name in needed if name.lower() not in SYSTEM_LIBRARIES]
    problems += [problem for mark, problem in REQUIRED.items() if mark not in shown.stdout]
    if source_root is not None and str(source_root).encode() in Path(library).read_bytes():
        problems.append(f"holds the build machine's path {source_root}")
    return problems


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("library")
    arguments = parser.parse_args()

    wanted = interface.export_names(interface.load())
    problems = check_binary(arguments.library, wanted, ROOT)
    for problem in problems:
        print(f"{arguments.library}: {problem}", file=sys.stderr)
    print(f"check_binary: {len(wanted)} exports wanted, {len(problems)} problems")
    return 1 if problems or not wanted else 0


if __name__ == "__main__":
    sys.exit(main())
