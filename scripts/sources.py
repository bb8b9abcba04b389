#!/usr/bin/env python3
"""Which files of the repository are sources, for the checks beside this file; run by itself it
prints them."""

import os
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
SUFFIXES = (".h", ".cpp")
NOT_SOURCES = {"build", "node_modules"}
# Folders of sources that are no part of what is installed.
ABOUT_THE_PRODUCT = ("tests", "bench", "fuzz")


def git(*arguments, root=ROOT):
    """What git prints, or None where there is no git, no repository or no such commit."""
    try:
        result = subprocess.run(["git", *arguments], cwd=root, capture_output=True, text=True)
    except FileNotFoundError:
        return None
    return result.stdout if result.returncode == 0 else None


def files(root=ROOT):
    """All files of the repository by their path from `root`: git's, those that are not added yet
    among them; of a folder without git, all that are there."""
    listed = git("ls-files", "-z", "--cached", "--others", "--exclude-standard", root=root)
    if listed is not None and not is_inside_other(root):
        return sorted({name for name in listed.split("\0") if (root / name).is_file()})
    names = set()
    for folder, subfolders, found in os.walk(root):
        subfolders[:] = [name for name in subfolders
                         if name not in NOT_SOURCES and not name.startswith(".")]
        names |= {os.path.relpath(os.path.join(folder, name), root) for name in found}
    return sorted(names)


def is_inside_other(root):
    """Whether the folder is only a part of git's working tree, such as a copy in build/."""
    top = git("rev-parse", "--show-toplevel", root=root)
    return top is not None and pathlib.Path(top.strip()).resolve() != pathlib.Path(root).resolve()


def sources(root=ROOT):
    """The sources in C++ among them."""
    return [name for name in files(root) if name.endswith(SUFFIXES)]


def is_product(name):
    return name.split("/")[0] not in ABOUT_THE_PRODUCT


if __name__ == "__main__":
    print("\n".join(sources()))
