#!/usr/bin/env python3
"""Makes small changes to the sources, one at a time, and sees whether the tests notice.

Each change is built in a copy of the tree below build/mutate and tested with the programs that cover its file, until
one fails. What no test notices has survived: either a test is missing, or the change makes no difference. The latter
belongs into tools/mutate_equivalents.txt, with the reason. The same seed selects the same changes.
"""

import argparse
import fcntl
import hashlib
import json
import random
import signal
import sys
import threading
import time
from collections import Counter, defaultdict
from itertools import zip_longest
from pathlib import Path, PurePosixPath

from mutation.changes import all_changes
from mutation.workspace import BaseFailure, Workspace, stopped
from project_files import ROOT, project_files

FOLDER = ROOT / "build/mutate"
RESULTS = FOLDER / "results.jsonl"
EQUIVALENTS = Path(__file__).resolve().parent / "mutate_equivalents.txt"
COLUMNS = ("tried", "noticed", "survived", "share", "no difference", "no build")


def parsed_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", nargs="*", help="files or folders below src, and how many changes (500)")
    parser.add_argument("--seed", type=int, default=1, help="selects other changes")
    parser.add_argument("--jobs", type=int, default=2, help="how many changes are tried at once")
    parser.add_argument("--more", action="store_true", help="leave out what earlier runs have tried")
    parser.add_argument("--again", action="store_true", help="only what survived an earlier run")
    parser.add_argument("--listed", action="store_true", help="try the listed changes: none may be noticed")
    parser.add_argument("--quick", action="store_true", help="only the first program that covers a file; "
                        "what survives can then be tried --again with all of them")
    parser.add_argument("--report", action="store_true", help="try nothing: add up all earlier runs")
    arguments = parser.parse_args()
    arguments.count = next((int(word) for word in arguments.what if word.isdigit()), 500)
    arguments.files = [word.rstrip("/") for word in arguments.what if not word.isdigit()]
    return arguments


# ---- selection

def component_of(file):
    """src/pipe/win32/pipe.cpp belongs to pipe/win32, src/pipe/start_page.cpp to pipe."""
    return PurePosixPath(file).parent.relative_to("src").as_posix()


def is_wanted(file, wanted):
    """wanted: files or folders; none means all."""
    return not wanted or any(file == name or file.startswith(name + "/") for name in wanted)


def select(changes, count, seed):
    """count of the changes, as many of each kind in each component as there are; in the order of the files."""
    groups = defaultdict(list)
    for change in changes:
        groups[component_of(change.file), change.kind].append(change)
    for key, group in sorted(groups.items()):
        random.Random(f"{seed} {key}").shuffle(group)
    in_turn = [change for each in zip_longest(*(groups[key] for key in sorted(groups))) for change in each if change]
    return sorted(in_turn[:count], key=lambda change: (change.file, change.start, change.end, change.new))


def read_list(text):
    """The changes that make no difference: file, line before and line after. The format stands in the list's head."""
    listed, file, before, has_reason = [], None, None, False
    for number, line in enumerate(text.splitlines(), 1):
        mark, rest = line[:2], line[2:].strip()
        if mark == "= " and rest:
            has_reason, file = True, None
        elif line.startswith("src/") and has_reason:
            file, before = line.strip(), None
        elif mark == "- " and file:
            before = rest
        elif mark == "+ " and before:
            listed.append((file, before, rest))
        elif line.strip() and not line.startswith("#"):
            raise ValueError(f"line {number}: there is a reason missing, a file or a line before")
    return listed


# ---- results

def digest_of(text):
    return hashlib.sha256(text.encode()).hexdigest()[:16]


def read_results(path, digests):
    """The last result of each change to the sources as they are now; of other texts a result says nothing."""
    results = {}
    for line in path.read_text(encoding="utf-8").splitlines() if path.exists() else ():
        result = json.loads(line)
        if digests.get(result["file"]) == result["digest"]:
            results[result["file"], result["before"], result["after"]] = result
    return results


def table(results, listed):
    """Lines: per component what was tried, noticed and survived, what is listed and what did not compile."""
    counts = defaultdict(Counter)
    for result in results:
        counts[component_of(result["file"])][result["outcome"]] += 1
    for file, *_ in listed:
        counts[component_of(file)]["listed"] += 1
    rows = [("component", *COLUMNS)]
    for name, count in [*sorted(counts.items()), ("all", sum(counts.values(), Counter()))]:
        tried = count["noticed"] + count["survived"]
        # Rounded down, so that 95 % means it.
        share = f"{count['noticed'] * 1000 // tried / 10:.1f} %" if tried else "-"
        rows.append((name, tried, count["noticed"], count["survived"], share, count["listed"], count["broken"]))
    return ["  ".join([f"{row[0]:16}", *(f"{cell:>{len(head)}}" for cell, head in zip(row[1:], COLUMNS))]) for row in rows]


