#!/usr/bin/env python3
"""Tests that lists of mutations are read correctly, and that an outdated one is an error."""

import pathlib
import tempfile
import unittest

import mutations as lists

SOURCE = """void first() {
  stop();
  start(1, 2);
}

void second() {
  stop();
}
"""


def mutation(**fields):
    return lists.Mutation("area", "src/File.cpp", "name", **fields)


class Applied(unittest.TestCase):
    def test_replaces_the_text(self):
        self.assertIn("start(2);", mutation(before="start(1, 2)", after="start(2)").apply(SOURCE))

    def test_does_not_mind_line_breaks(self):
        self.assertIn("start(2);", mutation(before="start ( 1,\n2)", after="start(2)").apply(SOURCE))

    def test_leaves_the_semicolon_of_what_is_taken_away(self):
        self.assertIn("{\n  stop();\n  ;\n}", mutation(before="start(1, 2);").apply(SOURCE))

    def test_keeps_to_its_place(self):
        applied = mutation(place="void second(", before="stop();").apply(SOURCE)
        self.assertEqual(applied, SOURCE.replace("second() {\n  stop();", "second() {\n  ;"))

    def test_keeps_words_apart(self):
        with self.assertRaises(lists.ListError):
            mutation(before="top();").apply(SOURCE)


class Refused(unittest.TestCase):
    def refused(self, **fields):
        with self.assertRaises(lists.ListError):
            mutation(**fields).apply(SOURCE)

    def test_text_that_is_not_there(self):
        self.refused(before="halt();")

    def test_text_that_is_there_twice(self):
        self.refused(before="stop();")

    def test_text_that_is_elsewhere(self):
        self.refused(place="void second(", before="start(1, 2);")

    def test_place_that_is_not_there(self):
        self.refused(place="void third(", before="stop();")


class Read(unittest.TestCase):
    def test_every_part(self):
        text = "# why\nfile src/A.cpp\n\none\n  in f(\n  - a;\n  - b;\n  + c;\n  = because\n\ntwo\n  - d\n"
        one, two = lists.parse("area", text)
        self.assertEqual((one.name, one.place, one.before), ("A.one", "f(", "a;\nb;"))
        self.assertEqual((one.after, one.reason, one.area), ("c;", "because", "area"))
        self.assertEqual((two.name, two.before, two.after), ("A.two", "d", ""))

    def test_nothing_that_makes_no_sense(self):
        for text in ["one\n  - a\n", "file src/A.cpp\none\n", "file src/A.cpp\none\n  ? a\n",
                     "  - a\n", "file src/A.cpp\nOne Two\n  - a\n"]:  # fmt: skip
            with self.subTest(text), self.assertRaises(lists.ListError):
                lists.parse("area", text)

    def test_no_name_twice(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "area.txt"
            path.write_text("file src/A.cpp\none\n  - a\none\n  - b\n", encoding="utf-8")
            with self.assertRaises(lists.ListError):
                lists.read_all(folder)


class Problems(unittest.TestCase):
    def test_are_told_for_each_that_does_not_fit(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "src/File.cpp"
            path.parent.mkdir()
            path.write_text(SOURCE, encoding="utf-8")
            fits = mutation(before="start(1, 2);")
            stale = mutation(before="halt();")
            idle = mutation(before="start(1, 2)", after="start(1, 2)")
            lost = lists.Mutation("area", "src/Gone.cpp", "name", before="a")
            found = lists.problems([fits, stale, idle, lost], folder)
            self.assertEqual(len(found), 3)
            self.assertIn("not found", found[0])
            self.assertIn("changes nothing", found[1])
            self.assertIn("no file", found[2])


if __name__ == "__main__":
    unittest.main()
