#!/usr/bin/env bash
# Mail to servers, timed: COUNT generated messages (default 5,000) forwarded through the
# test SMTP server by the SMTP forwarder and uploaded into the test Dovecot by the IMAP
# upload target, beside Python doing the same in the same run (smtplib forwarding
# each message's text as a new mail; imaplib appending each one as \Seen with its date, after an
# imapsync-style Message-ID search), all over plain TCP on 127.0.0.1. Prints messages/s.
# Usage: bench/mail-to-servers.sh PATH_TO_QUILLON [COUNT]   (as root: Dovecot switches users)
# The mailbox made by ../shared/bench/gen_mbox.py (or $QUILLON_GEN_MBOX) is kept in
# $QUILLON_BENCH_DATA (default /work/data), outside the repo.
set -euo pipefail
quillon=$(realpath "$1")
count=${2:-5000}
here=$(cd "$(dirname "$0")/.." && pwd)
data=${QUILLON_BENCH_DATA:-/work/data}
mbox=$data/servers-$count.mbox
mkdir -p "$data"
generator=${QUILLON_GEN_MBOX:-$here/../shared/bench/gen_mbox.py}
[ -f "$mbox" ] || python3 "$generator" --count "$count" --out "$mbox"

work=$(mktemp -d /tmp/quillon-bench-mail-to-servers.XXXXXX)
chmod 755 "$work"
trap '"$here/scripts/smtp-test.sh" stop "$work/smtp"; "$here/scripts/dovecot-test.sh" stop "$work/dovecot"; rm -rf "$work"' EXIT
eval "$("$here/scripts/smtp-test.sh" start "$work/smtp")"
eval "$("$here/scripts/dovecot-test.sh" start "$work/dovecot")"
export QUILLON_HOME=$work/home

cat >"$work/smtp.json" <<JSON
{"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox", "SourceOptions.Filename": "$mbox",
  "children": [{"kind": "stiMailTarEmailForwarder", "From": "bench@example.net",
    "Recipients": "archive@example.net", "IncludeMessageBody": true,
    "Remote.Server": "127.0.0.1", "Remote.Port": $SMTP_PORT, "Remote.UseSSL": false}]}]}
JSON
cat >"$work/imap.json" <<JSON
{"kind": "stiJob", "children": [{"kind": "stiMailSrcMbox", "SourceOptions.Filename": "$mbox",
  "children": [{"kind": "stiMailTarIMAP", "TargetRootFolder": "Quillon",
    "Remote.Server": "127.0.0.1", "Remote.Port": $IMAP_PORT, "Remote.UseSSL": false,
    "Remote.Username": "alice", "Remote.Password": "secret"}]}]}
JSON
cat >"$work/python-upload.py" <<'PY'
import imaplib, mailbox, smtplib, sys, email.utils
from email.message import EmailMessage
from email import policy
kind, mbox, port = sys.argv[1], sys.argv[2], int(sys.argv[3])
if kind == "smtp":  # the forwarder's work: a new mail carrying the original's text
    with smtplib.SMTP("127.0.0.1", port) as s:
        for m in mailbox.mbox(mbox, factory=lambda f: email.message_from_binary_file(f, policy=policy.default)):
            body = m.get_body(("plain", "html"))
            fwd = EmailMessage()
            fwd["From"], fwd["To"] = "bench@example.net", "archive@example.net"
            fwd["Subject"] = "Fwd: " + str(m["Subject"] or "")
            fwd.set_content(body.get_content() if body else "", cte="base64")
            s.send_message(fwd)
else:
    c = imaplib.IMAP4("127.0.0.1", port)
    c.login("alice", "secret")
    c.create("Python")
    c.select("Python")
    for m in mailbox.mbox(mbox):
        mid = m.get("Message-ID", "")
        if mid and c.uid("SEARCH", None, "HEADER", "Message-ID", '"%s"' % mid)[1][0]:
            continue
        date = email.utils.parsedate_to_datetime(m["Date"]) if m["Date"] else None
        when = imaplib.Time2Internaldate(date) if date else None
        c.append("Python", r"(\Seen)", when, m.as_bytes())
    c.logout()
PY

rate() {  # name command...
  local name=$1
  shift
  local start end
  start=$(date +%s.%N)
  "$@" >"$work/$name.log" 2>&1 || { echo "$name failed:"; tail -5 "$work/$name.log"; }
  end=$(date +%s.%N)
  awk -v n="$count" -v s="$start" -v e="$end" -v name="$name" \
    'BEGIN { printf "%-12s %6d messages in %6.2f s: %7.0f messages/s\n", name, n, e - s, n / (e - s) }'
}
rate quillon-smtp "$quillon" run --quiet "$work/smtp.json"
rate python-smtp /usr/bin/python3 "$work/python-upload.py" smtp "$mbox" "$SMTP_PORT"
rate quillon-imap "$quillon" run --quiet "$work/imap.json"
rate python-imap /usr/bin/python3 "$work/python-upload.py" imap "$mbox" "$IMAP_PORT"
maildir=$work/dovecot/mail/alice/Maildir
echo "stored: smtp $(find "$work/smtp/spool" -name '*.eml' | wc -l)," \
  "imap Quillon $(find "$maildir/.Quillon/cur" "$maildir/.Quillon/new" -type f | wc -l)," \
  "Python $(find "$maildir/.Python/cur" "$maildir/.Python/new" -type f | wc -l)"
