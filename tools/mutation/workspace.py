"""A copy of the tree below build/mutate, in which one change after the other is made, built and tested."""

import os
import re
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

from mutation import processes
from mutation.plan import stages_for
from project_files import project_files

# A run may take this many times what it took without a change, and these seconds more.
LIMIT_FACTOR = 5
LIMIT_EXTRA = 15
BUILD_LIMIT = 900

# Without optimisation and without warnings: what counts is how soon the test programs are there.
COMMON = ["-G", "Ninja", "-DKXTCP64_DEVELOPER_MODE=ON", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w",
          "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -DNDEBUG", "-DCMAKE_C_FLAGS=-w", "-Wno-dev"]
TREES = {
    "native": [*COMMON, "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++"],
    "windows": [*COMMON, "-DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/mingw-w64-x86_64.cmake"],
}

FAILED_TEST = re.compile(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", re.MULTILINE)
BROKEN_PROPERTY = re.compile(r"not so: (.*)")


class BaseFailure(Exception):
    """The tree does not build, or its tests fail, before anything is changed."""


@dataclass(frozen=True)
class Outcome:
    word: str  # noticed, survived, broken (did not compile)
    by: str = ""


class Workspace:
    def __init__(self, root, folder):
        self.root = Path(root)
        self.folder = Path(folder)
        self.tree = self.folder / "tree"
        self.prefix = self.folder / "wineprefix"
        self.limits = {}
        self.uses_wine = False
        self.environment = {name: value for name, value in os.environ.items()
                            if not name.startswith(("GTEST_", "KORVEX_", "KX"))}
        self.environment |= {"TMPDIR": str(self.folder / "tmp"), "WINEPREFIX": str(self.prefix), "WINEDEBUG": "-all",
                             "WINEARCH": "win64", "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d",
                             "LC_ALL": "C.UTF-8"}

    # ---- the copy

    def copy_tree(self):
        """Only files that differ are written, so that only they are built again."""
        wanted = set(project_files(self.root))
        for name in sorted(wanted):
            source, target = self.root / name, self.tree / name
            content = source.read_bytes()
            if not target.is_file() or target.read_bytes() != content:
                target.parent.mkdir(parents=True, exist_ok=True)
                target.write_bytes(content)
                shutil.copymode(source, target)
        for path in sorted(self.tree.rglob("*"), reverse=True):
            if path.is_file() and path.relative_to(self.tree).as_posix() not in wanted:
                path.unlink()
        (self.folder / "logs").mkdir(parents=True, exist_ok=True)
        self.empty_temporary_folder()

    def empty_temporary_folder(self):
        shutil.rmtree(self.folder / "tmp", ignore_errors=True)
        (self.folder / "tmp").mkdir(parents=True, exist_ok=True)

    # ---- Wine

    def start_wine(self):
        self.uses_wine = True
        start = str(self.tree / "cmake/toolchains/run_with_wine")
        for command in (["wineserver", "-k"], [start, str(self.prefix), "cmd", "/c", "exit"], ["wineserver", "-p"]):
            subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, check=False, timeout=300)

    def stop_wine(self):
        """Ends every Windows program of this copy. They are no children of the program that started them."""
        if self.uses_wine:
            subprocess.run(["wineserver", "-k"], env=self.environment, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False, timeout=60)

    # ---- builds and tests

    def build(self, tree, targets, jobs):
        build = self.folder / tree
        log = self.folder / "logs" / f"build-{tree}.log"
        if not (build / "build.ninja").exists():
            configure = ["cmake", "-S", str(self.tree), "-B", str(build), *TREES[tree]]
            if not processes.run(configure, log, self.tree, BUILD_LIMIT, self.environment).succeeded:
                raise BaseFailure(f"cannot configure: {log}")
        command = ["cmake", "--build", str(build), "-j", str(jobs), "--target", *targets]
        return processes.run(command, log, self.tree, BUILD_LIMIT, self.environment).succeeded

    def command(self, stage):
        program = self.folder / stage.tree / "bin" / stage.program
        command = [str(program)]
        if stage.tree == "windows":
            command = [str(self.tree / "cmake/toolchains/run_with_wine"), str(self.prefix), f"{program}.exe"]
        if stage.arguments:
            return [*command, *(str(self.tree / argument) for argument in stage.arguments)]
        return [*command, "--gtest_fail_fast", "--gtest_brief=1", f"--gtest_filter={stage.filter or '*'}"]

    def test(self, stage, limit):
        """Result of the stage's slowest or failed share, and its output."""
        logs = [self.folder / "logs" / f"{stage.program}.{shard}.log" for shard in range(stage.shards)]
        environments = [self.environment | {"GTEST_TOTAL_SHARDS": str(stage.shards), "GTEST_SHARD_INDEX": str(shard)}
                        for shard in range(stage.shards)]
        shard, ended = processes.run_together([self.command(stage)] * stage.shards, logs, self.folder / stage.tree,
                                              limit, environments)
        output = logs[shard].read_bytes().decode("utf-8", "replace")
        if not ended.succeeded and stage.tree == "windows":
            self.stop_wine()
            self.start_wine()
        self.empty_temporary_folder()
        return ended, output

    def measure(self, stages, say):
        """Builds and runs everything once without a change. That gives the time limits."""
        for stage in stages:
            if stage.tree == "windows" and not self.uses_wine:
                self.start_wine()
            if not self.build(stage.tree, stage.targets, os.cpu_count()):
                raise BaseFailure(f"{stage.program} does not build: {self.folder}/logs/build-{stage.tree}.log")
            ended, output = self.test(stage, 900)
            if not ended.succeeded:
                raise BaseFailure(f"{stage.name} fails without a change:\n{output[-2000:]}")
            self.limits[stage] = LIMIT_FACTOR * ended.seconds + LIMIT_EXTRA
            say(f"{stage.name}: {ended.seconds:.1f} s")

    def try_change(self, change):
        path = self.tree / change.file
        original = path.read_bytes()
        text = original.decode("utf-8")
        try:
            path.write_text(change.applied_to(text), encoding="utf-8", newline="")
            return self.first_notice(stages_for(change.file))
        finally:
            path.write_bytes(original)

    def first_notice(self, stages):
        for stage in stages:
            if not self.build(stage.tree, stage.targets, 1):
                return Outcome("broken")
            ended, output = self.test(stage, self.limits[stage])
            if ended.succeeded:
                continue
            if ended.timed_out:
                return Outcome("noticed", f"{stage.program}: time-out after {ended.seconds:.0f} s")
            failed = FAILED_TEST.search(output) or BROKEN_PROPERTY.search(output)
            return Outcome("noticed", f"{stage.program}: {failed.group(1) if failed else f'ended with {ended.status}'}")
        return Outcome("survived")
