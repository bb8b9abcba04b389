import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from loaded import SCRIPTS, Tree, script

release = script("release")
sbom = script("sbom")
ROOT = SCRIPTS.parent

CHANGELOG = "# Changelog\n\n## Unreleased\n\n- A new thing.\n\n## 0.1.0, 2026-01-02\n\n- The first.\n"


class Version(unittest.TestCase):
    def refusal(self, *arguments):
        with self.assertRaises(release.Refused) as refused:
            release.check_new(*arguments)
        return str(refused.exception)

    def test_it_is_three_numbers(self):
        for text in ("1.2", "v1.2.0", "1.2.0-rc1", ""):
            self.assertIn("is not a version", self.refusal(text, "0.1.0", []))

    def test_it_comes_after_what_is_released_by_number_and_not_by_letter(self):
        release.check_new("0.10.0", "0.9.0", ["0.9.0"])
        self.assertIn("0.9.0 is not after 0.10.0", self.refusal("0.9.0", "0.9.0", ["0.10.0"]))
        self.assertIn("is not after", self.refusal("0.9.0", "0.9.0", ["0.9.0"]))

    def test_the_first_release_may_have_the_version_of_the_sources(self):
        release.check_new("0.1.0", "0.1.0", [])
        self.assertIn("is before", self.refusal("0.0.9", "0.1.0", []))

    def test_it_is_set_where_the_project_has_it(self):
        cmake = "cmake_minimum_required(VERSION 3.25)\nproject(korvane VERSION 0.1.0 LANGUAGES CXX)\n"
        self.assertEqual(release.with_version(cmake, "0.2.0"), cmake.replace("0.1.0", "0.2.0"))
        self.assertEqual(release.version_of(cmake), "0.1.0")
        self.assertEqual(release.with_package_version('{\n  "version": "0",\n  "x": "1"\n}\n', "0.2.0"),
                         '{\n  "version": "0.2.0",\n  "x": "1"\n}\n')


class Changelog(unittest.TestCase):
    def test_the_changes_go_under_the_version(self):
        self.assertEqual(
            release.released_changelog(CHANGELOG, "0.2.0", "2026-11-22"),
            CHANGELOG.replace("## Unreleased\n", "## Unreleased\n\n## 0.2.0, 2026-11-22\n"))

    def test_a_release_without_changes_is_refused(self):
        with self.assertRaises(release.Refused):
            release.released_changelog(CHANGELOG.replace("- A new thing.\n", ""), "0.2.0", "2026-11-22")
        with self.assertRaises(release.Refused):
            release.changes("# Changelog\n")

    def test_that_of_the_repository_can_be_released(self):
        self.assertTrue(release.changes((ROOT / "CHANGELOG.md").read_text()))

    def test_every_release_in_it_has_a_project_file(self):
        for version in re.findall(r"^## ([\d.]+)", (ROOT / "CHANGELOG.md").read_text(), re.MULTILINE):
            self.assertTrue((ROOT / release.FIXTURES / f"{version}.db").exists(), version)


class Checksums(unittest.TestCase):
    def test_they_are_of_every_file_but_themselves(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "b").write_bytes(b"")
            (folder / "a").write_bytes(b"a")
            (folder / "SHA256SUMS").write_text("old")
            self.assertEqual(release.checksums(folder), (
                "ca978112ca1bbdcafac231b39a23dc4da786eff8147c4e72b9807785afee48bb  a\n"
                "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855  b\n"))


WRITE_FIXTURE = """#!/bin/sh
echo project >"$1.db"
echo records >"$1.txt"
"""
SBOM = """#!/bin/sh
echo '{}' >"$4"
"""
MAKEFILE = """configure-dev:
package:
\tmkdir -p build/package/packages
\ttouch build/package/packages/korvane_0.2.0_amd64.deb
"""


