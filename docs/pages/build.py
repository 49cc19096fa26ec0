#!/usr/bin/env python3
"""Makes the pages for users: HTML that can be read from a disk, searched, and seen light or dark.

    docs/pages/build.py TARGET-FOLDER

The pages' list is pages.json. What it names is copied to TARGET-FOLDER/source, with links turned to where the pages are and
programs replaced by the files that tests run; Doxygen reads the header; Sphinx makes TARGET-FOLDER/html of all that. Every
warning is an error, and every link inside the pages is followed (check_links.py).
"""

import json
import os
import posixpath
import re
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path.insert(0, str(ROOT / "tools"))

import check_catalogue  # noqa: E402
from check_links import check_site  # noqa: E402
from project_files import project_files  # noqa: E402

HEADER = "src/api/kxtcp64.h"
CATALOGUE_PAGE = "errors"
# Other names of what is a page.
ALSO_A_PAGE = {"docs/errors.json": CATALOGUE_PAGE, HEADER: "reference/functions"}
EXAMPLES = (".c", ".h", ".cpp", ".py", ".mjs", ".js", ".cs", ".csproj", ".ps1", ".go", ".rs", ".pas", ".au3")


class PageError(Exception):
    """Something that the author of a page has to mend."""


def read(name):
    return (ROOT / name).read_text(encoding="utf-8")


def title_of(file):
    return re.match(r"# (.*)", read(file)).group(1)


def section_of(text, heading, title):
    """What stands under a heading of the second level, as a page."""
    match = re.search(rf"^## {re.escape(heading)}\n(.*?)(?=^## |\Z)", text, re.MULTILINE | re.DOTALL)
    if match is None:
        raise PageError(f'there is no heading "{heading}"')
    return f"# {title}\n{match.group(1)}"


def outside_fences(text, change):
    """The text with change() done to what is no code block."""
    parts = re.split(r"(^ *```.*?^ *```$)", text, flags=re.MULTILINE | re.DOTALL)
    return "".join(part if number % 2 else change(part) for number, part in enumerate(parts))


def slug(heading):
    """The anchor of a heading, as the page's other readers make it."""
    return re.sub(r"[^\w\- ]", "", heading.replace("`", "").lower()).replace(" ", "-")


def anchors_of(text):
    found = []
    outside_fences(text, lambda part: found.extend(re.findall(r"^#+ (.*)$", part, re.MULTILINE)) or part)
    return {slug(heading) for heading in found}


