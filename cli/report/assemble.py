#!/usr/bin/env python3
"""Makes one page of the files in this folder and of the chart library: what `kx play --report` writes around its data.

    cli/report/assemble.py UPLOT-FOLDER OUTPUT

UPLOT-FOLDER is the unpacked npm package. Scripts and styles go into the page as they are, and the page's own policy lets
no others run: it names their digests.
"""

import argparse
import base64
import hashlib
import html
import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
# A file stands behind those that it imports.
SCRIPTS = ("model.js", "dom.js", "table.js", "timeline.js", "charts.js", "details.js", "main.js")
DATA_PLACE = "<!--DATA-->"

IMPORT = re.compile(r"^import \{[^}]*\} from '\./([\w.]+)';\n", re.MULTILINE)
DECLARATION = re.compile(r"^(?:export )?(?:async )?(?:function|class|const|let) (\w+)", re.MULTILINE)


class Problem(Exception):
    """The sources cannot become one page."""


def one_script(sources):
    """Modules, given as (name, text) in order, as one script. Each name at their top level means one thing."""
    owners = {}
    parts = []
    for name, text in sources:
        for imported in IMPORT.findall(text):
            if imported not in [known for known, _ in sources[:len(parts)]]:
                raise Problem(f"{name} imports {imported}, which does not stand before it")
        for word in DECLARATION.findall(text):
            if word in owners:
                raise Problem(f"{name} and {owners[word]} both declare {word}")
            owners[word] = name
        text = IMPORT.sub("", text)
        if re.search(r"^import\b", text, re.MULTILINE):
            raise Problem(f"{name} has an import of a form that is not known here")
        parts.append(re.sub(r"^export ", "", text, flags=re.MULTILINE))
    return "(() => {\n'use strict';\n" + "\n".join(parts) + "})();\n"


def inline(text, name, closing):
    """The text, which must not end the element it is put into."""
    if re.search(rf"</{closing}|<!--", text, re.IGNORECASE):
        raise Problem(f"{name} holds </{closing} or <!--, which would end or change its element")
    return text


def digest(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode("utf-8")).digest()).decode() + "'"


def page(template, style, chart_style, charts, licence, sources):
    style = inline(chart_style.strip() + "\n" + style, "the style", "style")
    charts = inline(charts, "the chart library", "script")
    script = inline(one_script(sources), "the script", "script")
    policy = (f"default-src 'none'; img-src data:; style-src {digest(style)}; "
              f"script-src {digest(charts)} {digest(script)}; base-uri 'none'; form-action 'none'")
    places = {"@POLICY@": policy, "@STYLE@": style, "@CHARTS@": charts, "@SCRIPT@": script, "@LICENCE@": html.escape(licence.strip())}
    for place in (*places, DATA_PLACE):
        if template.count(place) != 1:
            raise Problem(f"the template has {place} {template.count(place)} times")
    return re.sub("|".join(places), lambda match: places[match.group(0)], template)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("uplot", type=Path)
    parser.add_argument("output", type=Path)
    arguments = parser.parse_args()

    def text(path):
        return path.read_text(encoding="utf-8")

    try:
        made = page(text(HERE / "page.html"), text(HERE / "report.css"), text(arguments.uplot / "dist/uPlot.min.css"),
                    text(arguments.uplot / "dist/uPlot.iife.min.js"), text(arguments.uplot / "LICENSE"),
                    [(name, text(HERE / name)) for name in SCRIPTS])
    except (Problem, OSError) as problem:
        print(f"assemble: {problem}", file=sys.stderr)
        return 1
    arguments.output.write_text(made, encoding="utf-8", newline="\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