def survivors(results):
    return [f"{result['file']}:{result['line']}: {result['kind']}\n  - {result['before']}\n  + {result['after']}"
            for result in sorted(results, key=lambda result: (result["file"], result["line"]))
            if result["outcome"] == "survived"]


# ---- the run

def campaign(changes, digests, jobs, quick):
    """Tries the changes in as many copies of the tree as there are jobs. The results, and what ended the run early."""
    results, problems = [], []
    lock = threading.Lock()
    waiting = iter(changes)

    def work(number):
        space = Workspace(ROOT, FOLDER / str(number), say)
        try:
            space.copy_tree()
            while True:
                with lock:
                    change = next(waiting, None)
                if change is None:
                    return
                started = time.monotonic()
                outcome, by = space.try_change(change, quick)
                with lock:
                    results.append({"file": change.file, "digest": digests[change.file], "kind": change.kind,
                                    "line": change.line, "before": change.before, "after": change.after,
                                    "outcome": outcome, "by": by})
                    with open(RESULTS, "a", encoding="utf-8") as file:
                        file.write(json.dumps(results[-1]) + "\n")
                    say(f"[{len(results)}/{len(changes)}] {outcome:8} {change.file}:{change.line} {change.kind}"
                        f" ({time.monotonic() - started:.0f} s) {by}")
        except (BaseFailure, KeyboardInterrupt) as error:
            problems.append(str(error) or "interrupted")
            stopped.set()
        finally:
            space.stop_wine()

    threads = [threading.Thread(target=work, args=(number,)) for number in range(min(jobs, len(changes)))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return results, problems


def say(text):
    print(text, flush=True)


def main():
    arguments = parsed_arguments()
    names = project_files(suffixes=(".cpp", ".h"), under=("src/",))
    texts = {name: (ROOT / name).read_text(encoding="utf-8") for name in names}
    digests = {name: digest_of(text) for name, text in texts.items()}
    for word in arguments.files:
        if not any(is_wanted(name, [word]) for name in names):
            sys.exit(f"mutate: no source is named {word}")
    changes = all_changes(texts)
    known = {change.key for change in changes}
    try:
        listed = read_list(EQUIVALENTS.read_text(encoding="utf-8"))
    except ValueError as error:
        sys.exit(f"mutate: {EQUIVALENTS.name}: {error}")
    for entry in listed:
        if entry not in known:
            say(f"mutate: {EQUIVALENTS.name}: warning: no such change any more: {entry[0]}: {entry[1]}")
    FOLDER.mkdir(parents=True, exist_ok=True)
    lock = open(FOLDER / ".lock", "w", encoding="ascii")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit("mutate: another run is at work in this tree")

    earlier = read_results(RESULTS, digests)
    wanted = [change for change in changes if is_wanted(change.file, arguments.files)]
    listed_here = [change.key for change in wanted if change.key in set(listed)]
    if arguments.listed:
        chosen = [change for change in wanted if change.key in listed_here]
    else:
        chosen = [change for change in wanted if change.key not in listed_here]
        if arguments.again:
            chosen = [change for change in chosen if earlier.get(change.key, {}).get("outcome") == "survived"]
        elif arguments.report:
            chosen = [change for change in chosen if change.key in earlier]
        else:
            if arguments.more:
                chosen = [change for change in chosen if change.key not in earlier]
            chosen = select(chosen, arguments.count, arguments.seed)

    problems = []
    if arguments.report:
        results = [earlier[change.key] for change in chosen]
    else:
        say(f"mutate: {len(chosen)} of {len(changes)} changes, seed {arguments.seed}")
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda *_: stopped.set())
        results, problems = campaign(chosen, digests, arguments.jobs, arguments.quick)
    for problem in problems:
        print(f"mutate: {problem}", file=sys.stderr)
    if arguments.listed:
        wrong = [result for result in results if result["outcome"] != "survived"]
        for result in wrong:
            say(f"listed, but {result['outcome']}: {result['file']}:{result['line']} {result['before']} ({result['by']})")
        return 1 if problems or wrong else 0
    found = survivors(results)
    if found:
        say("\nSurvived:\n" + "\n".join(found))
    say("\n" + "\n".join(table(results, listed_here)))
    return 1 if found or problems or not results else 0


if __name__ == "__main__":
    sys.exit(main())
