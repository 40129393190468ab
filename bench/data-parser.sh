#!/usr/bin/env bash
# Speed and peak memory of pulling data out of messages: one `quillon run` over an mbox
# file through the e-mail data parser (five rules: a pattern on the subject, a pattern
# with a number on the body, a header, the sender's domain, the first word of the body)
# into collect data and a CSV export.
# Usage: bench/data-parser.sh MBOX [QUILLON] [OUTDIR]
#   QUILLON defaults to build/quillon; OUTDIR (default a temporary folder, removed
#   afterwards) receives the job and data.csv.
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

cat >"$out/data-parser.json" <<JSON
{
  "kind": "stiMailSrcMbox",
  "Name": "Benchmark mailbox",
  "SourceOptions.Filename": "$mbox",
  "children": [{
    "kind": "stiMailPasEmailDataParser", "Name": "Five rules",
    "EmailPartsNotExported": ["Headers", "TextPart", "HtmlPart", "AttachmentsList", "ToList", "CCList"],
    "Rules": [
      {"Name": "Topic", "Source": "dsSubject", "Extract": "deRegEx",
       "Pattern": "(invoice|order|meeting|report|budget|payment|contract)", "CaseFolding": "dcLower"},
      {"Name": "Number", "VariableType": "vtDouble", "Extract": "deRegEx", "Pattern": "(\\\\d+[.,]?\\\\d*)"},
      {"Name": "Mailer", "Source": "dsHeader", "HeaderName": "X-Mailer", "Extract": "deWord"},
      {"Name": "SenderDomain", "Source": "dsFromAddress", "Extract": "deRegEx", "Pattern": "@(.+)$"},
      {"Name": "FirstWord", "Extract": "deWord", "Index": 1, "Default": "(none)"}
    ],
    "children": [{
      "kind": "stiMailPasEmailDataDBCollect", "Name": "Collect",
      "children": [{"kind": "stiMailTarEDataColumnar", "Name": "CSV", "TargetFormat": "ffColCsv",
                    "TargetFilename": "$out/data.csv"}]
    }]
  }]
}
JSON

messages=$(grep -c '^From ' "$mbox" || true)
export QUILLON_HOME="$out/home"
start=$(date +%s.%N)
set +e
/usr/bin/time -v -o "$out/time.txt" "$quillon" run --quiet "$out/data-parser.json" >"$out/run.txt" 2>&1
status=$?
set -e
end=$(date +%s.%N)
cat "$out/run.txt"
peak_kb=$(sed -n 's/.*Maximum resident set size (kbytes): //p' "$out/time.txt")
awk -v n="$messages" -v a="$start" -v b="$end" -v kb="$peak_kb" 'BEGIN {
  s = b - a
  printf "messages: %d\nseconds: %.2f\nmessages/s: %.0f\npeak memory: %.1f MiB\n", n, s, n / s, kb / 1024
}'
printf 'csv rows: %d (with the header line)\n' "$(python3 -c 'import csv,sys; print(sum(1 for _ in csv.reader(open(sys.argv[1], newline=""))))' "$out/data.csv" 2>/dev/null || echo 0)"
ls -l "$out/data.csv" 2>/dev/null || true
[ "$keep" = 1 ] || rm -rf "$out"
exit "$status"