class WholeRelease(unittest.TestCase):
    """On a small repository, where the build is played."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.tree = Tree(self.folder.name, {
            ".gitignore": "build/\nbin/\n",
            "CMakeLists.txt": "project(korvane VERSION 0.1.0 LANGUAGES CXX)\n",
            "CHANGELOG.md": CHANGELOG,
            "Makefile": MAKEFILE,
            f"{release.FIXTURES}/0.1.0.db": "project",
            "scripts/sbom.py": SBOM,
            "bin/cmake": "#!/bin/sh\n",
        })
        self.played = "build/dev/tests/scenarios/project_file"
        self.tree.write(f"{self.played}/write_project_file", WRITE_FIXTURE)
        self.tree.write(f"{self.played}/project_file_test", "#!/bin/sh\n")
        for name in ("release.py", "sources.py"):
            shutil.copy(SCRIPTS / name, self.tree.root / "scripts")
        for name in ("scripts/sbom.py", "bin/cmake", f"{self.played}/write_project_file",
                     f"{self.played}/project_file_test"):
            (self.tree.root / name).chmod(0o755)
        self.tree.commit()

    def release(self, *arguments):
        identity = {f"GIT_{who}_{what}": "a@example.org" for who in ("AUTHOR", "COMMITTER") for what in ("NAME", "EMAIL")}
        return subprocess.run(
            [str(self.tree.root / "scripts/release.py"), *arguments], check=False, capture_output=True, text=True,
            env={**os.environ, **identity, "PATH": f"{self.tree.root}/bin:{os.environ['PATH']}",
                 "PYTHONDONTWRITEBYTECODE": "1"})

    def test_it_is_committed_tagged_and_laid_out(self):
        made = self.release("0.2.0")
        self.assertEqual(made.returncode, 0, made.stderr)
        self.assertEqual(self.tree.git("status", "--porcelain"), "")
        self.assertEqual(self.tree.git("describe", "--tags"), "v0.2.0")
        self.assertIn("VERSION 0.2.0", self.tree.git("show", "HEAD:CMakeLists.txt"))
        self.assertIn("## 0.2.0, 2", self.tree.git("show", "HEAD:CHANGELOG.md"))
        self.assertEqual(self.tree.git("show", f"HEAD:{release.FIXTURES}/0.2.0.db"), "project")
        folder = self.tree.root / "build/release-0.2.0"
        self.assertEqual(sorted(path.name for path in folder.iterdir()), [
            "SHA256SUMS", "korvane-0.2.0.cdx.json", "korvane-0.2.0.tar.gz", "korvane_0.2.0_amd64.deb"])
        subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"], cwd=folder, check=True)
        archived = subprocess.run(["tar", "-xzOf", str(folder / "korvane-0.2.0.tar.gz"), "korvane-0.2.0/CMakeLists.txt"],
                                  check=True, capture_output=True, text=True).stdout
        self.assertIn("VERSION 0.2.0", archived)
        self.assertIn("is not after 0.2.0", self.release("0.2.0").stderr)

    def test_a_step_that_fails_leaves_all_as_it_was(self):
        before = self.tree.git("rev-parse", "HEAD")
        self.tree.write(f"{self.played}/project_file_test", "#!/bin/sh\nexit 1\n")
        failed = self.release("0.2.0")
        self.assertEqual(failed.returncode, 1)
        self.assertIn("project_file_test --gtest_brief=1 failed", failed.stderr)
        self.assert_unchanged(before)

    def test_a_trial_leaves_all_as_it_was(self):
        before = self.tree.git("rev-parse", "HEAD")
        self.assertEqual(self.release("--dry-run", "0.2.0").returncode, 0)
        self.assert_unchanged(before)
        self.assertTrue((self.tree.root / "build/release-0.2.0/SHA256SUMS").exists())

    def test_what_is_not_committed_is_not_released_over(self):
        self.tree.write("CMakeLists.txt", "project(korvane VERSION 0.1.0 LANGUAGES C)\n")
        self.assertIn("something is not committed", self.release("0.2.0").stderr)
        self.assertIn("LANGUAGES C)", (self.tree.root / "CMakeLists.txt").read_text())

    def assert_unchanged(self, commit):
        self.assertEqual(self.tree.git("rev-parse", "HEAD"), commit)
        self.assertEqual(self.tree.git("status", "--porcelain"), "")
        self.assertEqual(self.tree.git("tag"), "")


class BillOfMaterials(unittest.TestCase):
    def test_what_is_linked_is_found_with_its_package_version_and_licence(self):
        # What this test runs in is as good as any program.
        libraries = sbom.libraries([pathlib.Path("/usr/bin/cmake")], ROOT / "build")
        owners = sbom.owners(libraries)
        self.assertIn("libc6", owners.values())
        self.assertEqual(set(owners), libraries)
        facts = sbom.described(set(owners.values()))
        component = sbom.debian_component("zlib1g", facts["zlib1g"], "linked")
        self.assertTrue(component["purl"].startswith("pkg:deb/debian/zlib1g@1%3A"), component["purl"])
        self.assertIn({"license": {"name": "Zlib"}}, component["licenses"])

    def test_licences_are_those_of_a_copyright_that_programs_can_read(self):
        text = "Format: https://www.debian.org/doc\n\nFiles: *\nLicense: MIT\n\nFiles: a\nLicense: BSL-1.0\n\nLicense: MIT\n of\n"
        self.assertEqual(sbom.licences(text), ["MIT", "BSL-1.0"])
        self.assertEqual(sbom.licences("This is free software.\nLicense: none\n"), [])

    def test_of_npm_what_is_left_behind_at_building_is_left_out(self):
        lock = {"packages": {"": {}, "node_modules/@a/b": {"version": "1.0.0", "license": "MIT"},
                             "node_modules/vite": {"version": "6.0.0", "dev": True}}}
        self.assertEqual([one["purl"] for one in sbom.npm_components(lock)], ["pkg:npm/%40a/b@1.0.0"])

    def test_the_bill_names_the_product_and_all_it_depends_on(self):
        bill = sbom.bill([{"bom-ref": "b"}, {"bom-ref": "a"}], "0.2.0", "2026-11-22T00:00:00Z")
        self.assertEqual(bill["metadata"]["component"]["version"], "0.2.0")
        self.assertEqual(bill["dependencies"], [{"ref": "pkg:generic/korvane@0.2.0", "dependsOn": ["a", "b"]}])
        self.assertEqual(json.dumps(bill), json.dumps(sbom.bill([{"bom-ref": "b"}, {"bom-ref": "a"}], "0.2.0", "2026-11-22T00:00:00Z")))


if __name__ == "__main__":
    unittest.main()
