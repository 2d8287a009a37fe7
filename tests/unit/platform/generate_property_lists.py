#!/usr/bin/env python3
"""Prints random dictionaries as JSON: each in both property-list forms, written by plistlib, and as
tagged values that a reader's result can be compared with. The seed is fixed."""
import base64
import datetime
import json
import plistlib
import random
import struct
import sys

rng = random.Random(20210304)
ALPHABETS = [
    "abcXYZ0189 .:/=",
    "abc<>&\"']]>\n\t",
    "äöüßéñ\u20ac\u4e2d\u6587",
    "\U0001f600\U0001d11e\U00010348z",
    "\ufeff\u200d\ue000\ufffd\u0301",
]


def text():
    alphabet = rng.choice(ALPHABETS)
    length = rng.choice([0, 1, 2, 3, 14, 15, 16, 40, 255, 256, 300])
    return "".join(rng.choice(alphabet) for _ in range(length))


def integer():
    bits = rng.choice([1, 7, 8, 15, 16, 31, 32, 33, 62, 63])
    value = rng.getrandbits(bits)
    special = rng.random()
    if special < 0.05:
        return 2**63 + rng.getrandbits(63)
    if special < 0.1:
        return rng.choice([-2**63, 2**63 - 1, 2**63, 2**64 - 1, -1, 0, 2**31, 2**32 - 1, 2**32])
    return -value if special < 0.5 else value


def real():
    if rng.random() < 0.2:
        # -0.0 is left out: plistlib takes it for the same object as 0.0
        return rng.choice([0.0, 1e308, -5e-324, float("inf"), float("-inf"), 0.1])
    while True:
        value = struct.unpack(">d", rng.randbytes(8))[0]
        if value == value:
            return value


def date():
    return datetime.datetime(1, 1, 1) + datetime.timedelta(seconds=rng.randrange(315537897599))


def value(depth):
    kind = rng.randrange(8 if depth < 4 else 6)
    if kind == 0:
        return text()
    if kind == 1:
        return rng.random() < 0.5
    if kind == 2:
        return integer()
    if kind == 3:
        return real()
    if kind == 4:
        return date()
    if kind == 5:
        return rng.randbytes(rng.choice([0, 1, 2, 3, 14, 15, 64, 300]))
    if kind == 6:
        items = [value(depth + 1) for _ in range(rng.choice([0, 1, 3, 15, 16]))]
        if items and rng.random() < 0.3:
            items.append(items[0])  # one object, used twice
        return items
    return dictionary(depth + 1)


def dictionary(depth):
    return {text(): value(depth) for _ in range(rng.choice([0, 1, 2, 5]))}


def tagged(item):
    if isinstance(item, bool):
        return {"bool": item}
    if isinstance(item, str):
        return {"string": item}
    if isinstance(item, int):
        return {"integer": str(item)}
    if isinstance(item, float):
        return {"real": str(struct.unpack(">Q", struct.pack(">d", item))[0])}
    if isinstance(item, datetime.datetime):
        return {"date": item.strftime("%Y").zfill(4) + item.strftime("-%m-%dT%H:%M:%S")}
    if isinstance(item, bytes):
        return {"data": item.hex()}
    if isinstance(item, list):
        return {"array": [tagged(entry) for entry in item]}
    return {"dict": [[key, tagged(entry)] for key, entry in item.items()]}


def roots(count):
    for _ in range(count):
        yield dictionary(rng.choice([0, 1, 2]))


def main():
    lists = []
    for root in roots(int(sys.argv[1])):
        lists.append({
            "binary": base64.b64encode(plistlib.dumps(root, fmt=plistlib.FMT_BINARY,
                                                      sort_keys=False)).decode(),
            "xml": base64.b64encode(plistlib.dumps(root, fmt=plistlib.FMT_XML)).decode(),
            "value": tagged(root),
        })
    json.dump(lists, sys.stdout)


if __name__ == "__main__":
    main()
