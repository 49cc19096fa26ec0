"""Writes a PDB: functions, public names and lines of one library, as Windows debuggers read them.

    write_pdb(path, guid, age, sections, modules, publics)

A PDB is a file of streams (write_streams). What each holds is made by the functions below, in the order of the streams.
There are no types: a debugger shows where it is, and not what is in variables.
"""

import struct
from dataclasses import dataclass, field
from pathlib import Path

BLOCK = 4096
NONE = 0xFFFF  # no such stream
NAME_BUCKETS = 4096

# The streams that every PDB has, and those that the directory of the modules names.
INFO, TYPES, MODULES, IDS = 1, 2, 3, 4
SECTION_HEADERS, GLOBALS, PUBLICS, RECORDS, STRINGS, FIRST_MODULE = 5, 6, 7, 8, 9, 10

S_END, S_OBJNAME, S_LPROC32, S_GPROC32, S_PUB32 = 0x0006, 0x1101, 0x110F, 0x1110, 0x110E
S_COMPILE3, S_PROCREF, S_LPROCREF = 0x113C, 0x1125, 0x1127
LINES_OF_A_FUNCTION, FILES = 0xF2, 0xF4


@dataclass(frozen=True)
class Section:
    """A section of the library: what its header says, and the header itself."""

    name: str
    size: int
    flags: int
    header: bytes


@dataclass(frozen=True)
class Public:
    name: str
    section: int  # from 1
    offset: int
    is_function: bool


@dataclass
class Function:
    name: str
    section: int
    offset: int
    size: int
    is_global: bool
    lines: list = field(default_factory=list)  # (offset in the function, file, line), in the order of the offsets


@dataclass
class Module:
    name: str
    functions: list = field(default_factory=list)


def padded(data, to=4):
    return data + b"\0" * (-len(data) % to)


def record(kind, data):
    data = struct.pack("<H", kind) + data
    data += b"\0" * (-(len(data) + 2) % 4)
    return struct.pack("<H", len(data)) + data


def text(name):
    return name.encode() + b"\0"


def name_hash(name):
    """The hash of names in tables of a PDB, which knows no difference between cases."""
    data = name.encode()
    result = 0
    whole = len(data) // 4 * 4
    for (word,) in struct.iter_unpack("<I", data[:whole]):
        result ^= word
    rest = data[whole:]
    if len(rest) >= 2:
        result ^= struct.unpack("<H", rest[:2])[0]
        rest = rest[2:]
    if rest:
        result ^= rest[0]
    result |= 0x20202020
    result ^= result >> 11
    return (result ^ (result >> 16)) & 0xFFFFFFFF


# ---- the streams ----------------------------------------------------------------------------------------------------


def info_stream(guid, age):
    """By what a debugger knows that the file is the library's, and where the strings are."""
    names = text("/names")
    buckets = 2
    bucket = (name_hash("/names") & 0xFFFF) % buckets
    table = struct.pack("<IIIII", 1, buckets, 1, 1 << bucket, 0) + struct.pack("<II", 0, STRINGS)
    return struct.pack("<III", 20000404, 0, age) + guid + struct.pack("<I", len(names)) + names + table + struct.pack("<I", 20140508)


def no_types():
    return struct.pack("<IIIIIHHIIiIiIiI", 20040203, 56, 0x1000, 0x1000, 0, NONE, NONE, 4, 0x3FFFF, 0, 0, 0, 0, 0, 0)


class Strings:
    """The table of strings: each is known by its offset."""

    def __init__(self):
        self.data = b"\0"
        self.offsets = {"": 0}

    def add(self, name):
        if name not in self.offsets:
            self.offsets[name] = len(self.data)
            self.data += text(name)
        return self.offsets[name]

    def stream(self):
        count = len(self.offsets) - 1
        buckets = [0] * (count * 2 + 1)
        for name, offset in self.offsets.items():
            if name:
                place = name_hash(name) % len(buckets)
                while buckets[place]:
                    place = (place + 1) % len(buckets)
                buckets[place] = offset
        return (struct.pack("<III", 0xEFFEEFFE, 1, len(self.data)) + self.data + struct.pack("<I", len(buckets))
                + struct.pack(f"<{len(buckets)}I", *buckets) + struct.pack("<I", count))


def lines_of(function, offsets_of_files):
    """The lines of a function: blocks of one file each."""
    blocks = []
    for offset, file, line in function.lines:
        if not blocks or blocks[-1][0] != file:
            blocks.append((file, []))
        blocks[-1][1].append((offset, 0x80000000 | (line & 0xFFFFFF)))
    data = struct.pack("<IHHI", function.offset, function.section, 0, function.size)
    for file, lines in blocks:
        data += struct.pack("<III", offsets_of_files[file], len(lines), 12 + 8 * len(lines))
        data += b"".join(struct.pack("<II", *line) for line in lines)
    return data


