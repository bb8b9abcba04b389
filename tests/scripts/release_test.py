import json
import pathlib
import re
import tempfile
import unittest

from loaded import SCRIPTS, script

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
