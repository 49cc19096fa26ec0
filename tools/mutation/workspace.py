"""A copy of the tree below build/mutate, in which one change after the other is made, built and tested."""

import os
import re
import shutil
import subprocess
from dataclasses import dataclass, replace
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
    "sanitize": [*COMMON, "-DCMAKE_C_COMPILER=clang", "-DCMAKE_CXX_COMPILER=clang++",
                 "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1", "-DKXTCP64_SANITIZE=address,undefined,float-cast-overflow"],
    "windows": [*COMMON, "-DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/mingw-w64-x86_64.cmake"],
}

# The last words of a test program. One that Wine's debugger ends gives 0 as well.
PASSED = "[  PASSED  ]"
FAILED_TEST = re.compile(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", re.MULTILINE)
SANITIZER = re.compile(r"(?:SUMMARY: |runtime error: )(.*)|(Assertion '.*' failed)")
BROKEN_PROPERTY = re.compile(r"not so: (.*)")


class BaseFailure(Exception):
    """The tree does not build, or its tests fail, before anything is changed."""


@dataclass(frozen=True)
class Outcome:
    word: str  # noticed, survived, broken (did not compile)
    by: str = ""
    names_test: bool = True  # false when the program was ended, or ended itself, before it could say what failed


class Workspace:
    def __init__(self, root, folder, say=lambda text: None):
        self.say = say
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

    def build(self, tree, targets, jobs, cached=True):
        build = self.folder / tree
        log = self.folder / "logs" / f"build-{tree}.log"
        if not (build / "build.ninja").exists():
            configure = ["cmake", "-S", str(self.tree), "-B", str(build), *TREES[tree]]
            if not processes.run(configure, log, self.tree, BUILD_LIMIT, self.environment).succeeded:
                raise BaseFailure(f"cannot configure: {log}")
        command = ["cmake", "--build", str(build), "-j", str(jobs), "--target", *targets]
        # A compiler cache takes a file's name for its content while it compiles, and changed files soon change back.
        environment = self.environment if cached else self.environment | {"CCACHE_DISABLE": "1"}
        return processes.run(command, log, self.tree, BUILD_LIMIT, environment).succeeded

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
        common = self.environment | (processes.SANITIZED if stage.tree == "sanitize" else {})
        environments = [common | {"GTEST_TOTAL_SHARDS": str(stage.shards), "GTEST_SHARD_INDEX": str(shard)}
                        for shard in range(stage.shards)]
        shard, ended = processes.run_together([self.command(stage)] * stage.shards, logs, self.folder / stage.tree,
                                              limit, environments)
        outputs = [log.read_bytes().decode("utf-8", "replace") for log in logs]
        cut_short = next((number for number, output in enumerate(outputs) if PASSED not in output), None)
        if ended.succeeded and not stage.arguments and cut_short is not None:
            shard, ended = cut_short, replace(ended, came_to_its_end=False)
        output = outputs[shard]
        if not ended.succeeded and stage.tree == "windows":
            self.stop_wine()
            self.start_wine()
        self.empty_temporary_folder()
        return ended, output

    def measure(self, stage):
        """Builds and runs a program once without a change. That gives its time limit."""
        if stage.tree == "windows" and not self.uses_wine:
            self.start_wine()
        if not self.build(stage.tree, stage.targets, os.cpu_count()):
            raise BaseFailure(f"{stage.program} does not build: {self.folder}/logs/build-{stage.tree}.log")
        ended, output = self.test(stage, 900)
        if not ended.succeeded:
            raise BaseFailure(f"{stage.program} fails without a change:\n{output[-2000:]}")
        self.limits[stage] = LIMIT_FACTOR * ended.seconds + LIMIT_EXTRA
        self.say(f"    without a change, {stage.program} ({stage.tree}) takes {ended.seconds:.1f} s")

    def try_change(self, change, quick=False):
        """What becomes of the change. Each program is measured when it is needed for the first time."""
        stages = stages_for(change.file)
        if quick:
            stages = [stage for stage in stages if stage.whole == stages[0].whole]
        path = self.tree / change.file
        original = path.read_bytes()
        changed = change.applied_to(original.decode("utf-8")).encode("utf-8")
        try:
            for stage in stages:
                if stage.whole not in self.limits:
                    path.write_bytes(original)
                    self.measure(stage.whole)
                if path.read_bytes() != changed:
                    path.write_bytes(changed)
                if outcome := self.notice(stage):
                    if stage.tree == "windows" and not outcome.names_test:
                        # What an earlier program has left in the prefix can do that too.
                        path.write_bytes(original)
                        self.measure(stage.whole)
                    return outcome
            return Outcome("survived")
        finally:
            path.write_bytes(original)

    def notice(self, stage):
        """None when the stage notices nothing."""
        if not self.build(stage.tree, stage.targets, 1, cached=False):
            return Outcome("broken")
        ended, output = self.test(stage, self.limits[stage.whole])
        if ended.succeeded:
            return None
        if ended.timed_out:
            return Outcome("noticed", f"{stage.program}: time-out after {ended.seconds:.0f} s", False)
        failed = FAILED_TEST.search(output) or BROKEN_PROPERTY.search(output) or SANITIZER.search(output)
        if not failed:
            how = f"ended with {ended.status}" if ended.came_to_its_end else "did not come to its end"
            return Outcome("noticed", f"{stage.program}: {how}", False)
        return Outcome("noticed", f"{stage.program}: {failed.group(failed.lastindex)}")
