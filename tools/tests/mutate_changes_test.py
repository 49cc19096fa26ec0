"""The changes that can be made to a source: what is found, and what is left alone."""

import unittest

import support  # noqa: F401  (the import path)

from mutation.changes import changes_in, enumerations_in


def changed(text, kind=None, enumerations=None):
    """The changed texts."""
    return [change.applied_to(text) for change in changes_in("src/a/a.cpp", text, enumerations)
            if kind is None or change.kind == kind]


class SingleTokens(unittest.TestCase):
    def test_a_constant_is_raised_and_lowered(self):
        self.assertEqual(changed("int a = 512;"), ["int a = 511;", "int a = 513;"])
        self.assertEqual(changed("int a = 0;"), ["int a = 1;"])
        self.assertEqual(changed("auto a = 0x10U;"), ["auto a = 0x11U;", "auto a = 0xFU;"])

    def test_a_comparison_becomes_its_neighbour(self):
        self.assertEqual(changed("bool a = b < c;"), ["bool a = b <= c;"])
        self.assertEqual(changed("bool a = b == c;"), ["bool a = b != c;"])

    def test_a_template_is_no_comparison(self):
        self.assertEqual(changed("std::vector<int> a;"), [])

    def test_a_reference_to_a_temporary_is_no_and(self):
        self.assertEqual(changed("void f(A&& a);"), [])
        self.assertEqual(changed("bool a = b && c;"), ["bool a = b || c;"])

    def test_a_negation_is_dropped(self):
        self.assertEqual(changed("bool a = !b;"), ["bool a = b;"])

    def test_a_plain_condition_is_turned_round(self):
        self.assertEqual(changed("void f() { if (isOn(a)) { } }", "negation"), ["void f() { if (!(isOn(a))) { } }"])
        self.assertEqual(changed("void f() { if (a < b) { } }", "negation"), [])

    def test_plus_becomes_minus_but_not_beside_a_text(self):
        self.assertEqual(changed("int a = b + c;"), ["int a = b - c;"])
        self.assertEqual(changed('auto a = b + "x";', "plus/minus"), [])

    def test_truth_values_are_exchanged_but_not_what_something_is_compared_with(self):
        self.assertEqual(changed("bool a = true;"), ["bool a = false;"])
        self.assertEqual(changed("bool a = b == FALSE;"), ["bool a = b != FALSE;"])

    def test_a_returned_value_becomes_the_empty_one(self):
        self.assertEqual(changed("int f() { return g(a); }", "returned value"), ["int f() { return {}; }"])
        for empty in ("{}", "std::nullopt", "nullptr"):
            self.assertEqual(changed(f"A f() {{ return {empty}; }}", "returned value"), [])

    def test_a_letter_of_a_message_changes_but_no_place_holder_and_no_escape(self):
        (text,) = changed('log("%d\\n no", a);', "letter")
        self.assertEqual(len(text), len('log("%d\\n no", a);'))
        self.assertIn("%d\\n ", text)
        self.assertEqual(changed('log("%d%s\\n", a);', "letter"), [])

    def test_a_character_becomes_another_one(self):
        self.assertEqual(changed("char a = 'x';"), ["char a = 'y';"])
        self.assertEqual(changed("char a = '\\\\';"), ["char a = '/';"])

    def test_an_enumerator_becomes_the_next_one(self):
        text = "enum class State { On, Off };\nState a = State::Off;"
        self.assertIn("enum class State { On, Off };\nState a = State::On;", changed(text, "constant"))

    def test_an_enumerator_of_an_unknown_enumeration_stays(self):
        self.assertEqual(changed("auto a = std::end;"), [])

    def test_a_row_of_a_table_is_dropped(self):
        self.assertEqual(changed("A a[] = {{b, c}, {d, e}};", "table row"),
                         ["A a[] = { {d, e}};", "A a[] = {{b, c}};"])

    def test_an_empty_list_is_no_row(self):
        self.assertEqual(changed("A a = {b, {}, {}};", "table row"), [])

    def test_comments_directives_and_checks_of_the_compiler_stay(self):
        for text in ("// a < b 5\n", "/* 5 */", "#define A 5\n", "static_assert(a < 5);", "[[nodiscard(\"a\")]] int f();",
                     'extern "C" int a;', "__attribute__((format(printf, 1, 2)))"):
            self.assertEqual(changed(text), [], text)


