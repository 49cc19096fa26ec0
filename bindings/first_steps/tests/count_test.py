"""What counts as a line, and when the table is wrong. The programs themselves are run by count.py --run."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

import count  # noqa: E402


class Lines(unittest.TestCase):
    def test_blanks_and_comments_do_not_count(self):
        for name, text, wanted in (
                ("a.c", "/* one\n * two */\nint main(void) {\n\n  /* three */ return 0; /* four */\n}\n// five\n", 3),
                ("a.rs", "//! one\n/// two\nfn main() {\n    // three\n}\n", 2),
                ("a.py", '"""one\n\ntwo\n"""\nimport sys\n\n\ndef f():\n    """three"""\n    return """x"""  # four\n', 3),
                ("a.ps1", "<# one\n two #>\n# three\nGet-Item .\n", 1),
                ("a.pas", "{ one\n two }\n{$MODE DELPHI}\n// three\nbegin\nend.\n", 3),
                ("a.au3", "; one\nExit\n", 1)):
            self.assertEqual(count.lines_of(name, text), wanted, name)


class Table(unittest.TestCase):
    def test_the_page_says_what_the_files_are(self):
        self.assertEqual(count.problems_of(count.PAGE.read_text(encoding="utf-8")), [])

    def test_another_number_a_missing_row_and_one_too_many_are_problems(self):
        text = count.PAGE.read_text(encoding="utf-8")
        row = next(row for row in count.table_of(text).splitlines(keepends=True) if row.startswith("| Python |"))
        lines = count.counted("bindings/python/first_steps.py")
        changed = row.replace(f"| {lines} |", f"| {lines}0 |")
        self.assertNotEqual(changed, row)
        self.assertEqual(len(count.problems_of(text.replace(row, changed))), 2)
        self.assertEqual(len(count.problems_of(text.replace(row, ""))), 1)
        self.assertEqual(len(count.problems_of(text.replace(row, row + row.replace("Python", "Cobol")))), 1)


if __name__ == "__main__":
    unittest.main()
