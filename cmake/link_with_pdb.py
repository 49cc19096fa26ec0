#!/usr/bin/env python3
"""Runs a link, and takes the mark "debug information was removed" from the file that was linked.

    link_with_pdb.py COMMAND... -o FILE ...

GNU ld sets the mark when it leaves debug information out. To a debugger it means a file of an older kind, in the place of the
PDB that the library names.
"""

import struct
import subprocess
import sys
from pathlib import Path

DEBUG_STRIPPED = 0x0200


def checksum(data, place):
    """That of the file's header: its words added up, itself left out, and the file's length."""
    data = data[:place] + b"\0\0\0\0" + data[place + 4:]
    words = data + b"\0" * (len(data) % 2)
    total = sum(struct.unpack(f"<{len(words) // 2}H", words))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total + len(data)


def without_mark(data):
    header = struct.unpack_from("<I", data, 0x3C)[0]
    flags = header + 4 + 18
    place = header + 4 + 20 + 64
    old = struct.unpack_from("<I", data, place)[0]
    data = bytearray(data)
    struct.pack_into("<H", data, flags, struct.unpack_from("<H", data, flags)[0] & ~DEBUG_STRIPPED)
    # 0 stands for no checksum.
    if old:
        struct.pack_into("<I", data, place, checksum(bytes(data), place))
    return bytes(data)


def main():
    command = sys.argv[1:]
    result = subprocess.run(command, check=False).returncode
    if result == 0:
        path = Path(command[command.index("-o") + 1])
        path.write_bytes(without_mark(path.read_bytes()))
    return result


if __name__ == "__main__":
    sys.exit(main())
