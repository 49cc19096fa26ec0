"""A copy of the tree below build/mutate, in which one change after the other is made, built and tested."""

import filecmp
import os
import re
import shutil
import signal
import subprocess
import threading
import time
from pathlib import Path
from typing import NamedTuple

from project_files import ROOT, project_files

# A run may take this many times what it took without a change, and these seconds more.
LIMIT_FACTOR = 5
LIMIT_EXTRA = 15
BUILD_LIMIT = 900
# For each program: bytes of memory of its own, bytes of a file that it writes.
MEMORY = 3 << 30
FILE_SIZE = 256 << 20

# Without optimisation and without warnings: what counts is how soon the test programs are there.
COMMON = ["-G", "Ninja", "-DKXTCP64_DEVELOPER_MODE=ON", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w",
          "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -DNDEBUG", "-DCMAKE_C_FLAGS=-w", "-Wno-dev"]
TREES = {
    "native": [*COMMON, "-DCMAKE_C_COMPILER=gcc", "-DCMAKE_CXX_COMPILER=g++"],
    "sanitize": [*COMMON, "-DCMAKE_C_COMPILER=clang", "-DCMAKE_CXX_COMPILER=clang++",
                 "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1", "-DKXTCP64_SANITIZE=address,undefined,float-cast-overflow"],
    "windows": [*COMMON, "-DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/mingw-w64-x86_64.cmake"],
}
SHARES = {"native": 1, "sanitize": 1, "windows": 4}  # of a test program, side by side

SUITE = re.compile(r"^TEST(?:_F|_P)?\((\w+),", re.MULTILINE)
PASSED = "[  PASSED  ]"  # the last words of a test program; one that Wine's debugger ends gives 0 as well
REASON = re.compile(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)|not so: (.*)|(?:SUMMARY|runtime error): (.*)|(Assertion '.*' failed)",
                    re.MULTILINE)


class BaseFailure(Exception):
    """The tree does not build, or its tests fail, before anything is changed."""


# ---- which programs cover a source

class Stage(NamedTuple):
    """One run of one test program. Its target builds what it loads, too."""

    tree: str
    program: str
    tests: str = "*"
    corpus: str = ""  # what the targets in fuzz/ replay


# Portable parts of which the unit tests do not see all: what is kept too long, and what helps when there is no memory.
THROUGH_THE_LIBRARY = {"src/browser/": Stage("windows", "kx_soak_tests", "ManyConversations.*"),
                       "src/api/memory_reserve.cpp": Stage("windows", "kx_failing_call_tests")}
CORPORA = {"json": ["json_parser", "requests", "response_checker"], "browser": ["response_checker"],
           "process": ["profiles_ini"], "api": ["options"]}
ONLY_IN_THE_DLL = ("exports", "runner_exports", "dll_main")
DLL_TESTS = ["kx_host_tests", "kx_scenario_tests", "kx_failing_call_tests"]


def suites_of(file, root=ROOT):
    """The suites of the test files that are named after the source: options_test.cpp, options_engine_test.cpp."""
    path = Path(file)
    folder = "win32" if "win32" in path.parts else "unit"
    files = Path(root, "tests", folder, path.parts[1]).glob(f"{path.stem}_*test.cpp")
    return sorted({suite for path in files for suite in SUITE.findall(path.read_text(encoding="utf-8"))})


def stages_for(file, root=ROOT):
    """The likeliest to notice a change first: the suites of the source's own test files, natively without sanitizers."""
    if "win32" in Path(file).parts:
        first = [] if Path(file).stem in ONLY_IN_THE_DLL else [Stage("windows", "kx_win32_tests")]
        stages = [*first, *(Stage("windows", program) for program in DLL_TESTS)]
    else:
        stages = [Stage("native", "kx_unit_tests"),
                  *(Stage("native", f"fuzz_{name}", corpus=name) for name in CORPORA.get(Path(file).parts[1], ())),
                  Stage("sanitize", "kx_unit_tests"),
                  *(stage for name, stage in THROUGH_THE_LIBRARY.items() if file.startswith(name))]
    if own := ":".join(f"{suite}.*:*/{suite}.*" for suite in suites_of(file, root)):
        stages[:1] = [stages[0]._replace(tests=own), stages[0]._replace(tests=f"-{own}")]
    return stages


