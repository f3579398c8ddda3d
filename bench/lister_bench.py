#!/usr/bin/env python3
"""Times KELListInstalls on generated registries, side by side with a minimal reference walk (refwalk.c)
and a plain Python walk (pywalk.py), in one run. Reports the median wall time and peak memory of each
command and its ratio to the reference walk.

usage: bench/lister_bench.py [--sizes 1000,10000,100000] [--runs 5] [--lister build/release/KELListInstalls]

Registries are generated once into /tmp/kel-bench/<N> (bench/gen_registry.py) and shown at /etc/.Quorvane
inside a private mount namespace (scripts/with-registry); the machine's own registry is never touched.
Every command runs once to warm the cache before its measured runs; output goes to /dev/null.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TOP = os.path.dirname(HERE)


def measure(runstat, commands, runs):
    """Inside the namespace: run each command `runs` times through runstat; median wall seconds and
    peak RSS (KiB). The first run of each command only warms the cache."""
    results = {}
    stats = os.path.join(os.path.dirname(runstat), "stats.txt")
    for name, argv in commands:
        if os.path.exists(stats):
            os.unlink(stats)
        for _ in range(runs + 1):
            subprocess.check_call([runstat, stats] + argv)
        with open(stats) as f:
            rows = [line.split() for line in f][1:]
        results[name] = {"wall": statistics.median(float(r[0]) for r in rows), "rss": max(int(r[1]) for r in rows)}
    json.dump(results, sys.stdout)


def main():
    if len(sys.argv) > 1 and sys.argv[1] == "--measure":
        measure(sys.argv[2], json.loads(sys.argv[4]), int(sys.argv[3]))
        return
    ap = argparse.ArgumentParser()
    ap.add_argument("--sizes", default="1000,10000,100000")
    ap.add_argument("--runs", type=int, default=5)
    ap.add_argument("--lister", default=os.path.join(TOP, "build/release/KELListInstalls"))
    args = ap.parse_args()
    lister = os.path.abspath(args.lister)
    work = "/tmp/kel-bench"
    os.makedirs(work, exist_ok=True)
    refwalk = os.path.join(work, "refwalk")
    runstat = os.path.join(work, "runstat")
    subprocess.check_call(["cc", "-O2", "-o", refwalk, os.path.join(HERE, "refwalk.c")])
    subprocess.check_call(["cc", "-O2", "-o", runstat, os.path.join(HERE, "runstat.c")])
    commands = [
        ("refwalk (C, reference)", [refwalk]),
        ("pywalk (Python scandir+json)", [sys.executable, os.path.join(HERE, "pywalk.py")]),
        ("KELListInstalls (XML)", [lister]),
        ("KELListInstalls -json", [lister, "-json"]),
        ("KELListInstalls -type Ser*", [lister, "-type", "Ser*"]),
    ]
    print("| installations | command | median wall (s) | ratio to refwalk | peak RSS (MiB) |")
    print("| ---: | --- | ---: | ---: | ---: |")
    for size in [int(s) for s in args.sizes.split(",")]:
        registry = os.path.join(work, str(size))
        if not os.path.exists(os.path.join(registry, "HKLM.json")):
            subprocess.check_call([sys.executable, os.path.join(HERE, "gen_registry.py"), str(size), registry])
        out = subprocess.check_output([os.path.join(TOP, "scripts/with-registry"), registry, sys.executable,
                                       os.path.abspath(__file__), "--measure", runstat, str(args.runs),
                                       json.dumps(commands)])
        results = json.loads(out)
        base = results[commands[0][0]]["wall"]
        for name, _ in commands:
            r = results[name]
            print("| %d | %s | %.3f | %.2f | %.1f |" % (size, name, r["wall"], r["wall"] / base, r["rss"] / 1024))
        sys.stdout.flush()


if __name__ == "__main__":
    main()
