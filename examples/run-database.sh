#!/usr/bin/env bash
# Stores examples/sample.mbox in demo-out/messages.db with examples/store-in-database.json,
# one row per message. With a PostgreSQL connection string as second argument (for example
# "postgresql://host=127.0.0.1 port=5432 user=postgres dbname=test") it writes there instead.
# Usage: examples/run-database.sh PATH_TO_QUILLON [CONNECTION_STRING]
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -f demo-out/messages.db* demo-out/store-in-postgresql.json
mkdir -p demo-out
export QUILLON_HOME=$PWD/demo-out/home
# The SQLite file's path in the connection string is taken from the current folder.
job=examples/store-in-database.json
if [ $# -ge 2 ]; then
  job=demo-out/store-in-postgresql.json
  python3 - "$2" <<'PY' > "$job"
import json, os, sys
job = json.load(open("examples/store-in-database.json"))
source = job["children"][0]
source["SourceOptions.Filename"] = os.path.abspath("examples/sample.mbox")
target = source["children"][0]["children"][0]
target["ConnectionString"] = sys.argv[1]
target["SQLCreate"] = target["SQLCreate"].replace("DATETIME", "TIMESTAMP")
print(json.dumps(job, indent=2))
PY
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
