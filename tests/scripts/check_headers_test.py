import tempfile
import unittest

from loaded import Tree, script

check = script("check-headers")


class InstalledHeaders(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.tree = Tree(self.folder.name, {
            "a/door.h": '#include <string>\n#include "b/inner.h"\n',
            "b/inner.h": "",
            "b/inner.cpp": "",
        })

    def findings(self, *headers):
        return check.findings(self.tree.root, list(headers))

    def test_a_list_with_all_that_is_included_has_no_fault(self):
        self.assertEqual(self.findings("a/door.h", "b/inner.h"), [])

    def test_an_included_header_that_is_missing_is_named(self):
        self.assertEqual(self.findings("a/door.h"), ["a/door.h includes b/inner.h, which is not listed"])

    def test_what_is_not_a_header_or_not_there_is_named(self):
        self.assertEqual(self.findings("b/inner.cpp", "b/gone.h"),
                         ["b/inner.cpp is not a header of the repository",
                          "b/gone.h is not a header of the repository"])

    def test_a_header_that_is_listed_twice_is_named(self):
        self.assertEqual(self.findings("b/inner.h", "b/inner.h"), ["b/inner.h is listed twice"])

    def test_remarks_and_empty_lines_are_no_headers(self):
        self.assertEqual(check.listed("# all\n\na/door.h\n"), ["a/door.h"])


if __name__ == "__main__":
    unittest.main()
