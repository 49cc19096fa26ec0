"""The word checker refuses what it names and leaves similar words alone."""

import unittest

from support import Tree

import check_words


def problems(text, name="file.txt"):
    with Tree({name: text}) as root:
        return check_words.check_tree(root)[0]


class CheckWords(unittest.TestCase):
    def test_refuses_each_forbidden_word_with_file_and_line(self):
        for text in ("see the spec", "The Specification says", "Part 2.3", "in section 7", "Section 4.1", "as required",
                     "design.md", "/root/main/src", '"/home/me/x"', "registry.example.org", "deb.debian.org"):
            text = text.replace("Specification", "specification")
            found = problems("first line\n" + text + "\n")
            self.assertTrue(found, text)
            self.assertTrue(found[0].startswith("file.txt:2: "), found)

    def test_refuses_a_forbidden_word_in_a_name(self):
        self.assertEqual(len(problems("", name="docs/spec/readme.txt")), 1)

    def test_accepts_words_that_only_look_alike(self):
        for text in ("__declspec(dllexport)", "a format specifier", "pathspec", "specify", "special", "inspect",
                     "nlohmann", "part of it", "a section of the page", "${HOME}/work/x", "build/home/x", "a required field",
                     "section.key", "Z:\\work"):
            self.assertEqual(problems(text), [], text)


if __name__ == "__main__":
    unittest.main()
