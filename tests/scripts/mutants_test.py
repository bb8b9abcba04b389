import pathlib
import tempfile
import unittest

from loaded import script

mutants = script("mutants")
mutation = mutants.mutation

SOURCE = "void f() {\n  if (a == b) g(1);\n}\n"


def slips():
    return mutation.slips("bond/a.h", SOURCE)


class Table(unittest.TestCase):
    def test_a_file_belongs_to_the_first_line_that_names_it(self):
        areas = mutants.Areas("# words\nbond: bond/a.h -> one\nbond: bond/* x/* -> (two) three=A*:B\n")
        self.assertEqual(areas.of("bond/a.h"), ("bond", [mutants.Program("one")]))
        self.assertEqual(areas.of("x/y/b.cpp"),
                         ("bond", [mutants.Program("two", is_run=False),
                                   mutants.Program("three", "A*:B")]))
        self.assertIsNone(areas.of("host/a.h"))

    def test_another_line_is_refused(self):
        for line in ("bond: bond/*", "bond/* -> one", "bond: -> one", "bond: bond/* ->"):
            with self.subTest(line), self.assertRaises(ValueError):
                mutants.Areas(line)

    def test_the_one_of_the_repository_names_only_files_that_are_there(self):
        areas = mutants.Areas(mutants.TABLE.read_text())
        for _, patterns, _ in areas.lines:
            for pattern in patterns:
                with self.subTest(pattern):
                    self.assertTrue(mutants.fnmatch.filter(mutants.sources(), pattern))


class Explained(unittest.TestCase):
    def test_what_is_shown_is_read_back_with_its_reason(self):
        all_slips = mutation.slips("bond/a.h", SOURCE + SOURCE.replace("void f", "void h"))
        text = "# words\n" + "".join(f"{mutants.shown(slip)}No one can tell.\nAt all.\n\n"
                                     for slip in all_slips)
        self.assertEqual(mutants.read_explained(text),
                         {slip.key: "No one can tell. At all." for slip in all_slips})
        self.assertIn(2, {slip.place for slip in all_slips})

    def test_one_without_a_reason_is_refused(self):
        with self.assertRaises(ValueError):
            mutants.read_explained(mutants.shown(slips()[0]))

    def test_the_file_of_the_repository_can_be_read(self):
        mutants.read_explained(mutants.EXPLAINED.read_text())


class Results(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name, "deep", "results.jsonl")

    def test_are_found_again(self):
        one, two = slips()[:2]
        mutants.Results(self.path).add(one, mutants.KILLED, "tree", "bond_test", 1.0)
        results = mutants.Results(self.path)
        self.assertEqual(results.outcome(one, "tree"), mutants.KILLED)
        self.assertEqual(results.outcome(one, "other"), mutants.KILLED)
        self.assertIsNone(results.outcome(two, "tree"))

    def test_a_survivor_is_tried_again_in_another_tree(self):
        one = slips()[0]
        results = mutants.Results(self.path)
        results.add(one, mutants.SURVIVED, "tree", None, 1.0)
        self.assertEqual(results.outcome(one, "tree"), mutants.SURVIVED)
        self.assertIsNone(results.outcome(one, "other"))
        results.add(one, mutants.KILLED, "other", "bond_test", 1.0)
        self.assertEqual(mutants.Results(self.path).outcome(one, "third"), mutants.KILLED)


class Sample(unittest.TestCase):
    def test_what_cannot_be_built_does_not_count(self):
        order = slips()
        known = {order[0].key: mutants.NOT_BUILT, order[1].key: mutants.KILLED}
        outcome = lambda slip: known.get(slip.key)
        self.assertEqual(mutants.next_batch(order, 1, outcome), [])
        self.assertEqual(mutants.next_batch(order, 3, outcome), order[2:4])
        self.assertEqual(mutants.taken(order, 1, outcome), [(order[0], mutants.NOT_BUILT),
                                                            (order[1], mutants.KILLED)])

    def test_the_summary_counts_by_area(self):
        areas = mutants.Areas("bond: bond/* -> a\nhost: host/* -> b")
        one, two = slips()[:2]
        three = mutation.slips("host/a.cpp", SOURCE)[0]
        text = mutants.summary([(one, mutants.KILLED), (two, mutants.SURVIVED),
                                (three, mutants.KILLED)], areas)
        self.assertEqual([line.split() for line in text.splitlines()],
                         [["killed", "survived", "equivalent", "not", "built"],
                          ["bond", "1", "1", "0", "0"], ["host", "1", "0", "0", "0"],
                          ["all", "2", "1", "0", "0"]])


if __name__ == "__main__":
    unittest.main()