class Pages:
    def __init__(self, parts, target):
        self.parts = parts
        self.source = target / "source"
        self.entries = [entry for part in parts for entry in part["pages"]]
        self.page_of = {entry["file"]: entry["page"] for entry in self.entries if "file" in entry and "section" not in entry}
        self.page_of.update(ALSO_A_PAGE)
        names = [name for name in project_files(ROOT, EXAMPLES, ("examples/", "bindings/")) if "/tests/" not in name]
        self.examples = {read(name): name for name in names}

    def put(self, page, text, suffix=".md"):
        path = self.source / (page + suffix)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def title_of(self, file):
        given = [entry["title"] for entry in self.entries if entry.get("file") == file and "title" in entry]
        return given[0] if given else title_of(file)

    def link(self, page, file, anchors, match):
        """A link of a source, as the page has it: to a page, or, to what is no page, the words alone."""
        mark, words, target = match.groups()
        path, _, anchor = target.partition("#")
        if re.match(r"[a-z]+:", target):
            return match.group(0)
        if not path:
            return match.group(0) if anchor in anchors else words
        name = posixpath.normpath(posixpath.join(posixpath.dirname(file), path))
        if not (ROOT / name).exists():
            raise PageError(f"{file} links to {target}, which is not there")
        back = "../" * page.count("/")
        if mark:
            shutil.copyfile(ROOT / name, (self.source / page).parent / Path(name).name)
            return f"![{words}]({Path(name).name})"
        if name in self.page_of:
            if words.endswith(".md"):
                words = self.title_of(name)
            return f"[{words}]({back}{self.page_of[name]}.md{'#' + anchor if anchor else ''})"
        plain = words.strip("`")
        return words if plain not in (path, name) else f"`{plain}`"

    def program(self, page, counted, match):
        """A code block that shows a whole file becomes that file."""
        indent, language, text = match.groups()
        name = self.examples.get(text)
        if name is None or indent:
            return match.group(0)
        counted.append(name)
        folder = (self.source / page).parent
        return f"```{{literalinclude}} {os.path.relpath(ROOT / name, folder)}\n:language: {language or 'text'}\n```"

    def make(self, entry):
        page, file = entry["page"], entry["file"]
        text = read(file)
        if "section" in entry:
            text = section_of(text, entry["section"], entry["title"])
        elif "title" in entry:
            text = re.sub(r"\A# .*", f"# {entry['title']}", text)
        (self.source / page).parent.mkdir(parents=True, exist_ok=True)
        anchors = anchors_of(text)
        text = outside_fences(text, lambda part: re.sub(r"(!?)\[([^\]]*)\]\(([^)\s]+)\)",
                                                        lambda match: self.link(page, file, anchors, match), part))
        shown = []
        text = re.sub(r"^( *)```(\w*)\n(.*?)^ *```$", lambda match: self.program(page, shown, match), text,
                      flags=re.MULTILINE | re.DOTALL)
        if "example" in entry:
            if entry["example"] not in shown:
                raise PageError(f"{file} does not show {entry['example']} whole")
            if "test" not in entry:
                ran = "**No test runs it.**"
            elif entry.get("runs", Path(entry["example"]).stem) in read(entry["test"]):
                ran = f"The test `{entry['test']}` runs it."
            else:
                raise PageError(f"{entry['test']} does not run {entry['example']}")
            text += f"\nThe program above is the file `{entry['example']}`. {ran}\n"
        self.put(page, text)

    def index(self):
        text = read("docs/pages/index.md")
        rows = ["| Language | What there is |", "|---|---|"]
        rows += [f"| [{entry['title']}]({entry['page']}.md) | {entry['what']} |" for entry in self.parts[0]["pages"]]
        trees = ["```{toctree}\n:caption: " + part["title"] + "\n:hidden:\n\n"
                 + "".join(f"{entry['page']}\n" for entry in part["pages"]) + "```\n" for part in self.parts]
        self.put("index", text.replace("@FIRST_STEPS@", "\n".join(rows)).replace("@TOCTREES@", "\n".join(trees)))


# ---- what is made of other files ----------------------------------------------------------------------------------


def cell(text):
    return str(text).replace("|", "\\|").replace("\n", " ")


def code(text):
    return f"``{cell(text)}``" if "`" in str(text) else f"`{cell(text)}`"


KINDS = {"connection": "the browser was not reached, or is lost", "macro": "the browser answered with an error",
         "use": "the call was refused", "note": "nothing is wrong"}


def number_words(number):
    if number is None:
        return "as it was"
    if isinstance(number, list):
        return " or ".join(map(str, number))
    return {"windows": "of Windows, made negative", "extension": "the extension's own"}.get(number, str(number))


def catalogue_page(rows, page_of, constants):
    files = {}
    for name in project_files(ROOT, (".cpp",), ("tests/",)):
        for test in check_catalogue.test_names(read(name)):
            files.setdefault(test, name)
    names = {value: name for name, value in constants}
    overview = ["| Result | Number | Text, or log entry | Row |", "|---|---|---|---|"]
    details = []
    for row in rows:
        result = {"note": "any"}.get(row["kind"], "any failure") if row["result"] is None else f"{row['result']}"
        if row["result"] in names:
            result += f" ({names[row['result']]})"
        shown = row["text"] or (row["log"][0] if row["log"] else "")
        overview.append(f"| {result.split(' (')[0]} | {number_words(row['number'])} | {code(shown) if shown else ''} "
                        f"| [{row['id']}](#{row['id']}) |")
        page = page_of["docs/" + row["page"]]
        lines = [f"### {row['id']}", "", "| | |", "|---|---|",
                 f"| Functions | {', '.join(code(name) for name in row['export'])} |",
                 f"| Result | {result} |",
                 f"| Error number | {number_words(row['number'])} |",
                 f"| Error text | {code(row['text']) if row['text'] else 'not told'} |",
                 f"| In the log | {'<br>'.join(code(entry) for entry in row['log']) or 'nothing'} |",
                 f"| Kind | {KINDS[row['kind']]} |",
                 f"| Cause | {cell(row['cause'])} |",
                 f"| What to do | {cell(row['remedy'])} |",
                 f"| More | [{title_of('docs/' + row['page'])}]({page}.md) |",
                 f"| Produced by | {'<br>'.join(f'{code(test)} in {code(files[test])}' for test in row['tests'])} |", ""]
        details.append("\n".join(lines))
    return "\n".join([
        "# The error catalogue", "",
        "One row per failure that a host can tell from another one: who gives it, what it looks like, why, and what to do. The",
        "search finds a row by any part of its text. Words in braces stand for any text. Of several rows that fit, the first one",
        "counts. For programs, the same is in `errors.json`; `kx play` and `kx log` tell failures by it.", "",
        "## Overview", "", *overview, "", "## The rows", "", *details])


