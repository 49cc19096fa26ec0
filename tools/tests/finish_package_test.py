"""The bill of materials names what the linker took, and nothing else."""

import shutil
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "packaging"))

import check_files  # noqa: E402
import finish_package  # noqa: E402
import list_packages  # noqa: E402
import zip_file  # noqa: E402

MAP = """Archive member included to satisfy reference by file (symbol)

/usr/lib/gcc/x/12/../../../x/lib/libmingw32.a(lib64_crt0.o)
                              /usr/lib/crt2.o (mainCRTStartup)
/usr/lib/gcc/x/12/libstdc++.a(string.o)
                              main.o (std::string)

Discarded input sections

/usr/lib/unused.a(unused.o)
"""

PART = ("libthing", "1.0+b1", "mingw-w64", "1.0")


class FinishPackage(unittest.TestCase):
    def test_takes_the_archives_whose_members_were_linked(self):
        self.assertEqual(finish_package.archives_of_map(MAP),
                         ["/usr/lib/gcc/x/12/libstdc++.a", "/usr/lib/x/lib/libmingw32.a"])

    def test_takes_none_from_a_map_without_archives(self):
        self.assertEqual(finish_package.archives_of_map("Memory Configuration\n"), [])

    def test_relates_each_program_to_its_parts(self):
        bill = finish_package.bill_of_materials("1.2.3", "g++ 12", {"KXTCP64.dll": ("ab" * 32, [PART])}, "2026-01-01T00:00:00Z")
        identifiers = {entry["SPDXID"] for entry in bill["packages"] + bill["files"]} | {"SPDXRef-DOCUMENT"}
        for relation in bill["relationships"]:
            self.assertLessEqual({relation["spdxElementId"], relation["relatedSpdxElement"]}, identifiers)
        self.assertIn({"spdxElementId": "SPDXRef-File-KXTCP64.dll", "relationshipType": "STATIC_LINK",
                       "relatedSpdxElement": "SPDXRef-Package-libthing"}, bill["relationships"])
        self.assertEqual(bill["packages"][1]["versionInfo"], "1.0+b1")

    def test_names_the_packages_of_a_lock_file(self):
        lock = """{"packages": {"": {"name": "page"}, "node_modules/charts": {"version": "1.2.3", "license": "MIT"}}}"""
        packages = finish_package.packages_of_lock(lock)
        self.assertEqual(packages, [("charts", "1.2.3", "MIT")])
        bill = finish_package.bill_of_materials(
            "1.0.0", "g++", {"KXTCP64.dll": ("ab" * 32, []), "kx.exe": ("cd" * 32, [])}, "2026-01-01T00:00:00Z", {"kx.exe": packages})
        self.assertIn({"spdxElementId": "SPDXRef-File-kx.exe", "relationshipType": "CONTAINS",
                       "relatedSpdxElement": "SPDXRef-Package-charts"}, bill["relationships"])
        self.assertEqual(bill["packages"][-1]["licenseDeclared"], "MIT")

    def test_refuses_a_part_whose_licence_is_not_noted(self):
        with self.assertRaises(SystemExit):
            finish_package.licence_of("unheard-of")

    def test_leads_links_to_where_the_pages_are(self):
        with tempfile.TemporaryDirectory() as folder:
            page = Path(folder) / "share/doc/kxtcp64/simulator.md"
            (page.parent / "docs").mkdir(parents=True)
            (page.parent / "docs/kx.md").write_bytes(b"")
            page.write_text("[kx](../../docs/kx.md#play) [gone](../tests/a.md) [far](https://a.b/c.md) [here](docs/kx.md) [up](#x)")
            finish_package.mend_links(Path(folder))
            self.assertEqual(page.read_text(),
                             "[kx](docs/kx.md#play) gone [far](https://a.b/c.md) [here](docs/kx.md) [up](#x)")

    def test_lists_every_file_but_the_list(self):
        with tempfile.TemporaryDirectory() as folder:
            prefix = Path(folder)
            (prefix / "a").mkdir()
            (prefix / "a/b").write_bytes(b"")
            self.assertEqual(finish_package.write_checksums(prefix), 1)
            self.assertEqual((prefix / "SHA256SUMS").read_text(encoding="utf-8"),
                             "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855  a/b\n")

    def test_adds_what_the_pages_carry(self):
        bill = finish_package.bill_of_materials("1.2.3", "g++ 12", {"KXTCP64.dll": ("ab" * 32, [PART])}, "2026-01-01T00:00:00Z")
        finish_package.add_pages_to_bill(bill, [("MIT", ["theme", "2.0"])])
        self.assertEqual(bill["packages"][-1]["name"], "theme")
        self.assertEqual(bill["relationships"][-1]["relatedSpdxElement"], bill["packages"][-1]["SPDXID"])

    def test_lists_the_packages_with_the_library_in_them(self):
        bill = finish_package.bill_of_materials("1.2.3", "g++ 12", {"KXTCP64.dll": ("ab" * 32, [PART])}, "2026-01-01T00:00:00Z")
        full = list_packages.with_packages(bill, {"x.whl": "cd" * 32})
        self.assertEqual(full["files"][-1]["checksums"][0]["checksumValue"], "cd" * 32)
        self.assertIn({"spdxElementId": "SPDXRef-File-x.whl", "relationshipType": "CONTAINS",
                       "relatedSpdxElement": "SPDXRef-File-KXTCP64.dll"}, full["relationships"])
        self.assertEqual(len(bill["files"]), 1)


class ZipFile(unittest.TestCase):
    def test_gives_the_same_bytes_for_the_same_files(self):
        with tempfile.TemporaryDirectory() as folder:
            packed = [Path(folder) / "a.zip", Path(folder) / "b.zip"]
            for path in packed:
                zip_file.write_zip(path, {"x/a.txt": b"a", "x/b.txt": b"b"}, 0)
            self.assertEqual(packed[0].read_bytes(), packed[1].read_bytes())
            self.assertEqual(check_files.files_of(packed[0]), {"x/a.txt", "x/b.txt"})


class CheckFiles(unittest.TestCase):
    LINES = check_files.wanted_lines("# a list\na.txt\nb/c-@VERSION@.txt\nd/**\n", "1.2")
    FOUND = {"a.txt", "b/c-1.2.txt", "d/x"}

    def test_accepts_the_files_of_the_list(self):
        self.assertEqual(check_files.compare(self.LINES, self.FOUND), [])
        self.assertEqual(check_files.compare(self.LINES, self.FOUND - {"d/x", "a.txt"}, without=["d", "a.txt"]), [])

    def test_refuses_a_file_more_or_less(self):
        for found in (self.FOUND - {"a.txt"}, self.FOUND | {"e"}, self.FOUND - {"d/x"}, self.FOUND | {"dd/x"}):
            self.assertEqual(len(check_files.compare(self.LINES, found)), 1, found)

    def test_reads_folders_zips_and_tarballs(self):
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "p/b").mkdir(parents=True)
            (Path(folder) / "p/b/a.txt").write_bytes(b"a")
            for kind in ("zip", "gztar"):
                packed = shutil.make_archive(str(Path(folder) / "packed"), kind, Path(folder) / "p")
                self.assertEqual({name.removeprefix("./") for name in check_files.files_of(Path(packed))}, {"b/a.txt"}, kind)
            self.assertEqual(check_files.files_of(Path(folder) / "p"), {"b/a.txt"})


if __name__ == "__main__":
    unittest.main()
