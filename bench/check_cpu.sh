#!/usr/bin/env bash
# bench/check_cpu.sh SIZE RUNS [BUILD_DIR]
#
# CPU time of `KELReg check HKLM` beside `KELListInstalls -json` on the generated registry
# /tmp/kel-bench/SIZE (bench/gen_registry.py), both reading the same keys at /etc/.Quorvane in one
# private mount namespace. check reads every key file as the lister does, lists every key folder
# (for half-made keys and leftovers) and looks up every installation's Path (for orphans: none of the
# generated paths exists, so it reports each one). The commands take turns, RUNS rounds after a
# warming run each (bench/lister_cpu.sh --inside); prints the median of each and its ratio to the lister.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 2 ]; then
  echo "usage: bench/check_cpu.sh SIZE RUNS [BUILD_DIR]" >&2
  exit 2
fi
size=$1 runs=$2
build=$(cd "${3:-$here/../build/release}" && pwd)
mkdir -p /tmp/kel-bench
[ -e "/tmp/kel-bench/$size/HKLM.json" ] || python3 "$here/gen_registry.py" "$size" "/tmp/kel-bench/$size"
echo "| command | median CPU | ratio to the lister |"
echo "| --- | ---: | ---: |"
"$here/../scripts/with-registry" "/tmp/kel-bench/$size" bash "$here/lister_cpu.sh" --inside "$runs" \
  "$build/KELListInstalls -json" "$build/KELReg check HKLM"