def module_stream(module, strings, version):
    """The stream, the sizes of its two parts, the files it names, and where each function's record lies."""
    symbols = struct.pack("<I", 4)
    symbols += record(S_OBJNAME, struct.pack("<I", 0) + text(module.name))
    # C++ for x64; the language's number is in the lowest byte.
    symbols += record(S_COMPILE3, struct.pack("<IH8H", 1, 0xD0, 0, 0, 0, 0, 0, 0, 0, 0) + text(version))
    places = []
    for function in module.functions:
        places.append(len(symbols))
        kind = S_GPROC32 if function.is_global else S_LPROC32

        def procedure(end):
            return record(kind, struct.pack("<IIIIIIIIHB", 0, end, 0, function.size, 0, function.size, 0, function.offset,
                                            function.section, 0) + text(function.name))

        symbols += procedure(len(symbols) + len(procedure(0)))
        symbols += record(S_END, b"")
    files = sorted({file for function in module.functions for _, file, _ in function.lines})
    lines = b""
    if files:
        checksums, offsets = b"", {}
        for file in files:
            offsets[file] = len(checksums)
            checksums += padded(struct.pack("<IBB", strings.add(file), 0, 0))
        lines += struct.pack("<II", FILES, len(checksums)) + checksums
        for function in module.functions:
            if function.lines:
                part = lines_of(function, offsets)
                lines += struct.pack("<II", LINES_OF_A_FUNCTION, len(part)) + part
    return symbols + lines + struct.pack("<I", 0), len(symbols), len(lines), files, places


def contribution(section, offset, size, flags, module):
    return struct.pack("<HHiiIHHII", section, 0, offset, size, flags, module, 0, 0, 0)


def contributions(sections, modules):
    """Which module each stretch of the library comes from."""
    stretches = sorted((function.section, function.offset, function.offset + function.size, number)
                       for number, module in enumerate(modules) for function in module.functions)
    joined = []
    for section, begin, end, number in stretches:
        last = joined[-1] if joined else None
        # Between two functions of one module there is only what fills the space.
        if last and last[0] == section and last[3] == number and begin - last[2] < 16:
            joined[-1] = (section, last[1], max(end, last[2]), number)
        else:
            joined.append((section, begin, end, number))
    return joined, struct.pack("<I", 0xF12EBA2D) + b"".join(
        contribution(section, begin, end - begin, sections[section - 1].flags, number) for section, begin, end, number in joined)


def file_information(files_of_modules):
    names, offsets, order = b"", {}, []
    for file in (file for files in files_of_modules for file in files):
        if file not in offsets:
            offsets[file] = len(names)
            names += text(file)
        order.append(offsets[file])
    counts = [len(files) for files in files_of_modules]
    starts = [sum(counts[:number]) & 0xFFFF for number in range(len(counts))]
    return padded(struct.pack("<HH", len(counts), len(order) & 0xFFFF) + struct.pack(f"<{len(counts)}H", *starts)
                  + struct.pack(f"<{len(counts)}H", *counts) + struct.pack(f"<{len(order)}I", *order) + names)


def section_map(sections):
    entries = b""
    for number, section in enumerate(sections, 1):
        flags = 0x108 | (1 if section.flags & 0x40000000 else 0) | (2 if section.flags & 0x80000000 else 0)
        flags |= 4 if section.flags & 0x20000000 else 0
        entries += struct.pack("<HHHHHHII", flags, 0, 0, number, NONE, NONE, 0, section.size)
    entries += struct.pack("<HHHHHHII", 0x208, 0, 0, len(sections) + 1, NONE, NONE, 0, 0xFFFFFFFF)
    return struct.pack("<HH", len(sections) + 1, len(sections) + 1) + entries


