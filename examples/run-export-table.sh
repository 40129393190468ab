#!/usr/bin/env bash
# Exports examples/sample.mbox as a table (date, sender, recipients, subject, attachment
# names) with examples/export-table.json: demo-out/table/messages.csv and messages.xlsx.
# Usage: examples/run-export-table.sh PATH_TO_QUILLON
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf demo-out/table
mkdir -p demo-out
export QUILLON_HOME=$PWD/demo-out/home

"$quillon" run examples/export-table.json
status=$?
[ "$status" -le 1 ] || exit "$status"

echo
echo "== demo-out/table/messages.csv (first lines)"
head -n 4 demo-out/table/messages.csv
echo "..."
echo
ls -l demo-out/table
exit "$status"
