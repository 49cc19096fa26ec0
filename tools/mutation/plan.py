"""Which test programs cover a source, in the order in which they are tried: the likeliest to notice a change first."""

from dataclasses import dataclass

from mutation.selection import component_of, is_windows


@dataclass(frozen=True)
class Stage:
    """One run of one test program. It is built first, with what it loads."""

    tree: str  # native or windows
    program: str
    filter: str = ""
    shards: int = 1
    loads: tuple = ()
    arguments: tuple = ()

    @property
    def targets(self):
        return (self.program, *self.loads)

    @property
    def name(self):
        return f"{self.program} {self.filter}".strip()


UNIT = Stage("native", "kx_unit_tests")

# The targets in fuzz/ replay their stored inputs.
CORPORA = {
    "json": ("json_reader", "json_round_trip", "response_checker"),
    "browser": ("response_checker",),
    "process": ("profiles_ini",),
    "api": ("options",),
}

WIN32 = "kx_win32_tests"
LIKELY_FIRST = {
    "common/win32": "Platform*:Unique*:LocalMemory*:Utf16*:LastError*:Log*",
    "process/win32/browser_launch": "BrowserLaunch*:DefaultBrowserPath*",
    "process/win32/browser_shutdown": "ExitAndWait*:ExitRequest*",
    "process/win32/profile_store": "FirefoxProfile*",
    "process/win32/start_lock": "StartLock*:MutexOwnership*",
    "pipe/win32/pipe": "Pipe*:Pending*:*/Pipe*-PipeBrowser*:*/PipeBrowser*",
    "pipe/win32/pipe_browser_instance": "PipeBrowser*:*/PipeBrowser*",
    "pipe/win32/pipe_security": "PipeCreate*",
    "api/win32/call_frame": "CallFrame*",
    "api/win32/context_registry": "ContextRegistry*:ErrorOfAContext*:InstanceStart*",
}
# What the unit tests cannot see because only the DLL does it.
LIBRARY = ("KXTCP64",)
HOST = Stage("windows", "kx_host_tests", shards=4, loads=(*LIBRARY, "kx_host_partner"))
SCENARIO = Stage("windows", "kx_scenario_tests", shards=6, loads=(*LIBRARY, "kxsim"))
FAULT = Stage("windows", "kx_fault_tests", shards=6, loads=(*LIBRARY, "kxsim"))


def stages_for(file):
    component = component_of(file)
    if not is_windows(file):
        corpora = tuple(
            Stage("native", f"fuzz_{name}", arguments=(f"fuzz/corpus/{name}",)) for name in CORPORA.get(component, ())
        )
        return (UNIT, *corpora)
    stem = file.removeprefix("src/").rsplit(".", 1)[0]
    likely = LIKELY_FIRST.get(stem) or LIKELY_FIRST.get(component)
    in_the_library_only = stem in ("api/win32/exports", "api/win32/runner_exports", "api/win32/dll_main")
    stages = []
    if likely:
        stages.append(Stage("windows", WIN32, filter=likely, shards=2))
    if not in_the_library_only:
        rest = likely.replace("-", ":") if likely and "-" not in likely else ""
        stages.append(Stage("windows", WIN32, filter=f"-{rest}" if rest else "", shards=4))
    return (*stages, HOST, SCENARIO, FAULT)
