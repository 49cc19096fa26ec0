"""Which changes are made and tried, what covers them, what becomes of programs that hang, and the report."""

import os
import subprocess
import sys
import threading
import unittest
from pathlib import Path

from support import Tree

import mutate
from mutation import workspace
from mutation.changes import Finder, all_changes, enumerations_in
from mutation.workspace import PASSED, BaseFailure, Stage, Workspace, run_together, stages_for
from project_files import ROOT, project_files

FILE = "src/a/a.cpp"


def changes_in(text):
    return Finder(FILE, text, enumerations_in(text)).find()


def changed(text, kind=None):
    return [change.applied_to(text) for change in changes_in(text) if kind in (None, change.kind)]


class Changes(unittest.TestCase):
    def expect(self, cases, kind=None):
        for text, *expected in cases:
            with self.subTest(text):
                self.assertEqual(changed(text, kind), expected)

    def test_constants_comparisons_and_other_single_tokens(self):
        self.expect([
            ("int a = 512;", "int a = 511;", "int a = 513;"),
            ("int a = 0;", "int a = 1;"),
            ("auto a = 0x10U;", "auto a = 0x11U;", "auto a = 0xFU;"),
            ("bool a = b < c;", "bool a = b <= c;"),
            ("bool a = b == c;", "bool a = b != c;"),
            ("bool a = b && c;", "bool a = b || c;"),
            ("bool a = !b;", "bool a = b;"),
            ("int a = b + c;", "int a = b - c;"),
            ("bool a = true;", "bool a = false;"),
            ("bool a = b == FALSE;", "bool a = b != FALSE;"),
            ("char a = 'x';", "char a = 'y';"),
            ("char a = '\\\\';", "char a = '/';"),
            ("void f() { return; }", "void f() { ; }"),
        ])
        self.expect([('auto a = b + "x";',)], "plus/minus")
        self.expect([("int f() { return g(a); }", "int f() { return {}; }"), ("A f() { return std::nullopt; }",)],
                    "returned value")
        self.expect([("void f() { if (isOn(a)) { } }", "void f() { if (!(isOn(a))) { } }"), ("void f() { if (a < b) { } }",)],
                    "negation")
        self.expect([("enum A { B, C };\nA a = A::C;", "enum A { B, C };\nA a = A::B;"), ("auto a = std::end;",)], "constant")
        self.expect([("A a[] = {{b, c}, {d, e}};", "A a[] = { {d, e}};", "A a[] = {{b, c}};"), ("A a = {b, {}, {}};",)],
                    "table row")

    def test_a_letter_of_a_message_but_no_place_holder_and_no_escape(self):
        self.expect([('log("%d\\n no", a);', 'log("%d\\n np", a);'), ('log("%d%s\\n", a);',)], "letter")

    def test_what_is_no_code_or_has_no_effect_is_left_alone(self):
        self.expect([(text,) for text in (
            "std::vector<int> a;", "void f(A&& a);", "// a < b 5\n", "/* 5 */", "#define A 5\n", "static_assert(a < 5);",
            '[[nodiscard("a")]] int f();', 'extern "C" int a;', "__attribute__((format(printf, 1, 2)))",
            "class A { A(); A(const A&) = delete; void f(); };", "void f() { a.reserve(b + 1); va_end(c); }")])

    def test_steps_are_dropped_and_calls_swapped(self):
        self.expect([
            ("void f() { g(a); }", "void f() { ; }"),
            ("void f() { a.b = c; }", "void f() { ; }"),
            ("void f() { const LastErrorGuard guard; }", "void f() { ; }"),
            ("void f() { const A a = g(); B b(a); std::vector<A> c{}; using C = D; }",),
            ("auto f = [] { g(); };", "auto f = [] { ; };"),
            ("void f() { switch (a) { case A: g(); } }", "void f() { switch (a) { case A: ; } }"),
        ], "dropped step")
        self.expect([
            ("void f() { g(); h(); }", "void f() { h(); g(); }"),
            ("void f() { a = 1; b = 2; }",),
            ("consteval T f() { g(); h(); }",),
            ("void f() { g(); if (a) { h(); } i(); }",),
        ], "swapped steps")
        jumps = "void f() { switch (a) { case 1: g(); break; case 2: break; } while (b) { if (c) { break; } h(); } }"
        self.assertEqual(len(changed(jumps, "jump")), 2)

    def test_a_change_tells_its_line_before_and_after_and_which_of_equal_lines_it_is(self):
        (change,) = changes_in("int a;\nbool b = c   < d;\n")
        self.assertEqual((change.line, change.kind, *change.key), (2, "comparison", FILE, "bool b = c < d;", "bool b = c <= d;"))
        keys = [change.key[1] for change in changes_in("int a[] = {\n1,\n1,\n};") if change.after == "2,"]
        self.assertEqual(keys, ["1,", "1, (#2)"])

    def test_no_two_are_the_same_and_none_changes_nothing(self):
        text = 'int f(int a) {\n  if (a < 5 && !b) {\n    log("no", a);\n    g();\n  }\n  return a + 1;\n}\n'
        texts = changed(text)
        self.assertEqual(len(texts), len(set(texts)))
        self.assertNotIn(text, texts)

    def test_enumerators_are_found_without_values_and_comments(self):
        self.assertEqual(enumerations_in("enum class A : int {\n  B = 1,  // b, c\n  C,\n};"), {"A": ["B", "C"]})


