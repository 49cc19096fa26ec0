"""What makes the pages for users, and what follows their links."""

import sys
import unittest
from pathlib import Path
from unittest import mock

from support import Tree

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs/pages"))

import build  # noqa: E402
import check_links  # noqa: E402


def problems(files):
    with Tree(files) as folder:
        return check_links.check_site(folder)[1]


class CheckLinks(unittest.TestCase):
    def test_accepts_links_to_pages_and_places_that_are_there(self):
        self.assertEqual(problems({"a.html": '<h1 id="top"><a href="b/c.html#x"></a><a href="#top"></a>',
                                   "b/c.html": '<p id="x"><a href="../a.html"></a><a href="https://example.org"></a>'}), [])

    def test_refuses_what_is_not_there(self):
        for link in ("gone.html", "#gone", "a.html#gone", "../a.html"):
            self.assertEqual(len(problems({"a.html": f'<p id="x"><a href="{link}"></a>'})), 1, link)

    def test_refuses_what_a_page_would_load_from_the_network(self):
        for text in ('<script src="https://example.org/x.js"></script>', '<link rel="stylesheet" href="//example.org/x.css">'):
            self.assertEqual(len(problems({"a.html": text})), 1, text)


class Build(unittest.TestCase):
    def test_takes_one_section_as_a_page(self):
        self.assertEqual(build.section_of("# A\n\n## One\n\ntext\n\n## Two\n", "One", "C"), "# C\n\ntext\n\n")
        with self.assertRaises(build.PageError):
            build.section_of("# A\n", "One", "C")

    def test_leaves_code_blocks_alone(self):
        self.assertEqual(build.outside_fences("a\n```\na\n```\na", str.upper), "A\n```\na\n```\nA")

    def test_knows_the_anchors_of_headings(self):
        self.assertEqual(build.anchors_of("# Firefox's `x.ini`\n```\n# no heading\n```\n## After a time-out\n"),
                         {"firefoxs-xini", "after-a-time-out"})

    def test_refuses_a_link_to_what_is_not_there(self):
        with Tree({"a.md": "[b](gone.md)\n"}) as folder, mock.patch.object(build, "ROOT", Path(folder)):
            with self.assertRaises(build.PageError):
                build.Pages([], Path(folder) / "out").make({"page": "x", "file": "a.md"})

    def test_shows_a_program_from_its_file(self):
        files = {"a.md": "# A\n```py\nprint()\n```\n", "examples/a.py": "print()\n", "run.sh": "a.py\n"}
        entry = {"page": "x", "file": "a.md", "example": "examples/a.py", "test": "run.sh"}
        with Tree(files) as folder, mock.patch.object(build, "ROOT", Path(folder)):
            pages = build.Pages([], Path(folder) / "out")
            pages.make(entry)
            self.assertIn("```{literalinclude} ../../examples/a.py\n:language: py\n```", (pages.source / "x.md").read_text())
            (Path(folder) / "examples/a.py").write_text("print(1)\n")
            with self.assertRaises(build.PageError):
                build.Pages([], Path(folder) / "out").make(entry)

    def test_makes_a_heading_of_each_convention(self):
        header = "/*\n * x\n *\n * CONVENTIONS\n *\n * Text.  It is\n * UTF-8, see docs/windows.md.\n */\n"
        page = build.header_conventions(header)
        self.assertIn("## Text\n\nIt is\nUTF-8, see [Windows](../windows.md).", page)

    def test_puts_the_functions_under_the_headings_of_the_header(self):
        page = build.header_functions("/* ---- The end ---- */\n\nKX_API int kx_Exit(int context, int timeout);\n")
        self.assertIn("The end\n-------\n\nkx_Exit\n^^^^^^^\n\n.. doxygenfunction:: kx_Exit\n", page)


if __name__ == "__main__":
    unittest.main()