def modules_stream(age, sections, modules, made):
    """made: for each module what module_stream() gave."""
    joined, stretches = contributions(sections, modules)
    first = {}
    for section, begin, end, number in joined:
        first.setdefault(number, contribution(section, begin, end - begin, sections[section - 1].flags, number))
    listed = b""
    for number, (module, (_, symbols, lines, files, _)) in enumerate(zip(modules, made)):
        listed += struct.pack("<I", 0) + first.get(number, contribution(0xFFFF, 0, -1, 0, number))
        listed += struct.pack("<HHIIIHHIII", 0, FIRST_MODULE + number, symbols, 0, lines, len(files), 0, 0, 0, 0)
        listed = padded(listed + text(module.name) + text(module.name))
    parts = [listed, stretches, section_map(sections), file_information([files for _, _, _, files, _ in made]), b""]
    # Where edit-and-continue would have names, a table without any.
    no_names = Strings().stream()
    streams = struct.pack("<11H", *[SECTION_HEADERS if number == 5 else NONE for number in range(11)])
    header = struct.pack("<iIIHHHHHH", -1, 19990903, age, GLOBALS, 0x8E1D, PUBLICS, 0, RECORDS, 0)
    header += struct.pack("<5i", *map(len, parts)) + struct.pack("<IiiHHI", 0, len(streams), len(no_names), 0, 0x8664, 0)
    return header + b"".join(parts) + no_names + streams


def name_table(named):
    """named: (name, offset of its record). The order within a bucket is by length, then without regard to case."""
    buckets = {}
    for name, offset in named:
        buckets.setdefault(name_hash(name) % NAME_BUCKETS, []).append((name, offset))
    entries, bits, starts = [], [0] * (NAME_BUCKETS // 32 + 1), []
    for number in sorted(buckets):
        bits[number // 32] |= 1 << number % 32
        starts.append(len(entries) * 12)
        entries += sorted(buckets[number], key=lambda entry: (len(entry[0]), entry[0].lower(), entry[1]))
    rows = b"".join(struct.pack("<II", offset + 1, 1) for _, offset in entries)
    index = struct.pack(f"<{len(bits)}I", *bits) + struct.pack(f"<{len(starts)}I", *starts)
    return struct.pack("<IIII", 0xFFFFFFFF, 0xEFFE0000 + 19990810, len(rows), len(index)) + rows + index


def names_of(publics, modules, made):
    """The records of all names, the table of the functions, and that of the public names with the order of their places."""
    records, listed, functions = b"", [], []
    for public in publics:
        listed.append((public, len(records)))
        records += record(S_PUB32, struct.pack("<IIH", 2 if public.is_function else 0, public.offset, public.section)
                          + text(public.name))
    for number, (module, (_, _, _, _, places)) in enumerate(zip(modules, made), 1):
        for function, place in zip(module.functions, places):
            functions.append((function.name, len(records)))
            kind = S_PROCREF if function.is_global else S_LPROCREF
            records += record(kind, struct.pack("<IIH", 0, place, number) + text(function.name))
    table = name_table([(public.name, offset) for public, offset in listed])
    by_place = [offset for _, offset in sorted(listed, key=lambda entry: (entry[0].section, entry[0].offset, entry[0].name))]
    places = struct.pack(f"<{len(by_place)}I", *by_place)
    header = struct.pack("<IIIIHHII", len(table), len(places), 0, 0, 0, 0, 0, 0)
    return records, name_table(functions), header + table + places


def write_streams(path, streams):
    """The file: a block that says where all is, two of what is free at the begin of each stretch, the streams, their directory."""
    blocks = [b""] * 3

    def put(data):
        numbers = []
        for begin in range(0, len(data), BLOCK):
            while len(blocks) % BLOCK in (1, 2):
                blocks.append(b"")
            numbers.append(len(blocks))
            blocks.append(data[begin:begin + BLOCK])
        return numbers

    places = [put(stream) for stream in streams]
    directory = struct.pack("<I", len(streams)) + struct.pack(f"<{len(streams)}I", *map(len, streams))
    directory += b"".join(struct.pack(f"<{len(numbers)}I", *numbers) for numbers in places)
    numbers = put(directory)
    (root,) = put(struct.pack(f"<{len(numbers)}I", *numbers))
    free = bytearray(b"\xff" * BLOCK)
    for number in range(len(blocks)):
        free[number // 8] &= ~(1 << number % 8)
    blocks[1] = blocks[2] = bytes(free)
    blocks[0] = b"Microsoft C/C++ MSF 7.00\r\n\x1aDS\0\0\0" + struct.pack("<IIIIII", BLOCK, 1, len(blocks), len(directory), 0, root)
    if len(blocks) >= BLOCK:
        raise ValueError("larger than one stretch of blocks")
    Path(path).write_bytes(b"".join(padded(block or b"\0", BLOCK) for block in blocks))


def write_pdb(path, guid, age, sections, modules, publics, version=""):
    strings = Strings()
    made = [module_stream(module, strings, version) for module in modules]
    records, functions, public_names = names_of(publics, modules, made)
    write_streams(path, [
        b"", info_stream(guid, age), no_types(), modules_stream(age, sections, modules, made), no_types(),
        b"".join(section.header for section in sections), functions, public_names, records, strings.stream(),
        *[stream for stream, *_ in made]])
