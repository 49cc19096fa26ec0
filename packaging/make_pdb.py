#!/usr/bin/env python3
"""Makes the PDB of the shipped DLL, of the same library linked with its debug information left in.

    packaging/make_pdb.py LIBRARY WITH-DEBUG-INFORMATION PDB

The compiler knows no PDB, and describes functions and lines in its own way (DWARF), which the shipped file does not carry.
Both files are links of the same objects; this is refused when a byte of their code or data differs. The names of functions
come from the symbol table, their ends from the table for unwinding, lines from llvm-dwarfdump.
"""

import bisect
import re
import struct
import subprocess
import sys
from pathlib import Path

from pdb_file import Function, Module, Public, Section, write_pdb

# What no source file of the project is behind.
RUN_TIME = "run-time of the compiler"
CODE = 0x20
DEBUGGER_RECORD = re.compile(rb"RSDS(.{16})(.{4})([^\0]+)\0", re.DOTALL)


class Library:
    """A library in the format of Windows."""

    def __init__(self, path):
        self.data = Path(path).read_bytes()
        header = struct.unpack_from("<I", self.data, 0x3C)[0] + 4
        count, _, self.symbols, self.symbol_count, optional = struct.unpack_from("<HIIIH", self.data, header + 2)
        self.base = struct.unpack_from("<Q", self.data, header + 20 + 24)[0]
        self.sections = []
        self.places = []  # (address, bytes) of each section
        for number in range(count):
            at = header + 20 + optional + 40 * number
            name = self.data[at:at + 8].rstrip(b"\0").decode()
            size, address, raw_size, raw = struct.unpack_from("<IIII", self.data, at + 8)
            if name.startswith("/"):  # the sections of the debug information come last
                break
            flags = struct.unpack_from("<I", self.data, at + 36)[0]
            self.sections.append(Section(name, size, flags, self.data[at:at + 40]))
            self.places.append((address, self.data[raw:raw + min(size, raw_size)]))

    def section(self, name):
        for section, place in zip(self.sections, self.places):
            if section.name == name:
                return place
        return None

    def debugger_record(self):
        """GUID, age and file name, by which a debugger finds the PDB."""
        match = DEBUGGER_RECORD.search(self.data)
        if match is None:
            raise SystemExit("make_pdb: the library names no PDB")
        guid, age, name = match.groups()
        return guid, struct.unpack("<I", age)[0], name.decode()

    def symbol_table(self):
        """(name, section from 1, offset, whether it is a function, whether other files see it)"""
        strings = self.symbols + 18 * self.symbol_count
        number = 0
        while number < self.symbol_count:
            at = self.symbols + 18 * number
            name, value, section, kind, storage, more = struct.unpack_from("<8sIhHBB", self.data, at)
            number += 1 + more
            if name[:4] == b"\0\0\0\0":
                begin = strings + struct.unpack("<I", name[4:])[0]
                name = self.data[begin:self.data.index(b"\0", begin)]
            if storage in (2, 3) and 0 < section <= len(self.sections):
                yield name.rstrip(b"\0").decode(), section, value, kind == CODE, storage == 2


def same_contents(shipped, described):
    """What is loaded of the two, but for the section by which each names its PDB."""
    def contents(library):
        return [(section.name, *place) for section, place in zip(library.sections, library.places) if section.name != ".buildid"]
    return contents(shipped) == contents(described)


