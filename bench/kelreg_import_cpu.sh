#!/usr/bin/env bash
# bench/kelreg_import_cpu.sh DOC RUNS KELREG [KELREG...]
#
# CPU time (perf stat -e task-clock) of `KELReg --root ROOT import DOC` for each KELREG (builds to
# compare) beside bench/import_py.py, a plain json.load + os.makedirs + write of each key file in
# the same layout, each into an empty ROOT on /dev/shm. On tmpfs a sync costs next to nothing, so
# the figures leave the syncs out; `strace -f -c` of the same commands counts them apart. The
# commands take turns, RUNS rounds after one warming run each; prints the median of each and its
# ratio to the Python import. DOC: e.g. `KELReg export HKLM/SOFTWARE/Quorvane` of /tmp/kel-bench/100100.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 3 ]; then
  echo "usage: bench/kelreg_import_cpu.sh DOC RUNS KELREG [KELREG...]" >&2
  exit 2
fi
doc=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
runs=$2
shift 2
py=$(command -v python3)
# The interpreter itself, not a shim that would be timed with it.
if command -v pyenv >/dev/null; then py=$(pyenv which python3); fi
root=$(mktemp -d /dev/shm/kelreg-import-cpu.XXXXXX)
trap 'rm -rf "$root"' EXIT
cmds=("$py $here/import_py.py $doc $root/r")
for k in "$@"; do cmds+=("$(cd "$(dirname "$k")" && pwd)/$(basename "$k") --root $root/r import $doc"); done
for round in $(seq 0 "$runs"); do
  for k in "${!cmds[@]}"; do
    rm -rf "$root/r" && mkdir "$root/r"
    # shellcheck disable=SC2086 # a command line, split into its words
    t=$(perf stat -x, -e task-clock ${cmds[$k]} 2>&1 >/dev/null | awk -F, '/task-clock/ {print $1}')
    [ "$round" = 0 ] || echo "$k $t ${cmds[$k]%% *}"
  done
done >"$root/times"
echo "| command | median CPU | ratio to Python |"
echo "| --- | ---: | ---: |"
# Per command (in the order given): the median of its times, and its ratio to the first's.
sort -k1,1n -k2,2g "$root/times" | awk '
  { n[$1]++; t[$1, n[$1]] = $2; name[$1] = $3 }
  END {
    for (k = 0; k in n; k++) {
      m = t[k, int((n[k] + 1) / 2)]
      if (k == 0) base = m
      printf "| %s | %.1f ms | %.2f |\n", name[k], m, m / base
    }
  }'