class Selection(unittest.TestCase):
    TEXTS = {"src/common/a.cpp": "int a[] = {" + ", ".join(map(str, range(100))) + "};",
             "src/pipe/win32/b.cpp": "int b[] = {1, 2, 3};\nbool c = d < e;"}

    def test_every_component_and_every_kind_is_there(self):
        chosen = mutate.select(all_changes(self.TEXTS), 20, 1)
        self.assertEqual(len(chosen), 20)
        self.assertEqual({mutate.component_of(change.file) for change in chosen}, {"common", "pipe/win32"})
        self.assertIn("comparison", {change.kind for change in chosen})

    def test_the_same_seed_selects_the_same_and_another_one_others(self):
        changes = all_changes(self.TEXTS)
        self.assertEqual(mutate.select(changes, 20, 1), mutate.select(all_changes(self.TEXTS), 20, 1))
        self.assertNotEqual(mutate.select(changes, 20, 1), mutate.select(changes, 20, 2))
        self.assertEqual(len(mutate.select(changes, 10000, 1)), len(changes))

    def test_files_and_folders_can_be_asked_for(self):
        self.assertTrue(mutate.is_wanted("src/pipe/win32/b.cpp", ["src/pipe"]))
        self.assertFalse(mutate.is_wanted("src/pipes/b.cpp", ["src/pipe"]))

    def test_the_list_gives_changes_and_refuses_one_without_a_reason(self):
        text = "# head\n\n= no difference\nsrc/a.cpp\n- a < b\n+ a <= b\n+ a > b\n"
        self.assertEqual(mutate.read_list(text), [("src/a.cpp", "a < b", "a <= b"), ("src/a.cpp", "a < b", "a > b")])
        for lacking in ("= no difference\n", "src/a.cpp\n", "- a < b\n"):
            with self.assertRaises(ValueError):
                mutate.read_list(text.replace(lacking, ""))


class Stages(unittest.TestCase):
    def test_portable_files_are_tested_natively_first_with_their_own_suites_and_then_under_sanitizers(self):
        first, rest, *others = stages_for("src/api/options.cpp")
        self.assertIn("OptionsEngine.*", first.tests)
        self.assertEqual((first.tree, rest), ("native", first._replace(tests="-" + first.tests)))
        self.assertEqual(others, [Stage("native", "fuzz_options", corpus="options"), Stage("sanitize", "kx_unit_tests")])

    def test_windows_files_are_tested_with_all_programs_and_exports_through_the_library(self):
        stages = stages_for("src/process/win32/start_lock.cpp")
        self.assertIn("StartLock", stages[0].tests)
        self.assertEqual([stage.program for stage in stages[1:]], ["kx_win32_tests", *workspace.DLL_TESTS])
        self.assertEqual([stage.program for stage in stages_for("src/api/win32/exports.cpp")], workspace.DLL_TESTS)

    def test_every_name_is_one_of_the_tree(self):
        targets = "".join((ROOT / name).read_text(encoding="utf-8") for name in project_files(suffixes=("CMakeLists.txt",)))
        for name in project_files(suffixes=(".cpp",), under=("src/",)):
            for stage in stages_for(name):
                self.assertTrue((ROOT / "fuzz/corpus" / stage.corpus).is_dir())
                self.assertIn(stage.program.removeprefix("fuzz_"), targets)


