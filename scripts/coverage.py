#!/usr/bin/env python3
"""Prints which lines and branches of bond/ and of the plugin the tests have taken, after
`ctest --preset coverage`, and every line with a branch that none has. Fails if there is one that
docs/testing.md does not explain.

Not counted are the branches behind calls that may throw, as there is one behind each, nor those of
a closing brace, where the compiler takes down what is half made. What a template becomes for one
type counts together with what it becomes for others: a branch is taken if it is for some type. gcovr
(5.2) tells none of these apart where a template has instances that never run.
"""

import collections
import concurrent.futures
import functools
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "coverage"
FOLDERS = ("bond/", "model/")


def gcov(data_file):
    """gcov's report on one object, of our sources alone."""
    output = subprocess.run(
        ["gcov", "--json-format", "--branch-probabilities", "--stdout", data_file.name],
        cwd=data_file.parent, capture_output=True, check=True).stdout
    files = []
    for line in output.splitlines():
        report = json.loads(line)
        for file in report["files"]:
            path = pathlib.Path(report["current_working_directory"], file["file"]).resolve()
            name = str(path.relative_to(ROOT)) if path.is_relative_to(ROOT) else ""
            if name.startswith(FOLDERS):
                files.append((name, file["lines"]))
    return files


def choices(branches):
    """Whether each branch was taken, without those of calls that may throw."""
    taken = []
    for branch in branches:
        if branch["throw"]:
            if taken:
                taken.pop()  # the way on when the call has returned
        else:
            taken.append(branch["count"] > 0)
    return taken


@functools.cache
def source(name):
    return (ROOT / name).read_text().splitlines()


def main():
    lines = collections.defaultdict(lambda: collections.defaultdict(int))
    branches = collections.defaultdict(dict)
    with concurrent.futures.ThreadPoolExecutor() as pool:
        for files in pool.map(gcov, sorted(BUILD.rglob("*.gcda"))):
            for name, report in files:
                text = source(name)
                for line in report:
                    number = line["line_number"]
                    if not any(character.isalnum() for character in text[number - 1]):
                        continue
                    lines[name][number] += line["count"]
                    taken = choices(line["branches"])
                    if not taken:
                        continue
                    # Instances of one shape are one.
                    before = branches[name].setdefault((number, len(taken)), [False] * len(taken))
                    before[:] = [a or b for a, b in zip(before, taken)]

    print(f"{'':58}{'lines':>14}{'branches':>16}")
    totals = [0, 0, 0, 0]
    for name in sorted(lines):
        taken = [one for line in branches[name].values() for one in line]
        counts = [sum(count > 0 for count in lines[name].values()), len(lines[name]),
                  sum(taken), len(taken)]
        totals = [a + b for a, b in zip(totals, counts)]
        print(f"{name:58}{counts[0]:>7}/{counts[1]:<6}{counts[2]:>9}/{counts[3]}")
    print(f"{'all':58}{totals[0]:>7}/{totals[1]:<6}{totals[2]:>9}/{totals[3]}")

    explained = set(re.findall(r"^\| `([^`]+)` \|", (ROOT / "docs/testing.md").read_text(), re.M))
    is_unexplained = False
    for name in sorted(lines):
        missing = {number for number, count in lines[name].items() if count == 0}
        missing |= {number for (number, _), taken in branches[name].items() if not all(taken)}
        for number in sorted(missing):
            line = source(name)[number - 1].strip()
            is_explained = line.replace("|", "\\|") in explained
            is_unexplained |= not is_explained
            print(f"{'explained' if is_explained else 'NOT TAKEN'}: {name}:{number}: {line}")
    return 1 if is_unexplained else 0


if __name__ == "__main__":
    sys.exit(main())
