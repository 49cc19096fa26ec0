"""The catalogue's checker sees a text without a row, a row without a test, and a test that is gone."""

import unittest

import support  # noqa: F401  puts the checkers on the import path

import check_catalogue

SOURCE = r'''
constexpr char kGone[] = "The browser has gone";
void Instance::run() {
  fail(kErrorGeneral, kGone);
  fail(locked ? kErrorInUse : kErrorGeneral,
       "Could not open " + path);
}
void Instance::fail(int number, std::string text) {}
'''
TESTS = '''
TEST_F(Starts, AStartFails) {
TEST(
    Ends, AnEndFails) {
'''


def row(identifier, text, tests):
    return {"id": identifier, "text": text, "tests": tests}


class CheckCatalogue(unittest.TestCase):
    ROWS = [row("gone", "The browser has gone", ["Ends.AnEndFails"]), row("open", "Could not open {path}", ["Starts.AStartFails"])]

    def setUp(self):
        self.texts = [("a.cpp", text) for text in check_catalogue.error_texts(SOURCE)]
        self.tests = check_catalogue.test_names(TESTS)

    def test_accepts_a_catalogue_that_is_complete(self):
        self.assertEqual(len(self.texts), 2)
        self.assertEqual(check_catalogue.check(self.ROWS, self.texts, self.tests), [])

    def test_refuses_a_text_without_a_row(self):
        self.assertEqual(len(check_catalogue.check(self.ROWS[:1], self.texts, self.tests)), 1)

    def test_refuses_a_row_that_names_no_test(self):
        self.assertEqual(len(check_catalogue.check([row("a", None, [])], [], self.tests)), 1)

    def test_refuses_a_test_that_is_gone(self):
        self.assertEqual(len(check_catalogue.check(self.ROWS, self.texts, {"Ends.AnEndFails"})), 1)


if __name__ == "__main__":
    unittest.main()
