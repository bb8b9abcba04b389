#!/usr/bin/env python3
"""Checks the list of headers that are installed, packaging/headers.txt: each line is a header of the
product that there is, named once, and every header that one of them includes is on the list too."""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def listed(text):
    """The headers of the list, in its order."""
    return [line.strip() for line in text.splitlines() if line.strip() and not line.startswith('#')]


def findings(root, headers):
    """What is wrong with the list, a line each."""
    found = []
    for header in sorted({one for one in headers if headers.count(one) > 1}):
        found.append(f'{header} is listed twice')
    for header in dict.fromkeys(headers):
        file = root / header
        if not header.endswith('.h') or not file.is_file():
            found.append(f'{header} is not a header of the repository')
            continue
        for included in INCLUDE.findall(file.read_text(encoding='utf-8')):
            if included not in headers:
                found.append(f'{header} includes {included}, which is not listed')
    return found


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent)
    list_file = root / 'packaging/headers.txt'
    found = findings(root, listed(list_file.read_text(encoding='utf-8')))
    for line in found:
        print(f'{list_file.name}: {line}', file=sys.stderr)
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main())
