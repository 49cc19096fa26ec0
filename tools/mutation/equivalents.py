"""The reviewed list of changes that make no difference, with the reason for each.

An entry is four lines; blank lines and lines that begin with # stand between entries:

    src/log/log.cpp
    - va_end(copy);
    + ;
    = va_end does nothing with the compilers in use

The lines after - and + are the source lines before and after the change, on one line, as the report shows them. Where
a file has several equal lines, the second is marked (#2), and so on.
"""

from dataclasses import dataclass


class ListError(Exception):
    """The list cannot be read."""


@dataclass(frozen=True)
class Entry:
    file: str
    before: str
    after: str
    reason: str
    line: int

    @property
    def key(self):
        return (self.file, self.before, self.after)


def read_list(text):
    entries = []
    lines = [(number, line.rstrip()) for number, line in enumerate(text.splitlines(), 1)]
    lines = [(number, line) for number, line in lines if line.strip() and not line.startswith("#")]
    if len(lines) % 4:
        raise ListError(f"line {lines[-1][0]}: an entry has four lines")
    for index in range(0, len(lines), 4):
        (number, file), *rest = lines[index : index + 4]
        parts = []
        for (at, line), mark in zip(rest, "-+="):
            if not line.startswith(mark + " ") or not line[2:].strip():
                raise ListError(f"line {at}: expected '{mark} ' and a text")
            parts.append(line[2:].strip())
        entries.append(Entry(file, *parts, number))
    return entries


def stale_entries(entries, changes):
    """What says nothing any more: the line has changed, or the entry stands there twice."""
    known = {change.key for change in changes}
    problems, seen = [], set()
    for entry in entries:
        if entry.key in seen:
            problems.append(f"line {entry.line}: {entry.file}: listed twice: {entry.before}")
        elif entry.key not in known:
            problems.append(f"line {entry.line}: {entry.file}: no such change any more: {entry.before}")
        seen.add(entry.key)
    return problems
