#!/usr/bin/env python3
"""Makes small changes to the sources, one at a time, and sees whether the tests notice.

Each change is built in a copy of the tree below build/mutate and tested with the programs that cover its file, until
one fails. What no test notices has survived: either a test is missing, or the change makes no difference. The latter
belongs into tools/mutate_equivalents.txt, with the reason. The same seed selects the same changes.
"""

import argparse
import fcntl
import itertools
import signal
import sys
import threading
import time
from pathlib import Path

from mutation import processes
from mutation.equivalents import ListError, read_list, stale_entries
from mutation.results import append_result, read_results, result_of, survivors, table
from mutation.selection import SOURCES, all_changes, is_wanted, select
from mutation.workspace import BaseFailure, Workspace
from project_files import ROOT, project_files

FOLDER = ROOT / "build/mutate"
RESULTS = FOLDER / "results.jsonl"
EQUIVALENTS = Path(__file__).resolve().parent / "mutate_equivalents.txt"
COUNT = 500

_output = threading.Lock()


def say(text):
    with _output:
        print(text, flush=True)


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
    arguments.count = next((int(word) for word in arguments.what if word.isdigit()), COUNT)
    arguments.files = [word.rstrip("/") for word in arguments.what if not word.isdigit()]
    return arguments


def selected(arguments, changes, listed, texts):
    earlier = read_results(RESULTS, texts)
    known = {result.place: result for result in earlier.values()}

    def outcome(change):
        result = known.get(change.place)
        return result.outcome if result else ""

    wanted = [change for change in changes if is_wanted(change.file, arguments.files)]
    if arguments.listed:
        return [change for change in wanted if change.key in listed]
    wanted = [change for change in wanted if change.key not in listed]
    if arguments.again:
        return [change for change in wanted if outcome(change) == "survived"]
    if arguments.more:
        wanted = [change for change in wanted if not outcome(change)]
    return select(wanted, arguments.count, arguments.seed)


_locks = []


def free_folders(count):
    """Folders below build/mutate that no other run uses, held until the process ends."""
    found = []
    for number in itertools.count():
        if len(found) == count:
            return found
        folder = FOLDER / str(number)
        folder.mkdir(parents=True, exist_ok=True)
        lock = open(folder / ".lock", "w", encoding="ascii")
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            lock.close()
            continue
        _locks.append(lock)
        found.append(folder)


def campaign(changes, texts, jobs, quick):
    """Tries the changes in as many copies of the tree as there are jobs. The results, in the order of their end."""
    spaces = [Workspace(ROOT, folder, say) for folder in free_folders(min(jobs, len(changes)))]
    results, problems = [], []
    lock = threading.Lock()
    # A file's changes follow each other in one copy, which builds least that way.
    queues = [changes[len(changes) * n // len(spaces) : len(changes) * (n + 1) // len(spaces)]
              for n in range(len(spaces))]

    def next_change(number):
        with lock:
            if queues[number]:
                return queues[number].pop(0)
            fullest = max(queues, key=len)
            return fullest.pop() if fullest else None

    def work(number):
        space = spaces[number]
        try:
            space.copy_tree()
            while (change := next_change(number)) is not None:
                started = time.monotonic()
                outcome = space.try_change(change, quick)
                if processes.is_stopped():
                    break
                result = result_of(change, texts[change.file], outcome)
                with lock:
                    results.append(result)
                    append_result(RESULTS, result)
                    done = len(results)
                say(f"[{done}/{len(changes)}] {outcome.word:8} {change.file}:{change.line} {change.kind}"
                    f" ({time.monotonic() - started:.0f} s) {outcome.by}")
        except (BaseFailure, KeyboardInterrupt) as error:
            problems.append(str(error))
            processes.stop_everything()
        finally:
            space.stop_wine()

    threads = [threading.Thread(target=work, args=(number,)) for number in range(len(spaces))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return results, [problem for problem in problems if problem]


def main():
    arguments = parsed_arguments()
    names = project_files(suffixes=SOURCES, under=("src/",))
    texts = {name: (ROOT / name).read_text(encoding="utf-8") for name in names}
    for word in arguments.files:
        if not any(is_wanted(name, [word]) for name in names):
            sys.exit(f"mutate: no source is named {word}")
    changes = all_changes(texts)
    try:
        entries = read_list(EQUIVALENTS.read_text(encoding="utf-8"))
    except ListError as error:
        sys.exit(f"mutate: {EQUIVALENTS.name}: {error}")
    for problem in stale_entries(entries, changes):
        say(f"mutate: {EQUIVALENTS.name}: warning: {problem}")
    listed = {entry.key for entry in entries}
    listed_here = [change.key for change in changes if change.key in listed and is_wanted(change.file, arguments.files)]

    FOLDER.mkdir(parents=True, exist_ok=True)
    problems = []
    if arguments.report:
        places = {change.place for change in changes
                  if change.key not in listed and is_wanted(change.file, arguments.files)}
        results = [result for result in read_results(RESULTS, texts).values() if result.place in places]
    else:
        chosen = selected(arguments, changes, listed, texts)
        say(f"mutate: {len(chosen)} of {len(changes)} changes, seed {arguments.seed}")
        for number in (signal.SIGINT, signal.SIGTERM):
            signal.signal(number, lambda *_: processes.stop_everything())
        results, problems = campaign(chosen, texts, arguments.jobs, arguments.quick) if chosen else ([], [])
    if arguments.listed:
        for result in results:
            if result.outcome != "survived":
                say(f"listed, but {result.outcome}: {result.file}:{result.line} {result.before} ({result.by})")
        return 1 if problems or any(result.outcome != "survived" for result in results) else 0
    if found := survivors(results):
        say("\nSurvived:\n" + "\n".join(found))
    say("\n" + "\n".join(table(results, listed_here)))
    for problem in problems:
        print(f"mutate: {problem}", file=sys.stderr)
    return 1 if found or problems or not results else 0


if __name__ == "__main__":
    sys.exit(main())
