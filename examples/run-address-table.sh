#!/usr/bin/env bash
# Rewrites the old sales domain of examples/sample.mbox with examples/address-table.json
# into demo-out/address-table/rewritten.mbox, then counts the addresses of both domains.
# Usage: examples/run-address-table.sh PATH_TO_QUILLON
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf demo-out/address-table
mkdir -p demo-out
export QUILLON_HOME=$PWD/demo-out/home

"$quillon" run examples/address-table.json
status=$?
[ "$status" -le 1 ] || exit "$status"

out=demo-out/address-table/rewritten.mbox
echo
echo "== address headers naming sales.example.org: before $(grep -ciE '^(from|to|cc|reply-to):.*sales\.example\.org' examples/sample.mbox), after $(grep -ciE '^(from|to|cc|reply-to):.*sales\.example\.org' "$out") (what is left is inside an attached message, which keeps its own headers)"
grep -iE '^(from|to):.*sales\.example\.com' "$out" | sort | uniq -c
exit "$status"