def ends_of_functions(library):
    """Address of a function -> address behind it, by the table for unwinding."""
    _, data = library.section(".pdata")
    ends = {}
    for begin, end, _ in struct.iter_unpack("<III", data[:len(data) // 12 * 12]):
        ends[begin] = end
    return ends


def readable(names):
    """The names of functions as their sources have them."""
    result = subprocess.run(["x86_64-w64-mingw32-c++filt"], input="\n".join(names), capture_output=True, text=True, check=True)
    return result.stdout.split("\n")[:len(names)]


def whole_path(name, folder, compiled_in):
    """A file from the project's folder, which the compiler calls ".", or from the root. Paths that begin with ".." are those from
    the folder in which was compiled."""
    path = name if name.startswith(("/", "./", "../")) or not folder else f"{folder}/{name}"
    return tidy_path(f"{compiled_in}/{path}" if path.startswith("../") else path)


def tables_of_lines(path):
    """For each source file that was compiled: its name, and runs of (address, file, line), each ended by an address."""
    shown = subprocess.run(["llvm-dwarfdump", "--debug-line", path], capture_output=True, text=True, check=True).stdout
    for table in shown.split("\ndebug_line[")[1:]:
        folders = dict(re.findall(r'include_directories\[ *(\d+)\] = "(.*)"', table))
        files = {}
        for number, name, folder in re.findall(r'file_names\[ *(\d+)\]:\n +name: "(.*)"\n +dir_index: (\d+)', table):
            files[number] = whole_path(name, folders.get(folder, ""), folders.get("0", ""))
        runs, run = [], []
        for address, line, file, flags in re.findall(r"^0x([0-9a-f]{16}) +(\d+) +\d+ +(\d+) +\d+ +\d+ *(.*)$", table, re.MULTILINE):
            if "end_sequence" in flags:
                runs.append((run, int(address, 16)))
                run = []
            else:
                run.append((int(address, 16), files.get(file, "?"), int(line)))
        yield files.get("0", files.get("1", "?")), runs


def tidy_path(path):
    """Sources of the project are named from its folder, whatever machine they were compiled on."""
    parts = []
    for part in path.split("/"):
        if part == ".." and parts and parts[-1] != "..":
            parts.pop()
        elif part not in (".", "") or not parts and part == "":
            parts.append(part)
    return "/".join(parts)


def functions_of(library):
    """The functions in the order of their addresses: address, end, name, section, whether other files see it."""
    ends = ends_of_functions(library)
    found = {}
    for name, section, offset, is_function, is_global in library.symbol_table():
        if is_function:
            address = library.places[section - 1][0] + offset
            # Of several names of one place the first that other files see.
            if address not in found or is_global and not found[address][2]:
                found[address] = (name, section, is_global)
    addresses = sorted(found)
    names = readable([found[address][0] for address in addresses])
    result = []
    for number, (address, name) in enumerate(zip(addresses, names)):
        _, section, is_global = found[address]
        begin, data = library.places[section - 1]
        behind = addresses[number + 1] if number + 1 < len(addresses) else begin + len(data)
        result.append((address, min(ends.get(address, behind), behind), name, section, is_global))
    return result


def modules_of(library, functions, tables):
    """The functions under the source files that they come from, with their lines."""
    starts = [function[0] for function in functions]
    owner = {}
    lines = {}
    for source, runs in tables:
        for run, behind in runs:
            for number, (address, file, line) in enumerate(run):
                at = address - library.base
                place = bisect.bisect_right(starts, at) - 1
                # What the linker has left out has an address before the library.
                if place < 0 or not functions[place][0] <= at < functions[place][1]:
                    continue
                owner.setdefault(place, source)
                following = run[number + 1][0] if number + 1 < len(run) else behind
                if following > address and line > 0:
                    lines.setdefault(place, []).append((at - functions[place][0], file, line))
    modules = {RUN_TIME: Module(RUN_TIME)}
    for place, (address, end, name, section, is_global) in enumerate(functions):
        if end > address:
            module = owner.get(place, RUN_TIME)
            offset = address - library.places[section - 1][0]
            modules.setdefault(module, Module(module)).functions.append(
                Function(name, section, offset, end - address, is_global, sorted(lines.get(place, []))))
    return list(modules.values())


def publics_of(library):
    names = {}
    for name, section, offset, is_function, is_global in library.symbol_table():
        if is_global and not name.startswith("."):
            names.setdefault(name, Public(name, section, offset, is_function))
    return sorted(names.values(), key=lambda public: (public.section, public.offset, public.name))


def make_pdb(shipped_path, described_path, pdb_path):
    shipped, described = Library(shipped_path), Library(described_path)
    if not same_contents(shipped, described):
        raise SystemExit(f"make_pdb: {shipped_path} and {described_path} are not the same library")
    guid, age, name = shipped.debugger_record()
    if name != Path(pdb_path).name:
        raise SystemExit(f"make_pdb: the library names its PDB {name}")
    functions = functions_of(described)
    modules = modules_of(described, functions, tables_of_lines(described_path))
    compiler = re.search(rb"GCC: \([^)]*\) [0-9.]+", described.data)
    write_pdb(pdb_path, guid, age, shipped.sections, modules, publics_of(described), compiler.group(0).decode() if compiler else "")
    return len(functions), sum(len(function.lines) for module in modules for function in module.functions), len(modules)


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    functions, lines, modules = make_pdb(*sys.argv[1:])
    print(f"make_pdb: {functions} functions, {lines} lines, of {modules - 1} source files and the run-time")
    return 0 if lines else 1


if __name__ == "__main__":
    sys.exit(main())
