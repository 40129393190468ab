#!/usr/bin/env bash
# Runs every fuzz target over its seed corpus for a while: fuzz/run.sh BUILD_DIR [SECONDS]
set -euo pipefail
build=$1
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
for target in "$build"/fuzz/fuzz_*; do
  name=$(basename "$target")
  corpus="$build/fuzz-corpus/$name"
  mkdir -p "$corpus"
  cp -n "$here/corpus/$name"/* "$corpus"/ 2>/dev/null || true
  # The rule engine reads messages: it starts from the message loader's corpus as well.
  [ "$name" = fuzz_data_rules ] && cp -n "$here/corpus/fuzz_message"/* "$corpus"/ 2>/dev/null || true
  echo "== $name for ${seconds}s"
  "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 "$corpus" 2>&1 | tail -n 3
done
