#!/usr/bin/env bash
# Stores examples/sample.mbox in demo-out/messages.db with examples/store-in-database.json,
# one row per message. With a PostgreSQL connection string as second argument (for example
# "postgresql://host=127.0.0.1 port=5432 user=postgres dbname=test") it writes there instead.
# Usage: examples/run-database.sh PATH_TO_QUILLON [CONNECTION_STRING]
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -f demo-out/messages.db demo-out/store-in-database.json
mkdir -p demo-out
export QUILLON_HOME=$PWD/demo-out/home
job=demo-out/store-in-database.json
if [ $# -ge 2 ]; then
  python3 - "$2" <<'PY' > "$job"
import json, sys
job = json.load(open("examples/store-in-database.json"))
target = job["children"][0]["children"][0]["children"][0]
target["ConnectionString"] = sys.argv[1]
target["SQLCreate"] = target["SQLCreate"].replace("DATETIME", "TIMESTAMP")
print(json.dumps(job, indent=2))
PY
else
  cp examples/store-in-database.json "$job"
fi

"$quillon" run "$job"
status=$?
[ "$status" -le 1 ] || exit "$status"
if [ $# -lt 2 ] && command -v sqlite3 > /dev/null; then
  echo
  echo "== demo-out/messages.db (first rows)"
  sqlite3 -header demo-out/messages.db "SELECT SubmitDate, FromAddress, Subject FROM msg LIMIT 5"
fi
exit "$status"
