#!/usr/bin/env bash
# bench/kelreg_cpu.sh SIZE RUNS [BUILD_DIR [KELREG_ARGS]]
#
# CPU time of `KELReg KELREG_ARGS` (by default `export HKLM/SOFTWARE/Quorvane/Q4`, the product tree;
# "query HKLM/SOFTWARE/Quorvane/Q4 -s" for the printed tree, `check HKLM` for the check) beside `KELListInstalls -json` on the generated registry /tmp/kel-bench/SIZE (bench/gen_registry.py), both reading the same
# keys at /etc/.Quorvane in one private mount namespace. The commands take turns, RUNS rounds after a
# warming run each (bench/lister_cpu.sh --inside); prints the median of each and its ratio to the lister.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 2 ]; then
  echo "usage: bench/kelreg_cpu.sh SIZE RUNS [BUILD_DIR [KELREG_ARGS]]" >&2
  exit 2
fi
size=$1 runs=$2
build=$(cd "${3:-$here/../build/release}" && pwd)
mkdir -p /tmp/kel-bench
[ -e "/tmp/kel-bench/$size/HKLM.json" ] || python3 "$here/gen_registry.py" "$size" "/tmp/kel-bench/$size"
echo "| command | median CPU | ratio to the lister |"
echo "| --- | ---: | ---: |"
"$here/../scripts/with-registry" "/tmp/kel-bench/$size" bash "$here/lister_cpu.sh" --inside "$runs" \
  "$build/KELListInstalls -json" "$build/KELReg ${4:-export HKLM/SOFTWARE/Quorvane/Q4}"
