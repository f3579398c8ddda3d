#!/usr/bin/env python3
"""Writes a KELReg import document of one shape, as near to SIZE bytes as the shape allows, never over.

usage: gen_import.py SHAPE SIZE OUT [--fault]

Shapes:
  installs  the export document of a product tree (HKLM\\SOFTWARE\\Quorvane\\Q4): build levels, types and
            installation keys holding Path and SPlevel, indented as export writes it
  subkeys   one key holding empty subkeys only ("k0000001": {}), compact: the most keys per byte
  values    keys of 40,000 small REG_DWORD values each ("v00001": [1, 7]), compact
  lists     keys holding one REG_MULTI_SZ value of 200,000 empty strings each, compact: the most strings
            per byte
--fault ends the document with a stray byte, so that import reads and checks it whole, then refuses it
without writing anything (for shapes whose keys would take too long to write).
"""
import sys


def installs(out, size):
    out.write('{\n  "Key": "HKLM\\\\SOFTWARE\\\\Quorvane\\\\Q4",\n  "Values": {},\n  "Subkeys": {\n')
    levels = ["B%d" % (410 + i) for i in range(10)]
    types = ["Desktop", "Server", "Viewer", "Studio", "Lab", "Farm", "Kiosk", "Cloud", "Edge", "Build"]
    per_type = max(1, (size - 4096) // 100 // 207)
    made = 0
    for li, level in enumerate(levels):
        out.write('%s    "%s": {\n      "Values": {},\n      "Subkeys": {\n' % ("" if li == 0 else ",\n", level))
        for ti, kind in enumerate(types):
            out.write('%s        "%s": {\n          "Values": {},\n          "Subkeys": {\n'
                      % ("" if ti == 0 else ",\n", kind))
            for i in range(per_type):
                ident = "I%07d" % made
                values = '              "Path": [3, "/opt/Quorvane/%s/%s/%s"]' % (level, kind, ident)
                if made % 7:
                    values += ',\n              "SPlevel": [3, "%s.%d"]' % (level[1:], made % 5)
                out.write('%s            "%s": {\n              "Values": {\n%s\n            },\n'
                          '              "Subkeys": {}\n            }' % ("" if i == 0 else ",\n", ident, values))
                made += 1
            out.write("\n          }\n        }")
        out.write("\n      }\n    }")
    out.write("\n  }\n}\n")


def repeat(out, size, head, item, per_group, group_head, group_tail, tail):
    """head, then groups of per_group items (item(i) gives each) between group_head(g) and group_tail,
    separated by commas, then tail; stops before SIZE would be passed."""
    out.write(head)
    used, g, i = len(head) + len(tail), 0, 0
    while True:
        gh = ("," if g else "") + group_head(g)
        if used + len(gh) + len(group_tail) + len(item(0)) > size:
            break
        out.write(gh)
        used += len(gh) + len(group_tail)
        for k in range(per_group):
            text = ("," if k else "") + item(i)
            if used + len(text) > size:
                break
            out.write(text)
            used += len(text)
            i += 1
        out.write(group_tail)
        g += 1
    out.write(tail)


def main():
    if len(sys.argv) not in (4, 5) or (len(sys.argv) == 5 and sys.argv[4] != "--fault"):
        sys.exit(__doc__)
    shape, size, path = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    fault = len(sys.argv) == 5
    size -= 1 if fault else 0
    with open(path, "w") as out:
        if shape == "installs":
            installs(out, size)
        elif shape == "subkeys":
            repeat(out, size, '{"Key":"HKLM\\\\S","Subkeys":{', lambda i: '"k%07d":{}' % i, 1 << 62,
                   lambda g: "", "", "}}")
        elif shape == "values":
            repeat(out, size, '{"Key":"HKLM\\\\V","Subkeys":{', lambda i: '"v%05d":[1,7]' % (i % 40000), 40000,
                   lambda g: '"k%05d":{"Values":{' % g, "}}", "}}")
        elif shape == "lists":
            repeat(out, size, '{"Key":"HKLM\\\\L","Subkeys":{', lambda i: '""', 200000,
                   lambda g: '"k%05d":{"Values":{"v":[4,[' % g, "]]}}", "}}")
        else:
            sys.exit(__doc__)
        if fault:
            out.write("x")


main()
