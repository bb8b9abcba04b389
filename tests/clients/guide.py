#!/usr/bin/env python3
"""Prints an example of a page, as it stands there: guide.py PAGE NAME

An example is the block of code after `<!-- example: NAME -->`.
"""
import re
import sys


def main():
    page, name = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        text = file.read()
    found = re.findall(rf"<!-- example: {re.escape(name)} -->\n```\w*\n(.*?)```\n", text, re.DOTALL)
    if len(found) != 1:
        sys.exit(f"{page}: {len(found)} examples of the name {name}")
    sys.stdout.write(found[0])


main()
