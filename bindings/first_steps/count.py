#!/usr/bin/env python3
"""What it takes to start a browser, play a macro, print what it has extracted and close the browser: in each language of
programs.py, without and with a wrapper. The table stands in docs/other-languages.md.

    bindings/first_steps/count.py                                counts lines, and compares them with the table
    bindings/first_steps/count.py --run BUILD-TREE SCRATCH       builds and runs the programs as well, and writes the table

A line counts when it holds more than blanks and comments.
"""

import argparse
import re
import shutil
import sys
import time
from pathlib import Path

import programs
import run

PAGE = run.ROOT / "docs" / "other-languages.md"
BEGIN = "<!-- counted by bindings/first_steps/count.py -->\n"
END = "<!-- end of what is counted -->\n"
HEAD = ("| Language | Lines without a wrapper | Lines with it | Built in | Ran in |\n"
        "|---|---|---|---|---|\n")
COMMENTS = {
    ".py": r'^\s*"""(?:.|\n)*?"""|^\s*#.*',
    ".ps1": r"<#(?:.|\n)*?#>|^\s*#.*",
    ".pas": r"\{(?!\$)(?:.|\n)*?\}|^\s*//.*",
    ".au3": r"^\s*;.*",
}
C_COMMENTS = r"^\s*/\*(?:.|\n)*?\*/|^\s*//.*"
# The examples say so of the extract, and two of them have another city.
PRINTED = re.compile("(the first extract: )?Hello (Oslo|Tromsø)")


def lines_of(name, text):
    code = re.sub(COMMENTS.get(Path(name).suffix, C_COMMENTS), "", text, flags=re.MULTILINE)
    return sum(1 for line in code.splitlines() if line.strip())


def counted(file):
    return "none" if file is None else str(lines_of(file, (run.ROOT / file).read_text(encoding="utf-8")))


def measured(program, tree, scratch):
    """Seconds that building and running take. Raises run.Failure when the program does not what it has to."""
    host = run.Run(program, tree, scratch)
    reason = host.missing()
    if reason is not None:
        raise run.Failure(f"{program.name}: {reason}")
    shutil.rmtree(host.folder, ignore_errors=True)
    began = time.monotonic()
    host.build()
    built = time.monotonic()
    status, printed = host.first_steps("extract Hello $(city)")
    ended = time.monotonic()
    if status != 0 or not PRINTED.fullmatch(printed.strip()):
        raise run.Failure(f"{program.name}: has ended with {status} and printed {printed!r}")
    status, printed = host.first_steps("fail -50 There is no such button")
    if status != 1 or "error -50: There is no such button" not in printed:
        raise run.Failure(f"{program.name}: a macro that fails: has ended with {status} and printed {printed!r}")
    return f"{built - began:.1f} s", f"{ended - built:.1f} s"


def run_all(tree, scratch):
    rows = []
    for language, (raw_file, raw, file, wrapped) in programs.PROGRAMS.items():
        times = "not run", "not run"
        for how, program in (("raw", raw), ("wrapped", wrapped)):
            if program is not None:
                times = measured(program, tree, scratch / how)
                print(f"{language}, {how}: built in {times[0]}, ran in {times[1]}", flush=True)
        rows.append(f"| {language} | {counted(raw_file)} | {counted(file)} | {times[0]} | {times[1]} |\n")
    return HEAD + "".join(rows)


def with_table(text, table):
    before, rest = text.split(BEGIN)
    return before + BEGIN + table + END + rest.split(END)[1]


def table_of(text):
    return text.split(BEGIN)[1].split(END)[0]


def problems_of(text):
    """Where the table does not say what the files are."""
    shown = [tuple(cell.strip() for cell in row.split("|")[1:4]) for row in table_of(text).splitlines()[2:]]
    wanted = [(language, counted(raw_file), counted(file)) for language, (raw_file, _, file, _) in programs.PROGRAMS.items()]
    return [f"the table has {row}, which is not so" for row in shown if row not in wanted] + [
        f"the table has not {row}" for row in wanted if row not in shown]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--run", nargs=2, type=Path, metavar=("BUILD-TREE", "SCRATCH"))
    arguments = parser.parse_args()
    text = PAGE.read_text(encoding="utf-8")
    if arguments.run:
        try:
            PAGE.write_text(with_table(text, run_all(*(folder.resolve() for folder in arguments.run))), encoding="utf-8")
        except run.Failure as failure:
            sys.exit(str(failure))
        return 0
    problems = problems_of(text)
    for problem in problems:
        print(f"{PAGE.relative_to(run.ROOT)}: {problem}", file=sys.stderr)
    print(f"first steps: {len(programs.PROGRAMS)} languages, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
