#!/usr/bin/env python3
"""tests/consumer, a program of somebody else's, built with what is installed of this build.

With --whole, which takes minutes, it compiles each installed header by itself, and builds the program
together with korvane's sources as well; else these are configured only."""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("KORVANE_BUILD", REPOSITORY / "build/dev"))
IS_WHOLE = "--whole" in sys.argv


def run(*command, code=0, **options):
    done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False, **options)
    if done.returncode != code:
        raise AssertionError(f"{' '.join(map(str, command))}: {done.returncode}\n{done.stdout}")
    return done.stdout


def cached(name):
    """A variable of the build's cache."""
    for line in (BUILD / "CMakeCache.txt").read_text().splitlines():
        if line.startswith(f"{name}:"):
            return line.split("=", 1)[1]
    raise KeyError(name)


class Consumer(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.build = self.folder / "build"

    def configure(self, *options):
        run("cmake", "-G", "Ninja", "-S", REPOSITORY / "tests/consumer", "-B", self.build,
            "-DCMAKE_BUILD_TYPE=Debug", *options)

    def install(self):
        """All of it below a folder of its own. Returns the prefix there."""
        stage = self.folder / "stage"
        for component in ("korvane", "libkorvane-dev", "korvane-sqlite"):
            run("cmake", "--install", BUILD, "--component", component,
                env=dict(os.environ, DESTDIR=str(stage)))
        return stage / cached("CMAKE_INSTALL_PREFIX").lstrip("/")

    def use(self):
        self.assertEqual(run(self.build / "consumer_contracts"), "the same\n")
        self.assertIn("cannot reach http://127.0.0.1:1",
                      run(self.build / "consumer_client", "http://127.0.0.1:1", "a.db", code=1))
        served = self.folder / "served"
        served.mkdir()
        self.assertTrue(run(self.build / "consumer_host", served).endswith("served\n"))
        self.assertTrue((served / "new.db").is_file())

    def test_is_built_with_what_is_installed(self):
        prefix = self.install()
        self.configure(f"-DCMAKE_PREFIX_PATH={prefix}", f"-Dkorvane_INCLUDE_DIR={prefix}/include/korvane")
        run("cmake", "--build", self.build)
        self.use()
        if IS_WHOLE:
            run("cmake", "--build", self.build, "--target", "consumer_headers")

    def test_headers_that_are_installed_are_those_of_the_list(self):
        listed = {line for line in (REPOSITORY / "packaging/headers.txt").read_text().splitlines()
                  if line and not line.startswith("#")}
        include = self.install() / "include"
        found = {str(path.relative_to(include / "korvane")) for path in include.rglob("*")
                 if path.is_file()}
        self.assertEqual(found, listed)

    def test_is_built_together_with_the_sources(self):
        self.configure(f"-DKORVANE_SOURCE={REPOSITORY}")
        if not IS_WHOLE:
            return
        run("cmake", "--build", self.build, "--target", "consumer_contracts", "consumer_client",
            "consumer_host")
        self.use()


if __name__ == "__main__":
    unittest.main(argv=[word for word in sys.argv if word != "--whole"])
