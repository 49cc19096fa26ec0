"""Which test programs cover a source, in the order in which they are tried: the likeliest to notice a change first."""

import re
from dataclasses import dataclass, replace
from pathlib import PurePosixPath

from mutation.selection import component_of, is_windows
from project_files import ROOT

SUITE = re.compile(r"^TEST(?:_F|_P)?\((\w+),", re.MULTILINE)


@dataclass(frozen=True)
class Stage:
    """One run of one test program. It is built first, with what it loads."""

    tree: str  # native, sanitize or windows
    program: str
    filter: str = ""
    shards: int = 1
    loads: tuple = ()
    arguments: tuple = ()

    @property
    def whole(self):
        """The same program with all its tests: what is measured without a change."""
        return replace(self, filter="")

    @property
    def targets(self):
        return (self.program, *self.loads)

    @property
    def name(self):
        return f"{self.program} {self.filter}".strip()


UNIT = "kx_unit_tests"

# The targets in fuzz/ replay their stored inputs.
CORPORA = {
    "json": ("json_parser", "requests", "response_checker"),
    "browser": ("response_checker",),
    "process": ("profiles_ini",),
    "api": ("options",),
}

LIKELY_FIRST = {
    "common/win32": ("Platform*", "Unique*", "LocalMemory*", "Utf16*", "LastError*"),
    "process/win32/browser_launch": ("BrowserLaunch*", "DefaultBrowserPath*"),
    "process/win32/browser_shutdown": ("ExitAndWait*", "*/ExitAndWait*", "ExitRequest*"),
    "process/win32/profile_store": ("FirefoxProfile*",),
    "process/win32/start_lock": ("StartLock*", "MutexOwnership*"),
    "pipe/win32/pipe": ("PipeA*", "PipeC*", "PipeH*", "PipeO*", "PipeR*", "PipeW*", "Pending*", "*/PipeO*", "*/PipeR*",
                        "*/PipeT*", "*/PipeH*"),
    "pipe/win32/pipe_browser_instance": ("PipeBrowser*", "*/PipeBrowser*"),
    "pipe/win32/pipe_security": ("PipeCreate*",),
    "api/win32/call_frame": ("CallFrame*",),
    "api/win32/context_registry": ("ContextRegistry*", "ErrorOfAContext*", "InstanceStart*"),
}

WIN32 = Stage("windows", "kx_win32_tests", shards=2)
# Through the DLL, and with the simulator.
LIBRARY = ("KXTCP64",)
HOST = Stage("windows", "kx_host_tests", shards=4, loads=(*LIBRARY, "kx_host_partner"))
SCENARIO = Stage("windows", "kx_scenario_tests", shards=6, loads=(*LIBRARY, "kxsim"))
FAULT = Stage("windows", "kx_fault_tests", shards=6, loads=(*LIBRARY, "kxsim"))
WALKS = Stage("windows", "kx_failing_call_tests", shards=4, loads=LIBRARY)
SOAK = Stage("windows", "kx_soak_tests", filter="ManyConversations.*", loads=(*LIBRARY, "kxsim"))

# Portable parts of which the unit tests do not see all: what is kept too long, and what helps when there is no memory.
THROUGH_THE_LIBRARY = {"browser": (SOAK,), "src/api/memory_reserve.cpp": (WALKS,)}


def unit_suites(file, root=ROOT):
    """The suites of the unit test files that are named after the source: options_test.cpp, options_engine_test.cpp."""
    folder = root / "tests/unit" / component_of(file)
    stem = PurePosixPath(file).stem
    suites = set()
    for path in sorted(folder.glob(f"{stem}_*test.cpp")):
        suites.update(SUITE.findall(path.read_text(encoding="utf-8")))
    return sorted(suites)


def likely_and_rest(stage, patterns):
    """Two stages of one program: the tests that match come first."""
    joined = ":".join(patterns)
    return (replace(stage, filter=joined), replace(stage, filter=f"-{joined}"))


def portable_stages(file):
    patterns = [pattern for suite in unit_suites(file) for pattern in (f"{suite}.*", f"*/{suite}.*")]
    unit = Stage("native", UNIT)
    # Reading or writing out of bounds is often noticed by nothing else.
    sanitized = Stage("sanitize", UNIT)
    corpora = tuple(Stage("native", f"fuzz_{name}", arguments=(f"fuzz/corpus/{name}",))
                    for name in CORPORA.get(component_of(file), ()))
    through_the_library = THROUGH_THE_LIBRARY.get(component_of(file), THROUGH_THE_LIBRARY.get(file, ()))
    return (*(likely_and_rest(unit, patterns) if patterns else (unit,)), *corpora, sanitized, *through_the_library)


def windows_stages(file):
    stem = file.removeprefix("src/").rsplit(".", 1)[0]
    if stem in ("api/win32/exports", "api/win32/runner_exports", "api/win32/dll_main"):
        return (HOST, SCENARIO, FAULT, WALKS)  # only the DLL holds these
    patterns = LIKELY_FIRST.get(stem) or LIKELY_FIRST.get(component_of(file)) or ()
    return (*(likely_and_rest(WIN32, patterns) if patterns else (WIN32,)), HOST, SCENARIO, FAULT, WALKS)


def stages_for(file):
    return windows_stages(file) if is_windows(file) else portable_stages(file)
