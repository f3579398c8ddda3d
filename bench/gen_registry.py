#!/usr/bin/env python3
"""Writes a registry of N installations in the key-file layout, for benchmarks and manual tests.

usage: gen_registry.py N OUTDIR

OUTDIR receives HKLM.json and HKLM/ (mount it at /etc/.Quorvane with scripts/with-registry). The product
tree holds N installations spread over 10 build levels and 10 installation types per level; the common
tree holds 10 more. Key files are written the way the registry writes them back (compact JSON).
"""
import os
import sys


def write_key(folder, name, values):
    """Key file folder/name.json with the given string values, and the key folder beside it."""
    body = ",".join('"%s":[3,"%s"]' % (k, v) for k, v in values.items())
    with open(os.path.join(folder, name + ".json"), "w") as f:
        f.write('{"Version":"1.0","%s":{%s}}' % (name, body))
    os.makedirs(os.path.join(folder, name), exist_ok=True)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    count, out = int(sys.argv[1]), sys.argv[2]
    os.makedirs(out, exist_ok=True)
    open(os.path.join(out, "HKLM.json"), "w").close()
    folder = os.path.join(out, "HKLM")
    for part in ("SOFTWARE", "Quorvane"):
        os.makedirs(folder, exist_ok=True)
        write_key(folder, part, {})
        folder = os.path.join(folder, part)
    write_key(folder, "Q4", {})
    write_key(folder, "Q4_Common", {})
    levels = ["B%d" % (410 + i) for i in range(10)]
    types = ["Desktop", "Server", "Viewer", "Studio", "Lab", "Farm", "Kiosk", "Cloud", "Edge", "Build"]
    made = 0
    for slot in range(100):
        level, kind = levels[slot // 10], types[slot % 10]
        share = count // 100 + (1 if slot < count % 100 else 0)
        type_folder = os.path.join(folder, "Q4", level)
        os.makedirs(type_folder, exist_ok=True)
        write_key(type_folder, kind, {})
        ident_folder = os.path.join(type_folder, kind)
        for i in range(share):
            ident = "I%07d" % made
            values = {"Path": "/opt/Quorvane/%s/%s/%s" % (level, kind, ident)}
            if made % 7:
                values["SPlevel"] = "%s.%d" % (level[1:], made % 5)
            write_key(ident_folder, ident, values)
            made += 1
    for level in levels:
        write_key(os.path.join(folder, "Q4"), level, {})
    for i, kind in enumerate(types):
        write_key(os.path.join(folder, "Q4_Common"), kind,
                  {"GAlevel": levels[i], "Path": "/opt/Quorvane/Common/" + kind, "SPlevel": levels[i][1:] + ".1"})


if __name__ == "__main__":
    main()
