#!/usr/bin/env python3
"""Makes a release: make release VERSION=1.2.0

In this order, and nothing at all if one of the steps fails but files below build/:

1. looks whether all is committed, the version is a new one and CHANGELOG.md has something to say;
2. sets the version where it stands, and puts it over the changes with the day's date;
3. writes a project file of this version to tests/data/project_files, where every later version has to
   read it, and tests that and those of all versions before;
4. makes the packages (make package), an archive of the source, the bill of materials and the
   checksums, in build/release-VERSION/;
5. commits and tags. Nothing is pushed.

With --dry-run it does not commit, and puts back what it changed.
"""

import argparse
import datetime
import hashlib
import pathlib
import re
import shutil
import subprocess
import sys

from sources import ROOT

FIXTURES = "tests/data/project_files"
UNRELEASED = "## Unreleased\n"
NUMBERS = re.compile(r"(\d+)\.(\d+)\.(\d+)")


class Refused(Exception):
    """Why no release can be made."""


def numbers(version):
    """(1, 2, 0) of "1.2.0"."""
    match = NUMBERS.fullmatch(version)
    if not match:
        raise Refused(f'"{version}" is not a version: expected three numbers, 1.2.0')
    return tuple(int(number) for number in match.groups())


def check_new(version, current, released):
    """Refuses a version that is not after the ones released, or that goes back from the current."""
    for other in released:
        if numbers(version) <= numbers(other):
            raise Refused(f"{version} is not after {other}, which is released")
    if numbers(version) < numbers(current):
        raise Refused(f"{version} is before {current}, which the sources are of")


def version_of(cmake):
    return re.search(r"^project\(korvane VERSION ([\d.]+)", cmake, re.MULTILINE)[1]


def with_version(cmake, version):
    return re.sub(r"^(project\(korvane VERSION )[\d.]+", rf"\g<1>{version}", cmake, count=1, flags=re.MULTILINE)


def changes(changelog):
    """What is said of the version that is not released yet."""
    if changelog.count(UNRELEASED) != 1:
        raise Refused(f'CHANGELOG.md does not have "{UNRELEASED.strip()}" once')
    return changelog.split(UNRELEASED)[1].split("\n## ")[0].strip()


def released_changelog(changelog, version, day):
    """The changes under their version, and nothing under "Unreleased"."""
    if not changes(changelog):
        raise Refused('CHANGELOG.md says nothing under "Unreleased"')
    return changelog.replace(UNRELEASED, f"{UNRELEASED}\n## {version}, {day}\n")


def with_package_version(text, version):
    """The description of a package of npm with another version."""
    return re.sub(r'^(\s*"version": )"[^"]*"', rf'\g<1>"{version}"', text, count=1, flags=re.MULTILINE)


def checksums(folder):
    """As sha256sum writes and reads them."""
    return "".join(f"{hashlib.sha256(path.read_bytes()).hexdigest()}  {path.name}\n"
                   for path in sorted(folder.iterdir()) if path.name != "SHA256SUMS")


def run(*command, **options):
    print("+", *command, flush=True)
    return subprocess.run(command, cwd=ROOT, check=True, **options)


def git(*arguments):
    return run("git", *arguments, capture_output=True, text=True).stdout.strip()


def write_fixture(version):
    """The project file of this version, and the test that holds every version's to this one."""
    build = ROOT / "build/dev"
    run("make", "configure-dev")
    run("cmake", "--build", "--preset", "dev", "--target", "write_project_file", "project_file_test")
    name = ROOT / FIXTURES / version
    if not name.with_name(f"{version}.db").exists():
        run(str(build / "tests/scenarios/project_file/write_project_file"), str(name))
    run(str(build / "tests/scenarios/project_file/project_file_test"), "--gtest_brief=1")


def make_files(version, folder):
    """What is handed out."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    run("make", "package")
    packages = sorted((ROOT / "build").glob(f"package/packages/*_{version}_*.deb"))
    if not packages:
        raise Refused(f"make package has made no package of {version}")
    for package in packages:
        shutil.copy(package, folder)
    run("scripts/sbom.py", "--build", "build/package", "--output", str(folder / f"korvane-{version}.cdx.json"))
    run("git", "archive", f"--prefix=korvane-{version}/", f"--output={folder}/korvane-{version}.tar.gz",
        git("stash", "create") or "HEAD")
    (folder / "SHA256SUMS").write_text(checksums(folder))


def set_version(version):
    """Writes the version wherever it stands. Returns the files."""
    files = {"CMakeLists.txt": lambda text: with_version(text, version),
             "CHANGELOG.md": lambda text: released_changelog(text, version, datetime.date.today().isoformat())}
    for name in ("clients/typescript/package.json",):
        if (ROOT / name).exists():
            files[name] = lambda text: with_package_version(text, version)
    for name, change in files.items():
        (ROOT / name).write_text(change((ROOT / name).read_text()))
    return list(files)


def release(version, is_tried):
    if git("status", "--porcelain"):
        raise Refused("something is not committed")
    released = [tag[1:] for tag in git("tag", "--list", "v*").split() if NUMBERS.fullmatch(tag[1:])]
    check_new(version, version_of((ROOT / "CMakeLists.txt").read_text()), released)
    changes((ROOT / "CHANGELOG.md").read_text())
    folder = ROOT / f"build/release-{version}"
    done = False
    try:
        files = set_version(version)
        write_fixture(version)
        run("git", "add", *files, FIXTURES)
        make_files(version, folder)
        if not is_tried:
            run("git", "commit", "--quiet", "-m", f"Release {version}")
            run("git", "tag", "--annotate", f"v{version}", "-m", f"korvane {version}")
            done = True
    finally:
        if not done:
            run("git", "reset", "--quiet", "--hard")
            run("git", "clean", "--quiet", "--force", "--", FIXTURES)
    print(f"== {folder.relative_to(ROOT)}")
    print((folder / "SHA256SUMS").read_text(), end="")
    if done:
        print(f"== committed and tagged: git push origin HEAD v{version}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("version")
    parser.add_argument("--dry-run", action="store_true", help="put everything back but what is below build/")
    options = parser.parse_args()
    try:
        release(options.version, options.dry_run)
    except Refused as why:
        sys.exit(f"no release: {why}")
    except subprocess.CalledProcessError as failure:
        sys.exit(f"no release: {' '.join(map(str, failure.cmd))} failed")


if __name__ == "__main__":
    main()
