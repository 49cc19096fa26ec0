"""One script of several files, and one page that nothing can break out of."""

import base64
import hashlib
import re
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))

import assemble  # noqa: E402

TEMPLATE = ('<meta content="@POLICY@"><style>@STYLE@</style><pre>@LICENCE@</pre><!--DATA-->'
            '<script>@CHARTS@</script><script>@SCRIPT@</script>')


class OneScript(unittest.TestCase):
    def test_drops_imports_and_exports(self):
        script = assemble.one_script([("a.js", "export const one = 1;\n"), ("b.js", "import { one } from './a.js';\nuse(one);\n")])
        self.assertEqual(script, "(() => {\n'use strict';\nconst one = 1;\n\nuse(one);\n})();\n")

    def refused(self, sources):
        with self.assertRaises(assemble.Problem) as caught:
            assemble.one_script(sources)
        return str(caught.exception)

    def test_refuses_a_name_that_two_files_declare(self):
        self.assertIn("both declare one", self.refused([("a.js", "const one = 1;\n"), ("b.js", "function one() {}\n")]))

    def test_refuses_a_file_in_front_of_what_it_imports(self):
        self.assertIn("does not stand before it", self.refused([("a.js", "import { one } from './b.js';\n"), ("b.js", "")]))

    def test_refuses_imports_that_it_would_leave_in(self):
        self.assertIn("not known here", self.refused([("a.js", "import * as all from './b.js';\n")]))


class Page(unittest.TestCase):
    def page(self, style="p {}", script="go();", template=TEMPLATE):
        return assemble.page(template, style, "table {}", "charts();", "MIT & <more>", [("a.js", script)])

    def test_lets_the_very_scripts_and_styles_run_that_it_holds(self):
        page = self.page()
        policy = re.search(r'content="([^"]*)"', page).group(1)
        for text in re.findall(r"<(?:script|style)>(.*?)</", page, re.DOTALL):
            digest = base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()
            self.assertIn(f"'sha256-{digest}'", policy)
        self.assertIn("default-src 'none'", policy)
        self.assertNotIn("unsafe", policy)

    def test_holds_the_licence_as_text(self):
        self.assertIn("<pre>MIT &amp; &lt;more&gt;</pre>", self.page())

    def test_refuses_what_would_end_its_element(self):
        for script in ("'</script>'", "'</SCRIPT >'", "'<!--'"):
            with self.assertRaises(assemble.Problem):
                self.page(script=script)
        with self.assertRaises(assemble.Problem):
            self.page(style="</style>")

    def test_refuses_a_template_without_a_place_for_the_data(self):
        with self.assertRaises(assemble.Problem):
            self.page(template=TEMPLATE.replace("<!--DATA-->", ""))


if __name__ == "__main__":
    unittest.main()
