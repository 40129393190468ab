#!/usr/bin/env bash
# Sorts the mixed mail of examples/bounces/ with examples/bounces.json into bounces-out/:
# hard and soft bounces become message files in bounces-out/bounced/, everything else
# (read receipts, auto-replies, ordinary mail) goes to bounces-out/other.mbox.
# Usage: examples/run-bounces.sh PATH_TO_QUILLON
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf bounces-out
mkdir -p bounces-out
export QUILLON_HOME=$PWD/bounces-out/home

"$quillon" run examples/bounces.json
status=$?
# 1 says the run finished with errors in its logs; the report tells which.
[ "$status" -le 1 ] || exit "$status"

echo
echo "== The filter's counts in the run report"
grep -h -A3 'Bounced Mail Filter (Pass)' bounces-out/home/Common/Logs/*.txt | grep Filtered
echo
echo "== What it wrote"
echo "  bounces-out/bounced/: $(find bounces-out/bounced -name '*.eml' | wc -l) bounces"
find bounces-out/bounced -name '*.eml' | sort | sed 's/^/    /'
echo "  bounces-out/other.mbox: $(grep -c '^From ' bounces-out/other.mbox) other messages"
exit 0
