"""Which of all possible changes are tried: as many of every component as its share allows, the same for the same seed."""

import random
from collections import defaultdict
from pathlib import PurePosixPath

from mutation.changes import changes_in, enumerations_in

SOURCES = (".cpp", ".h")


def component_of(file):
    """src/pipe/win32/pipe.cpp belongs to pipe/win32, src/pipe/start_page.cpp to pipe."""
    return PurePosixPath(file).parent.relative_to("src").as_posix()


def is_windows(file):
    return "win32" in PurePosixPath(file).parts


def all_changes(texts):
    """texts: file name to text, of all sources. A file knows its own enumerations and those of all headers."""
    of_headers = {}
    for name, text in texts.items():
        if name.endswith(".h"):
            of_headers.update(enumerations_in(text))
    changes = []
    for name, text in sorted(texts.items()):
        header = texts.get(name.removesuffix(".cpp") + ".h", "")
        changes += changes_in(name, text, {**of_headers, **enumerations_in(header), **enumerations_in(text)})
    return changes


def is_wanted(file, wanted):
    """wanted: files or folders; none means all."""
    return not wanted or any(file == name or file.startswith(name.rstrip("/") + "/") for name in wanted)


def shares(available, count):
    """How many changes each component gives: half of the count is dealt out evenly, half by size."""
    count = min(count, sum(available.values()))
    given = dict.fromkeys(available, 0)
    total = sum(available.values())
    for name in available:
        given[name] = min(available[name], int(count / 2 / len(available)) + int(count / 2 * available[name] / total))
    names = sorted(available)
    while sum(given.values()) < count:
        for name in names:
            if given[name] < available[name] and sum(given.values()) < count:
                given[name] += 1
    return given


def in_turn(changes, chance):
    """Shuffled, one of each kind after the other, so that a part from the front holds every kind."""
    by_kind = defaultdict(list)
    for change in changes:
        by_kind[change.kind].append(change)
    queues = [by_kind[kind] for kind in sorted(by_kind)]
    for queue in queues:
        chance.shuffle(queue)
    result = []
    while queues:
        for queue in queues:
            result.append(queue.pop())
        queues = [queue for queue in queues if queue]
    return result


def select(changes, count, seed):
    """count of the changes, spread over components and kinds, in the order of the files."""
    by_component = defaultdict(list)
    for change in changes:
        by_component[component_of(change.file)].append(change)
    if not by_component:
        return []
    given = shares({name: len(found) for name, found in by_component.items()}, count)
    selected = []
    for name in sorted(by_component):
        chance = random.Random(f"{seed} {name}")
        selected += in_turn(by_component[name], chance)[: given[name]]
    return sorted(selected, key=lambda change: (change.file, change.start, change.end, change.new))
