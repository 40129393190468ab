#!/usr/bin/env bash
# Speed and peak memory of the email-parts export: one `quillon run` over an mbox file,
# twelve fields (dates, addresses, subject, message id, attachment count and names, return
# path, bounce type) into a CSV file and an Excel workbook.
# Usage: bench/export-parts.sh MBOX [QUILLON] [OUTDIR]
#   QUILLON defaults to build/quillon; OUTDIR (default a temporary folder, removed
#   afterwards) receives the job, parts.csv and parts.xlsx.
# Prints messages, seconds, messages/s and the peak resident memory of the run.
set -euo pipefail
mbox=$(realpath "$1")
quillon=$(realpath "${2:-build/quillon}")
if [ -n "${3:-}" ]; then
  out=$(realpath -m "$3"); mkdir -p "$out"; keep=1
else
  out=$(mktemp -d); keep=0
fi
[ -x /usr/bin/time ] || { echo "GNU time is missing: run scripts/install-deps.sh" >&2; exit 2; }

fields=000102030507081213151926
cat >"$out/export-parts.json" <<JSON
{
  "kind": "stiMailSrcMbox",
  "Name": "Benchmark mailbox",
  "SourceOptions.Filename": "$mbox",
  "children": [
    { "kind": "stiMailTarEmailParts", "Name": "CSV", "FieldsStr": "$fields",
      "TargetFormat": "ffColCsv", "TargetFilename": "$out/parts.csv" },
    { "kind": "stiMailTarEmailParts", "Name": "XLSX", "FieldsStr": "$fields",
      "TargetFormat": "ffColXlsx", "TargetFilename": "$out/parts.xlsx" }
  ]
}
JSON

messages=$(grep -c '^From ' "$mbox" || true)
export QUILLON_HOME="$out/home"
start=$(date +%s.%N)
set +e
/usr/bin/time -v -o "$out/time.txt" "$quillon" run --quiet "$out/export-parts.json" >"$out/run.txt" 2>&1
status=$?
set -e
end=$(date +%s.%N)
cat "$out/run.txt"
peak_kb=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$out/time.txt")
awk -v n="$messages" -v a="$start" -v b="$end" -v kb="$peak_kb" 'BEGIN {
  s = b - a
  printf "messages: %d\nseconds: %.2f\nmessages/s: %.0f\npeak memory: %.1f MiB\n", n, s, n / s, kb / 1024
}'
printf 'csv rows: %d (with the header line)\n' "$(python3 -c 'import csv,sys; print(sum(1 for _ in csv.reader(open(sys.argv[1], newline=""))))' "$out/parts.csv" 2>/dev/null || echo 0)"
ls -l "$out/parts.csv" "$out/parts.xlsx" 2>/dev/null || true
[ "$keep" = 1 ] || rm -rf "$out"
exit "$status"
