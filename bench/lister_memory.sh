#!/usr/bin/env bash
# bench/lister_memory.sh SIZE LISTER [LISTER...]
#
# Peak resident memory (bench/runstat.c) of the floor (bench/floorwalk.c, XML and -json) and of each
# LISTER (XML and -json) on the generated registry /tmp/kel-bench/SIZE (bench/gen_registry.py), shown at
# /etc/.Quorvane in a private mount namespace; prints each peak and its ratio to the floor of the same
# format. Peak memory does not depend on the load of the machine: one run each.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 2 ]; then
  echo "usage: bench/lister_memory.sh SIZE LISTER [LISTER...]" >&2
  exit 2
fi
size=$1
shift
mkdir -p /tmp/kel-bench
cc -O2 -o /tmp/kel-bench/floorwalk "$here/floorwalk.c"
cc -O2 -o /tmp/kel-bench/runstat "$here/runstat.c"
[ -e "/tmp/kel-bench/$size/HKLM.json" ] || python3 "$here/gen_registry.py" "$size" "/tmp/kel-bench/$size"
cmds=(/tmp/kel-bench/floorwalk "/tmp/kel-bench/floorwalk -json")
for l in "$@"; do
  l=$(cd "$(dirname "$l")" && pwd)/$(basename "$l")
  cmds+=("$l" "$l -json")
done
out=$(mktemp)
trap 'rm -f "$out"' EXIT
# shellcheck disable=SC2016
"$here/../scripts/with-registry" "/tmp/kel-bench/$size" bash -c 'o=$1; shift; for c in "$@"; do /tmp/kel-bench/runstat "$o" $c; done' \
  - "$out" "${cmds[@]}"
echo "| command | peak RSS | ratio to the floor |"
echo "| --- | ---: | ---: |"
paste <(printf '%s\n' "${cmds[@]}") "$out" | awk -F'\t' '{
  split($2, f, " "); kib = f[2]
  json = ($1 ~ /-json/)
  if (NR == 1) base = kib
  if (NR == 2) jbase = kib
  printf "| %s | %.1f MiB | %.2f |\n", $1, kib / 1024, kib / (json ? jbase : base)
}'
