#!/usr/bin/env bash
# Speed and peak memory of the document writers: one `quillon run` per format over an
# mbox file, every message written as a single file (PDF with the header block, or .msg).
# Usage: bench/documents.sh MBOX [QUILLON] [OUTDIR]
#   QUILLON defaults to build/quillon; OUTDIR (default a temporary folder, removed
#   afterwards) receives the jobs and the written files.
# Prints, per format: messages, seconds, messages/s, pages (PDF) and pages/s, peak memory.
set -euo pipefail
mbox=$(realpath "$1")
quillon=$(realpath "${2:-build/quillon}")
if [ -n "${3:-}" ]; then
  out=$(realpath -m "$3"); mkdir -p "$out"; keep=1
else
  out=$(mktemp -d); keep=0
fi
[ -x /usr/bin/time ] || { echo "GNU time is missing: run scripts/install-deps.sh" >&2; exit 2; }
messages=$(grep -c '^From ' "$mbox" || true)
export QUILLON_HOME="$out/home"
status=0

for format in ffSfPdf ffSfMsg; do
  rm -rf "$out/$format" "$QUILLON_HOME"
  cat >"$out/$format.json" <<JSON
{
  "kind": "stiMailSrcMbox",
  "Name": "Benchmark mailbox",
  "SourceOptions.Filename": "$mbox",
  "children": [
    { "kind": "stiMailTarSingleFiles", "Name": "$format", "Options.TargetFolder": "$out/$format",
      "Options.TargetFileFormat": "$format", "Options.PutEmailHeaders": true,
      "Options.DuplicatedFilesAction": "dfRename" }
  ]
}
JSON
  start=$(date +%s.%N)
  set +e
  /usr/bin/time -v -o "$out/time.txt" "$quillon" run --quiet "$out/$format.json" >"$out/run-$format.txt" 2>&1
  run=$?
  set -e
  end=$(date +%s.%N)
  [ "$run" -le 1 ] || status=$run
  files=$(find "$out/$format" -type f | wc -l)
  pages=0
  if [ "$format" = ffSfPdf ] && command -v pdfinfo >/dev/null; then
    pages=$(find "$out/$format" -name '*.pdf' -print0 | xargs -0 -n 50 -P 1 sh -c 'for f; do pdfinfo "$f" | sed -n "s/^Pages: *//p"; done' _ | awk '{ s += $1 } END { print s + 0 }')
  fi
  peak_kb=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$out/time.txt")
  cpu=$(awk -F': ' '/User time|System time/ { s += $2 } END { print s }' "$out/time.txt")
  # Messages and pages per second of wall time, and per second of CPU time (what the
  # run would reach alone on one core of a busy machine).
  awk -v f="$format" -v n="$messages" -v w="$files" -v p="$pages" -v a="$start" -v b="$end" -v kb="$peak_kb" -v c="$cpu" 'BEGIN {
    s = b - a
    printf "%s: %d messages, %d files, %.2f s (%.2f s CPU), %.0f messages/s (%.0f per CPU second)", f, n, w, s, c, n / s, n / c
    if (p > 0) printf ", %d pages, %.0f pages/s (%.0f per CPU second)", p, p / s, p / c
    printf ", peak memory %.1f MiB\n", kb / 1024
  }'
done
[ "$keep" = 1 ] || rm -rf "$out"
exit "$status"
