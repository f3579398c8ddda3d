#!/usr/bin/env bash
# bench/lister_cpu.sh SIZE RUNS LISTER [LISTER...]
#
# CPU time (perf stat -e task-clock) of the floor (bench/floorwalk.c, XML and -json) and of each LISTER
# (XML, -json, -type Ser*) on the generated registry /tmp/kel-bench/SIZE (made by bench/lister_bench.py or
# bench/gen_registry.py), shown at /etc/.Quorvane in a private mount namespace. The commands take turns,
# RUNS rounds after one warming run each, so that a change of load on a shared machine hits them all
# alike; prints the median of each and its ratio to the floor of the same format (the first command, or
# the floor's -json run for a -json command).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ "${1:-}" = --inside ]; then
  set +e +o pipefail  # the commands' statuses are counts
  shift
  runs=$1
  shift
  declare -a cmds=("$@") times=()
  for c in "${cmds[@]}"; do $c >/dev/null 2>&1; done
  for _ in $(seq "$runs"); do
    for k in "${!cmds[@]}"; do
      t=$(perf stat -x, -e task-clock ${cmds[$k]} 2>&1 >/dev/null | awk -F, '/task-clock/ {print $1}')
      times[$k]="${times[$k]:-} $t"
    done
  done
  base="" json_base=""
  for k in "${!cmds[@]}"; do
    median=$(tr ' ' '\n' <<<"${times[$k]}" | grep . | sort -n | awk '{a[NR]=$1} END {printf "%.1f", a[int((NR+1)/2)]}')
    base=${base:-$median}
    [[ ${cmds[$k]} == *floorwalk\ -json* ]] && json_base=${json_base:-$median}
    ref=$base
    [[ ${cmds[$k]} == *-json* && -n $json_base ]] && ref=$json_base
    printf '| %s | %s ms | %.2f |\n' "${cmds[$k]}" "$median" "$(echo "$median / $ref" | bc -l)"
  done
  exit 0
fi
if [ $# -lt 3 ]; then
  echo "usage: bench/lister_cpu.sh SIZE RUNS LISTER [LISTER...]" >&2
  exit 2
fi
size=$1 runs=$2
shift 2
mkdir -p /tmp/kel-bench
cc -O2 -o /tmp/kel-bench/floorwalk "$here/floorwalk.c"
[ -e "/tmp/kel-bench/$size/HKLM.json" ] || python3 "$here/gen_registry.py" "$size" "/tmp/kel-bench/$size"
cmds=(/tmp/kel-bench/floorwalk "/tmp/kel-bench/floorwalk -json")
for l in "$@"; do
  l=$(cd "$(dirname "$l")" && pwd)/$(basename "$l")
  cmds+=("$l" "$l -json" "$l -type Ser*")
done
echo "| command | median CPU | ratio to the floor |"
echo "| --- | ---: | ---: |"
"$here/../scripts/with-registry" "/tmp/kel-bench/$size" bash "$here/lister_cpu.sh" --inside "$runs" "${cmds[@]}"
