"""What became of each change: kept from run to run, and added up per component."""

import hashlib
import json
from dataclasses import asdict, dataclass

from mutation.selection import component_of


@dataclass(frozen=True)
class Result:
    file: str
    digest: str  # of the source that was changed: a result says nothing about a later one
    kind: str
    line: int
    start: int
    before: str
    after: str
    outcome: str
    by: str = ""
    occurrence: int = 1

    @property
    def place(self):
        return (self.file, self.start, self.before, self.after)


def digest_of(text):
    return hashlib.sha256(text.encode()).hexdigest()[:16]


def result_of(change, text, outcome):
    return Result(change.file, digest_of(text), change.kind, change.line, change.start, change.before, change.after,
                  outcome.word, outcome.by, change.occurrence)


def read_results(path, texts):
    """The last result of each change to the sources as they are now."""
    digests = {name: digest_of(text) for name, text in texts.items()}
    results = {}
    if path.exists():
        for line in path.read_text(encoding="utf-8").splitlines():
            result = Result(**json.loads(line))
            if digests.get(result.file) == result.digest:
                results[result.place] = result
    return results


def append_result(path, result):
    with open(path, "a", encoding="utf-8") as file:
        file.write(json.dumps(asdict(result)) + "\n")


def percentage(noticed, tried):
    """Rounded down, so that 95 % means it."""
    return f"{noticed * 1000 // tried / 10:.1f} %" if tried else "-"


def table(results, listed):
    """Lines: per component what was tried, noticed and survived, what is listed and what did not compile."""
    components = sorted({component_of(result.file) for result in results} | {component_of(key[0]) for key in listed})
    rows = [("component", "tried", "noticed", "survived", "share", "no difference", "no build")]
    sums = [0, 0, 0, 0, 0]
    for name in components:
        mine = [result for result in results if component_of(result.file) == name]
        counts = {word: sum(result.outcome == word for result in mine) for word in ("noticed", "survived", "broken")}
        tried = counts["noticed"] + counts["survived"]
        without = sum(component_of(key[0]) == name for key in listed)
        values = [tried, counts["noticed"], counts["survived"], without, counts["broken"]]
        sums = [total + value for total, value in zip(sums, values)]
        rows.append((name, *map(str, values[:3]), percentage(values[1], tried), *map(str, values[3:])))
    rows.append(("all", *map(str, sums[:3]), percentage(sums[1], sums[0]), *map(str, sums[3:])))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    return ["  ".join([row[0].ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(row[1:], widths[1:]))])
            for row in rows]


def survivors(results):
    lines = []
    for result in sorted(results, key=lambda result: (result.file, result.start)):
        if result.outcome == "survived":
            mark = f" (#{result.occurrence})" if result.occurrence > 1 else ""
            lines += [f"{result.file}:{result.line}: {result.kind}", f"  - {result.before}{mark}", f"  + {result.after}"]
    return lines
