#!/usr/bin/env bash
# bench/kelreg_import_memory.sh DIR KELREG [KELREG...]
#
# Peak resident memory of `KELReg import` of generated documents of 64 MiB (bench/gen_import.py), each
# into an empty --root below DIR, for every KELREG given (builds to compare), taking turns:
#   installs                 an export of a product tree of 324,100 installations, imported whole
#   subkeys, values, lists   the costliest shapes per byte, read and checked whole, then refused by a
#                            stray last byte (writing their millions of keys would prove nothing more)
#   pipe                     1200 MiB on standard input through a pipe, refused at the limit
# DIR should be a tmpfs (/dev/shm): the installations' 648,000 key files and folders are written there,
# and removed again. DOCS (default: all five) picks the documents, e.g. DOCS="subkeys pipe". Prints a table row per document: for each KELREG, its peak RSS and the ratio of that
# to the document's size. Each import's outcome is checked (the last installation written, nothing
# written for the others).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
if [ $# -lt 2 ]; then
  echo "usage: bench/kelreg_import_memory.sh DIR KELREG [KELREG...]" >&2
  exit 2
fi
dir=$(mkdir -p "$1" && cd "$1" && pwd)/kelreg-import
shift
rm -rf "$dir" && mkdir -p "$dir/docs"
cc -O2 -o "$dir/runstat" "$here/runstat.c"
limit=$((64 << 20))
docs=${DOCS:-installs subkeys values lists pipe}
for shape in $docs; do
  [ "$shape" = pipe ] && continue
  fault=$([ "$shape" = installs ] || echo --fault)
  python3 "$here/gen_import.py" "$shape" "$limit" "$dir/docs/$shape.json" $fault
done
header="| document | size |" rule="| --- | ---: |"
for reg in "$@"; do header="$header $reg: peak | × size |" rule="$rule ---: | ---: |"; done
echo "$header"
echo "$rule"
for doc in $docs; do
  size=$([ $doc = pipe ] && echo $((1200 << 20)) || stat -c %s "$dir/docs/$doc.json")
  row="| $doc | $(echo "$size / 1048576" | bc -l | xargs printf '%.1f') MiB |"
  for reg in "$@"; do
    root="$dir/root" stats="$dir/stats"
    rm -rf "$root" "$stats" && mkdir "$root"
    if [ $doc = pipe ]; then
      (head -c $((1200 << 20)) /dev/zero || true) | "$dir/runstat" "$stats" "$reg" --root "$root" import
    else
      "$dir/runstat" "$stats" "$reg" --root "$root" import "$dir/docs/$doc.json" </dev/null
    fi
    if [ $doc = installs ]; then
      last=$(grep -o '"I[0-9]*"' "$dir/docs/installs.json" | tail -1 | tr -d '"')
      [ -e "$root/HKLM/SOFTWARE/Quorvane/Q4/B419/Build/$last.json" ] || { echo "$reg: $doc not imported" >&2; exit 1; }
    elif [ -n "$(ls -A "$root")" ]; then
      echo "$reg: $doc wrote keys" >&2
      exit 1
    fi
    kib=$(awk '{print $2}' "$stats")
    row="$row $(echo "$kib / 1024" | bc -l | xargs printf '%.0f') MiB | $(echo "$kib * 1024 / $size" | bc -l | xargs printf '%.1f') |"
  done
  echo "$row"
done
rm -rf "$dir"
