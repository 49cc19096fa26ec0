"""The binary checker is shown small libraries, built for the purpose, that are wrong in one way each."""

import subprocess
import tempfile
import unittest
from pathlib import Path

import support  # noqa: F401  (sets the import path)

import check_binary

COMPILER = "x86_64-w64-mingw32-gcc-posix"
RESOURCES = "x86_64-w64-mingw32-windres"
HARDENED = ["-Wl,--dynamicbase,--nxcompat,--high-entropy-va", "-static"]
VERSION = "1 VERSIONINFO\nFILEVERSION 1,0,0,0\nBEGIN\nEND\n"

CODE = "__declspec(dllexport) int first(void) { return 1; }\n__declspec(dllexport) int second(void) { return 2; }\n"


def build(code=CODE, flags=(), version=True):
    with tempfile.TemporaryDirectory() as folder:
        source, library = Path(folder) / "a.c", Path(folder) / "a.dll"
        source.write_text(code, encoding="ascii")
        parts = [str(source)]
        if version:
            script, resource = Path(folder) / "v.rc", Path(folder) / "v.o"
            script.write_text(VERSION, encoding="ascii")
            subprocess.run([RESOURCES, str(script), str(resource)], check=True)
            parts.append(str(resource))
        subprocess.run([COMPILER, "-shared", "-o", str(library), *parts, *HARDENED, *flags], check=True)
        return library.read_bytes()


class CheckBinary(unittest.TestCase):
    def test_accepts_a_library_that_is_right(self):
        self.assertEqual(check_binary.check_binary(build(), ["first", "second"]), [])

    def test_refuses_a_missing_and_an_extra_export(self):
        self.assertEqual(check_binary.check_binary(build(), ["first", "third"]),
                         ["third is not exported", "second is exported and should not be"])

    def test_refuses_an_export_without_a_name(self):
        with tempfile.TemporaryDirectory() as folder:
            definition = Path(folder) / "a.def"
            definition.write_text("EXPORTS\n first\n second @7 NONAME\n", encoding="ascii")
            data = build(CODE.replace("__declspec(dllexport) ", ""), [str(definition)])
        self.assertEqual(check_binary.check_binary(data, ["first"]), ["#7 is exported and should not be"])

    def test_refuses_a_library_that_windows_does_not_bring(self):
        code = CODE + "int __stdcall MessageBeep(unsigned);\n__declspec(dllexport) int third(void) { return MessageBeep(0); }\n"
        self.assertEqual(check_binary.check_binary(build(code, ["-luser32"]), ["first", "second", "third"]),
                         ["needs USER32.dll, which is no system library"])

    def test_refuses_a_link_without_hardening(self):
        data = build(flags=["-Wl,--disable-dynamicbase,--disable-nxcompat,--disable-high-entropy-va"])
        self.assertEqual(len(check_binary.check_binary(data, ["first", "second"])), 3)

    def test_refuses_a_missing_version_resource(self):
        self.assertEqual(check_binary.check_binary(build(version=False), ["first", "second"]),
                         ["carries no version resource"])

    def test_refuses_a_path_of_the_build_machine(self):
        code = CODE + '__declspec(dllexport) const char where[] = "/somewhere/else/src/a.c";\n'
        self.assertEqual(check_binary.check_binary(build(code), ["first", "second", "where"], "/somewhere/else"),
                         ["holds the build machine's path /somewhere/else"])

    def test_refuses_what_is_no_program(self):
        for data in (b"", b"MZ", b"MZ" + bytes(200), build()[:300]):
            self.assertTrue(check_binary.check_binary(data, ["first"]))

    def test_the_golden_list_holds_seventeen_names(self):
        self.assertEqual(len(check_binary.golden_exports()), 17)


if __name__ == "__main__":
    unittest.main()