def header_conventions(header):
    """The comment at the header's top as a page: a heading for each convention."""
    comment = re.match(r"/\*\n(.*?)\n \*/", header, re.DOTALL).group(1)
    lines = [re.sub(r"^ \* ?", "", line) for line in comment.split("\n")]
    text = "\n".join(lines).split("CONVENTIONS", 1)[1]
    out = ["# Conventions", "", "What holds for every function, as the header `kxtcp64.h` says it.", ""]
    for paragraph in re.split(r"\n\n+", text.strip()):
        match = re.match(r"([A-Z][A-Za-z\" -]*)\.  (.*)", paragraph, re.DOTALL)
        if match:
            out += [f"## {match.group(1)}", ""]
            paragraph = match.group(2)
        # Words in columns are names with what they mean.
        paragraph = re.sub(r"^  (KORVEX_\w+)\s+", r"  - `\1`: ", paragraph, flags=re.MULTILINE)
        paragraph = re.sub(r"^  (?=- )", "", paragraph, flags=re.MULTILINE)
        # A list needs an empty line before it, and another one behind it.
        paragraph = re.sub(r"\n(- )", r"\n\n\1", paragraph, count=1)
        paragraph = re.sub(r"(^- .*?)\n(?=[A-Z]|docs/)", r"\1\n\n", paragraph, flags=re.MULTILINE | re.DOTALL)
        paragraph = re.sub(r"\b(kxr?_\w+\(\)|KX_\w+|NULL)", r"`\1`", paragraph)
        paragraph = re.sub(r"\bdocs/([a-z-]+)\.md", lambda match: f"[{title_of(match.group(0))}](../{match.group(1)}.md)", paragraph)
        out += [paragraph, ""]
    return "\n".join(out)


def header_functions(header):
    """The functions in the header's order, under the header's own headings; Breathe brings what the header says of each."""
    out = ["Functions", "=========", "", "What the header ``kxtcp64.h`` says of each function. The :doc:`conventions` hold for all of them.", ""]
    for banner, name in re.findall(r"^/\* -{4} (.*?) -+ \*/$|^KX_API [^;(]*?\b(\w+)\(", header, re.MULTILINE):
        if banner:
            out += [banner, "-" * len(banner), ""]
        else:
            out += [name, "^" * len(name), "", f".. doxygenfunction:: {name}", ""]
    return "\n".join(out)


def interface_page(interface):
    out = ["# Constants and functions as tables", "",
           "From `interface.json`, which is for programs that write bindings; [Functions](functions.rst) tells more of each.", "",
           "## Constants", "", "| Name | Value | Meaning |", "|---|---|---|"]
    out += [f"| `{constant['name']}` | {constant['value']} | {cell(constant['meaning'])} |" for constant in interface["constants"]]
    out += ["", "## What a call needs", "", "| Function | A context | A browser | Can wait for the browser | Result |",
            "|---|---|---|---|---|"]
    yes = {True: "yes", False: "no"}
    for function in interface["functions"]:
        result = function["result"]
        out.append(f"| `{function['name']}` | {yes[function['context']]} | {yes[function['browser']]} | {yes[function['blocks']]} "
                   f"| {cell(result['kind'])}: {cell(result['meaning'])} |")
    out += ["", "## Arguments", "", "| Function | Argument | Type | Direction | Unit | Null |", "|---|---|---|---|---|---|"]
    for function in interface["functions"]:
        for argument in function["arguments"]:
            out.append(f"| `{function['name']}` | `{argument['name']}` | {argument['type']} | {argument['direction']} "
                       f"| {cell(argument.get('unit', ''))} | {cell(argument.get('null', ''))} |")
    return "\n".join(out) + "\n"


