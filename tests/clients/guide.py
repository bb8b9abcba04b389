#!/usr/bin/env python3
"""Writes an example of a page into a file, as it stands there: guide.py PAGE NAME FILE

An example is the block of code after `<!-- example: NAME -->`, and what it prints is the one after
`<!-- prints: NAME -->`, which is written for the name "prints: NAME".
"""
import re
import sys


def main():
    page, name, target = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        text = file.read()
    found = re.findall(rf"<!-- (?:example: )?{re.escape(name)} -->\n```\w*\n(.*?)```\n", text, re.DOTALL)
    if len(found) != 1:
        sys.exit(f"{page}: {len(found)} examples of the name {name}")
    with open(target, "w", encoding="utf-8") as file:
        file.write(found[0])


main()
