#!/usr/bin/env bash
# Messages as documents: runs examples/documents.json (a PDF and an Outlook .msg per
# message) and examples/zip-aes.json (an AES-256 zip per message) over
# examples/sample.mbox into documents-out/, then checks a few results with poppler's
# tools, msgconvert and 7z.
# Usage: examples/run-documents.sh PATH_TO_QUILLON
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf documents-out
mkdir -p documents-out
export QUILLON_HOME=$PWD/documents-out/home

for job in documents zip-aes; do
  echo "== $job"
  "$quillon" run --quiet "examples/$job.json"
  status=$?
  [ "$status" -le 1 ] || exit "$status"
done

echo
echo "== What it wrote"
for kind in pdf msg zip; do
  echo "  $(find documents-out/$kind -type f | wc -l) files in documents-out/$kind"
done
pdf=$(find documents-out/pdf -name '*.pdf' | sort | head -n 1)
msg=$(find documents-out/msg -name '*.msg' | sort | head -n 1)
zip=$(find documents-out/zip -name '*.zip' | sort | head -n 1)
if command -v pdfinfo >/dev/null; then
  echo "  $(basename "$pdf"):"
  pdfinfo "$pdf" | grep -E '^(Title|Author|Pages|Page size):' | sed 's/^/    /'
  pdftotext "$pdf" - | head -n 6 | sed 's/^/    | /'
fi
if command -v msgconvert >/dev/null; then
  (cd documents-out && msgconvert --outfile converted.eml "../$msg" >/dev/null 2>&1) &&
    echo "  msgconvert reads $(basename "$msg"): $(grep -m1 '^Subject:' documents-out/converted.eml)"
fi
if command -v 7z >/dev/null; then
  7z t '-pchange me' "$zip" >/dev/null && echo "  7z opens $(basename "$zip") with the password"
  7z t -pwrong "$zip" >/dev/null 2>&1 || echo "  and refuses a wrong one"
fi
exit 0
