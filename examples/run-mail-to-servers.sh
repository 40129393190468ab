#!/usr/bin/env bash
# Mail to servers: starts the test SMTP server (scripts/smtp-test.sh, STARTTLS on port
# 11025) and the test Dovecot (scripts/dovecot-test.sh, IMAP with STARTTLS on 11143), runs
# examples/forward-smtp.json once and examples/upload-imap.json twice (the second run
# finds every message in Archive/2019 and uploads nothing), then stops both servers.
# Usage: examples/run-mail-to-servers.sh PATH_TO_QUILLON   (as root: Dovecot switches users)
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf servers-out
mkdir -p servers-out
export QUILLON_HOME=$PWD/servers-out/home
smtp=$PWD/servers-out/smtp
dovecot=$PWD/servers-out/dovecot
trap 'scripts/smtp-test.sh stop "$smtp"; scripts/dovecot-test.sh stop "$dovecot"' EXIT

SMTP_PORT=11025 scripts/smtp-test.sh start "$smtp" >/dev/null || exit 1
IMAP_PORT=11143 scripts/dovecot-test.sh start "$dovecot" >/dev/null || exit 1
# Both servers' throw-away certificates are trusted as one extra bundle.
cat "$smtp/cert.pem" "$dovecot/conf/cert.pem" > servers-out/ca.pem
export SSL_CERT_FILE=$PWD/servers-out/ca.pem

echo "== Forwarding the sample mailbox by SMTP"
"$quillon" run examples/forward-smtp.json --quiet
status=$?
[ "$status" -le 1 ] || exit "$status"
echo "   messages the SMTP server stored: $(find "$smtp/spool" -name '*.eml' | wc -l)"

for pass in first second; do
  echo
  echo "== The $pass upload into Archive/2019"
  "$quillon" run examples/upload-imap.json --quiet
  status=$?
  [ "$status" -le 1 ] || exit "$status"
  echo "   messages in Archive/2019: $(find "$dovecot/mail/alice/Maildir/.Archive.2019" -path '*/cur/*' -type f 2>/dev/null | wc -l)"
done