# ---- programs that may hang, flood or fork: each in a session of its own, which ends as a whole

stopped = threading.Event()  # set by a signal: what runs is ended, and nothing more is started


class Ended(NamedTuple):
    status: int | None  # None: it ran out of time
    seconds: float
    log: Path  # of the program that failed


def kill_session(session):
    """Until nothing is left of it, for a process may start another one before it is ended itself."""
    found = True
    while found:
        found = False
        for entry in Path("/proc").glob("[0-9]*"):
            try:
                state, _, _, its_session, *_ = (entry / "stat").read_text(errors="replace").rsplit(")", 1)[1].split()
                if int(its_session) == session and state not in "ZX":
                    found = True
                    os.kill(int(entry.name), signal.SIGKILL)
            except (FileNotFoundError, ProcessLookupError):
                pass


def run_together(commands, logs, folder, limit, environments):
    """Until all have ended, one has failed or the time is over. What they have started and left behind ends with them."""
    started = time.monotonic()
    running, statuses, over = [], [], False
    try:
        for command, log, environment in zip(commands, logs, environments):
            # A program under the address sanitizer reserves far more than it uses, so it has to watch over that itself.
            memory = [] if "ASAN_OPTIONS" in environment else [f"--data={MEMORY}"]
            with open(log, "wb") as output:
                running.append(subprocess.Popen(
                    ["prlimit", *memory, f"--fsize={FILE_SIZE}", "--core=0", *command], stdin=subprocess.DEVNULL,
                    stdout=output, stderr=subprocess.STDOUT, cwd=folder, env=environment, start_new_session=True))
        while not over and not any(statuses) and (not statuses or None in statuses):
            time.sleep(0.02)
            statuses = [process.poll() for process in running]
            over = stopped.is_set() or time.monotonic() - started > limit
    finally:
        for process in running:
            kill_session(process.pid)
            process.wait()
    if stopped.is_set():
        raise KeyboardInterrupt
    failed = next((index for index, status in enumerate(statuses) if status), None)
    if failed is None:
        failed = statuses.index(None) if None in statuses else 0
    return Ended(statuses[failed], time.monotonic() - started, logs[failed])


