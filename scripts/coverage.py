#!/usr/bin/env python3
"""Prints which lines and branches of bond/ and of the plugin the tests have taken, after
`ctest --preset coverage`, and every line with a branch that none has. Fails if there is one that is
not excused where it stands:

    code;  // coverage: why no test takes it

    // coverage: why no test takes the line of code
    // that follows this comment
    code;

and for an excuse without a reason, or of a line that is taken.

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

from sources import ROOT, sources

BUILD = ROOT / "build" / "coverage"
FOLDERS = ("bond/", "model/")
EXCUSE = re.compile(r"//\s*coverage:\s*(.*)")


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


def excuses(text):
    """The numbers of the lines that are excused, each with the number of its comment's line and the
    reason."""
    found = {}
    for number, line in enumerate(text, 1):
        match = EXCUSE.search(line)
        if not match:
            continue
        target = number
        if line.lstrip().startswith("//"):
            while target <= len(text) and text[target - 1].lstrip().startswith("//"):
                target += 1
        found[target] = (number, match.group(1).strip())
    return found


def verdicts(name, text, missing):
    """For the file `name`: of each line in `missing` whether it is excused, and of each excuse that
    excuses nothing why. Pairs of a word and a text; all is well if the word is "excused"."""
    excused = excuses(text)
    for number in sorted(missing):
        line = text[number - 1].strip()
        yield ("excused" if number in excused else "NOT TAKEN"), f"{name}:{number}: {line}"
    for target, (number, reason) in sorted(excused.items()):
        if not reason:
            yield "NO REASON", f"{name}:{number}: {text[number - 1].strip()}"
        elif target not in missing:
            yield "TAKEN", f"{name}:{number}: {text[number - 1].strip()}"


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

    failed = False
    for name in (name for name in sources() if name.startswith(FOLDERS)):
        missing = {number for number, count in lines[name].items() if count == 0}
        missing |= {number for (number, _), taken in branches[name].items() if not all(taken)}
        for word, text in verdicts(name, source(name), missing):
            failed |= word != "excused"
            print(f"{word}: {text}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
