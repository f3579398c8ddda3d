#!/usr/bin/env python3
"""The least an import of a KELReg export document must do, as a baseline for `KELReg import`.

usage: import_py.py DOC ROOT

Reads DOC with json.load and writes each key as KELReg lays it out below ROOT: the folder
HIVE/A/B made with os.makedirs, the key file HIVE/A/B.json holding {"Version":"1.0","B":{values}}
(the parents of the document's key get empty files). Nothing is synced, nothing is journaled.
"""
import json
import os
import sys

HIVES = {"HKLM": "HKLM", "HKEY_LOCAL_MACHINE": "HKLM", "HKCU": "HKCU", "HKEY_CURRENT_USER": "HKCU",
         "HKCR": "HKCR", "HKEY_CLASSES_ROOT": "HKCR"}


def write(path, text):
    with open(path, "w") as out:
        out.write(text)


def put(folder, name, key):
    path = os.path.join(folder, name)
    os.makedirs(path, exist_ok=True)
    write(path + ".json", json.dumps({"Version": "1.0", name: key.get("Values", {})}, separators=(",", ":")))
    for sub, tree in key.get("Subkeys", {}).items():
        put(path, sub, tree)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    with open(sys.argv[1]) as doc_file:
        doc = json.load(doc_file)
    parts = doc["Key"].replace("/", "\\").split("\\")
    folder = os.path.join(sys.argv[2], HIVES[parts[0].upper()])
    if not os.path.exists(folder + ".json"):
        write(folder + ".json", "")
    for part in parts[1:-1]:
        os.makedirs(os.path.join(folder, part), exist_ok=True)
        if not os.path.exists(os.path.join(folder, part) + ".json"):
            write(os.path.join(folder, part) + ".json", "")
        folder = os.path.join(folder, part)
    put(folder, parts[-1], doc)


main()
