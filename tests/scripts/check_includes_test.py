import tempfile
import unittest

from loaded import Tree, script

check = script("check-includes")

TABLE = """
low:
high/one: low    # a remark
high/two: low high/one
high: low high/
top: *
"""


class Folders(unittest.TestCase):
    def setUp(self):
        self.folders = check.Folders(TABLE)

    def test_a_folder_may_include_itself_and_what_its_line_says(self):
        self.assertEqual(self.folders.allowed["low"], {"low"})
        self.assertEqual(self.folders.allowed["high/two"], {"low", "high/one", "high/two"})

    def test_a_slash_is_all_folders_above_within_and_a_star_all_above(self):
        self.assertEqual(self.folders.allowed["high"], {"low", "high/one", "high/two", "high"})
        self.assertEqual(self.folders.allowed["top"],
                         {"low", "high/one", "high/two", "high", "top"})

    def test_a_folder_below_or_unknown_is_refused(self):
        for table in ("low: high\nhigh:\n", "low: hihg\n", "low: high/\n", "low\n", "low:\nlow:\n"):
            with self.subTest(table), self.assertRaises(ValueError):
                check.Folders(table)

    def test_a_folder_without_rooms_stands_for_all_below_it(self):
        self.assertEqual(self.folders.of("low/a.h"), "low")
        self.assertEqual(self.folders.of("low/deep/down/a.h"), "low")
        self.assertEqual(self.folders.of("high/one/down/a.h"), "high/one")

    def test_a_folder_with_rooms_stands_for_its_own_files_alone(self):
        self.assertEqual(self.folders.of("high/a.h"), "high")
        self.assertIsNone(self.folders.of("high/three/a.h"))
        self.assertIsNone(self.folders.of("other/a.h"))


class Violations(unittest.TestCase):
    def found(self, **files):
        with tempfile.TemporaryDirectory() as folder:
            present = {"low/low.h": "", "high/one/one.h": "", "high/two/two.h": "", "top/top.h": ""}
            tree = Tree(folder, present | {name.replace("__", "/") + ".cpp": text
                                           for name, text in files.items()})
            return check.violations(check.Folders(TABLE), tree.root)

    def test_includes_that_go_down_are_fine(self):
        self.assertEqual(self.found(top__a='#include "low/low.h"\n#include "high/two/two.h"\n',
                                    high__two__a='#include "high/one/one.h"\n'), [])

    def test_an_include_that_goes_up_is_named_with_its_line(self):
        self.assertEqual(self.found(low__a='#include <vector>\n\n#  include "high/one/one.h"\n'),
                         ['low/a.cpp:3: low may not include high/one: "high/one/one.h"'])

    def test_so_is_one_between_rooms(self):
        self.assertEqual(self.found(high__one__a='#include "high/two/two.h"\n'),
                         ['high/one/a.cpp:1: high/one may not include high/two: "high/two/two.h"'])

    def test_a_path_from_elsewhere_than_the_root_is_refused(self):
        self.assertEqual(self.found(low__a='#include "low.h"\n'),
                         ['low/a.cpp:1: "low.h" is not a path from the root of the repository'])

    def test_what_the_build_makes_and_the_system_has_is_not_looked_at(self):
        self.assertEqual(self.found(low__a='#include <top/top.h>\n#include "x/made.pb.h"\n'), [])

    def test_a_folder_without_a_line_is_refused(self):
        self.assertEqual(self.found(high__three__a="int a;\n"),
                         ["high/three/a.cpp: high/three has no line in scripts/folders.txt"])


if __name__ == "__main__":
    unittest.main()