class Workspace:
    def __init__(self, root, folder, say=lambda text: None):
        self.root = Path(root)
        self.folder = Path(folder)
        self.tree = self.folder / "tree"
        self.say = say
        self.limits = {}
        self.uses_wine = False
        self.environment = {name: value for name, value in os.environ.items() if not name.startswith(("GTEST_", "KORVEX_", "KX"))}
        self.environment |= {"TMPDIR": str(self.folder / "tmp"), "WINEPREFIX": str(self.folder / "wineprefix"),
                             "WINEDEBUG": "-all", "WINEARCH": "win64", "LC_ALL": "C.UTF-8",
                             "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d"}

    def copy_tree(self):
        """Only files that differ are written, so that only they are built again."""
        wanted = set(project_files(self.root))
        for name in sorted(wanted):
            source, target = self.root / name, self.tree / name
            if not target.is_file() or not filecmp.cmp(source, target, shallow=False):
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
        for path in self.tree.rglob("*"):
            if path.is_file() and path.relative_to(self.tree).as_posix() not in wanted:
                path.unlink()
        (self.folder / "logs").mkdir(parents=True, exist_ok=True)
        self.empty_temporary_folder()

    def empty_temporary_folder(self):
        shutil.rmtree(self.folder / "tmp", ignore_errors=True)
        (self.folder / "tmp").mkdir(parents=True, exist_ok=True)

    def wine(self, *arguments):
        command = [self.tree / "cmake/toolchains/run_with_wine", self.folder / "wineprefix", *arguments]
        return list(map(str, command))

    def restart_wine(self):
        self.stop_wine()
        self.uses_wine = True
        for command in (self.wine("cmd", "/c", "exit"), ["wineserver", "-p"]):
            self.run_quietly(command)

    def stop_wine(self):
        """Ends every Windows program of this copy. They are no children of the program that started them."""
        if self.uses_wine:
            self.run_quietly(["wineserver", "-k"])

    def run_quietly(self, command):
        """No pipe: the server that stays would hold it open, and whoever reads it would wait for its end."""
        subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)

    def build(self, tree, program, jobs, environment):
        build, log = self.folder / tree, self.folder / f"logs/build-{tree}.log"
        if not (build / "build.ninja").exists():
            configure = ["cmake", "-S", str(self.tree), "-B", str(build), *TREES[tree]]
            if run_together([configure], [log], self.tree, BUILD_LIMIT, [environment]).status != 0:
                raise BaseFailure(f"cannot configure: {log}")
        command = ["cmake", "--build", str(build), "-j", str(jobs), "--target", program]
        return run_together([command], [log], self.tree, BUILD_LIMIT, [environment]).status == 0

    def command(self, stage):
        program = self.folder / stage.tree / "bin" / stage.program
        if stage.corpus:
            return [str(program), str(self.tree / "fuzz/corpus" / stage.corpus)]
        command = self.wine(f"{program}.exe") if stage.tree == "windows" else [str(program)]
        return [*command, "--gtest_fail_fast", "--gtest_brief=1", f"--gtest_filter={stage.tests}"]

    def test(self, stage, limit):
        """How the program ended, and why it failed; None when nothing has failed."""
        count = SHARES[stage.tree]
        logs = [self.folder / f"logs/{stage.program}.{share}.log" for share in range(count)]
        sanitizer = {"ASAN_OPTIONS": f"hard_rss_limit_mb={MEMORY >> 20}"} if stage.tree == "sanitize" else {}
        environments = [{**self.environment, **sanitizer, "GTEST_TOTAL_SHARDS": str(count), "GTEST_SHARD_INDEX": str(share)}
                        for share in range(count)]
        folder = self.folder / stage.tree
        status, seconds, log = run_together([self.command(stage)] * count, logs, folder, limit, environments)
        self.empty_temporary_folder()
        outputs = {log: log.read_text(encoding="utf-8", errors="replace") for log in logs}
        if status == 0 and (stage.corpus or all(PASSED in output for output in outputs.values())):
            return seconds, None
        if stage.tree == "windows":
            self.restart_wine()
        if status is None:
            return seconds, "time-out"
        named = REASON.search(outputs[log])
        return seconds, named.group(named.lastindex) if named else f"ended with {status}"

    def measure(self, stage):
        """Builds and runs a whole program once without a change. That gives its time limit."""
        if stage.tree == "windows" and not self.uses_wine:
            self.restart_wine()
        if not self.build(stage.tree, stage.program, os.cpu_count(), self.environment):
            raise BaseFailure(f"{stage.program} does not build: {self.folder}/logs/build-{stage.tree}.log")
        whole = stage if stage.program == "kx_soak_tests" else stage._replace(tests="*")
        seconds, reason = self.test(whole, 900)
        if reason:
            raise BaseFailure(f"{stage.program} fails without a change ({reason}): {self.folder}/logs")
        self.limits[stage.tree, stage.program] = LIMIT_FACTOR * seconds + LIMIT_EXTRA
        self.say(f"    without a change, {stage.program} ({stage.tree}) takes {seconds:.1f} s")

    def try_change(self, change, quick=False):
        """What becomes of the change, noticed, survived or broken (it did not compile), and what has noticed it."""
        stages = stages_for(change.file, self.root)
        path = self.tree / change.file
        original = path.read_bytes()
        changed = change.applied_to(original.decode("utf-8")).encode("utf-8")
        # A compiler cache takes a file's name for its content while it compiles, and changed files soon change back.
        environment = self.environment | {"CCACHE_DISABLE": "1"}
        try:
            for stage in stages:
                if quick and stage[:2] != stages[0][:2]:
                    break
                if stage[:2] not in self.limits:
                    path.write_bytes(original)
                    self.measure(stage)
                if path.read_bytes() != changed:
                    path.write_bytes(changed)
                if not self.build(stage.tree, stage.program, 1, environment):
                    return "broken", ""
                _, reason = self.test(stage, self.limits[stage[:2]])
                if reason and stage.tree == "windows" and reason.startswith(("time-out", "ended with")):
                    # What an earlier program has left in the prefix can do that too.
                    path.write_bytes(original)
                    self.measure(stage)
                if reason:
                    return "noticed", f"{stage.program}: {reason}"
            return "survived", ""
        finally:
            path.write_bytes(original)
