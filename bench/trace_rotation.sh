#!/usr/bin/env bash
# bench/trace_rotation.sh LISTER REGISTRY [RUNS] [LIMIT]
#
# Wall time of LISTER (KELListInstalls) over the generated registry REGISTRY (bench/gen_registry.py),
# mounted at /etc/.Quorvane by scripts/with-registry, with the registry channel "KELSYSREGKEY" traced
# to a rotating set of 1 KiB files: not traced, 10 files, 10,000 files. Each run starts with an empty
# trace folder. Prints the median of RUNS runs (default 3) per case, in seconds; a run still going after
# LIMIT seconds (default 600) is stopped and shown as ">LIMIT".
set -euo pipefail

if [ $# -lt 2 ]; then
  echo "usage: bench/trace_rotation.sh LISTER REGISTRY [RUNS] [LIMIT]" >&2
  exit 2
fi
lister=$(realpath "$1")
registry=$(realpath "$2")
runs=${3:-3}
limit=${4:-600}
here=$(dirname "$(realpath "$0")")

# One run: seconds, or ">LIMIT".
run_once() {
  local spec=$1 folder start end status
  folder=$(mktemp -d /tmp/kel-trace-bench.XXXXXX)
  start=$(date +%s.%N)
  status=0
  env -u KELSysTrace ${spec:+KELSysTrace="$spec"} MORTraceDir="$folder" \
    timeout "$limit" "$here/../scripts/with-registry" "$registry" "$lister" >/dev/null 2>&1 || status=$?
  end=$(date +%s.%N)
  rm -rf "$folder"
  if [ "$status" = 124 ]; then
    echo ">$limit"
  else
    echo "$start $end" | awk '{printf "%.2f\n", $2 - $1}'
  fi
}

echo "| trace | median wall (s) | runs |"
echo "| --- | ---: | --- |"
for files in 0 10 10000; do
  if [ "$files" = 0 ]; then
    spec=""
    name="off"
  else
    spec="--name KELSYSREGKEY --file reg.log --rotate-file-size 1 --rotate-file-count $files"
    name="$files files of 1 KiB"
  fi
  times=()
  for _ in $(seq "$runs"); do times+=("$(run_once "$spec")"); done
  median=$(printf '%s\n' "${times[@]}" | sort -n | awk '{a[NR]=$1} END {print a[int((NR + 1) / 2)]}')
  echo "| $name | $median | ${times[*]} |"
done
