#!/usr/bin/env bash
# Rows per second of the database target (one transaction per message, as it must) into
# SQLite and into a throw-away PostgreSQL, beside `psql \copy` of the same rows from a CSV
# file into the same server. Prints wall times, rows/s, peak memory and the ratio.
# Usage: bench/db-target.sh BUILD_DIR [COUNT] [DATA_DIR]
set -euo pipefail
build=$(realpath "$1"); count=${2:-50000}; data=$(realpath -m "${3:-/tmp/quillon-bench}")
repo=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$data"
mbox=$data/bench-$count-seed2.mbox
[ -s "$mbox" ] || python3 "$repo/../shared/bench/gen_mbox.py" --count "$count" --seed 2 --out "$mbox"
export QUILLON_HOME=$data/home
rm -rf "$QUILLON_HOME" "$data/rows.db" "$data/pg"
bash "$repo/scripts/pg-test.sh" start "$data/pg" > /dev/null
trap 'bash "$repo/scripts/pg-test.sh" stop "$data/pg"' EXIT
. "$data/pg/ports.env"
pg="postgresql://host=127.0.0.1 port=$PG_PORT user=postgres dbname=test"
columns="SubmitDate TIMESTAMP, FromAddress TEXT, ToComma TEXT, Subject TEXT, AttachmentsCount INTEGER, AttachmentsComma TEXT"

job() {  # connection string -> job file on stdout
  python3 - "$1" "$mbox" "$columns" <<'PY'
import json, sys
conn, mbox, columns = sys.argv[1:]
print(json.dumps({"kind": "stiMailSrcMbox", "SourceOptions.Filename": mbox, "children": [
    {"kind": "stiMailTarDB", "ConnectionString": conn, "TableName": "MSG",
     "SQLCreate": "CREATE TABLE msg (msg_id TEXT PRIMARY KEY, " + columns + ")"}]}))
PY
}

timed() {  # label, command... -> "label seconds maxrss_kb"
  local label=$1; shift
  /usr/bin/time -f "$label %e %M" -o "$data/time.txt" "$@" > /dev/null 2> "$data/$label.err" || true
  cat "$data/time.txt"
}

job "sqlite3://db=$data/rows.db" > "$data/sqlite.json"
job "$pg" > "$data/pg.json"
read -r _ sqlite_s sqlite_kb < <(timed sqlite "$build/quillon" run --quiet "$data/sqlite.json")
read -r _ pg_s pg_kb < <(timed postgresql "$build/quillon" run --quiet "$data/pg.json")

# The anchor loads exactly the rows the target wrote, from a CSV file, in one COPY.
sqlite3 -csv "$data/rows.db" "SELECT msg_id, SubmitDate, FromAddress, ToComma, Subject, AttachmentsCount, AttachmentsComma FROM msg" > "$data/rows.csv"
rows=$(wc -l < "$data/rows.csv")
psql="/usr/bin/psql -h 127.0.0.1 -p $PG_PORT -U postgres -d test -qAt"
$psql -c "CREATE TABLE msg_copy (msg_id TEXT PRIMARY KEY, $columns)"
read -r _ copy_s _ < <(timed copy $psql -c "\\copy msg_copy FROM '$data/rows.csv' WITH (FORMAT csv)")
pg_rows=$($psql -c "SELECT COUNT(*) FROM msg")

rate() { python3 -c "print(f'{$1 / max($2, 0.001):,.0f}')"; }
echo "messages: $count, rows written: SQLite $rows, PostgreSQL $pg_rows"
echo "SQLite target:     ${sqlite_s}s  $(rate "$rows" "$sqlite_s") rows/s  peak $((sqlite_kb / 1024)) MiB"
echo "PostgreSQL target: ${pg_s}s  $(rate "$pg_rows" "$pg_s") rows/s  peak $((pg_kb / 1024)) MiB"
echo "psql \\copy:        ${copy_s}s  $(rate "$rows" "$copy_s") rows/s"
python3 -c "print(f'PostgreSQL target / copy: {($pg_rows / max($pg_s, 0.001)) / ($rows / max($copy_s, 0.001)):.2f}')"
