import unittest

from loaded import script

coverage = script("coverage")


def verdicts(text, *missing):
    return list(coverage.verdicts("a.h", text.splitlines(), set(missing)))


class Verdicts(unittest.TestCase):
    def test_a_line_that_is_not_taken_fails(self):
        self.assertEqual(verdicts("a;\n  b;\n", 2), [("NOT TAKEN", "a.h:2: b;")])

    def test_it_is_excused_at_its_end(self):
        self.assertEqual(verdicts("a;  // coverage: it cannot\nb;\n", 1),
                         [("excused", "a.h:1: a;  // coverage: it cannot")])

    def test_or_by_the_comment_above_of_one_line_or_more(self):
        self.assertEqual(verdicts("// coverage: it cannot\na;\n", 2), [("excused", "a.h:2: a;")])
        self.assertEqual(verdicts("// coverage: it cannot\n// be taken\na;\nb;\n", 3),
                         [("excused", "a.h:3: a;")])

    def test_an_excuse_is_of_one_line_alone(self):
        self.assertEqual(verdicts("// coverage: it cannot\na;\nb;\n", 2, 3),
                         [("excused", "a.h:2: a;"), ("NOT TAKEN", "a.h:3: b;")])

    def test_one_of_a_line_that_is_taken_fails(self):
        self.assertEqual(verdicts("a;  // coverage: it cannot\n"),
                         [("TAKEN", "a.h:1: a;  // coverage: it cannot")])
        self.assertEqual(verdicts("// coverage: it cannot\n"),
                         [("TAKEN", "a.h:1: // coverage: it cannot")])

    def test_one_without_a_reason_fails(self):
        self.assertEqual(verdicts("a;  // coverage:\n", 1),
                         [("excused", "a.h:1: a;  // coverage:"),
                          ("NO REASON", "a.h:1: a;  // coverage:")])


class Choices(unittest.TestCase):
    def choices(self, *branches):
        return coverage.choices([{"throw": throw, "count": count} for throw, count in branches])

    def test_the_two_ways_of_a_call_that_may_throw_are_no_choice(self):
        self.assertEqual(self.choices((False, 3), (True, 0)), [])
        self.assertEqual(self.choices((False, 3), (False, 0), (False, 3), (True, 0)), [True, False])


if __name__ == "__main__":
    unittest.main()
