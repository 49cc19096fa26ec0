"""Programs that hang, fork or fail; the copy of the tree; the report."""

import os
import subprocess
import sys
import unittest
from pathlib import Path

from support import Tree

from mutation import processes, results
from mutation.changes import changes_in
from mutation.plan import stages_for
from mutation.workspace import PASSED, BaseFailure, Outcome, Workspace
from project_files import ROOT


def python(code):
    return [sys.executable, "-c", code]


def is_alive(number):
    """A killed process may stay as a zombie until its parent has seen it."""
    try:
        return Path(f"/proc/{number}/stat").read_text(encoding="ascii").rsplit(")", 1)[1].split()[0] not in "ZX"
    except FileNotFoundError:
        return False


class Processes(unittest.TestCase):
    def run_in(self, folder, code, limit):
        return processes.run(python(code), Path(folder) / "log", folder, limit)

    def test_a_program_that_succeeds_says_so(self):
        with Tree({}) as folder:
            self.assertTrue(self.run_in(folder, "print('x')", 60).succeeded)
            self.assertEqual((Path(folder) / "log").read_text(), "x\n")

    def test_a_program_that_fails_gives_its_status(self):
        with Tree({}) as folder:
            ended = self.run_in(folder, "raise SystemExit(3)", 60)
        self.assertEqual((ended.status, ended.timed_out, ended.succeeded), (3, False, False))

    def test_a_program_that_hangs_is_ended_with_its_children(self):
        code = ("import subprocess, sys, time\n"
                "child = subprocess.Popen([sys.executable, '-c', 'import time; time.sleep(600)'])\n"
                "print(child.pid, flush=True)\ntime.sleep(600)")
        with Tree({}) as folder:
            ended = self.run_in(folder, code, 2)
            child = int((Path(folder) / "log").read_text())
        self.assertTrue(ended.timed_out)
        self.assertFalse(ended.succeeded)
        self.assertFalse(is_alive(child))

    def test_a_child_in_a_process_group_of_its_own_is_ended_too(self):
        code = ("import subprocess, sys, time\n"
                "child = subprocess.Popen([sys.executable, '-c', 'import time; time.sleep(600)'], process_group=0)\n"
                "print(child.pid, flush=True)\ntime.sleep(600)")
        with Tree({}) as folder:
            self.assertTrue(self.run_in(folder, code, 2).timed_out)
            self.assertFalse(is_alive(int((Path(folder) / "log").read_text())))

    def test_a_program_that_takes_all_memory_is_refused_it(self):
        with Tree({}) as folder:
            self.assertFalse(self.run_in(folder, f"bytearray({processes.MEMORY})", 60).succeeded)

    def test_a_sanitized_program_may_reserve_more_than_it_uses(self):
        code = f"import mmap; mmap.mmap(-1, {processes.MEMORY}, flags=mmap.MAP_PRIVATE)"
        with Tree({}) as folder:
            log = Path(folder) / "log"
            self.assertFalse(processes.run(python(code), log, folder, 60).succeeded)
            self.assertTrue(processes.run(python(code), log, folder, 60, os.environ | processes.SANITIZED).succeeded)

    def test_a_second_signal_while_everything_is_ended_is_no_deadlock(self):
        code = (f"import signal, sys\nsys.path.insert(0, {str(ROOT / 'tools')!r})\n"
                "from mutation import processes\n"
                "ended = []\n"
                "def end(process):\n"
                "    ended.append(process)\n"
                "    if len(ended) == 1:\n"
                "        signal.raise_signal(signal.SIGTERM)\n"
                "processes.kill_session = end\n"
                "processes._running.add('a program')\n"
                "signal.signal(signal.SIGTERM, lambda *_: processes.stop_everything())\n"
                "signal.raise_signal(signal.SIGTERM)\n"
                "assert ended == ['a program'] * 2")
        with Tree({}) as folder:
            self.assertTrue(self.run_in(folder, code, 60).succeeded)

    def test_the_first_failure_stops_the_others(self):
        with Tree({}) as folder:
            commands = [python("import time; time.sleep(600)"), python("raise SystemExit(1)")]
            logs = [Path(folder) / "0", Path(folder) / "1"]
            index, ended = processes.run_together(commands, logs, folder, 300, [None, None])
        self.assertEqual((index, ended.status, ended.timed_out), (1, 1, False))

    def test_when_all_succeed_the_longest_counts(self):
        with Tree({}) as folder:
            logs = [Path(folder) / "0", Path(folder) / "1"]
            _, ended = processes.run_together([python("")] * 2, logs, folder, 300, [None, None])
        self.assertTrue(ended.succeeded)


