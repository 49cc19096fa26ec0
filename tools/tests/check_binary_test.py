"""The binary checker is shown small libraries, built for the purpose, that are wrong in one way each."""

import subprocess
import tempfile
import unittest
from pathlib import Path

import support  # noqa: F401  (sets the import path)

import check_binary

HARDENED = "-Wl,--dynamicbase,--nxcompat,--high-entropy-va"
CODE = "#define E __declspec(dllexport)\nE int first(void) { return 1; }\nE int second(void) { return 2; }\n"
VERSION = "1 VERSIONINFO\nFILEVERSION 1,0,0,0\nBEGIN\nEND\n"
BEEP = 'int __stdcall MessageBeep(unsigned);\nE int third(void) { return MessageBeep(0); }\nE char where[] = "/elsewhere/a.c";\n'


def problems(wanted, code=CODE, definition="EXPORTS\n first\n second\n", flags=(HARDENED,), version=VERSION):
    """What is wrong with a library of that code. It has no run-time, so that it is there in a moment."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in (("a.c", code), ("a.def", definition), ("v.rc", version)):
            Path(folder, name).write_text(text, encoding="ascii")
        command = ["x86_64-w64-mingw32-windres", "v.rc", "v.o"]
        subprocess.run(command, cwd=folder, check=True)
        command = ["x86_64-w64-mingw32-gcc-posix", "-shared", "-nostdlib", "-Wl,-e,0", "-o", "a.dll", "a.c", "v.o", "a.def"]
        subprocess.run([*command, *flags, "-luser32"], cwd=folder, check=True)
        return check_binary.check_binary(Path(folder, "a.dll"), wanted, "/elsewhere")


class CheckBinary(unittest.TestCase):
    def test_a_library_that_is_right_is_accepted(self):
        self.assertEqual(problems(["first", "second"]), [])

    def test_exports_are_those_of_the_list(self):
        self.assertEqual(problems(["first", "third"]), ["third is not exported", "second is exported and should not be"])

    def test_an_export_without_a_name_is_refused(self):
        code = CODE.replace("__declspec(dllexport)", "")
        self.assertEqual(problems(["first"], code, "EXPORTS\n first\n second @7 NONAME\n"), ["#7 is exported and should not be"])

    def test_a_library_that_windows_does_not_bring_and_a_path_of_the_build_machine_are_refused(self):
        self.assertEqual(problems(["first", "second", "third", "where"], CODE + BEEP),
                         ["needs USER32.dll, which is no system library", "holds the build machine's path /elsewhere"])

    def test_a_link_without_hardening_or_version_is_refused(self):
        flags = ["-Wl,--disable-dynamicbase,--disable-nxcompat,--disable-high-entropy-va"]
        self.assertEqual(len(problems(["first", "second"], flags=flags, version="1 RCDATA\nBEGIN\n1\nEND\n")), 4)

    def test_what_is_no_program_is_refused(self):
        with tempfile.NamedTemporaryFile() as file:
            for data in (b"", b"MZ", b"MZ" + bytes(200)):
                file.write(data)
                file.flush()
                self.assertIn("cannot be read", check_binary.check_binary(file.name, ["first"])[0])


if __name__ == "__main__":
    unittest.main()