def for_doxygen(header):
    """The header's list of options, which stands in columns, as a list."""
    return re.sub(r"^ \*( +)(-[a-z]\w+(?: [A-Z]+)?)  +(.*)$", r" *\1- `\2`: \3", header, flags=re.MULTILINE)


# ---- the run ------------------------------------------------------------------------------------------------------


def run(what, *command, **options):
    result = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        raise PageError(f"{what} has failed:\n{result.stdout[-3000:]}{result.stderr[-6000:]}")


def doxygen(target):
    folder = target / "doxygen"
    folder.mkdir(parents=True)
    (folder / "kxtcp64.h").write_text(for_doxygen(read(HEADER)), encoding="utf-8")
    settings = read("docs/pages/Doxyfile") + f"\nINPUT = kxtcp64.h\nOUTPUT_DIRECTORY = {folder}\n"
    (folder / "Doxyfile").write_text(settings, encoding="utf-8")
    run("doxygen", "doxygen", "Doxyfile", cwd=folder)
    return folder / "xml"


def check_every_wrapper_has_a_page(entries, others):
    wrappers = {name for name in project_files(ROOT, ("README.md",), ("bindings/",)) if name.count("/") == 2}
    missing = wrappers - {entry.get("file") for entry in entries} - set(others)
    if missing:
        raise PageError(f"docs/pages/pages.json has no page of {', '.join(sorted(missing))}")


def build(target):
    for folder in ("source", "doxygen", "html", "doctrees"):
        shutil.rmtree(target / folder, ignore_errors=True)
    version = re.search(r"^  VERSION (\d+\.\d+\.\d+)$", read("CMakeLists.txt"), re.MULTILINE).group(1)
    listed = json.loads(read("docs/pages/pages.json"))
    pages = Pages(listed["parts"], target)
    check_every_wrapper_has_a_page(pages.entries, listed["maintainers"])
    for entry in pages.entries:
        if "file" in entry:
            pages.make(entry)
    interface = json.loads(read("bindings/interface.json"))
    results = [(constant["name"], constant["value"]) for constant in interface["constants"] if constant["group"] == "result"]
    pages.put(CATALOGUE_PAGE, catalogue_page(json.loads(read("docs/errors.json"))["errors"], pages.page_of, results))
    pages.put("reference/conventions", header_conventions(read(HEADER)))
    pages.put("reference/functions", header_functions(read(HEADER)), ".rst")
    pages.put("reference/interface", interface_page(interface))
    pages.index()
    for name, place in (("conf.py", "conf.py"), ("pages.css", "_static/pages.css"), ("pages.js", "_static/pages.js")):
        (pages.source / place).parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(HERE / name, pages.source / place)

    # The theme's script, in whose place pages.js is.
    pages.put("_static/scripts/furo", "// See pages.js.\n", ".js")
    environment = {**os.environ, "KX_VERSION": version, "KX_DOXYGEN_XML": str(doxygen(target)), "SOURCE_DATE_EPOCH": "0"}
    run("sphinx-build", "sphinx-build", "-b", "html", "-W", "--keep-going", "-q", "-d", str(target / "doctrees"),
        str(pages.source), str(target / "html"), env=environment)
    for name in (".buildinfo", "objects.inv"):
        (target / "html" / name).unlink(missing_ok=True)
    followed, problems = check_site(target / "html")
    wanted = {entry["page"] + ".html" for entry in pages.entries} | {"index.html", "search.html", "genindex.html"}
    made = {path.relative_to(target / "html").as_posix() for path in (target / "html").rglob("*.html")}
    problems += [f"{name} is a page too many or too few" for name in sorted(wanted ^ made)]
    if problems:
        raise PageError("\n".join(problems))
    return len(pages.entries) + 1, followed


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    target = Path(sys.argv[1]).resolve()
    target.mkdir(parents=True, exist_ok=True)
    try:
        count, followed = build(target)
    except PageError as error:
        print(f"docs: {error}", file=sys.stderr)
        return 1
    print(f"docs: {count} pages, {followed} links followed, no warning")
    return 0


if __name__ == "__main__":
    sys.exit(main())
