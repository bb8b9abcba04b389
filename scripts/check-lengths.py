#!/usr/bin/env python3
"""Fails for every file of the product that has more lines than a reader keeps in mind. What a
function may have is clang-tidy's to check (readability-function-size)."""

import sys

from sources import ROOT, is_product, sources

LINES = 400


def too_long(root=ROOT, most=LINES):
    """The files with more than `most` lines, with their number of lines."""
    lengths = ((name, len((root / name).read_bytes().splitlines()))
               for name in sources(root) if is_product(name))
    return [(name, length) for name, length in lengths if length > most]


def main():
    found = too_long()
    for name, length in found:
        print(f"{name}: {length} lines, more than {LINES}")
    print(f"== lengths: {len(found)} files of more than {LINES} lines" if found else
          f"== lengths: no file of the product has more than {LINES} lines")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
