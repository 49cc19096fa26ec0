#!/usr/bin/env python3
"""Checks which part of the source tree includes which.

The components form one arrow; a component includes itself and what stands to its right:

    api -> pipe -> process -> browser -> {json, log} -> common

Windows headers appear under win32/ folders only, the public header in api/ only, and the peers and the examples include
nothing of the library's inside. A source that no list of sources names is in no layer.
"""

import argparse
import re
import sys
from pathlib import Path

from project_files import ROOT, project_files

MAY_INCLUDE = {
    "common": set(),
    "json": {"common"},
    "log": {"common"},
    "browser": {"json", "log", "common"},
    "process": {"browser", "json", "log", "common"},
    "pipe": {"process", "browser", "json", "log", "common"},
    "api": {"pipe", "process", "browser", "json", "log", "common"},
}

PUBLIC_HEADER = "kxtcp64.h"

# What exists on Windows only. <windows.h> brings in most of the others, so the list names those that stand alone.
WINDOWS_HEADERS = re.compile(
    r"^(windows|winsock2?|ws2tcpip|winnt|winbase|windef|wtypes|winerror|winternl|winreg|winuser|winver|aclapi|accctrl|"
    r"sddl|ntsecapi|tlhelp32|psapi|shellapi|shlobj|shlwapi|userenv|processthreadsapi|namedpipeapi|synchapi|fileapi|"
    r"handleapi|ioapiset|errhandlingapi|versionhelpers|dbghelp|crtdbg|direct|io|process|conio|tchar|intrin)\.h$",
    re.IGNORECASE)

# A test for the system would hide half a file from every build. Tests for a compiler's dialect are another matter, and
# the public header is compiled by hosts whose compilers differ.
SYSTEM_MACROS = re.compile(r"\b(_WIN32|_WIN64|WIN32|__WIN32__|__linux__|__unix__|__APPLE__|__CYGWIN__)\b")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
CONDITIONAL = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif)\b")

SOURCE_SUFFIXES = (".h", ".c", ".cpp", ".rc")


def component_of(name):
    """"src/json/reader.cpp" -> "json"; None for a file that is in no component."""
    parts = name.split("/")
    return parts[1] if len(parts) >= 3 and parts[0] == "src" else None


def is_windows_file(name):
    return "/win32/" in name


def check_library_include(name, quote, target):
    """What is wrong with one include of a file under src/, or None."""
    component = component_of(name)
    in_win32 = is_windows_file(name)
    if quote == "<":
        if WINDOWS_HEADERS.match(target) and not in_win32:
            return f"<{target}> is included outside a win32 folder"
        return None
    if target.split("/")[-1] == PUBLIC_HEADER:
        return None if component == "api" else f"only api knows {PUBLIC_HEADER}"
    parts = target.split("/")
    if len(parts) == 1 or parts[0] not in MAY_INCLUDE:
        return f'"{target}" does not name its component'
    if parts[0] != component and parts[0] not in MAY_INCLUDE[component]:
        return f"{component} includes {parts[0]}, against the arrow"
    if "win32" in parts[:-1] and not in_win32:
        return f'portable code includes "{target}"'
    return None


def check_outside_include(name, target, root):
    """The peers know nothing of the library, the examples nothing but its public header."""
    if target.split("/")[-1] == PUBLIC_HEADER:
        return "a peer shares nothing with the library" if name.startswith("peers/") else None
    if target.split("/")[0] in MAY_INCLUDE and (Path(root) / "src" / target).exists():
        return f'"{target}" belongs to the library'
    return None


def tests_for_system(name, line):
    library = name.startswith("src/") and not name.endswith("/" + PUBLIC_HEADER)
    return library and CONDITIONAL.match(line) and SYSTEM_MACROS.search(line)


def check_tree(root):
    problems = []
    checked = 0
    for name in project_files(root, SOURCE_SUFFIXES, ("src/", "peers/", "examples/")):
        checked += 1
        library = name.startswith("src/")
        if library and component_of(name) not in MAY_INCLUDE:
            problems.append(f"{name}:1: {component_of(name) or 'the root of src'} is no component that this table knows")
            continue
        text = (Path(root) / name).read_text(encoding="utf-8", errors="replace")
        for number, line in enumerate(text.splitlines(), 1):
            include = INCLUDE.match(line)
            if include and library:
                problem = check_library_include(name, include.group(1), include.group(2))
            elif include:
                problem = check_outside_include(name, include.group(2), root)
            elif tests_for_system(name, line):
                problem = "a test for the system; put the difference into a win32 folder"
            else:
                problem = None
            if problem:
                problems.append(f"{name}:{number}: {problem}")
    return problems + unlisted_sources(root), checked


def unlisted_sources(root):
    lists = "".join((Path(root) / name).read_text(encoding="utf-8") for name in project_files(root, ("CMakeLists.txt",)))
    listed = set(re.findall(r"\w+", lists))
    return [f"{name}:1: no CMakeLists.txt names this file"
            for name in project_files(root, (".c", ".cpp")) if listed and Path(name).stem not in listed]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("root", nargs="?", default=ROOT)
    arguments = parser.parse_args()

    problems, checked = check_tree(arguments.root)
    for problem in problems:
        print(problem, file=sys.stderr)
    if checked == 0:
        print("check_layers: found no source at all", file=sys.stderr)
    print(f"check_layers: {checked} files, {len(problems)} problems")
    return 1 if problems or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
