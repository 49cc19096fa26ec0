"""The PDB that is written is read by llvm-pdbutil, with the functions and lines that went into it."""

import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "packaging"), str(ROOT / "cmake")]

import link_with_pdb  # noqa: E402
import make_pdb  # noqa: E402
from pdb_file import Function, Module, Public, Section, write_pdb  # noqa: E402

CODE = Section(".text", 0x200, 0x60000020, b".text".ljust(8, b"\0") + struct.pack("<IIIIIIHHI", 0x200, 0x1000, 0x200, 0x400, 0, 0, 0, 0,
                                                                              0x60000020))
GUID = bytes(range(16))


def shown(*what, modules, publics=()):
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "x.pdb"
        write_pdb(path, GUID, 7, [CODE], modules, list(publics))
        return subprocess.run(["llvm-pdbutil", "dump", *what, str(path)], capture_output=True, text=True, check=True).stdout


class WritePdb(unittest.TestCase):
    FUNCTION = Function("int run(int)", 1, 0x10, 0x30, True, [(0, "src/a.cpp", 3), (8, "src/a.h", 9), (12, "src/a.cpp", 4)])

    def test_can_be_read_whole(self):
        many = [Module(f"src/{number}.cpp", [Function(f"f{number}", 1, number, 1, False)]) for number in range(300)]
        publics = [Public(f"name{number}", 1, number, True) for number in range(300)]
        text = shown("-all", modules=many, publics=publics)
        for number in range(300):
            self.assertIn(f"`f{number}`", text)
            self.assertIn(f"`name{number}`", text)

    def test_carries_the_number_of_its_library(self):
        text = shown("-summary", modules=[Module("a")])
        self.assertIn("GUID: {03020100-0504-0706-0809-0A0B0C0D0E0F}", text)
        self.assertIn("Age: 7", text)

    def test_has_functions_with_their_places(self):
        text = shown("-symbols", modules=[Module("src/a.cpp", [self.FUNCTION])])
        self.assertRegex(text, r"S_GPROC32 .*`int run\(int\)`\n.*addr = 0001:0016, code size = 48")

    def test_has_the_lines_of_each_file(self):
        text = shown("-l", modules=[Module("src/a.cpp", [self.FUNCTION])])
        self.assertRegex(text, r"(?s)src/a\.cpp .*0001:00000010-00000040.* 3 00000010 .*src/a\.h .* 9 00000018 .*src/a\.cpp .* 4 0000001C")


class MakePdb(unittest.TestCase):
    def test_names_sources_from_the_projects_folder(self):
        for name, folder, path in (("./src/a.cpp", "./build/x", "src/a.cpp"), ("../../src/a.cpp", "./build/x", "src/a.cpp"),
                                   ("a.h", "../../src", "src/a.h"), ("a.h", "./src/b", "src/b/a.h"),
                                   ("a.h", "/usr/include", "/usr/include/a.h"), ("/usr/a.h", "./src", "/usr/a.h")):
            self.assertEqual(make_pdb.whole_path(name, folder, "./build/x"), path, name)


class LinkWithPdb(unittest.TestCase):
    def file(self, flags, checksum):
        data = bytearray(1000)
        struct.pack_into("<I", data, 0x3C, 0x80)
        struct.pack_into("<H", data, 0x80 + 22, flags)
        struct.pack_into("<I", data, 0x80 + 24 + 64, checksum)
        return bytes(data)

    def test_takes_the_mark_and_nothing_else(self):
        self.assertEqual(link_with_pdb.without_mark(self.file(0x222E, 0)), self.file(0x202E, 0))

    def test_corrects_the_checksum_when_there_is_one(self):
        changed = link_with_pdb.without_mark(self.file(0x222E, 1))
        self.assertEqual(struct.unpack_from("<I", changed, 0x80 + 88)[0], 0x80 + 0x202E + 1000)


if __name__ == "__main__":
    unittest.main()