class FakeWorkspace(Workspace):
    """Builds nothing and tests with a program of this test's."""

    code = "pass"
    last_words = PASSED
    builds = True

    def build(self, tree, targets, jobs, cached=True):
        self.cached = cached
        return self.builds

    def command(self, stage):
        return python(f"print({self.last_words!r}, flush=True)\n{self.code}")


class Copies(unittest.TestCase):
    def workspace(self, root):
        space = FakeWorkspace(root, Path(root) / "build/mutate/0")
        (space.folder / "native").mkdir(parents=True)
        (space.folder / "sanitize").mkdir()
        space.copy_tree()
        space.limits = dict.fromkeys([stage.whole for stage in stages_for("src/a/a.cpp")], 30)
        return space

    def test_a_change_is_made_in_the_copy_and_taken_back(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.code = ("import pathlib, sys\n"
                          f"text = pathlib.Path({str(space.tree / 'src/a/a.cpp')!r}).read_text()\n"
                          "sys.exit(0 if text == 'int a = 1;\\n' else 7)")
            change = changes_in("src/a/a.cpp", "int a = 1;\n")[0]
            outcome = space.try_change(change)
            self.assertEqual(outcome, Outcome("noticed", "kx_unit_tests: ended with 7", False))
            self.assertEqual((space.tree / "src/a/a.cpp").read_text(), "int a = 1;\n")
            self.assertEqual((Path(root) / "src/a/a.cpp").read_text(), "int a = 1;\n")

    def test_a_change_that_no_program_minds_survives(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            change = changes_in("src/a/a.cpp", "int a = 1;\n")[0]
            self.assertEqual(self.workspace(root).try_change(change), Outcome("survived"))

    def test_a_program_that_does_not_come_to_its_end_notices_the_change(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.last_words = "Unhandled page fault"
            outcome = space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0])
            self.assertEqual(outcome, Outcome("noticed", "kx_unit_tests: did not come to its end", False))

    def test_a_program_without_a_limit_is_first_run_without_the_change(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.limits = {}
            space.code = ("import pathlib, sys\n"
                          f"text = pathlib.Path({str(space.tree / 'src/a/a.cpp')!r}).read_text()\n"
                          "sys.exit(0 if text == 'int a = 1;\\n' else 7)")
            outcome = space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0])
            self.assertEqual(outcome.word, "noticed")
            self.assertGreater(space.limits[stages_for("src/a/a.cpp")[0].whole], 0)

    def test_a_quick_try_runs_the_first_program_only(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.limits = {stages_for("src/a/a.cpp")[0].whole: 30}
            change = changes_in("src/a/a.cpp", "int a = 1;\n")[0]
            self.assertEqual(space.try_change(change, quick=True), Outcome("survived"))
            self.assertEqual(len(space.limits), 1)

    def test_what_fails_without_a_change_ends_the_run(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.limits = {}
            space.code = "raise SystemExit(1)"
            with self.assertRaises(BaseFailure):
                space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0])

    def test_a_windows_program_that_names_no_test_must_succeed_without_the_change(self):
        file = "src/process/win32/start_lock.cpp"
        with Tree({file: "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.uses_wine = True
            space.start_wine = space.stop_wine = lambda: None
            (space.folder / "windows").mkdir()
            space.limits = dict.fromkeys([stage.whole for stage in stages_for(file)], 30)
            change = changes_in(file, "int a = 1;\n")[0]
            space.code = "raise SystemExit(3)"
            with self.assertRaises(BaseFailure):
                space.try_change(change)
            space.code = ("import pathlib, sys\n"
                          f"text = pathlib.Path({str(space.tree / file)!r}).read_text()\n"
                          "sys.exit(0 if text == 'int a = 1;\\n' else 3)")
            self.assertEqual(space.try_change(change).word, "noticed")

    def test_a_changed_file_is_compiled_without_a_cache(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0])
            self.assertFalse(space.cached)

    def test_a_change_that_does_not_build_is_neither(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.builds = False
            self.assertEqual(space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0]), Outcome("broken"))

    def test_the_test_that_failed_is_named(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.code = "print('[  FAILED  ] Suite.Rule (3 ms)'); raise SystemExit(1)"
            outcome = space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0])
            self.assertEqual(outcome.by, "kx_unit_tests: Suite.Rule")

    def test_a_program_that_hangs_is_noticed(self):
        with Tree({"src/a/a.cpp": "int a = 1;\n"}) as root:
            space = self.workspace(root)
            space.code = "import time; time.sleep(600)"
            space.limits = dict.fromkeys(space.limits, 1)
            outcome = space.try_change(changes_in("src/a/a.cpp", "int a = 1;\n")[0])
            self.assertEqual(outcome.word, "noticed")
            self.assertIn("time-out", outcome.by)

    def test_the_copy_follows_the_tree_and_leaves_equal_files_alone(self):
        with Tree({"src/a.cpp": "a", "src/b.cpp": "b", "src/c.cpp": "c"}) as root:
            space = self.workspace(root)
            untouched = (space.tree / "src/a.cpp").stat().st_mtime_ns
            (Path(root) / "src/b.cpp").write_text("new")
            (Path(root) / "src/c.cpp").unlink()
            space.copy_tree()
            self.assertEqual((space.tree / "src/a.cpp").stat().st_mtime_ns, untouched)
            self.assertEqual((space.tree / "src/b.cpp").read_text(), "new")
            self.assertFalse((space.tree / "src/c.cpp").exists())


