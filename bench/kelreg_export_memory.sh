#!/usr/bin/env bash
# bench/kelreg_export_memory.sh "SIZE..." KELREG [KELREG...]
#
# Peak resident memory of `KELReg export` and `KELReg query -s` of the product tree
# (HKLM/SOFTWARE/Quorvane/Q4) on the generated registries /tmp/kel-bench/SIZE (bench/gen_registry.py),
# for every KELREG given (builds to compare), each shown the registry at /etc/.Quorvane in a private
# mount namespace. Prints a table row per command and size: each KELREG's peak RSS. Streaming shows
# as the same figure at every size.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 2 ]; then
  echo "usage: bench/kelreg_export_memory.sh \"SIZE...\" KELREG [KELREG...]" >&2
  exit 2
fi
sizes=$1
shift
stat=$(mktemp -d)
trap 'rm -rf "$stat"' EXIT
cc -O2 -o "$stat/runstat" "$here/runstat.c"
key=HKLM/SOFTWARE/Quorvane/Q4
echo "| command | installations |$(printf ' %s |' "$@")"
echo "| --- | ---: |$(printf ' ---: |%.0s' "$@")"
for args in "export $key" "query $key -s"; do
  for size in $sizes; do
    [ -e "/tmp/kel-bench/$size/HKLM.json" ] || python3 "$here/gen_registry.py" "$size" "/tmp/kel-bench/$size"
    row="| $args | $size |"
    for reg in "$@"; do
      "$here/../scripts/with-registry" "/tmp/kel-bench/$size" "$stat/runstat" "$stat/out" "$reg" $args >/dev/null
      row="$row $(awk 'END {printf "%.1f MiB", $2 / 1024}' "$stat/out") |"
    done
    echo "$row"
  done
done
