#!/usr/bin/env python3
"""What a user would write instead of the lister: the same walk with os.scandir and json.load, printing
one line per installation (no filters). A point of comparison for bench/lister_bench.py."""
import json
import os
import sys

ROOT = "/etc/.Quorvane/HKLM/SOFTWARE/Quorvane"


def subkeys(folder):
    try:
        entries = list(os.scandir(folder))
    except OSError:
        return []
    dirs = {e.name for e in entries if e.is_dir()}
    return [e.name[:-5] for e in entries if e.name.endswith(".json") and e.is_file() and e.name[:-5] in dirs]


def values(path, name):
    try:
        with open(path, "rb") as f:
            doc = json.load(f)
    except (OSError, ValueError):
        return {}
    vals = doc.get(name, {}) if isinstance(doc, dict) else {}
    return {k: v[1] for k, v in vals.items() if isinstance(v, list) and len(v) == 2 and v[0] == 3}


def main():
    out = []
    q4 = os.path.join(ROOT, "Q4")
    for level in subkeys(q4):
        for kind in subkeys(os.path.join(q4, level)):
            folder = os.path.join(q4, level, kind)
            for ident in subkeys(folder):
                v = values(os.path.join(folder, ident + ".json"), ident)
                out.append("%s %s %s %s %s" % (level, kind, v.get("SPlevel", "UNKNOWN"), ident, v.get("Path", "")))
    common = os.path.join(ROOT, "Q4_Common")
    for kind in subkeys(common):
        v = values(os.path.join(common, kind + ".json"), kind)
        out.append("%s %s %s NONE %s" % (v.get("GAlevel", ""), kind, v.get("SPlevel", "UNKNOWN"), v.get("Path", "")))
    sys.stdout.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
