#!/usr/bin/env bash
# Runs every benchmark of a Release build: bench/run.sh BUILD_DIR
set -euo pipefail
build=$1
for b in "$build"/bench/bench_*; do
  [ -x "$b" ] || continue
  echo "== $(basename "$b")"
  "$b" --benchmark_min_time=0.2
done
