#!/usr/bin/env python3
"""Fails for every #include "…" that goes to a folder which scripts/folders.txt does not allow."""

import pathlib
import re
import sys

from sources import ROOT, sources

TABLE = "scripts/folders.txt"
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
# Made by the build, so in no folder of the repository.
GENERATED = re.compile(r"(\.pb|_generated)\.h$")


class Folders:
    """The table: for each of its folders the set of those that it may include."""

    def __init__(self, text):
        self.allowed = {}
        for number, line in enumerate(text.splitlines(), 1):
            line = line.split("#")[0].strip()
            if not line:
                continue
            folder, colon, names = line.partition(":")
            if not colon or folder in self.allowed:
                raise ValueError(f"{TABLE}:{number}: not a line 'FOLDER: FOLDERS', or a second one")
            self.allowed[folder] = {folder}.union(
                *(self._above(name, f"{TABLE}:{number}") for name in names.split()))

    def _above(self, name, place):
        if name == "*":
            return set(self.allowed)
        if name.endswith("/"):
            found = {folder for folder in self.allowed if folder.startswith(name)}
        else:
            found = {name} & set(self.allowed)
        if not found:
            raise ValueError(f"{place}: {name} is in no line above")
        return found

    def of(self, name):
        """The table's folder that the file `name` is in. None if it has no line."""
        parents = [str(parent) for parent in pathlib.PurePath(name).parents]
        for folder in parents:
            if folder in self.allowed:
                has_rooms = any(other.startswith(folder + "/") for other in self.allowed)
                return None if has_rooms and folder != parents[0] else folder
        return None


def violations(folders, root=ROOT):
    """A line of text for each include that is not allowed."""
    found = []
    for name in sources(root):
        folder = folders.of(name)
        if folder is None:
            found.append(f"{name}: {pathlib.PurePath(name).parent} has no line in {TABLE}")
            continue
        text = (root / name).read_text(errors="replace")
        for match in INCLUDE.finditer(text):
            included = match.group(1)
            place = f"{name}:{text.count(chr(10), 0, match.start(1)) + 1}"
            if GENERATED.search(included):
                continue
            if not (root / included).is_file():
                found.append(f'{place}: "{included}" is not a path from the root of the repository')
                continue
            target = folders.of(included)
            if target not in folders.allowed[folder]:
                found.append(f'{place}: {folder} may not include {target or "what has no line"}:'
                             f' "{included}"')
    return found


def main():
    found = violations(Folders((ROOT / TABLE).read_text()))
    for line in found:
        print(line)
    print(f"== includes: {len(found)} against {TABLE}" if found else
          f"== includes: all go the way of {TABLE}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
