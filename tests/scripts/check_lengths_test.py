import tempfile
import unittest

from loaded import Tree, script

check = script("check-lengths")


class TooLong(unittest.TestCase):
    def test_files_of_the_product_are_counted_and_tests_are_not(self):
        with tempfile.TemporaryDirectory() as folder:
            tree = Tree(folder, {"a/just.cpp": "x\n" * 3, "a/long.h": "x\n" * 4,
                                 "tests/a/long_test.cpp": "x\n" * 9, "a/long.txt": "x\n" * 9,
                                 "build/made.h": "x\n" * 9})
            self.assertEqual(check.too_long(tree.root, most=3), [("a/long.h", 4)])


if __name__ == "__main__":
    unittest.main()
