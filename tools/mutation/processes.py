"""Runs programs that may hang, flood or fork: each in a session of its own, which ends as a whole."""

import os
import signal
import subprocess
import threading
import time
from dataclasses import dataclass
from pathlib import Path

# For each program: bytes of memory of its own, bytes of a file that it writes.
MEMORY = 3 << 30
FILE_SIZE = 256 << 20

# A program under the address sanitizer reserves far more than it uses, so it has to watch over that itself.
SANITIZED = {"ASAN_OPTIONS": f"hard_rss_limit_mb={MEMORY >> 20}"}

_running = set()
# A second signal may come while the first one is being dealt with, in the same thread.
_lock = threading.RLock()
_stopped = False


@dataclass(frozen=True)
class Ended:
    status: int  # negative: the signal
    timed_out: bool
    stopped: bool
    seconds: float
    came_to_its_end: bool = True

    @property
    def succeeded(self):
        return self.status == 0 and not self.timed_out and not self.stopped and self.came_to_its_end


def members(session):
    """The processes of a session. Ninja gives each compiler a process group of its own, but no session."""
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                fields = (entry / "stat").read_text(encoding="utf-8", errors="replace").rsplit(")", 1)[1].split()
            except OSError:
                continue
            if int(fields[3]) == session and fields[0] not in "ZX":
                yield int(entry.name)


def kill_session(process):
    """Until nothing is left of it, for a process may start another one before it is ended itself."""
    while found := list(members(process.pid)):
        for number in found:
            try:
                os.kill(number, signal.SIGKILL)
            except ProcessLookupError:
                pass


def stop_everything():
    """Ends what runs, and lets nothing more start."""
    global _stopped
    with _lock:
        _stopped = True
        for process in _running:
            kill_session(process)


def is_stopped():
    return _stopped


class Running:
    def __init__(self, command, log, folder, environment=None):
        is_sanitized = SANITIZED.items() <= (environment or {}).items()
        memory = [] if is_sanitized else [f"--data={MEMORY}"]
        limits = ["prlimit", *memory, f"--fsize={FILE_SIZE}", "--core=0"]
        self.started = time.monotonic()
        self.stopped = False
        with _lock:
            if _stopped:
                raise KeyboardInterrupt
            with open(log, "wb") as output:
                self.process = subprocess.Popen([*limits, *command], stdin=subprocess.DEVNULL, stdout=output,
                                                stderr=subprocess.STDOUT, cwd=folder, env=environment,
                                                start_new_session=True)
            _running.add(self.process)

    def wait(self, limit):
        """Until the program ends, limit seconds at most. What it started and left behind ends with it."""
        timed_out = False
        try:
            self.process.wait(limit)
        except subprocess.TimeoutExpired:
            timed_out = True
        with _lock:
            kill_session(self.process)
            _running.discard(self.process)
        status = self.process.wait()
        return Ended(status, timed_out, self.stopped, time.monotonic() - self.started)

    def stop(self):
        self.stopped = True
        kill_session(self.process)


def run(command, log, folder, limit, environment=None):
    return Running(command, log, folder, environment).wait(limit)


def run_together(commands, logs, folder, limit, environments):
    """Several at once; as soon as one fails the others are stopped. The result is the first failure, or the longest run."""
    running = [Running(*each) for each in zip(commands, logs, [folder] * len(commands), environments)]
    results = [None] * len(running)
    changed = threading.Condition()

    def wait_for(index):
        result = running[index].wait(limit)
        with changed:
            results[index] = result
            changed.notify()

    threads = [threading.Thread(target=wait_for, args=(index,)) for index in range(len(running))]
    for thread in threads:
        thread.start()
    failed = None
    with changed:
        while any(result is None for result in results):
            changed.wait()
            if failed is None:
                failed = next((i for i, result in enumerate(results) if result and not result.succeeded), None)
                if failed is not None:
                    for other in running:
                        if other is not running[failed]:
                            other.stop()
    for thread in threads:
        thread.join()
    if failed is None:
        failed = next((i for i, result in enumerate(results) if not result.succeeded), None)
    if failed is not None:
        return failed, results[failed]
    longest = max(range(len(results)), key=lambda index: results[index].seconds)
    return longest, results[longest]
