#!/usr/bin/env python3
"""Runs clang-tidy over the sources that have changed since the last release: at most LINT_SOURCES
(30) of them, the product's before its tests', the last changed first. Without clang's static
analyzer, which takes most of the time. `make lint` leaves nothing out.

The last release is the last tag that HEAD descends from, else the commit that set the version in
CMakeLists.txt. Where neither can be known (no git, a shallow clone without a tag) everything counts
as changed.

A header is checked with a source that includes it: its own, else the nearest.
"""

import collections
import json
import multiprocessing.pool
import os
import pathlib
import re
import subprocess
import sys

from sources import ROOT, git, is_product, sources

BUILD = "build/lint"
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def last_release(root=ROOT):
    """The commit that HEAD is compared with, and how it was found; (None, why) without one."""
    if git("rev-parse", "HEAD", root=root) is None:
        return None, "there is no git repository"
    tag = git("describe", "--tags", "--abbrev=0", root=root)
    if tag:
        return tag.strip(), "the last tag"
    if (git("rev-parse", "--is-shallow-repository", root=root) or "").strip() == "true":
        return None, "the clone is shallow and has no tag"
    commit = git("log", "-1", "--format=%H", r"-G^project\(.*VERSION", "--", "CMakeLists.txt",
                 root=root)
    if commit and commit.strip():
        return commit.strip(), "the commit that set the version"
    return None, "no commit set a version"


def changed_files(root=ROOT):
    """The sources that have changed, the last changed first, and a sentence that says since when."""
    present = sources(root)
    release, how = last_release(root)
    if release is None:
        return present, f"all sources, as {how}"
    names = []
    for output in (git("diff", "--name-only", "HEAD", root=root),
                   git("ls-files", "--others", "--exclude-standard", root=root),
                   git("log", "--format=", "--name-only", "-m", "--first-parent",
                       f"{release}..HEAD", root=root)):
        names += (output or "").splitlines()
    known = set(present)
    return ([name for name in dict.fromkeys(names) if name in known],
            f"what has changed since {release[:12]}, {how}")


def including(root, names):
    """For each file the files that include it directly."""
    result = collections.defaultdict(list)
    for name in names:
        for included in INCLUDE.findall((root / name).read_text(errors="replace")):
            result[included].append(name)
    return result


def source_of(name, includers, known):
    """The source to check the file `name` with; None if no source includes it."""
    own = str(pathlib.PurePath(name).with_suffix(".cpp"))
    if own in known:
        return own
    seen, queue = {name}, collections.deque([name])
    while queue:
        for includer in includers[queue.popleft()]:
            if includer in known:
                return includer
            if includer not in seen:
                seen.add(includer)
                queue.append(includer)
    return None


def compiled_sources(root=ROOT):
    """Whose commands clang-tidy has: the sources of the build that compiles them one by one."""
    commands = json.loads((root / BUILD / "compile_commands.json").read_text())
    paths = (pathlib.Path(command["file"]) for command in commands)
    return {str(path.relative_to(root)) for path in paths if path.is_relative_to(root)}


def chosen_sources(known, root=ROOT, most=30):
    """Which of the sources `known` to check, how many there would be without a limit, and since
    when they have changed."""
    includers = including(root, sources(root))
    changed, since = changed_files(root)
    chosen = dict.fromkeys(source_of(name, includers, known) for name in changed)
    chosen.pop(None, None)
    ordered = sorted(chosen, key=lambda name: not is_product(name))
    return ordered[:most], len(ordered), since


def tidy(name):
    result = subprocess.run(
        ["clang-tidy", "-quiet", "-checks=-clang-analyzer-*", "-p", BUILD,
         "-extra-arg=-Wno-unknown-warning-option", name],
        cwd=ROOT, capture_output=True, text=True)
    return name, result.returncode, result.stdout


def main():
    most = int(os.environ.get("LINT_SOURCES", "30"))
    chosen, total, since = chosen_sources(compiled_sources(), most=most)
    failed = 0
    with multiprocessing.pool.ThreadPool(os.cpu_count()) as pool:
        for name, status, output in pool.imap_unordered(tidy, chosen):
            if status != 0:
                failed += 1
                print(f"{name}:\n{output}")
    left_out = f"; {total - len(chosen)} more are left to `make lint`" if total > len(chosen) else ""
    print(f"== lint: {len(chosen)} sources, {failed} with findings, of {since}{left_out}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
