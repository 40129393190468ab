#!/usr/bin/env bash
# The demo: runs examples/demo.json over examples/sample.mbox into demo-out/, twice; the
# second run finds every message in the processed-message log and handles nothing again.
# Usage: examples/run-demo.sh PATH_TO_QUILLON
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf demo-out
mkdir -p demo-out
export QUILLON_HOME=$PWD/demo-out/home
# Paths in the job are relative to its own folder; the run keeps the source's id in the
# state file under QUILLON_HOME, never in the job file.

echo "== The job"
"$quillon" check examples/demo.json || exit $?
"$quillon" convert examples/demo.json demo-out/demo.qaf || exit $?
"$quillon" show examples/demo.json | grep -E '^\s*\[|Filename|TargetF|SubFolder|CopyTo'

run() {
  "$quillon" run examples/demo.json
  status=$?
  # 1 says the run finished with errors in its logs; the report tells which.
  [ "$status" -le 1 ] || exit "$status"
}

echo
echo "== First run"
run
echo
echo "== What it wrote"
find demo-out/eml -type d | sort | sed 's/^/  /'
echo "  $(find demo-out/eml -name '*.eml' | wc -l) message files; demo-out/copy.mbox: $(grep -c '^From ' demo-out/copy.mbox) messages"

echo
echo "== Second run: nothing is processed twice"
run
echo "  still $(find demo-out/eml -name '*.eml' | wc -l) message files and $(grep -c '^From ' demo-out/copy.mbox) messages in the mbox copy"
exit 0