class Programs(unittest.TestCase):
    def run_python(self, codes, limit=60, environment=None):
        with Tree({}) as folder:
            logs = [Path(folder, str(number)) for number in range(len(codes))]
            commands = [[sys.executable, "-c", code] for code in codes]
            ended = run_together(commands, logs, folder, limit, [environment or os.environ] * len(codes))
            return ended.status, [log.read_text(encoding="utf-8") for log in logs]

    def test_a_program_that_succeeds_says_so(self):
        self.assertEqual(self.run_python(["print('x')", ""]), (0, ["x\n", ""]))

    def test_what_is_ended_ends_with_its_children_in_whatever_group(self):
        with Tree({}) as folder:
            ready = Path(folder, "ready")
            code = ("import os, subprocess, time\n"
                    "for group in (None, 0):\n"
                    "    print(subprocess.Popen(['sleep', '600'], process_group=group).pid, flush=True)\n"
                    f"os.mkdir({str(ready)!r})\ntime.sleep(600)")
            failing = f"import os, time\nwhile not os.path.exists({str(ready)!r}): time.sleep(0.01)\nraise SystemExit(3)"
            status, (output, _) = self.run_python([code, failing])
        self.assertEqual(status, 3)
        for number in output.split():
            stat = Path("/proc", number, "stat")
            self.assertTrue(not stat.exists() or stat.read_text().rsplit(")", 1)[1].split()[0] in "ZX")

    def test_a_program_that_takes_too_long_is_ended(self):
        self.assertIsNone(self.run_python(["import time; time.sleep(600)"], limit=0.1)[0])

    def test_memory_is_bounded_but_a_sanitized_program_may_reserve_more_than_it_uses(self):
        code = f"import mmap; mmap.mmap(-1, {workspace.MEMORY}, flags=mmap.MAP_PRIVATE)"
        self.assertEqual(self.run_python([code])[0], 1)
        self.assertEqual(self.run_python([code], environment=os.environ | {"ASAN_OPTIONS": ""})[0], 0)

    def test_a_signal_ends_what_runs(self):
        self.addCleanup(workspace.stopped.clear)
        threading.Timer(0.2, workspace.stopped.set).start()
        with self.assertRaises(KeyboardInterrupt):
            self.run_python(["import time; time.sleep(600)"])


class FakeWorkspace(Workspace):
    """Builds nothing and tests with a program of this test's, which sees whether the change is made."""

    code = "pass"
    last_words = PASSED
    builds = True

    def build(self, tree, program, jobs, environment):
        self.is_cached = "CCACHE_DISABLE" not in environment
        return self.builds

    def command(self, stage):
        text = f"import pathlib\nis_changed = pathlib.Path({str(self.tree / self.file)!r}).read_text() != 'int a = 1;\\n'\n"
        return [sys.executable, "-c", f"{text}print({self.last_words!r}, flush=True)\n{self.code}"]

    def restart_wine(self):
        pass


