"""Reads what the checkers need of a 64-bit Windows program: flags, exports, imports, resources."""

import struct

MACHINE_AMD64 = 0x8664
MAGIC_64 = 0x20B

HIGH_ENTROPY_VA = 0x0020
DYNAMIC_BASE = 0x0040
NX_COMPAT = 0x0100

DIRECTORY_EXPORT = 0
DIRECTORY_IMPORT = 1
DIRECTORY_RESOURCE = 2

RESOURCE_VERSION = 16


class PortableExecutableError(Exception):
    """The bytes are no 64-bit Windows program."""


class PortableExecutable:
    def __init__(self, data):
        self.data = data
        if data[:2] != b"MZ":
            raise PortableExecutableError("no MZ header")
        header = self._unpack("<I", 0x3C)[0]
        if data[header:header + 4] != b"PE\0\0":
            raise PortableExecutableError("no PE header")
        self.machine, section_count = self._unpack("<HH", header + 4)
        optional_size = self._unpack("<H", header + 20)[0]
        optional = header + 24
        if self._unpack("<H", optional)[0] != MAGIC_64:
            raise PortableExecutableError("no 64-bit program")
        self.flags = self._unpack("<H", optional + 70)[0]
        directory_count = self._unpack("<I", optional + 108)[0]
        self.directories = [self._unpack("<II", optional + 112 + 8 * index) for index in range(directory_count)]
        self.sections = []
        for index in range(section_count):
            at = optional + optional_size + 40 * index
            virtual_size, address, raw_size, raw_offset = self._unpack("<IIII", at + 8)
            self.sections.append((address, max(virtual_size, raw_size), raw_offset))

    def _unpack(self, layout, at):
        try:
            return struct.unpack_from(layout, self.data, at)
        except struct.error as error:
            raise PortableExecutableError(f"cut short at byte {at}") from error

    def _offset(self, address):
        for start, size, raw_offset in self.sections:
            if start <= address < start + size:
                return address - start + raw_offset
        raise PortableExecutableError(f"address {address:#x} is in no section")

    def _text(self, address):
        at = self._offset(address)
        return self.data[at:self.data.index(b"\0", at)].decode("ascii")

    def _directory(self, index):
        return self.directories[index] if index < len(self.directories) else (0, 0)

    def exports(self):
        """The exported names, sorted; an export without a name appears as "#ordinal"."""
        address, size = self._directory(DIRECTORY_EXPORT)
        if size == 0:
            return []
        at = self._offset(address)
        base, function_count, name_count, functions, names, ordinals = self._unpack("<IIIIII", at + 16)
        result = []
        named = set()
        for index in range(name_count):
            result.append(self._text(self._unpack("<I", self._offset(names) + 4 * index)[0]))
            named.add(self._unpack("<H", self._offset(ordinals) + 2 * index)[0])
        for index in range(function_count):
            if index not in named and self._unpack("<I", self._offset(functions) + 4 * index)[0] != 0:
                result.append(f"#{base + index}")
        return sorted(result)

    def imported_libraries(self):
        address, size = self._directory(DIRECTORY_IMPORT)
        if size == 0:
            return []
        result = []
        at = self._offset(address)
        while True:
            name = self._unpack("<I", at + 12)[0]
            if name == 0:
                return sorted(result, key=str.lower)
            result.append(self._text(name))
            at += 20

    def resource_types(self):
        address, size = self._directory(DIRECTORY_RESOURCE)
        if size == 0:
            return []
        at = self._offset(address)
        named, numbered = self._unpack("<HH", at + 12)
        return [self._unpack("<I", at + 16 + 8 * index)[0] for index in range(named, named + numbered)]
