#!/usr/bin/env python3
"""Reads binary property lists with plistlib and compares them with the random dictionaries that
generate_property_lists.py makes: check_property_lists.py COUNT FILE. Each line of FILE is one list in
Base64, written in the dictionary's order, and the same list written in any order. The former must be
plistlib's own bytes."""
import base64
import plistlib
import sys

import generate_property_lists as generator


def unshared(item):
    """A copy in which no container is used twice; plistlib would write such a one once."""
    if isinstance(item, list):
        return [unshared(entry) for entry in item]
    if isinstance(item, dict):
        return {key: unshared(entry) for key, entry in item.items()}
    return item


def in_order(tagged):
    """Tagged values with the keys of dictionaries sorted."""
    kind, value = next(iter(tagged.items()))
    if kind == "array":
        return {kind: [in_order(entry) for entry in value]}
    if kind == "dict":
        return {kind: sorted([key, in_order(entry)] for key, entry in value)}
    return tagged


def main():
    count = int(sys.argv[1])
    checked = 0
    with open(sys.argv[2], encoding="ascii") as lists:
        for number, (root, line) in enumerate(zip(generator.roots(count), lists, strict=True)):
            ordered, sorted_one = (base64.b64decode(field) for field in line.split())
            expected = generator.tagged(root)
            if generator.tagged(plistlib.loads(ordered)) != expected:
                sys.exit(f"list {number}: other values")
            if in_order(generator.tagged(plistlib.loads(sorted_one))) != in_order(expected):
                sys.exit(f"list {number}: other values where the keys are sorted")
            if ordered != plistlib.dumps(unshared(root), fmt=plistlib.FMT_BINARY, sort_keys=False):
                sys.exit(f"list {number}: other bytes")
            checked += 1
    print(checked)


main()