class Copies(unittest.TestCase):
    def outcome(self, quick=False, file=FILE, limits=None, **attributes):
        with Tree({file: "int a = 1;\n"}) as root:
            space = FakeWorkspace(root, Path(root, "build/mutate/0"))
            space.copy_tree()
            for tree in workspace.TREES:
                (space.folder / tree).mkdir()
            space.file, space.limits = file, dict(limits or {})
            for name, value in attributes.items():
                setattr(space, name, value)
            outcome = space.try_change(Finder(file, "int a = 1;\n", {}).find()[0], quick)
            for path in (space.tree / file, Path(root, file)):
                self.assertEqual(path.read_text(encoding="utf-8"), "int a = 1;\n")
            self.measured, self.is_cached = set(space.limits), space.is_cached
            return outcome

    def test_a_change_is_made_in_the_copy_and_taken_back(self):
        self.assertEqual(self.outcome(code="raise SystemExit(7 if is_changed else 0)"),
                         ("noticed", "kx_unit_tests: ended with 7"))
        self.assertEqual(self.outcome(), ("survived", ""))
        self.assertFalse(self.is_cached)

    def test_a_quick_try_runs_the_first_program_only(self):
        self.outcome(quick=True)
        self.assertEqual(self.measured, {("native", "kx_unit_tests")})

    def test_the_test_that_failed_is_named(self):
        code = "if is_changed: print('[  FAILED  ] Suite.Rule (3 ms)'); raise SystemExit(1)"
        self.assertEqual(self.outcome(code=code), ("noticed", "kx_unit_tests: Suite.Rule"))

    def test_a_program_that_hangs_or_does_not_come_to_its_end_has_noticed(self):
        def outcome(limit, **attributes):
            return self.outcome(limits={("native", "kx_unit_tests"): limit}, **attributes)[1]

        self.assertEqual(outcome(0.1, code="import time; time.sleep(600)"), "kx_unit_tests: time-out")
        self.assertEqual(outcome(60, last_words="page fault"), "kx_unit_tests: ended with 0")

    def test_a_change_that_does_not_build_is_neither(self):
        self.assertEqual(self.outcome(limits={("native", "kx_unit_tests"): 9}, builds=False), ("broken", ""))

    def test_what_fails_without_a_change_ends_the_run(self):
        with self.assertRaises(BaseFailure):
            self.outcome(code="raise SystemExit(1)")
        # A Windows program that names no test is tried without the change, too.
        file = "src/process/win32/start_lock.cpp"
        limits = {("windows", "kx_win32_tests"): 30}
        with self.assertRaises(BaseFailure):
            self.outcome(file=file, limits=limits, code="raise SystemExit(3)")
        self.assertEqual(self.outcome(file=file, limits=limits, code="raise SystemExit(3 if is_changed else 0)")[0], "noticed")

    def test_the_copy_follows_the_tree_and_leaves_equal_files_alone(self):
        with Tree({"src/a.cpp": "a", "src/b.cpp": "b", "src/c.cpp": "c"}) as root:
            space = Workspace(root, Path(root, "build/mutate/0"))
            space.copy_tree()
            untouched = (space.tree / "src/a.cpp").stat().st_mtime_ns
            Path(root, "src/b.cpp").write_text("new", encoding="utf-8")
            Path(root, "src/c.cpp").unlink()
            space.copy_tree()
            self.assertEqual((space.tree / "src/a.cpp").stat().st_mtime_ns, untouched)
            self.assertEqual((space.tree / "src/b.cpp").read_text(encoding="utf-8"), "new")
            self.assertFalse((space.tree / "src/c.cpp").exists())


class Report(unittest.TestCase):
    def result(self, outcome, **more):
        return {"file": FILE, "digest": "d", "kind": "comparison", "line": 2, "before": "c < d", "after": "c <= d",
                "outcome": outcome, "by": "", **more}

    def test_what_does_not_build_counts_for_nothing_and_the_share_is_never_rounded_up(self):
        results = [self.result(outcome) for outcome in ["noticed"] * 1999 + ["survived", "broken"]]
        lines = mutate.table(results, [(FILE, "x", "y")])
        self.assertEqual(lines[-1].split(), ["all", "2000", "1999", "1", "99.9", "%", "1", "1"])

    def test_survivors_are_shown_with_place_and_change(self):
        self.assertEqual(mutate.survivors([self.result("noticed"), self.result("survived")]),
                         [f"{FILE}:2: comparison\n  - c < d\n  + c <= d"])

    def test_the_last_result_counts_and_none_of_another_text(self):
        with Tree({"results": "".join(mutate.json.dumps(self.result(word)) + "\n" for word in ("survived", "noticed"))}) as root:
            read = mutate.read_results(Path(root, "results"), {FILE: "d"})
            self.assertEqual([result["outcome"] for result in read.values()], ["noticed"])
            self.assertEqual(mutate.read_results(Path(root, "results"), {FILE: "e"}), {})

    def test_an_unknown_file_is_refused(self):
        command = [sys.executable, str(ROOT / "tools/mutate.py"), "src/no/such.cpp"]
        ended = subprocess.run(command, capture_output=True, text=True, check=False)
        self.assertEqual((ended.returncode, ended.stderr), (1, "mutate: no source is named src/no/such.cpp\n"))


if __name__ == "__main__":
    unittest.main()
