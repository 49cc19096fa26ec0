"""Which changes are tried, which are listed as making no difference, and what covers them."""

import unittest

from support import Tree

from mutation import equivalents, plan
from mutation.selection import SOURCES, all_changes, component_of, is_wanted, select, shares
from project_files import ROOT, project_files

TEXTS = {
    "src/common/a.cpp": "int a[] = {" + ", ".join(map(str, range(100))) + "};",
    "src/pipe/win32/b.cpp": "int b[] = {1, 2, 3};\nbool c = d < e;",
}


class Selection(unittest.TestCase):
    def test_a_component_is_a_folder(self):
        self.assertEqual(component_of("src/pipe/win32/pipe.cpp"), "pipe/win32")
        self.assertEqual(component_of("src/pipe/start_page.cpp"), "pipe")

    def test_files_and_folders_can_be_asked_for(self):
        self.assertTrue(is_wanted("src/pipe/win32/b.cpp", []))
        self.assertTrue(is_wanted("src/pipe/win32/b.cpp", ["src/pipe"]))
        self.assertFalse(is_wanted("src/pipes/b.cpp", ["src/pipe"]))

    def test_small_components_get_more_than_their_size_gives_them(self):
        self.assertEqual(shares({"large": 900, "small": 100}, 100), {"large": 70, "small": 30})

    def test_what_a_small_component_lacks_others_give(self):
        self.assertEqual(shares({"large": 900, "small": 5}, 100), {"large": 95, "small": 5})

    def test_the_same_seed_selects_the_same_and_another_one_others(self):
        changes = all_changes(TEXTS)
        self.assertEqual(select(changes, 20, 1), select(changes, 20, 1))
        self.assertNotEqual(select(changes, 20, 1), select(changes, 20, 2))

    def test_every_component_and_every_kind_is_there(self):
        chosen = select(all_changes(TEXTS), 20, 1)
        self.assertEqual(len(chosen), 20)
        self.assertEqual({component_of(change.file) for change in chosen}, {"common", "pipe/win32"})
        self.assertIn("comparison", {change.kind for change in chosen})

    def test_more_than_there_are_gives_all(self):
        changes = all_changes(TEXTS)
        self.assertEqual(len(select(changes, 10000, 1)), len(changes))


class Listed(unittest.TestCase):
    ENTRY = "src/pipe/win32/b.cpp\n- bool c = d < e;\n+ bool c = d <= e;\n= they differ\n"

    def test_an_entry_has_a_file_two_lines_and_a_reason(self):
        (entry,) = equivalents.read_list("# heading\n\n" + self.ENTRY)
        self.assertEqual(entry.key, ("src/pipe/win32/b.cpp", "bool c = d < e;", "bool c = d <= e;"))
        self.assertEqual(entry.reason, "they differ")

    def test_an_entry_without_a_reason_is_refused(self):
        for text in (self.ENTRY.replace("= they differ\n", ""), self.ENTRY.replace("= they differ", "= ")):
            with self.assertRaises(equivalents.ListError):
                equivalents.read_list(text)

    def test_an_entry_for_a_line_that_is_there_is_not_stale(self):
        self.assertEqual(equivalents.stale_entries(equivalents.read_list(self.ENTRY), all_changes(TEXTS)), [])

    def test_an_entry_for_a_line_that_has_changed_is_stale(self):
        texts = {**TEXTS, "src/pipe/win32/b.cpp": "bool c = d > e;"}
        (problem,) = equivalents.stale_entries(equivalents.read_list(self.ENTRY), all_changes(texts))
        self.assertIn("no such change any more", problem)

    def test_an_entry_given_twice_is_stale(self):
        entries = equivalents.read_list(self.ENTRY + self.ENTRY)
        self.assertEqual(len(equivalents.stale_entries(entries, all_changes(TEXTS))), 1)


class Plan(unittest.TestCase):
    def test_portable_files_are_tested_natively(self):
        stages = plan.stages_for("src/json/reader.cpp")
        self.assertEqual({stage.tree for stage in stages[:-1]}, {"native"})
        self.assertEqual(stages[-1].tree, "sanitize")
        self.assertIn("fuzz_json_parser", [stage.program for stage in plan.stages_for("src/json/parser.cpp")])

    def test_windows_files_are_tested_with_what_is_likeliest_first(self):
        stages = plan.stages_for("src/process/win32/start_lock.cpp")
        self.assertEqual({stage.tree for stage in stages}, {"windows"})
        self.assertTrue(stages[0].filter.startswith("StartLock"))
        self.assertEqual(stages[1].filter, "-StartLock*:MutexOwnership*")

    def test_a_portable_file_is_tested_first_with_the_suites_of_its_own_test_files(self):
        stages = plan.stages_for("src/common/md5.cpp")
        self.assertEqual(stages[0].filter, "Md5.*:*/Md5.*")
        self.assertEqual(stages[1].filter, "-Md5.*:*/Md5.*")
        self.assertIn("OptionsEngine", plan.unit_suites("src/api/options.cpp"))

    def test_what_comes_first_and_what_comes_later_are_all_tests_of_a_program(self):
        for name in project_files(suffixes=(".cpp",), under=("src/",)):
            stages = plan.stages_for(name)
            for first, second in zip(stages, stages[1:]):
                if first.filter and not first.filter.startswith("-"):
                    self.assertEqual((second.program, second.filter), (first.program, "-" + first.filter), name)

    def test_exports_are_tested_through_the_library(self):
        self.assertEqual(plan.stages_for("src/api/win32/exports.cpp")[0], plan.HOST)

    def test_every_source_is_covered_and_every_corpus_is_there(self):
        for name in project_files(suffixes=SOURCES, under=("src/",)):
            self.assertTrue(plan.stages_for(name), name)
        for names in plan.CORPORA.values():
            for name in names:
                self.assertTrue((ROOT / "fuzz/corpus" / name).is_dir(), name)


class NoTree(unittest.TestCase):
    def test_a_tree_without_sources_has_no_changes(self):
        with Tree({}) as root:
            self.assertEqual(all_changes({name: "" for name in project_files(root, suffixes=SOURCES)}), [])


if __name__ == "__main__":
    unittest.main()