class Steps(unittest.TestCase):
    def test_a_call_is_dropped(self):
        self.assertEqual(changed("void f() { g(a); }"), ["void f() { ; }"])

    def test_an_assignment_is_dropped(self):
        self.assertEqual(changed("void f() { a.b = c; }"), ["void f() { ; }"])

    def test_a_declaration_stays(self):
        self.assertEqual(changed("void f() { const A a = g(); B b(a); std::vector<A> c{}; using C = D; }"), [])

    def test_two_calls_are_swapped(self):
        self.assertEqual(changed("void f() { g(); h(); }", "swapped steps"), ["void f() { h(); g(); }"])

    def test_two_assignments_are_not_swapped(self):
        self.assertEqual(changed("void f() { a = 1; b = 2; }", "swapped steps"), [])

    def test_what_fills_a_table_while_compiling_is_not_swapped(self):
        source = "consteval T f() { g(); h(); } T i() { j(); k(); }"
        self.assertEqual(changed(source, "swapped steps"), ["consteval T f() { g(); h(); } T i() { k(); j(); }"])
        self.assertEqual(len(changed(source, "dropped step")), 4)

    def test_steps_of_different_blocks_are_not_swapped(self):
        self.assertEqual(changed("void f() { g(); if (a) { h(); } i(); }", "swapped steps"), [])

    def test_steps_in_a_lambda_count(self):
        self.assertEqual(changed("auto f = [] { g(); };", "dropped step"), ["auto f = [] { ; };"])
        self.assertEqual(changed("auto f = []() -> std::string { g(); };", "dropped step"),
                         ["auto f = []() -> std::string { ; };"])

    def test_members_of_a_class_are_no_steps(self):
        self.assertEqual(changed("class A { A(); void f(); };"), [])
        self.assertEqual(changed("namespace a { class A { public: A(); }; }"), [])

    def test_a_jump_at_the_end_of_a_switch_stays(self):
        source = "void f() { switch (a) { case 1: g(); break; case 2: break; } while (b) { if (c) { break; } h(); } }"
        self.assertEqual(len(changed(source, "jump")), 2)

    def test_a_return_without_a_value_is_dropped(self):
        self.assertEqual(changed("void f() { return; }"), ["void f() { ; }"])

    def test_a_case_ends_at_its_colon(self):
        self.assertEqual(changed("void f() { switch (a) { case A: g(); } }", "dropped step"),
                         ["void f() { switch (a) { case A: ; } }"])


class EveryChange(unittest.TestCase):
    TEXT = 'int f(int a) {\n  if (a < 5 && !b) {\n    log("no", a);\n    g();\n  }\n  return a + 1;\n}\n'

    def test_it_says_its_line_and_how_that_looks_before_and_after(self):
        (change,) = [change for change in changes_in("src/a/a.cpp", self.TEXT) if change.kind == "comparison"]
        self.assertEqual((change.line, change.before, change.after),
                         (2, "if (a < 5 && !b) {", "if (a <= 5 && !b) {"))

    def test_equal_lines_are_told_apart(self):
        keys = [change.key for change in changes_in("src/a/a.cpp", "int a[] = {\n1,\n1,\n};") if "2" in change.after]
        self.assertEqual(keys, [("src/a/a.cpp", "1,", "2,"), ("src/a/a.cpp", "1, (#2)", "2,")])

    def test_the_same_text_always_gives_the_same_changes(self):
        self.assertEqual(changes_in("src/a/a.cpp", self.TEXT), changes_in("src/a/a.cpp", self.TEXT))

    def test_no_two_are_the_same_and_none_changes_nothing(self):
        texts = changed(self.TEXT)
        self.assertEqual(len(texts), len(set(texts)))
        self.assertNotIn(self.TEXT, texts)


class Enumerations(unittest.TestCase):
    def test_all_names_are_found_without_values_and_comments(self):
        self.assertEqual(enumerations_in("enum class A : int {\n  B = 1,  // b, c\n  C,\n};"), {"A": ["B", "C"]})


if __name__ == "__main__":
    unittest.main()
