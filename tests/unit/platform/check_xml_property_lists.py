#!/usr/bin/env python3
"""Reads XML property lists with plistlib and compares them with the random dictionaries that
generate_property_lists.py makes: check_xml_property_lists.py COUNT FILE. Each line of FILE is one list
in Base64, written in the dictionary's order."""
import base64
import plistlib
import sys

import generate_property_lists as generator


def main():
    count = int(sys.argv[1])
    checked = 0
    with open(sys.argv[2], encoding="ascii") as lists:
        for number, (root, line) in enumerate(zip(generator.roots(count), lists, strict=True)):
            read = plistlib.loads(base64.b64decode(line), fmt=plistlib.FMT_XML)
            if generator.tagged(read) != generator.tagged(root):
                sys.exit(f"list {number}: other values")
            checked += 1
    print(checked)


main()
