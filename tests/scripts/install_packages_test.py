"""scripts/install-packages.sh: what each purpose needs."""
import os
import re
import subprocess
import unittest

ROOT = os.path.join(os.path.dirname(__file__), "..", "..")


def run(*purpose):
    return subprocess.run(
        [os.path.join(ROOT, "scripts", "install-packages.sh"), *purpose],
        env={**os.environ, "KORVANE_PACKAGES": "list"},
        capture_output=True,
        text=True,
        check=False,
    )


def packages(*purpose):
    return set(run(*purpose).stdout.split())


class InstallPackages(unittest.TestCase):
    def test_running_needs_a_compiler_but_nothing_of_tests_or_npm(self):
        self.assertLessEqual({"g++", "cmake", "libpoco-dev"}, packages("run"))
        others = {"libgtest-dev", "clang", "clang-tidy", "chromium", "nodejs", "npm", "nginx", "python3"}
        self.assertEqual(packages("run") & others, set())

    def test_each_purpose_has_what_it_builds_upon(self):
        self.assertLess(packages("run"), packages("page"))
        self.assertLess(packages("page"), packages("test"))
        self.assertLess(packages("test"), packages("lint"))
        self.assertLess(packages("test"), packages("fuzz"))
        self.assertLess(packages("test"), packages("cluster"))
        self.assertNotIn("clang-tidy", packages("fuzz"))

    def test_without_a_purpose_all_are_wanted_but_those_of_the_benchmarks(self):
        self.assertEqual(packages(), packages("lint") | packages("fuzz") | packages("format") | packages("cluster"))
        self.assertEqual(packages() & packages("bench"), set())

    def test_another_purpose_is_refused(self):
        refused = run("nope")
        self.assertEqual(refused.returncode, 2)
        self.assertIn('"nope" is not a purpose', refused.stderr)

    def test_each_package_stands_once_with_its_reason(self):
        with open(os.path.join(ROOT, "packages.txt"), encoding="utf-8") as file:
            lines = [line for line in file if re.match(r"\w", line)]
        names = [line.split()[0] for line in lines]
        self.assertEqual(len(names), len(set(names)))
        self.assertEqual(set(names), packages())
        for line in lines:
            self.assertRegex(line, r" # \w")


if __name__ == "__main__":
    unittest.main()
