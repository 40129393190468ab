#!/usr/bin/env bash
# Runs the jobs of bench/speed.sh with two builds over the same mbox file and compares
# every file they wrote, byte for byte: a speed change must not change a single output.
# Usage: bench/compare-outputs.sh MBOX OLD_QUILLON NEW_QUILLON [WORKDIR]
# Exits 1 when an output differs.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mbox=$(realpath "$1")
work=$(realpath -m "${4:-$(mktemp -d)}")
status=0
for side in old new; do
  binary=$([ $side = old ] && echo "$2" || echo "$3")
  REPEAT=1 JOBS="${JOBS:-eml fields attachments bounces}" bash "$here/speed.sh" "$mbox" "$binary" "$work/$side" >/dev/null
done
for out in "$work"/old/out-*; do
  job=$(basename "$out")
  if diff -r "$out" "$work/new/$job" >/dev/null; then
    echo "$job: identical ($(find "$out" -type f | wc -l) files)"
  else
    echo "$job: DIFFERS"; status=1
  fi
done
exit $status
