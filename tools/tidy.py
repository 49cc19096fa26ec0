#!/usr/bin/env python3
"""Runs clang-tidy over the sources, the Windows ones included.

Portable files are analysed with the native compile database. Files that only the cross build knows are analysed with
its database, whose commands are turned into ones for clang: the cross compiler's include folders are named one by
one, since clang does not know them. A file whose text, headers and options have not changed since it was last found
clean is not analysed again.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

from project_files import ROOT, project_files

ANALYSED = ("src/", "peers/simulator/", "peers/browsers/", "examples/", "fuzz/", "bench/")

# What includes the test framework takes longest to analyse and is compiled with every warning anyway.
LEFT_OUT = "/tests/"

# Flags of the cross compiler that clang does not know.
GCC_ONLY = ("-Wduplicated-cond", "-Wduplicated-branches", "-Wlogical-op")


def load_database(tree):
    path = Path(tree) / "compile_commands.json"
    if not path.exists():
        sys.exit(f"tidy: {path} is missing: run ./dev tidy, which configures first")
    entries = {}
    for entry in json.loads(path.read_text(encoding="utf-8")):
        file = Path(entry["file"]).resolve()
        if file.is_relative_to(ROOT):
            entries.setdefault(file.relative_to(ROOT).as_posix(), entry)
    return entries


def cross_include_folders(compiler):
    """The folders in which the cross compiler looks, without its own intrinsics: clang brings those itself."""
    result = subprocess.run([compiler, "-E", "-v", "-x", "c++", os.devnull], capture_output=True, text=True, check=True)
    listing = re.search(r"#include <\.\.\.> search starts here:\n(.*?)End of search list", result.stderr, re.DOTALL)
    folders = [os.path.normpath(line.strip()) for line in listing.group(1).splitlines()]
    return [folder for folder in folders if not re.search(r"/include(-fixed)?$", folder)
            or "gcc" not in folder.split("/")]


def windows_database(entries, folders):
    converted = []
    for entry in entries:
        arguments = shlex.split(entry["command"])
        compiler = "clang" if entry["file"].endswith(".c") else "clang++"
        system = [part for folder in folders for part in ("-isystem", folder)]
        kept = [argument for argument in arguments[1:] if argument not in GCC_ONLY]
        converted.append({"directory": entry["directory"], "file": entry["file"],
                          "arguments": [compiler, "--target=x86_64-w64-windows-gnu", *kept, *system]})
    return converted


def fingerprint_of_headers():
    digest = hashlib.sha256((ROOT / ".clang-tidy").read_bytes())
    for name in project_files(suffixes=(".h",)):
        digest.update(name.encode() + b"\0" + (ROOT / name).read_bytes())
    return digest.hexdigest()


def analyse(name, database, headers, command, cache):
    digest = hashlib.sha256(f"{headers}\0{name}\0{command}\0".encode() + (ROOT / name).read_bytes()).hexdigest()
    stamp = cache / digest
    if stamp.exists():
        return name, True, ""
    result = subprocess.run(["clang-tidy", "--quiet", "-p", str(database), str(ROOT / name)],
                            cwd=ROOT, capture_output=True, text=True, check=False)
    if result.returncode == 0:
        stamp.touch()
        return name, True, ""
    return name, False, result.stdout + result.stderr


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--native", required=True, help="configured native build tree")
    parser.add_argument("--windows", required=True, help="configured Windows build tree")
    parser.add_argument("--compiler", default="x86_64-w64-mingw32-g++-posix", help="the cross compiler")
    parser.add_argument("files", nargs="*", help="only these, as paths from the root")
    arguments = parser.parse_args()

    native = load_database(arguments.native)
    windows = load_database(arguments.windows)
    wanted = arguments.files or [name for name in project_files(suffixes=(".cpp", ".c"), under=ANALYSED)
                                 if LEFT_OUT not in name]
    unknown = [name for name in wanted if name not in native and name not in windows]
    for name in unknown:
        print(f"{name}:1: no build tree compiles this file", file=sys.stderr)

    windows_only = [name for name in wanted if name in windows and name not in native]
    folders = cross_include_folders(arguments.compiler) if windows_only else []
    converted_tree = Path(arguments.native) / "windows"
    converted_tree.mkdir(parents=True, exist_ok=True)
    converted = windows_database([windows[name] for name in windows_only], folders)
    (converted_tree / "compile_commands.json").write_text(json.dumps(converted, indent=1), encoding="utf-8")

    cache = Path(arguments.native) / "tidy-clean"
    cache.mkdir(exist_ok=True)
    headers = fingerprint_of_headers()
    jobs = [(name, arguments.native, native[name]["command"]) for name in wanted if name in native]
    jobs += [(name, converted_tree, windows[name]["command"]) for name in windows_only]

    failed = len(unknown)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        futures = [pool.submit(analyse, name, tree, headers, command, cache) for name, tree, command in jobs]
        for done, future in enumerate(concurrent.futures.as_completed(futures), 1):
            name, clean, output = future.result()
            print(f"[{done}/{len(jobs)}] {name}", flush=True)
            if not clean:
                failed += 1
                print(output, file=sys.stderr, flush=True)
    print(f"tidy: {len(jobs)} files, {failed} with problems")
    return 1 if failed or not jobs else 0


if __name__ == "__main__":
    sys.exit(main())
