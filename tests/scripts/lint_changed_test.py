import os
import subprocess
import tempfile
import unittest

from loaded import Tree, script

lint = script("lint-changed")

VERSION = "project(house VERSION {} LANGUAGES CXX)\n"


class LastRelease(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = Tree(folder.name, {"CMakeLists.txt": VERSION.format("0.1.0")})

    def release(self):
        return lint.last_release(self.tree.root)

    def test_is_the_last_tag(self):
        self.tree.commit()
        self.tree.git("tag", "v0.1.0")
        self.tree.commit()
        self.assertEqual(self.release(), ("v0.1.0", "the last tag"))

    def test_is_the_commit_that_set_the_version_where_there_is_no_tag(self):
        self.tree.commit()
        self.tree.write("CMakeLists.txt", VERSION.format("0.2.0"))
        commit = self.tree.commit()
        self.tree.write("CMakeLists.txt", VERSION.format("0.2.0") + "add_subdirectory(a)\n")
        self.tree.commit()
        self.assertEqual(self.release(), (commit, "the commit that set the version"))

    def test_is_unknown_in_a_shallow_clone_without_a_tag(self):
        self.tree.commit()
        self.tree.commit()
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["git", "clone", "--quiet", "--depth=1", f"file://{self.tree.root}",
                            folder], check=True, capture_output=True)
            self.assertEqual(lint.last_release(folder),
                             (None, "the clone is shallow and has no tag"))

    def test_is_unknown_without_git(self):
        self.assertEqual(self.release(), (None, "there is no git repository"))
        path = os.environ["PATH"]
        self.addCleanup(os.environ.__setitem__, "PATH", path)
        os.environ["PATH"] = ""
        self.assertEqual(self.release(), (None, "there is no git repository"))


class ChosenSources(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = Tree(folder.name, {
            "CMakeLists.txt": VERSION.format("1"),
            "a/one.h": "", "a/one.cpp": '#include "a/one.h"\n',
            "a/alone.h": "", "a/between.h": '#include "a/alone.h"\n',
            "a/two.cpp": '#include "a/between.h"\n',
            "tests/one_test.cpp": '#include "a/one.h"\n'})
        self.tree.commit()

    def chosen(self, most=30):
        known = {"a/one.cpp", "a/two.cpp", "tests/one_test.cpp"}
        return lint.chosen_sources(known, self.tree.root, most)[:2]

    def test_nothing_after_a_release(self):
        self.assertEqual(self.chosen(), ([], 0))

    def test_the_last_changed_comes_first_and_work_in_progress_before_it(self):
        self.tree.write("a/one.cpp", "int one;\n")
        self.tree.commit()
        self.assertEqual(self.chosen(), (["a/one.cpp"], 1))
        self.tree.write("a/two.cpp", "int two;\n")
        self.assertEqual(self.chosen(), (["a/two.cpp", "a/one.cpp"], 2))
        self.assertEqual(self.chosen(most=1), (["a/two.cpp"], 2))

    def test_a_test_comes_after_the_product(self):
        self.tree.write("a/two.cpp", "int two;\n")
        self.tree.commit()
        self.tree.write("tests/one_test.cpp", "int test;\n")
        self.tree.commit()
        self.assertEqual(self.chosen(), (["a/two.cpp", "tests/one_test.cpp"], 2))

    def test_a_header_is_checked_with_its_own_source_or_one_that_includes_it(self):
        self.tree.write("a/one.h", "int one();\n")
        self.tree.write("a/alone.h", "int alone();\n")
        self.assertEqual(sorted(self.chosen()[0]), ["a/one.cpp", "a/two.cpp"])

    def test_a_file_that_went_or_is_not_compiled_is_not_chosen(self):
        (self.tree.root / "a/two.cpp").unlink()
        self.tree.write("bench/bench.cpp", "int bench;\n")
        self.tree.commit()
        self.assertEqual(self.chosen(), ([], 0))

    def test_all_where_the_release_is_unknown(self):
        subprocess.run(["rm", "-r", str(self.tree.root / ".git")], check=True)
        self.assertEqual(self.chosen(), (["a/two.cpp", "a/one.cpp", "tests/one_test.cpp"], 3))


if __name__ == "__main__":
    unittest.main()
