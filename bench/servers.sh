#!/usr/bin/env bash
# Mail from servers, timed: 10,000 generated messages in the test Dovecot's INBOX, fetched
# to .eml by the POP3 source and by the IMAP source, and pulled into a Maildir by mbsync
# (Debian's isync) in the same run, all over plain TCP on 127.0.0.1. Prints messages/s.
# Usage: bench/servers.sh PATH_TO_QUILLON [COUNT]   (as root: Dovecot switches users)
# The mailbox made by ../shared/bench/gen_mbox.py (or $QUILLON_GEN_MBOX) is kept in
# $QUILLON_BENCH_DATA (default /work/data), outside the repo.
set -euo pipefail
quillon=$(realpath "$1")
count=${2:-10000}
here=$(cd "$(dirname "$0")/.." && pwd)
data=${QUILLON_BENCH_DATA:-/work/data}
mbox=$data/servers-$count.mbox
mkdir -p "$data"
generator=${QUILLON_GEN_MBOX:-$here/../shared/bench/gen_mbox.py}
[ -f "$mbox" ] || python3 "$generator" --count "$count" --out "$mbox"

work=$(mktemp -d /tmp/quillon-bench-servers.XXXXXX)
chmod 755 "$work"  # Dovecot's own users read the server's folder below it
server=$work/dovecot
trap '"$here/scripts/dovecot-test.sh" stop "$server"; rm -rf "$work"' EXIT
eval "$("$here/scripts/dovecot-test.sh" start "$server")"
"$here/scripts/maildir-load.py" "$mbox" "$server/mail/alice/Maildir" >/dev/null
chown -R nobody:nogroup "$server/mail/alice"
export QUILLON_HOME=$work/home

job() {  # kind port folder
  cat <<JSON
{"kind": "stiJob", "children": [{"kind": "$1",
  "SourceOptions.Remote.Server": "127.0.0.1", "SourceOptions.Remote.Port": $2,
  "SourceOptions.Remote.Username": "alice", "SourceOptions.Remote.Password": "secret",
  "children": [{"kind": "stiMailTarSingleFiles", "Options.TargetFolder": "$3"}]}]}
JSON
}
job stiMailSrcPOP "$POP3_PORT" "$work/pop3" >"$work/pop3.json"
job stiMailSrcIMAP "$IMAP_PORT" "$work/imap" >"$work/imap.json"
cat >"$work/mbsyncrc" <<RC
IMAPAccount test
Host 127.0.0.1
Port $IMAP_PORT
User alice
Pass secret
SSLType None
AuthMechs LOGIN

IMAPStore remote
Account test

MaildirStore local
Path $work/mbsync/
Inbox $work/mbsync/INBOX

Channel pull
Far :remote:
Near :local:
Patterns INBOX
Create Near
Sync Pull
SyncState *
RC
mkdir -p "$work/mbsync"

rate() {  # name command...
  local name=$1
  shift
  local start end
  start=$(date +%s.%N)
  "$@" >"$work/$name.log" 2>&1 || { echo "$name failed:"; tail -5 "$work/$name.log"; }
  end=$(date +%s.%N)
  awk -v n="$count" -v s="$start" -v e="$end" -v name="$name" \
    'BEGIN { printf "%-8s %6d messages in %6.2f s: %7.0f messages/s\n", name, n, e - s, n / (e - s) }'
}
rate pop3 "$quillon" run --quiet "$work/pop3.json"
rate imap "$quillon" run --quiet "$work/imap.json"
rate mbsync mbsync -c "$work/mbsyncrc" -q pull
echo "files: pop3 $(find "$work/pop3" -name '*.eml' | wc -l), imap $(find "$work/imap" -name '*.eml' | wc -l)," \
  "mbsync $(find "$work/mbsync" -type f -path '*/cur/*' -o -type f -path '*/new/*' | wc -l)"
