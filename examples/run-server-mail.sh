#!/usr/bin/env bash
# Mail from servers: starts the test Dovecot (scripts/dovecot-test.sh, POP3 on port 11110,
# IMAP on 11143, both offering STARTTLS with a throw-away certificate), puts the sample
# mailbox into alice's INBOX, runs examples/server-mail.json into server-out/ twice (the
# second run finds every message in the processed-message log), then stops the server.
# Usage: examples/run-server-mail.sh PATH_TO_QUILLON   (as root: Dovecot switches users)
set -uo pipefail
quillon=$(realpath "$1")
cd "$(dirname "$0")/.."
rm -rf server-out
mkdir -p server-out
export QUILLON_HOME=$PWD/server-out/home
server=$PWD/server-out/dovecot
trap 'scripts/dovecot-test.sh stop "$server"' EXIT

IMAP_PORT=11143 POP3_PORT=11110 scripts/dovecot-test.sh start "$server" >/dev/null || exit 1
maildir=$server/mail/alice/Maildir
echo "== $(scripts/maildir-load.py examples/sample.mbox "$maildir") messages put into alice's INBOX"
chown -R nobody:nogroup "$server/mail/alice"

for pass in first second; do
  echo
  echo "== The $pass run"
  # The server's throw-away certificate is trusted as an extra bundle.
  SSL_CERT_FILE="$server/conf/cert.pem" "$quillon" run examples/server-mail.json --quiet
  status=$?
  [ "$status" -le 1 ] || exit "$status"
  echo "   .eml files: POP3 $(find server-out/pop3 -name '*.eml' 2>/dev/null | wc -l)," \
       "IMAP $(find server-out/imap -name '*.eml' 2>/dev/null | wc -l)"
done