class Report(unittest.TestCase):
    TEXT = "int a = 1;\nbool b = c < d;\n"

    def results(self, words):
        changes = changes_in("src/a/a.cpp", self.TEXT)
        return [results.result_of(change, self.TEXT, Outcome(word)) for change, word in zip(changes, words)]

    def test_what_does_not_build_counts_for_nothing(self):
        lines = results.table(self.results(["noticed", "survived", "broken"]), [("src/a/a.cpp", "x", "y")])
        self.assertEqual(lines[-1].split(), ["all", "2", "1", "1", "50.0", "%", "1", "1"])
        self.assertEqual(lines[1].split()[0], "a")

    def test_the_share_is_never_rounded_up(self):
        self.assertEqual(results.percentage(94999, 100000), "94.9 %")
        self.assertEqual(results.percentage(0, 0), "-")

    def test_survivors_are_shown_with_place_and_change(self):
        self.assertEqual(results.survivors(self.results(["noticed", "noticed", "survived"])),
                         ["src/a/a.cpp:2: comparison", "  - bool b = c < d;", "  + bool b = c <= d;"])

    def test_the_last_result_counts_and_none_of_another_text(self):
        with Tree({}) as folder:
            path = Path(folder) / "results.jsonl"
            for word in ("survived", "noticed"):
                results.append_result(path, self.results([word])[0])
            kept = results.read_results(path, {"src/a/a.cpp": self.TEXT})
            self.assertEqual([result.outcome for result in kept.values()], ["noticed"])
            self.assertEqual(results.read_results(path, {"src/a/a.cpp": self.TEXT + " "}), {})


class CommandLine(unittest.TestCase):
    def test_an_unknown_file_is_refused(self):
        tool = Path(__file__).resolve().parent.parent / "mutate.py"
        ended = subprocess.run([sys.executable, str(tool), "src/no/such.cpp"], capture_output=True, text=True, check=False)
        self.assertEqual(ended.returncode, 1)
        self.assertIn("no source is named src/no/such.cpp", ended.stderr)


if __name__ == "__main__":
    unittest.main()
